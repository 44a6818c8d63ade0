#include "dispatch/klumoresultdelivery.h"

#include "support/klumoqueuedcall.h"
#include "support/lumolog.h"

namespace ofx::lumoipc {

using ofx::lumo::KLumoQueuedCall;

void KLumoResultDelivery::deliver(const QString &requestId, Code code, const void *value)
{
    // Look-up and removal are one step: of a reply, an expiry and a cancellation
    // racing for the same call, only one may reach the receiver.
    KLumoPendingCall call;
    if (m_oPending.take(requestId, &call))
        deliver(requestId, call, LumoIpc::Status(code, requestId), value, nullptr);
}

void KLumoResultDelivery::deliver(const QString &requestId, std::shared_ptr<void> value)
{
    KLumoPendingCall call;
    if (!m_oPending.take(requestId, &call))
        return;
    const void *const data = value.get();
    deliver(requestId, call, LumoIpc::Status(Code::Ok, requestId), data, std::move(value));
}

void KLumoResultDelivery::fail(const QString &requestId, Code code, const QString &message)
{
    KLumoPendingCall call;
    if (m_oPending.takeTyped(requestId, &call))
        deliver(requestId, call, LumoIpc::Status(code, requestId, message), call.fallbackValue,
                nullptr);
}

void KLumoResultDelivery::connectionLost()
{
    for (const auto &[requestId, call] : m_oPending.takeAllTyped())
        deliver(requestId, call, LumoIpc::Status(Code::ConnectionLost, requestId),
                call.fallbackValue, nullptr);
}

void KLumoResultDelivery::deliver(const QString &requestId, const KLumoPendingCall &call,
                                  const LumoIpc::Status &status, const void *value,
                                  std::shared_ptr<void> owned)
{
    if (call.slotMethod.isEmpty())
        return;
    QObject *const target = call.receiver.data();
    if (!target) {
        ofx::lumo::log::info(
            lcLumoIpc(),
            QStringLiteral(
                "KLumoIpcHandlerPrivate::onResultEx method: %1 Caller has been destructed")
                .arg(call.slotMethod));
        return;
    }

    // A slot that does not resolve is left to Qt's own look-up, which says why.
    const QByteArray slotName = call.slotMethod.toUtf8();
    const std::weak_ptr<const char> gate = m_pAlive;
    KLumoQueuedCall::Untyped result {value, std::move(owned)};
    const bool queued = call.typed
        ? KLumoQueuedCall::invokeWhile(gate, target, slotName.constData(),
                                       {"LumoIpc::Status", call.fallbackType}, status,
                                       std::move(result))
        : KLumoQueuedCall::invokeWhile(gate, target, slotName.constData(),
                                       {"bool", "QString", call.fallbackType}, status.ok(),
                                       requestId, std::move(result));
    if (!queued)
        ofx::lumo::log::info(
            lcLumoIpc(),
            QStringLiteral("KLumoIpcHandlerPrivate::onResultEx method: %1 Failed to invoke")
                .arg(call.slotMethod));
}

} // namespace ofx::lumoipc
