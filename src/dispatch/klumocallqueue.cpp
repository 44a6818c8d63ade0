#include "dispatch/klumocallqueue.h"

#include "support/klumoqueuedcall.h"

#include <QThread>

namespace ofx::lumoipc {

KLumoCallQueue::KLumoCallQueue(QObject *target)
    : m_target(target)
{ }

bool KLumoCallQueue::post(std::function<void()> call)
{
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_items.push_back(std::move(call));
        if (m_drainPosted)
            return true; // the drain already on its way takes this one too
        m_drainPosted = true;
    }
    if (ofx::lumo::KLumoQueuedCall::post(m_target, [this] { drain(); }))
        return true;
    std::lock_guard<std::mutex> guard(m_lock);
    m_items.clear();
    m_drainPosted = false;
    return false;
}

void KLumoCallQueue::drain()
{
    QVector<std::function<void()>> batch;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        batch.swap(m_items);
        // From here on a new call needs a drain of its own, queued after this one.
        m_drainPosted = false;
    }
    for (const std::function<void()> &call : batch) {
        // Teardown: calls that have not started by now never will.
        if (QThread::currentThread()->isInterruptionRequested())
            return;
        call();
    }
}

} // namespace ofx::lumoipc
