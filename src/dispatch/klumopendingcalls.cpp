#include "dispatch/klumopendingcalls.h"

#include "support/klumotsan.h"

#include <algorithm>

namespace ofx::lumoipc {

namespace tsan = ofx::lumo::tsan;

int KLumoPendingCalls::add(const QString &requestId, const KLumoPendingCall &call)
{
    tsan::WriteLocker locker(&m_oLock);
    m_mapCalls.insert(requestId, call);
    return m_mapCalls.size();
}

bool KLumoPendingCalls::take(const QString &requestId, KLumoPendingCall *taken)
{
    tsan::WriteLocker locker(&m_oLock);
    const auto it = m_mapCalls.find(requestId);
    if (it == m_mapCalls.end())
        return false;
    if (taken)
        *taken = std::move(*it);
    m_mapCalls.erase(it);
    return true;
}

bool KLumoPendingCalls::takeTyped(const QString &requestId, KLumoPendingCall *taken)
{
    tsan::WriteLocker locker(&m_oLock);
    const auto it = m_mapCalls.find(requestId);
    if (it == m_mapCalls.end() || !it->typed)
        return false;
    *taken = std::move(*it);
    m_mapCalls.erase(it);
    return true;
}

KLumoPendingCalls::Records KLumoPendingCalls::takeAllTyped()
{
    Records out;
    tsan::WriteLocker locker(&m_oLock);
    for (auto it = m_mapCalls.begin(); it != m_mapCalls.end();) {
        if (it->typed) {
            out.append(qMakePair(it.key(), std::move(*it)));
            it = m_mapCalls.erase(it);
        } else {
            ++it;
        }
    }
    return out;
}

void KLumoPendingCalls::clear()
{
    tsan::WriteLocker locker(&m_oLock);
    m_mapCalls.clear();
}

int KLumoPendingCalls::count() const
{
    tsan::ReadLocker locker(&m_oLock);
    return m_mapCalls.size();
}

KLumoPendingCalls::Expired KLumoPendingCalls::expired(qint64 now, qint64 maxAgeMs) const
{
    Expired out;
    tsan::ReadLocker locker(&m_oLock);
    for (auto it = m_mapCalls.cbegin(); it != m_mapCalls.cend(); ++it) {
        if (now - it->startTime > maxAgeMs)
            out.append(qMakePair(it.key(), it.value()));
    }
    return out;
}

qint64 KLumoPendingCalls::oldestStartTime() const
{
    tsan::ReadLocker locker(&m_oLock);
    qint64 oldest = -1;
    for (const KLumoPendingCall &call : m_mapCalls)
        oldest = oldest < 0 ? call.startTime : std::min(oldest, call.startTime);
    return oldest;
}

} // namespace ofx::lumoipc
