#include "dispatch/klumocallqueue.h"

#include "support/klumoqueuedcall.h"

#include <QThread>

namespace ofx::lumoipc {

KLumoCallQueue::KLumoCallQueue(QObject *target)
    : m_pTarget(target)
{ }

bool KLumoCallQueue::post(std::function<void()> call)
{
    {
        std::lock_guard<std::mutex> guard(m_oLock);
        m_lstItems.push_back(std::move(call));
        if (m_bDrainPosted)
            return true; // the drain already on its way takes this one too
        m_bDrainPosted = true;
    }
    if (ofx::lumo::KLumoQueuedCall::post(m_pTarget, [this] { drain(); }))
        return true;
    std::lock_guard<std::mutex> guard(m_oLock);
    m_lstItems.clear();
    m_bDrainPosted = false;
    return false;
}

void KLumoCallQueue::drain()
{
    QVector<std::function<void()>> batch;
    {
        std::lock_guard<std::mutex> guard(m_oLock);
        batch.swap(m_lstItems);
        // From here on a new call needs a drain of its own, queued after this one.
        m_bDrainPosted = false;
    }
    for (const std::function<void()> &call : batch) {
        // Teardown: calls that have not started by now never will.
        if (QThread::currentThread()->isInterruptionRequested())
            return;
        call();
    }
}

} // namespace ofx::lumoipc
