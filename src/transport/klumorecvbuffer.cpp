#include "transport/klumorecvbuffer.h"

#include <cstdlib>
#include <cstring>

namespace ofx::lumo {

KLumoRecvBuffer::KLumoRecvBuffer()
    : m_data(static_cast<char *>(std::calloc(InitialCapacity, 1)))
    , m_capacity(m_data ? InitialCapacity : 0)
{ }

KLumoRecvBuffer::~KLumoRecvBuffer()
{
    std::free(m_data);
}

char *KLumoRecvBuffer::reserve(quint32 want, quint32 *room)
{
    *room = 0;
    if (m_begin == m_end)
        m_begin = m_end = 0;
    if (m_capacity - m_end < want && m_begin > 0) {
        const quint32 used = size();
        std::memmove(m_data, m_data + m_begin, used);
        m_moved += used;
        m_begin = 0;
        m_end = used;
    }
    if (m_capacity - m_end < want) {
        // The next multiple of the granularity above what is needed, but at
        // least double, so a long run of appends costs amortised O(1) each.
        const quint64 needed = quint64(m_end) + want;
        quint64 cap = (needed + Granularity) / Granularity * Granularity;
        if (cap < quint64(m_capacity) * 2)
            cap = quint64(m_capacity) * 2;
        if (cap > 0xFFFFF000u)
            cap = 0xFFFFF000u;
        if (cap < needed)
            return nullptr;
        // realloc moves large blocks by remapping pages, not by copying them.
        char *grown = static_cast<char *>(std::realloc(m_data, size_t(cap)));
        if (!grown)
            return nullptr;
        m_data = grown;
        m_capacity = quint32(cap);
    }
    *room = m_capacity - m_end;
    return m_data + m_end;
}

void KLumoRecvBuffer::consume(quint32 len)
{
    m_begin += len;
    if (m_begin >= m_end)
        m_begin = m_end = 0;
}

} // namespace ofx::lumo
