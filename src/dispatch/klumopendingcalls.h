#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QReadWriteLock>
#include <QString>

namespace ofx::lumoipc {

// One call that has been sent (or is being sent) and not yet ended.
struct KLumoPendingCall
{
    QPointer<QObject> receiver;
    QString slotMethod;
    QString method;
    qint64 startTime = 0; // ms since the epoch, at registration
    const void *fallbackValue = nullptr; // a static that outlives every call
    const char *fallbackType = nullptr; // its registered type name
    // Made by a typed call: ends with a status, and at once on every failure
    // the library learns of, rather than only at its expiry.
    bool typed = false;
};

/**
 * The dispatcher's record of pending calls, keyed by request id.
 *
 * Shared by the dispatcher's worker thread (registration, cancellation, expiry)
 * and the thread that completes replies; completion callbacks hold it weakly, so
 * a reply that arrives after the dispatcher is gone finds nothing to deliver to.
 * Every member takes m_oLock (write lock to change m_mapCalls, read lock to look).
 */
class KLumoPendingCalls
{
public:
    using Records = QList<QPair<QString, KLumoPendingCall>>;
    using Expired = Records;

    // Inserts or replaces; returns the number of calls now pending.
    int add(const QString &requestId, const KLumoPendingCall &call);
    // Removes the call if present; returns whether this caller removed it, and
    // the record in @p taken. Exactly one of the parties racing to end a call
    // (reply, failure, cancellation, expiry) wins.
    bool take(const QString &requestId, KLumoPendingCall *taken = nullptr);
    // take(), for a typed call only: a call by name stays.
    bool takeTyped(const QString &requestId, KLumoPendingCall *taken);
    // Removes every typed call.
    Records takeAllTyped();
    void clear();
    int count() const;
    bool isEmpty() const { return count() == 0; }
    // Copies of the calls older than @p maxAgeMs at @p now.
    Expired expired(qint64 now, qint64 maxAgeMs) const;
    // Start time of the oldest pending call, or -1 when nothing is pending.
    qint64 oldestStartTime() const;

private:
    mutable QReadWriteLock m_oLock;
    QHash<QString, KLumoPendingCall> m_mapCalls; // requires m_oLock
};

} // namespace ofx::lumoipc
