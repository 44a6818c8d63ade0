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

    const char *data() const { return m_pData + m_nBegin; }
    quint32 size() const { return m_nEnd - m_nBegin; }
    quint32 capacity() const { return m_nCapacity; }

    // Room for at least @p want more bytes at the end; null if memory ran out.
    char *reserve(quint32 want, quint32 *room);
    void commit(quint32 len) { m_nEnd += len; }
    void consume(quint32 len);
    // Drops the contents, keeps the memory.
    void clear() { m_nBegin = m_nEnd = 0; }

    // Bytes moved inside the buffer (compaction and growth), for measurements.
    quint64 bytesMoved() const { return m_nMoved; }

private:
    char *m_pData;
    quint32 m_nCapacity;
    quint32 m_nBegin = 0;
    quint32 m_nEnd = 0;
    quint64 m_nMoved = 0;
};

} // namespace ofx::lumo
