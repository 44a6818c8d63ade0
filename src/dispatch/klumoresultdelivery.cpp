#include "dispatch/klumoresultdelivery.h"
#include "dispatch/klumoqueuedcall.h"
#include "dispatch/klumotsan.h"

#include "support/lumolog.h"

#include <QMetaMethod>
#include <QMetaObject>
#include <QMetaType>

#include <memory>

namespace ofx::lumoipc {

KLumoResultDelivery::Slot KLumoResultDelivery::resolve(QObject *target, const QString &slotMethod,
                                                       const char *typeName)
{
    const SlotKey key {target->metaObject(), typeName, slotMethod};
    {
        tsan::ReadLocker locker(&m_slotsLock);
        const auto it = m_slots.constFind(key);
        if (it != m_slots.cend())
            return *it;
    }
    // The same look-up a queued invocation by name makes.
    const QByteArray signature =
        slotMethod.toUtf8() + "(bool,QString," + QByteArray(typeName) + ')';
    Slot slot;
    slot.index = key.metaObject->indexOfMethod(signature.constData());
    if (slot.index < 0)
        slot.index = key.metaObject->indexOfMethod(QMetaObject::normalizedSignature(signature));
    slot.typeId = QMetaType::type(typeName);
    if (slot.index < 0 || slot.typeId == QMetaType::UnknownType)
        return Slot {};
    tsan::WriteLocker locker(&m_slotsLock);
    m_slots.insert(key, slot);
    return slot;
}

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

    const Slot slot = resolve(target, slotMethod, typeName);
    if (slot.index >= 0) {
        if (!owned)
            owned = queued::copyOf(slot.typeId, value);
        if (owned) {
            queued::invoke(target, slot.index, success, QString(requestId), std::move(owned));
            return;
        }
    }
    // Not found: let Qt's own look-up have the last word (and say why it failed).
    const QByteArray slotName = slotMethod.toUtf8();
    if (!QMetaObject::invokeMethod(target, slotName.constData(), Qt::QueuedConnection,
                                   Q_ARG(bool, success), Q_ARG(QString, requestId),
                                   QGenericArgument(typeName, value)))
        ofx::lumo::log::info(
            lcLumoIpc(),
            QStringLiteral("KLumoIpcHandlerPrivate::onResultEx method: %1 Failed to invoke")
                .arg(slotMethod));
}

} // namespace ofx::lumoipc
