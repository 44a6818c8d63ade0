#include "dispatch/klumoipchandler.h"
#include "dispatch/klumoipchandler_p.h"

#include "support/klumoqueuedcall.h"
#include "support/lumolog.h"

#include <QPointer>
#include <QUuid>

namespace ofx::lumoipc {

using ofx::lumo::KLumoQueuedCall;

KLumoIpcHandler::KLumoIpcHandler(QObject *owner,
                                 std::shared_ptr<ofx::lumo::KLumoServicesCobClient> client,
                                 std::shared_ptr<apache::thrift::async::TAsyncChannel> transport)
    : QObject(owner)
    , d(std::make_unique<KLumoIpcHandlerPrivate>(std::move(client), std::move(transport)))
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
    queueCall(requestId, method, params, receiver, slot);
    return requestId;
}

QString KLumoIpcHandler::asynCallEx(const QString &method, const QGenericArgument &arg,
                                    QObject *receiver, const QString &slot)
{
    const QString requestId = createRequestId();
    queueCallEx(requestId, method, arg, receiver, slot);
    return requestId;
}

bool KLumoIpcHandler::queueCall(const QString &requestId, const QString &method,
                                const QStringList &params, QObject *receiver, const QString &slot,
                                Route route)
{
    KLumoIpcHandlerPrivate *const target = d.get();
    if (target->calls().post([target, route, requestId, method, params,
                              guarded = QPointer<QObject>(receiver), slot] {
            target->runOnRoute(route,
                               [&] { target->asynCall(requestId, method, params, guarded, slot); });
        }))
        return true;
    logFailure(method);
    return false;
}

bool KLumoIpcHandler::queueCallEx(const QString &requestId, const QString &method,
                                  const QGenericArgument &arg, QObject *receiver,
                                  const QString &slot, Route route)
{
    // The slot that runs @p method takes (requestId, its argument, receiver, slot);
    // anything else (an unknown name, another type name) is Qt's to report.
    const QByteArray slotName = method.toUtf8();
    KLumoIpcHandlerPrivate *const target = d.get();
    if (KLumoQueuedCall::invokeThrough(
            [target, route](auto call) {
                return target->calls().post([target, route, call = std::move(call)]() mutable {
                    target->runOnRoute(route, call);
                });
            },
            target, slotName.constData(), {"QString", arg.name(), "QPointer<QObject>", "QString"},
            requestId, KLumoQueuedCall::Untyped {arg.data()}, QPointer<QObject>(receiver), slot))
        return true;
    logFailure(method);
    return false;
}

void KLumoIpcHandler::onRequestsDropped()
{
    d->results().connectionLost();
}

bool KLumoIpcHandler::cancelRequest(const QString &requestId)
{
    KLumoIpcHandlerPrivate *const target = d.get();
    return target->calls().post([target, requestId] { target->cancelRequest(requestId); });
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

#include "moc_klumoipchandler.cpp"
