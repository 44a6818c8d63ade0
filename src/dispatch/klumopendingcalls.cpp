#include "dispatch/klumopendingcalls.h"

#include "support/klumotsan.h"

#include <algorithm>

namespace ofx::lumoipc {

namespace tsan = ofx::lumo::tsan;

int KLumoPendingCalls::add(const QString &requestId, const KLumoPendingCall &call)
{
    tsan::WriteLocker locker(&m_lock);
    m_calls.insert(requestId, call);
    return m_calls.size();
}

bool KLumoPendingCalls::take(const QString &requestId, KLumoPendingCall *taken)
{
    tsan::WriteLocker locker(&m_lock);
    const auto it = m_calls.find(requestId);
    if (it == m_calls.end())
        return false;
    if (taken)
        *taken = std::move(*it);
    m_calls.erase(it);
    return true;
}

bool KLumoPendingCalls::takeTyped(const QString &requestId, KLumoPendingCall *taken)
{
    tsan::WriteLocker locker(&m_lock);
    const auto it = m_calls.find(requestId);
    if (it == m_calls.end() || !it->typed)
        return false;
    *taken = std::move(*it);
    m_calls.erase(it);
    return true;
}

KLumoPendingCalls::Records KLumoPendingCalls::takeAllTyped()
{
    Records out;
    tsan::WriteLocker locker(&m_lock);
    for (auto it = m_calls.begin(); it != m_calls.end();) {
        if (it->typed) {
            out.append(qMakePair(it.key(), std::move(*it)));
            it = m_calls.erase(it);
        } else {
            ++it;
        }
    }
    return out;
}

void KLumoPendingCalls::clear()
{
    tsan::WriteLocker locker(&m_lock);
    m_calls.clear();
}

int KLumoPendingCalls::count() const
{
    tsan::ReadLocker locker(&m_lock);
    return m_calls.size();
}

KLumoPendingCalls::Expired KLumoPendingCalls::expired(qint64 now, qint64 maxAgeMs) const
{
    Expired out;
    tsan::ReadLocker locker(&m_lock);
    for (auto it = m_calls.cbegin(); it != m_calls.cend(); ++it) {
        if (now - it->startTime > maxAgeMs)
            out.append(qMakePair(it.key(), it.value()));
    }
    return out;
}

qint64 KLumoPendingCalls::oldestStartTime() const
{
    tsan::ReadLocker locker(&m_lock);
    qint64 oldest = -1;
    for (const KLumoPendingCall &call : m_calls)
        oldest = oldest < 0 ? call.startTime : std::min(oldest, call.startTime);
    return oldest;
}

} // namespace ofx::lumoipc
