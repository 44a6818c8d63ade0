#include "dispatch/klumoipchandler.h"
#include "dispatch/klumoipchandlerprivate.h"
#include "dispatch/klumoqueuedcall.h"

#include "support/lumolog.h"

#include <QMetaType>
#include <QPointer>
#include <QUuid>

namespace ofx::lumoipc {

KLumoIpcHandler::KLumoIpcHandler(QObject *owner,
                                 std::shared_ptr<ofx::lumo::KLumoServicesCobClient> client,
                                 std::shared_ptr<apache::thrift::async::TAsyncChannel> transport)
    : QObject(owner)
    , d(std::make_unique<KLumoIpcHandlerPrivate>(std::move(client), std::move(transport)))
    , m_owner(owner)
{ }

KLumoIpcHandler::~KLumoIpcHandler() = default;

QString KLumoIpcHandler::createRequestId()
{
    // The 128-bit form is the braced text form without "{", "}" and "-".
    return QString::fromLatin1(QUuid::createUuid().toByteArray(QUuid::Id128).toUpper());
}

void KLumoIpcHandler::logFailure(const QString &method) const
{
    ofx::lumo::log::info(
        lcLumoIpc(), QStringLiteral("KLumoIpcHandler::call method: %1 Fail to invoke").arg(method));
}

QString KLumoIpcHandler::asynCall(const QString &method, const QStringList &params,
                                  QObject *receiver, const QString &slot)
{
    const QString requestId = createRequestId();
    KLumoIpcHandlerPrivate *const target = d.get();
    if (!queued::post(target,
                      [target, requestId, method, params, guarded = QPointer<QObject>(receiver),
                       slot] { target->asynCall(requestId, method, params, guarded, slot); }))
        logFailure(method);
    return requestId;
}

QString KLumoIpcHandler::asynCallEx(const QString &method, const QGenericArgument &arg,
                                    QObject *receiver, const QString &slot)
{
    const QString requestId = createRequestId();
    const QPointer<QObject> guarded(receiver);
    const KLumoIpcHandlerPrivate::CallSlot *callSlot = d->callSlot(method);
    if (callSlot && arg.data() && qstrcmp(arg.name(), callSlot->argType.constData()) == 0) {
        // The slot is known and the argument has its type: queue the call by
        // index, with a copy of the argument, as a queued invocation would.
        if (std::shared_ptr<void> copy = queued::copyOf(callSlot->argTypeId, arg.data())) {
            queued::invoke(d.get(), callSlot->index, QString(requestId), std::move(copy),
                           QPointer<QObject>(guarded), QString(slot));
            return requestId;
        }
    }
    // Anything else (unknown name, another type name) gets Qt's own look-up.
    const QByteArray slotName = method.toUtf8();
    if (!QMetaObject::invokeMethod(d.get(), slotName.constData(), Qt::QueuedConnection,
                                   Q_ARG(QString, requestId), arg,
                                   Q_ARG(QPointer<QObject>, guarded), Q_ARG(QString, slot)))
        logFailure(method);
    return requestId;
}

bool KLumoIpcHandler::cancelRequest(const QString &requestId)
{
    KLumoIpcHandlerPrivate *const target = d.get();
    return queued::post(target, [target, requestId] { target->cancelRequest(requestId); });
}

QObject *KLumoIpcHandler::privateObject() const
{
    return d.get();
}

void KLumoIpcHandler::setExpiryInterval(int ms)
{
    d->setExpiryInterval(ms);
}

int KLumoIpcHandler::expiryInterval() const
{
    return d->expiryInterval();
}

} // namespace ofx::lumoipc
