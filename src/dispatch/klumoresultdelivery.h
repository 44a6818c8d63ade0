#pragma once

#include "dispatch/klumopendingcalls.h"
#include "ipc/lumostatus.h"

#include <QPointer>
#include <QString>

#include <memory>

namespace ofx::lumoipc {

/**
 * Ends calls: removes a call's pending record and queues its receiver's slot
 * into the receiver's thread, with what the record says: a call by name as
 * slot(bool success, const QString &requestId, const T &value), a typed call
 * as slot(const LumoIpc::Status &status, const T &value). The first party to
 * end a call delivers; later ones find no record. A result still queued when
 * this object is destroyed is dropped on arrival.
 *
 * Shared between the dispatcher's worker and the thread that completes replies;
 * completion callbacks hold it weakly. The pending record has its own lock;
 * every member may be called from any thread.
 */
class KLumoResultDelivery
{
public:
    using Code = LumoIpc::Status::Code;

    KLumoPendingCalls &pending() { return m_oPending; }

    // Ends the call with @p code and a copy of @p value: the reply, the value
    // it ends with when it could not be sent, or its fallback.
    void deliver(const QString &requestId, Code code, const void *value);
    // Ends the call with its reply, @p value itself: a reply decoded for this
    // call alone is handed over rather than copied (a 16 MiB string is copied
    // once less).
    void deliver(const QString &requestId, std::shared_ptr<void> value);
    // A reply that failed (the service's exception, or one that did not
    // decode): a typed call ends now with @p code, @p message and its
    // fallback. A call by name stays pending until its expiry: the failure is
    // only logged for it.
    void fail(const QString &requestId, Code code, const QString &message);
    // The channel dropped the requests waiting for their replies (its
    // connection went): every typed call pending ends now, ConnectionLost.
    void connectionLost();

private:
    // @p owned, when set, holds *value and may be handed over as it is.
    void deliver(const QString &requestId, const KLumoPendingCall &call,
                 const LumoIpc::Status &status, const void *value, std::shared_ptr<void> owned);

    KLumoPendingCalls m_oPending;
    const std::shared_ptr<const char> m_pAlive = std::make_shared<const char>(); // the gate
};

} // namespace ofx::lumoipc
