#include "ipc/lumopendingcall.h"

#include "ipc/klumotypedcalls.h"
#include "ipc/lumoipc.h"

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
    if (!d || !d->end())
        return false;
    if (auto *calls = ofx::lumo::KLumoTypedCalls::instance())
        calls->forget(d->requestId);
    LumoIpcCancelCall(d->requestId);
    return true;
}

} // namespace LumoIpc
