#include "dispatch/klumoipchandler.h"
#include "dispatch/klumoipchandler_p.h"

#include "support/klumometatypes.h"
#include "support/klumoqueuedcall.h"
#include "support/klumotsan.h"
#include "support/lumolog.h"

#include "KLumoServices.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QMetaMethod>
#include <QTimer>

#include <thrift/TApplicationException.h>
#include <thrift/async/TAsyncChannel.h>
#include <thrift/transport/TBufferTransports.h>

#include <algorithm>

namespace ofx::lumoipc {

using ofx::lumo::KLumoMetaTypes;
using ofx::lumo::KLumoQueuedCall;
namespace tsan = ofx::lumo::tsan;
using Client = KLumoIpcHandlerPrivate::Client;
using Cob = std::function<void(Client *)>;
using apache::thrift::TApplicationException;

// What a completion callback needs to end its call; copied into the callback.
struct KLumoIpcHandlerPrivate::Call
{
    QString requestId;
    QPointer<QObject> receiver;
    QString slotMethod;
    QString method; // the pending record's key text
    const char *exceptionText;
};

namespace {

// The request id whose send is under way on this thread. A completion callback
// that runs while it is set was called by the channel from inside the send, that
// is, the message could not go out.
thread_local const QString *t_sendingRequest = nullptr;

// A table row's operations, made from the generated client's. A row whose
// argument or result type differs from the service's fails to compile here.
template<auto send, class Arg> void sendAs(Client &client, Cob cob, const void *arg)
{
    (client.*send)(std::move(cob), *static_cast<const Arg *>(arg));
}

// Plain new and delete rather than a shared_ptr per type: two small functions
// per row instead of a control block class each.
template<class Result, auto receive> void *receiveAs(Client &client)
{
    std::unique_ptr<Result> value(new Result());
    if constexpr (std::is_same_v<Result, KLumoVoidResult>)
        (client.*receive)();
    else
        (client.*receive)(*value);
    return value.release();
}

template<class T> void destroyAs(void *value)
{
    delete static_cast<T *>(value);
}

// The value a call of this type ends with when it expires or cannot be sent.
template<class Result> inline const Result fallbackOf {};

// The client's input buffer, which the channel fills with the reply before it
// runs the completion callback. The generated client keeps it protected.
struct ClientInput : Client
{
    static bool isEmpty(Client &client)
    {
        return (client.*&ClientInput::itrans_)->available_read() == 0;
    }
    // Whether the reply waiting there is the service's exception: the compact
    // header's second byte holds the message type in its top three bits.
    static bool isException(Client &client)
    {
        uint8_t *at = nullptr;
        uint32_t len = 0;
        (client.*&ClientInput::itrans_)->getBuffer(&at, &len);
        return len >= 2 && (at[1] >> 5) == apache::thrift::protocol::T_EXCEPTION;
    }
};

int expiryFromEnvironment()
{
    bool ok = false;
    const int ms = qEnvironmentVariableIntValue("LUMOIPC_CALL_EXPIRY_MS", &ok);
    return ok && ms > 0 ? ms : KLumoIpcHandler::DefaultExpiryMs;
}

} // namespace

KLumoIpcHandlerPrivate::KLumoIpcHandlerPrivate(
    std::shared_ptr<Client> client, std::shared_ptr<apache::thrift::async::TAsyncChannel> transport)
    : m_pClient(std::move(client))
    , m_pTransport(std::move(transport))
    , m_pResults(std::make_shared<KLumoResultDelivery>())
    , m_nExpiryMs(expiryFromEnvironment())
{
    KLumoMetaTypes::registerAll();
    m_oWorker.setObjectName(QStringLiteral("KLumoIpcHandler"));
    moveToThread(&m_oWorker);
    m_oWorker.start();
    KLumoQueuedCall::post(this, [this] { onInitCheckExpriedTimer(); });
}

KLumoIpcHandlerPrivate::~KLumoIpcHandlerPrivate()
{
    m_pResults->pending().clear();
    // Calls still queued never start: they end silently, like those in flight.
    QCoreApplication::removePostedEvents(this);
    m_oWorker.requestInterruption(); // a slot that takes long may give up now
    // The timer belongs to the worker: once the slot running now (if any) is
    // done, stop and free it there, then let the thread end.
    KLumoQueuedCall::post(this, [this] {
        onCheckExpriedTimerAutoPolicy();
        delete m_pExpiryTimer;
        m_pExpiryTimer = nullptr;
        tsan::release(this); // QThread::wait() below is invisible to it
        m_oWorker.quit();
    });
    if (!m_oWorker.wait(5000)) {
        ofx::lumo::log::warning(
            lcLumoIpc(), QStringLiteral("KLumoIpcHandlerPrivate: worker did not stop in time"));
        m_oWorker.wait(); // a running QThread is never destroyed
    }
    tsan::acquire(this);
}

void KLumoIpcHandlerPrivate::setExpiryInterval(int ms)
{
    m_nExpiryMs.store(ms > 0 ? ms : KLumoIpcHandler::DefaultExpiryMs);
}

int KLumoIpcHandlerPrivate::followUpInterval() const
{
    // Checks after the first expiry run every 2 s, or more often when the expiry
    // itself is short, so that a call ends within an eighth of the interval late.
    return std::max(1, std::min(2000, m_nExpiryMs.load() / 8));
}

void KLumoIpcHandlerPrivate::registerPending(const QString &requestId,
                                             const QPointer<QObject> &receiver,
                                             const QString &slotMethod, const QString &method,
                                             const void *fallbackValue, const char *fallbackType)
{
    const KLumoPendingCall call {receiver,
                                 slotMethod,
                                 method,
                                 QDateTime::currentMSecsSinceEpoch(),
                                 fallbackValue,
                                 fallbackType,
                                 m_eRoute == KLumoIpcHandler::Route::Typed};
    if (m_pResults->pending().add(requestId, call) == 1)
        onCheckExpriedTimerAutoPolicy();
}

void KLumoIpcHandlerPrivate::removePending(const QString &requestId)
{
    m_pResults->pending().take(requestId);
    if (m_pResults->pending().isEmpty())
        onCheckExpriedTimerAutoPolicy();
}

void KLumoIpcHandlerPrivate::onResultEx(const QString &requestId, LumoIpc::Status::Code code,
                                        const void *value)
{
    m_pResults->deliver(requestId, code, value);
}

void KLumoIpcHandlerPrivate::start(const Call &call, const char *typeName, const void *fallback,
                                   const void *closedValue, Send send, const void *arg,
                                   Receive receive, Destroy destroy)
{
    using Code = LumoIpc::Status::Code;
    registerPending(call.requestId, call.receiver, call.slotMethod, call.method, fallback,
                    typeName);
    if (!m_pClient || !m_pTransport || !m_pTransport->good()) {
        onResultEx(call.requestId, Code::NotConnected, closedValue);
        return;
    }

    // The adapter: runs where the channel completes replies.
    const std::weak_ptr<KLumoResultDelivery> weakResults = m_pResults;
    Cob adapter = [weakResults, call, closed = closedValue, receive, destroy](Client *client) {
        const std::shared_ptr<KLumoResultDelivery> results = weakResults.lock();
        if (!results)
            return; // the dispatcher is gone
        if (t_sendingRequest && *t_sendingRequest == call.requestId) {
            // Called from inside the send: nothing went out and the input buffer
            // may be in use by a reply on the channel's thread. End the call now.
            results->deliver(call.requestId, Code::NotConnected, closed);
            return;
        }
        // An empty input buffer means the channel gave up on the call without a
        // reply (not connected, or the write failed): the receive below fails and
        // is logged like any other, and the call ends now instead of expiring.
        const bool noReply = ClientInput::isEmpty(*client);
        const bool exception = ClientInput::isException(*client);
        try {
            results->deliver(call.requestId, std::shared_ptr<void>(receive(*client), destroy));
        } catch (const std::exception &e) {
            ofx::lumo::log::info(lcLumoIpc(),
                                 QLatin1String(call.exceptionText) + QString::fromUtf8(e.what()));
            if (noReply)
                results->deliver(call.requestId, Code::NotConnected, closed);
            else
                results->fail(call.requestId,
                              exception && dynamic_cast<const TApplicationException *>(&e)
                                  ? Code::ServiceException
                                  : Code::UndecodableReply,
                              QString::fromUtf8(e.what()));
        }
    };

    t_sendingRequest = &call.requestId;
    try {
        send(*m_pClient, std::move(adapter), arg);
    } catch (const std::exception &e) {
        t_sendingRequest = nullptr;
        ofx::lumo::log::info(lcLumoIpc(),
                             QLatin1String(call.exceptionText) + QString::fromUtf8(e.what()));
        onResultEx(call.requestId, Code::NotConnected, closedValue);
        return;
    }
    t_sendingRequest = nullptr;
}

void KLumoIpcHandlerPrivate::cancelRequest(const QString &requestId)
{
    removePending(requestId);
}

void KLumoIpcHandlerPrivate::asynCall(const QString &requestId, const QString &method,
                                      const QStringList &params, const QPointer<QObject> &receiver,
                                      const QString &slotMethod)
{
    struct Request
    {
        std::string method;
        LumoStringList params;
    } request {method.toStdString(), {}};
    request.params.reserve(size_t(params.size()));
    for (const QString &param : params)
        request.params.push_back(param.toStdString());

    start(
        Call {requestId, receiver, slotMethod, method, "Exception on asynCall"}, "KRpcResponse",
        &KRpcResponse::waitReadError(), &KRpcResponse::connectError(),
        [](Client &client, Cob cob, const void *arg) {
            const auto &request = *static_cast<const Request *>(arg);
            client.asynCall(std::move(cob), request.method, request.params);
        },
        &request,
        [](Client &client) -> void * {
            LumoStringMap reply;
            client.recv_asynCall(reply);
            stringMap values;
            for (const auto &entry : reply)
                values.insert(QString::fromStdString(entry.first),
                              QString::fromStdString(entry.second));
            return new KRpcResponse(values);
        },
        &destroyAs<KRpcResponse>);
}

void KLumoIpcHandlerPrivate::start(const Method &method, const QString &requestId, const void *arg,
                                   const QPointer<QObject> &receiver, const QString &slotMethod)
{
    start(Call {requestId, receiver, slotMethod, QLatin1String(method.slot), method.exceptionText},
          method.typeName, method.fallback, method.fallback, method.send, arg, method.receive,
          method.destroy);
}

// A call of the table, and lumoIpcCall, which is called alike. Each slot adds a
// constant and a call: the code that runs is shared.
#define LUMO_DISPATCH(slot, method, Arg, Result, text)                                             \
    void KLumoIpcHandlerPrivate::slot(const QString &requestId, const Arg &arg,                    \
                                      const QPointer<QObject> &receiver,                           \
                                      const QString &slotMethod)                                   \
    {                                                                                              \
        static constexpr Method row {#slot,                                                        \
                                     text,                                                         \
                                     registeredName<Result>(#Result),                              \
                                     &fallbackOf<Result>,                                          \
                                     &sendAs<&Client::method, Arg>,                                \
                                     &receiveAs<Result, &Client::recv_##method>,                   \
                                     &destroyAs<Result>};                                          \
        start(row, requestId, &arg, receiver, slotMethod);                                         \
    }
#include "dispatch/klumodispatchtable.def"
LUMO_DISPATCH(lumoIpcCall, lumoIpcCall, LumoIpcArg, LumoIpcResult, "Exception on lumoIpcCall")
#undef LUMO_DISPATCH

void KLumoIpcHandlerPrivate::onInitCheckExpriedTimer()
{
    if (m_pExpiryTimer)
        return;
    m_pExpiryTimer = new QTimer(this);
    m_pExpiryTimer->setSingleShot(true);
    connect(m_pExpiryTimer, &QTimer::timeout, this, &KLumoIpcHandlerPrivate::onCheckExpiredRequest);
    onCheckExpriedTimerAutoPolicy();
}

void KLumoIpcHandlerPrivate::onCheckExpriedTimerAutoPolicy()
{
    if (!m_pExpiryTimer)
        return;
    if (m_pResults->pending().isEmpty())
        m_pExpiryTimer->stop();
    else if (!m_pExpiryTimer->isActive())
        m_pExpiryTimer->start(m_nExpiryMs.load());
}

void KLumoIpcHandlerPrivate::onCheckExpiredRequest()
{
    const int expiryMs = m_nExpiryMs.load();
    const auto expired =
        m_pResults->pending().expired(QDateTime::currentMSecsSinceEpoch(), expiryMs);
    for (const auto &entry : expired)
        onResultEx(entry.first, LumoIpc::Status::Code::Expired, entry.second.fallbackValue);
    // Replies remove their records without waking this thread; when nothing is
    // left the sweep simply rests until the next registration starts it again.
    const qint64 oldest = m_pResults->pending().oldestStartTime();
    if (oldest < 0)
        return;
    const qint64 dueIn = oldest + expiryMs + 1 - QDateTime::currentMSecsSinceEpoch();
    m_pExpiryTimer->start(int(std::clamp<qint64>(dueIn, 1, followUpInterval())));
}

} // namespace ofx::lumoipc

#include "dispatch/moc_klumoipchandler_p.cpp"
