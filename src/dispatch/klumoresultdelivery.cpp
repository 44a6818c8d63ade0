#include "dispatch/klumoresultdelivery.h"

#include "support/klumoqueuedcall.h"
#include "support/lumolog.h"

namespace ofx::lumoipc {

void KLumoResultDelivery::deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                                  const QString &requestId, bool success, const void *value,
                                  const char *typeName)
{
    deliver(receiver, slotMethod, requestId, success, value, nullptr, typeName);
}

void KLumoResultDelivery::deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                                  const QString &requestId, bool success,
                                  std::shared_ptr<void> value, const char *typeName)
{
    const void *const data = value.get();
    deliver(receiver, slotMethod, requestId, success, data, std::move(value), typeName);
}

void KLumoResultDelivery::deliver(const QPointer<QObject> &receiver, const QString &slotMethod,
                                  const QString &requestId, bool success, const void *value,
                                  std::shared_ptr<void> owned, const char *typeName)
{
    // Look-up and removal are one step: of a reply, an expiry and a cancellation
    // racing for the same call, only one may reach the receiver.
    if (!m_pending.take(requestId))
        return;
    if (slotMethod.isEmpty())
        return;
    QObject *const target = receiver.data();
    if (!target) {
        ofx::lumo::log::info(
            lcLumoIpc(),
            QStringLiteral(
                "KLumoIpcHandlerPrivate::onResultEx method: %1 Caller has been destructed")
                .arg(slotMethod));
        return;
    }

    // A slot that does not resolve is left to Qt's own look-up, which says why.
    const QByteArray slotName = slotMethod.toUtf8();
    using ofx::lumo::KLumoQueuedCall;
    if (!KLumoQueuedCall::invokeWhile(std::weak_ptr<const char>(m_alive), target,
                                      slotName.constData(), {"bool", "QString", typeName}, success,
                                      requestId,
                                      KLumoQueuedCall::Untyped {value, std::move(owned)}))
        ofx::lumo::log::info(
            lcLumoIpc(),
            QStringLiteral("KLumoIpcHandlerPrivate::onResultEx method: %1 Failed to invoke")
                .arg(slotMethod));
}

} // namespace ofx::lumoipc
