#pragma once

#include <QObject>
#include <QVector>

#include <functional>
#include <mutex>

namespace ofx::lumoipc {

/**
 * Hands calls to the dispatcher's worker thread with one queued event per
 * burst instead of one per call: the first call of a burst posts a drain to
 * the target's thread, later ones join the batch until that drain takes it.
 * Each posted event costs an allocation and a wake-up write to the target's
 * event loop, and a burst of calls (a host answering a reply with the next
 * call, a view asking for a page of items) pays them once. Calls run in the
 * order they were posted.
 *
 * post(): any thread. drain(): the target's thread only. m_lstItems and
 * m_bDrainPosted require m_oLock, which also orders the hand-over for
 * ThreadSanitizer. Must outlive the target's thread (a posted drain holds it).
 */
class KLumoCallQueue
{
public:
    explicit KLumoCallQueue(QObject *target);

    // Queues @p call to run in the target's thread; false when it cannot be.
    bool post(std::function<void()> call);

private:
    void drain();

    QObject *const m_pTarget;
    std::mutex m_oLock;
    // Qt's container, not std::vector: its instantiations stay out of the
    // library's exported symbols.
    QVector<std::function<void()>> m_lstItems;
    bool m_bDrainPosted = false;
};

} // namespace ofx::lumoipc
