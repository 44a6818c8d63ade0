#pragma once

#include <QtGlobal>

namespace ofx::lumo {

/**
 * The channel's staging memory for incoming bytes: frames are consumed by
 * advancing an offset, the unread rest is moved down at most once per read,
 * and the block grows geometrically (in multiples of 4096, starting at 8192)
 * and is kept for reuse, so receiving n bytes costs O(n) however they are cut.
 * Owned and used by one thread.
 */
class KLumoRecvBuffer
{
public:
    static constexpr quint32 InitialCapacity = 8192;
    static constexpr quint32 Granularity = 4096;

    KLumoRecvBuffer();
    ~KLumoRecvBuffer();
    KLumoRecvBuffer(const KLumoRecvBuffer &) = delete;
    KLumoRecvBuffer &operator=(const KLumoRecvBuffer &) = delete;

    const char *data() const { return m_data + m_begin; }
    quint32 size() const { return m_end - m_begin; }
    quint32 capacity() const { return m_capacity; }

    // Room for at least @p want more bytes at the end; null if memory ran out.
    char *reserve(quint32 want, quint32 *room);
    void commit(quint32 len) { m_end += len; }
    void consume(quint32 len);
    // Drops the contents, keeps the memory.
    void clear() { m_begin = m_end = 0; }

    // Bytes moved inside the buffer (compaction and growth), for measurements.
    quint64 bytesMoved() const { return m_moved; }

private:
    char *m_data;
    quint32 m_capacity;
    quint32 m_begin = 0;
    quint32 m_end = 0;
    quint64 m_moved = 0;
};

} // namespace ofx::lumo
