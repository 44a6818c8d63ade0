#include "ipc/lumopendingcall.h"

#include "ipc/klumotypedcalls.h"
#include "ipc/lumoipc.h"
#include "support/lumolog.h"

#include <QThread>

namespace LumoIpc {

PendingCall::PendingCall(std::shared_ptr<LumoIpcPrivate::CallState> state)
    : d(std::move(state))
{ }

QString PendingCall::id() const
{
    return d ? d->requestId : QString();
}

bool PendingCall::cancel()
{
    if (!d)
        return false;
    // The library's side of a call (its filing, the dispatcher) belongs to
    // that thread; a cancellation from elsewhere could race LumoIpcFree().
    if (QThread::currentThread() != d->thread) {
        ofx::lumo::log::warning(lcIpc(),
                                QStringLiteral("LumoIpc::PendingCall::cancel: refused on a thread "
                                               "other than the one that made call %1")
                                    .arg(d->requestId));
        return false;
    }
    if (!d->end())
        return false;
    if (auto *calls = ofx::lumo::KLumoTypedCalls::instance())
        calls->forget(d->requestId);
    LumoIpcCancelCall(d->requestId);
    return true;
}

} // namespace LumoIpc
