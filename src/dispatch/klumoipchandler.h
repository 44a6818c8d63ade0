#pragma once

#include <QGenericArgument>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

namespace apache::thrift::async {
class TAsyncChannel;
}
namespace ofx::lumo {
class KLumoServicesCobClient;
}

namespace ofx::lumoipc {

class KLumoIpcHandlerPrivate;

/**
 * Named asynchronous calls to the service. A call returns its request id at once;
 * the result arrives later, queued into the receiver's thread, as
 * receiver->slot(bool success, const QString &requestId, const Result &value).
 * Every call ends exactly once: with the reply, at once with success false when
 * the service is not connected, or with success false and the method's default
 * result (the "waitReadError" response on the generic route) when no reply comes
 * within the expiry interval. Cancelled calls and calls whose receiver is gone
 * end silently. The typed calls go the same way on Route::Typed, which only
 * changes how they end (see Route).
 *
 * Owned by the host thread (asynCall, asynCallEx and cancelRequest only make an
 * id and queue the call); the work happens on the private object's own thread.
 */
class KLumoIpcHandler : public QObject
{
    Q_OBJECT
public:
    // Default age after which an unanswered call ends; the environment variable
    // LUMOIPC_CALL_EXPIRY_MS (milliseconds) overrides it for handlers made later.
    static constexpr int DefaultExpiryMs = 16000;

    // @p owner, the proxy, becomes the QObject parent. @p client sends through @p transport,
    // whose good() tells whether a call can go out now.
    KLumoIpcHandler(QObject *owner, std::shared_ptr<ofx::lumo::KLumoServicesCobClient> client,
                    std::shared_ptr<apache::thrift::async::TAsyncChannel> transport);
    ~KLumoIpcHandler() override;

    // Generic route: the service's asynCall(method, params); the slot receives a
    // KRpcResponse.
    QString asynCall(const QString &method, const QStringList &params, QObject *receiver,
                     const QString &slot);
    // The method's own route: @p arg must carry the registered name of the
    // method's argument record (Q_ARG(RemoveArg, arg)).
    QString asynCallEx(const QString &method, const QGenericArgument &arg, QObject *receiver,
                       const QString &slot);
    // How a call ends for its receiver. Named: slot(bool, requestId, Result);
    // a reply that fails (the service's exception, or one that does not
    // decode) is logged, and the call ends at its expiry. Typed:
    // slot(const LumoIpc::Status &, Result), and the call ends as soon as the
    // library knows how: at once on such a reply, and when the connection
    // drops while it waits.
    enum class Route { Named, Typed };

    // The same two routes under an id the caller made (createRequestId()), so that
    // it can file the call before any result may arrive. Return whether the call
    // was queued; a call that was not is logged and never ends.
    bool queueCall(const QString &requestId, const QString &method, const QStringList &params,
                   QObject *receiver, const QString &slot, Route route = Route::Named);
    bool queueCallEx(const QString &requestId, const QString &method, const QGenericArgument &arg,
                     QObject *receiver, const QString &slot, Route route = Route::Named);
    // Drops the call's result when it comes; the service call itself runs on.
    bool cancelRequest(const QString &requestId);

    // The channel's word that it dropped the requests waiting for replies (its
    // connection went, and their completions will never run): ends the typed
    // calls now. Any thread.
    void onRequestsDropped();

    // Any thread; takes effect for calls registered afterwards.
    void setExpiryInterval(int ms);
    int expiryInterval() const;

    // 32 upper-case hexadecimal digits.
    static QString createRequestId();

private:
    void logFailure(const QString &method) const;

    friend class KLumoIpcHandlerPrivate;
    std::unique_ptr<KLumoIpcHandlerPrivate> const d;
};

} // namespace ofx::lumoipc
