#include "ipc/klumotypedcalls.h"

#include "dispatch/klumoipchandler.h"
#include "support/klumometatypes.h"
#include "support/klumoqueuedcall.h"

#include <QThread>

namespace ofx::lumo {

using LumoIpcPrivate::CallState;
using LumoIpcPrivate::ResultHandler;

namespace {
KLumoTypedCalls *g_instance = nullptr; // host's main thread only
}

KLumoTypedCalls::KLumoTypedCalls(ofx::lumoipc::KLumoIpcHandler *dispatcher)
    : m_pDispatcher(dispatcher)
{ }

KLumoTypedCalls::~KLumoTypedCalls()
{
    if (g_instance == this)
        g_instance = nullptr;
    for (const State &state : qAsConst(m_mapCalls))
        state->end(); // the handler goes, unrun
    m_mapCalls.clear();
}

KLumoTypedCalls *KLumoTypedCalls::instance()
{
    return g_instance;
}

void KLumoTypedCalls::setInstance(KLumoTypedCalls *calls)
{
    g_instance = calls;
}

KLumoTypedCalls::State KLumoTypedCalls::file(QObject *context,
                                             std::unique_ptr<ResultHandler> handler)
{
    auto state = std::make_shared<CallState>();
    state->requestId = ofx::lumoipc::KLumoIpcHandler::createRequestId();
    state->context = context;
    state->thread = QThread::currentThread();
    state->handler = std::move(handler);
    // Filed before the call leaves: its result may not find it missing.
    m_mapCalls.insert(state->requestId, state);
    return state;
}

LumoIpc::PendingCall KLumoTypedCalls::started(const State &state, bool queued)
{
    if (queued)
        return LumoIpc::PendingCall(state);
    // Refused, and logged, by the dispatcher: nothing will end it.
    forget(state->requestId);
    state->end();
    return {};
}

LumoIpc::PendingCall KLumoTypedCalls::start(const LumoIpcPrivate::Method &method, const void *arg,
                                            QObject *context,
                                            std::unique_ptr<ResultHandler> handler)
{
    const State state = file(context, std::move(handler));
    return started(state,
                   m_pDispatcher->queueCallEx(state->requestId, QLatin1String(method.name),
                                              QGenericArgument(method.argType, arg), this,
                                              QLatin1String(method.resultSlot),
                                              ofx::lumoipc::KLumoIpcHandler::Route::Typed));
}

LumoIpc::PendingCall KLumoTypedCalls::startGeneric(const QString &method, const QStringList &params,
                                                   QObject *context,
                                                   std::unique_ptr<ResultHandler> handler)
{
    const State state = file(context, std::move(handler));
    return started(state,
                   m_pDispatcher->queueCall(state->requestId, method, params, this,
                                            QStringLiteral("onResult_KRpcResponse"),
                                            ofx::lumoipc::KLumoIpcHandler::Route::Typed));
}

void KLumoTypedCalls::forget(const QString &requestId)
{
    m_mapCalls.remove(requestId);
}

void KLumoTypedCalls::deliver(const LumoIpc::Status &status, const void *value,
                              const char *typeName)
{
    const State state = m_mapCalls.take(status.requestId());
    if (!state)
        return; // cancelled
    QObject *const context = state->context.data();
    if (!context) {
        state->end(); // silently, as a named call whose receiver is gone
        return;
    }
    if (context->thread() == thread()) {
        // The usual case: this slot was queued into the context's thread already.
        if (const std::unique_ptr<ResultHandler> handler = state->end())
            handler->deliver(status, value);
        return;
    }
    // One more hop, with a copy of the value, which this slot only borrows.
    const std::shared_ptr<void> copy =
        KLumoQueuedCall::copyOf(KLumoMetaTypes::idOf(typeName), value);
    if (!copy) {
        state->end();
        return;
    }
    KLumoQueuedCall::post(context, [state, status, copy, alive = std::weak_ptr(m_pAlive)] {
        if (alive.expired())
            return; // the library has gone
        if (const std::unique_ptr<ResultHandler> handler = state->end())
            handler->deliver(status, copy.get());
    });
}

} // namespace ofx::lumo

#include "ipc/moc_klumotypedcalls.cpp"
