#pragma once

#include "dispatch/klumopendingcalls.h"

#include <QPointer>
#include <QString>

#include <memory>

namespace ofx::lumoipc {

/**
 * Ends calls: removes a call's pending record and queues the receiver's slot
 * (bool success, const QString &requestId, const T &value) into the receiver's
 * thread. The first party to end a call delivers; later ones find no record.
 * A result still queued when this object is destroyed is dropped on arrival.
 *
 * Shared between the dispatcher's worker and the thread that completes replies;
 * completion callbacks hold it weakly. The pending record has its own lock;
 * every member may be called from any thread.
 */
class KLumoResultDelivery
{
public:
    KLumoPendingCalls &pending() { return m_pending; }

    // Delivers a copy of @p value.
    void deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                 const QString &requestId, bool success, const void *value, const char *typeName);
    // Delivers @p value itself: a reply decoded for this call alone is handed
    // over rather than copied (a 16 MiB string is copied once less).
    void deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                 const QString &requestId, bool success, std::shared_ptr<void> value,
                 const char *typeName);

private:
    // @p owned, when set, holds *value and may be handed over as it is.
    void deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                 const QString &requestId, bool success, const void *value,
                 std::shared_ptr<void> owned, const char *typeName);

    KLumoPendingCalls m_pending;
    const std::shared_ptr<const char> m_alive = std::make_shared<const char>(); // the gate
};

} // namespace ofx::lumoipc
