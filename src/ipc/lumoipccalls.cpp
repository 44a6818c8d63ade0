#include "ipc/lumoipccalls.h"

#include "ipc/klumoipc_p.h"
#include "ipc/klumotypedcalls.h"

using ofx::lumo::KLumoTypedCalls;

KLumoIpc *LumoIpc::events()
{
    return ofx::lumo::KLumoIpcPrivate::instance();
}

LumoIpc::PendingCall LumoIpcPrivate::start(const Method &method, const void *arg, QObject *context,
                                           std::unique_ptr<ResultHandler> handler)
{
    KLumoTypedCalls *calls = KLumoTypedCalls::instance();
    return calls ? calls->start(method, arg, context, std::move(handler)) : LumoIpc::PendingCall();
}

LumoIpc::PendingCall LumoIpcPrivate::startGeneric(const QString &method, const QStringList &params,
                                                  QObject *context,
                                                  std::unique_ptr<ResultHandler> handler)
{
    KLumoTypedCalls *calls = KLumoTypedCalls::instance();
    return calls ? calls->startGeneric(method, params, context, std::move(handler))
                 : LumoIpc::PendingCall();
}
