#include "transport/klumorecvbuffer.h"

#include <cstdlib>
#include <cstring>

namespace ofx::lumo {

KLumoRecvBuffer::KLumoRecvBuffer()
    : m_pData(static_cast<char *>(std::calloc(InitialCapacity, 1)))
    , m_nCapacity(m_pData ? InitialCapacity : 0)
{ }

KLumoRecvBuffer::~KLumoRecvBuffer()
{
    std::free(m_pData);
}

char *KLumoRecvBuffer::reserve(quint32 want, quint32 *room)
{
    *room = 0;
    if (m_nBegin == m_nEnd)
        m_nBegin = m_nEnd = 0;
    if (m_nCapacity - m_nEnd < want && m_nBegin > 0) {
        const quint32 used = size();
        std::memmove(m_pData, m_pData + m_nBegin, used);
        m_nMoved += used;
        m_nBegin = 0;
        m_nEnd = used;
    }
    if (m_nCapacity - m_nEnd < want) {
        // The next multiple of the granularity above what is needed, but at
        // least double, so a long run of appends costs amortised O(1) each.
        const quint64 needed = quint64(m_nEnd) + want;
        quint64 cap = (needed + Granularity) / Granularity * Granularity;
        if (cap < quint64(m_nCapacity) * 2)
            cap = quint64(m_nCapacity) * 2;
        if (cap > 0xFFFFF000u)
            cap = 0xFFFFF000u;
        if (cap < needed)
            return nullptr;
        // realloc moves large blocks by remapping pages, not by copying them.
        char *grown = static_cast<char *>(std::realloc(m_pData, size_t(cap)));
        if (!grown)
            return nullptr;
        m_pData = grown;
        m_nCapacity = quint32(cap);
    }
    *room = m_nCapacity - m_nEnd;
    return m_pData + m_nEnd;
}

void KLumoRecvBuffer::consume(quint32 len)
{
    m_nBegin += len;
    if (m_nBegin >= m_nEnd)
        m_nBegin = m_nEnd = 0;
}

} // namespace ofx::lumo
