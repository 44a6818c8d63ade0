#pragma once

#include "notify/klumonotifytypes.h"

#include "KLumoNotifyServices.h"

#include <QPointer>

namespace ofx::lumo {

/**
 * The library's side of the notification service. The generated processor
 * calls one of its methods per notification frame; each becomes a queued
 * invocation, by name, of a slot or signal of the target (the connection
 * proxy), or of the push target for local push messages. Nothing is answered.
 *
 * Called on the channel's thread, inside its receive handler; every invocation
 * is queued, so nothing of a target runs on that thread. Holds no state besides
 * its targets. It only watches the targets
 * (which must be destroyed on the channel's thread, as the proxy is): once a
 * target is gone, notifications for it are dropped after their log line.
 *
 * The methods and what each does come from notify/klumonotifications.def, what
 * each action type invokes from notify/klumonotifyactions.def; the
 * invocations go through KLumoQueuedCall, which resolves each member
 * once per target class. A converted argument may be moved from: the
 * handler is called by the generated processor only, with values it drops
 * afterwards.
 */
class KLumoNotifyHandler : public KLumoNotifyServicesCobSvIf
{
public:
    // @p pushTarget receives "on_newMessage"; when null, @p target does.
    // Registers the library's meta types, which the invocations pass.
    explicit KLumoNotifyHandler(QObject *target, QObject *pushTarget = nullptr);
    ~KLumoNotifyHandler() override;

#define LUMO_NOTIFY(kind, method, Arg, receiver, member, typeName, QtType)                         \
    void method(std::function<void()> cob, const Arg &arg) override;
#include "notify/klumonotifications.def"
#undef LUMO_NOTIFY

private:
    QObject *receiver(bool push) const;

    QPointer<QObject> m_pTarget;
    QPointer<QObject> m_pPushTarget;
};

} // namespace ofx::lumo
