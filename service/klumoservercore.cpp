#include "klumoservercore.h"

#include "klumoreplystate.h"
#include "klumoservicecodec.h"
#include "klumoserviceconnection.h"
#include "klumoservicedecoder.h"
#include "klumoserviceinbuffer.h"
#include "klumoservicelistener.h"
#include "klumoservicelog.h"
#include "klumoservicemethod.h"
#include "klumoserviceoutbox.h"
#include "lumoserviceinterceptor.h"
#include "lumoservicerawhandler.h"

#include "connection/klumolockfile.h"
#include "support/klumopaths.h"
#include "transport/klumoframe.h"
#include "transport/klumopeercheck.h"

#include <thrift/TApplicationException.h>
#include <thrift/TConfiguration.h>
#include <thrift/protocol/TCompactProtocol.h>

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <cstring>

Q_LOGGING_CATEGORY(lcService, "lumoservice", QtInfoMsg)

namespace ofx::lumo {

struct KLumoServerCore::Decoder
{
    // Frames are bounded by the server's own limit; Thrift's default of
    // 100 MB per message must not cut in below it.
    std::shared_ptr<KLumoServiceInBuffer> in = std::make_shared<KLumoServiceInBuffer>(
        std::make_shared<apache::thrift::TConfiguration>(INT_MAX));
    KLumoServiceDecoder protocol {in, frame::MaxStringBytes, frame::MaxContainerElements};
    // The method's name when the protocol reads the header, its memory kept.
    std::string name;
};

using apache::thrift::TApplicationException;
using apache::thrift::transport::TMemoryBuffer;

KLumoServerCore::KLumoServerCore(LumoService::Server *server)
    : q(server)
    , m_pNotifier(makeNotifier(this), &dropNotifier)
    , m_pOutbox(std::make_shared<KLumoServiceOutbox>())
    , m_pDecoder(std::make_unique<Decoder>())
{
    log::installThriftOutput();
    // For queued connections to the server's signals and QSignalSpy.
    qRegisterMetaType<LumoService::ClientId>("LumoService::ClientId");
    m_pOutbox->attach(this, q);
}

KLumoServerCore::~KLumoServerCore()
{
    m_pOutbox->detach();
    close();
    setInterceptor(nullptr); // it may outlive the server (a base of its owner)
}

bool KLumoServerCore::listen(QString *error)
{
    QString why;
    if (m_pListener && m_pListener->isListening())
        return true;
    const QString name = m_strName.isEmpty() ? KLumoPaths::localServerName() : m_strName;
    m_pExistLock = std::make_unique<KLumoLockFile>(QLatin1String(KLumoLockFile::ExistKey));
    m_pMainLock = std::make_unique<KLumoLockFile>(QLatin1String(KLumoLockFile::MainKey));
    m_pExistLock->tryLock(); // several processes may exist; the main lock excludes
    const bool mainLock = !m_pInterceptor || m_pInterceptor->takesMainLock();
    if (mainLock && !m_pMainLock->tryLock()) {
        why = QStringLiteral("another service holds the main lock (%1)")
                  .arg(KLumoLockFile::path(QLatin1String(KLumoLockFile::MainKey)));
    } else {
        // Holding the main lock, a socket left under the name is a dead service's.
        QLocalServer::removeServer(name);
        if (!m_pListener)
            m_pListener = new KLumoServiceListener([this](int fd) { accept(fd); }, q);
        if (!m_pListener->listen(name))
            why = QStringLiteral("cannot listen on %1: %2").arg(name, m_pListener->errorString());
    }
    if (why.isEmpty()) {
        m_pOutbox->attach(this, q); // the thread that listens is the server's
        log::info(
            lcService(),
            QStringLiteral("LumoService::Server::listen %1").arg(m_pListener->fullServerName()));
        return true;
    }
    // The caller has the reason; a debug line keeps its output its own.
    log::debug(lcService(), QStringLiteral("LumoService::Server::listen: ") + why);
    if (error)
        *error = why;
    m_pMainLock.reset();
    m_pExistLock.reset();
    return false;
}

void KLumoServerCore::close()
{
    if (m_pListener)
        m_pListener->close();
    // Closing removes the client from the map.
    while (!m_mapClients.empty()) {
        KLumoServiceConnection *connection = m_mapClients.begin()->second;
        connection->flush(); // what was sent before the close goes out
        connection->close(QString());
    }
    m_pLoginLock.reset();
    m_pMainLock.reset();
    m_pExistLock.reset();
}

bool KLumoServerCore::setLoggedIn(bool loggedIn)
{
    if (!loggedIn) {
        m_pLoginLock.reset();
        return true;
    }
    if (!m_pLoginLock)
        m_pLoginLock =
            std::make_unique<KLumoLockFile>(QLatin1String(KLumoLockFile::LoginStatusKey));
    if (m_pLoginLock->tryLock() && m_pLoginLock->isLocked())
        return true;
    m_pLoginLock.reset();
    return false;
}

void KLumoServerCore::accept(int fd)
{
    QString why;
    if (!samePeerUid(fd, &why)) {
        log::warning(lcService(),
                     QStringLiteral("LumoService::Server: refused a connection: ") + why);
        ::close(fd);
        return;
    }
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    const LumoService::ClientId id = ++m_nLastClient;
    auto *connection = new KLumoServiceConnection(this, id, fd, m_nMaxFrame, q);
    connection->setReading(m_bReading);
    m_mapClients[id] = connection;
    Q_EMIT q->signal_clientConnected(id);
}

void KLumoServerCore::forget(LumoService::ClientId client)
{
    if (m_mapClients.erase(client))
        Q_EMIT q->signal_clientDisconnected(client);
}

void KLumoServerCore::send(LumoService::ClientId client, const QByteArray &frame)
{
    if (client != LumoService::AllClients && !m_pInterceptor) {
        const auto it = m_mapClients.find(client);
        if (it != m_mapClients.end())
            it->second->send(frame);
        return;
    }
    std::vector<LumoService::ClientId> targets;
    if (client != LumoService::AllClients)
        targets.push_back(client);
    else
        for (const auto &entry : m_mapClients)
            targets.push_back(entry.first);
    // A client closed by its own send leaves the map: it is looked up each time.
    for (const LumoService::ClientId id : targets) {
        LumoService::Interceptor::Outgoing out {id, frame, 1};
        if (m_pInterceptor)
            m_pInterceptor->outgoing(out);
        const auto it = m_mapClients.find(out.client);
        for (int i = 0; it != m_mapClients.end() && i < out.copies; ++i)
            it->second->send(out.frame);
    }
}

void KLumoServerCore::sendReply(const KLumoReplyState &call, KLumoServiceCodec::Write write,
                                const void *value)
{
    if (m_pInterceptor)
        return send(call.client(),
                    KLumoServiceCodec::reply(call.m_nFrameSeq, call.m_pMethod, call.m_nThriftSeq,
                                             write, value));
    // On this thread an open link's connection is alive: it closes here first.
    if (call.isClientOpen())
        call.m_pLink->m_pConnection->sendReply(call, write, value);
}

void KLumoServerCore::malformed(KLumoServiceConnection *connection, const QString &why)
{
    if (m_pInterceptor)
        m_pInterceptor->malformed(connection->id(), why);
    connection->close(why);
}

void KLumoServerCore::setInterceptor(LumoService::Interceptor *interceptor)
{
    if (m_pInterceptor)
        m_pInterceptor->m_pCore = nullptr;
    m_pInterceptor = interceptor;
    if (interceptor)
        interceptor->m_pCore = this;
}

void KLumoServerCore::writeRaw(LumoService::ClientId client, const QByteArray &bytes)
{
    const auto it = m_mapClients.find(client);
    if (it != m_mapClients.end())
        it->second->send(bytes);
}

void KLumoServerCore::setReading(bool reading)
{
    m_bReading = reading;
    for (const auto &entry : m_mapClients)
        entry.second->setReading(reading);
}

void KLumoServerCore::dispatch(KLumoServiceConnection *connection, quint32 seqId, const char *body,
                               quint32 length)
{
    using namespace apache::thrift::protocol;
    auto &decoder = m_pDecoder->protocol;
    KLumoServiceCodec::Envelope envelope;
    if (KLumoServiceCodec::readEnvelope(body, length, &envelope)) {
        m_pDecoder->in->observe(body + envelope.size, length - envelope.size);
    } else {
        // Not a header in the usual form: the protocol's reader takes it, or says why not.
        m_pDecoder->in->observe(body, length);
        TMessageType type = T_CALL;
        try {
            decoder.readMessageBegin(m_pDecoder->name, type, envelope.thriftSeq);
        } catch (const std::exception &e) {
            return malformed(connection,
                             QStringLiteral("a frame that holds no Thrift message (%1)")
                                 .arg(QString::fromUtf8(e.what())));
        }
        envelope.type = type;
        envelope.method = m_pDecoder->name;
    }
    const std::string_view name = envelope.method;
    const int32_t thriftSeq = envelope.thriftSeq;
    const auto type = TMessageType(envelope.type);
    if (type != T_CALL && type != T_ONEWAY)
        return malformed(connection,
                         QStringLiteral("a message of type %1 where a call belongs").arg(type));
    const KLumoServiceMethod *method =
        m_pLastMethod && name == std::string_view(m_pLastMethod->name, m_nLastMethodLength)
        ? m_pLastMethod
        : KLumoServiceMethod::find(name);
    if (!method) {
        if (type == T_CALL)
            connection->send(KLumoServiceCodec::exception(
                seqId, name, thriftSeq, TApplicationException::UNKNOWN_METHOD,
                "Invalid method name: '" + std::string(name) + "'"));
        return;
    }
    if (method != m_pLastMethod) {
        m_pLastMethod = method;
        m_nLastMethodLength = std::strlen(method->name);
    }
    if (!method->oneway && seqId == 0)
        return malformed(connection,
                         QStringLiteral("a call of %1 under sequence id 0, which is "
                                        "the notifications'")
                             .arg(QLatin1String(method->name)));
    KLumoServiceMethod::State state;
    if (!method->oneway)
        state =
            std::make_shared<KLumoReplyState>(connection->link(), seqId, thriftSeq, method->name);
    if (m_pRawHandler)
        return dispatchRaw(connection, seqId, body, length, method->name, method->oneway, thriftSeq,
                           std::move(state));
    LumoService::Handler &handler = m_pHandler ? *m_pHandler : KLumoServiceMethod::fallback();
    try {
        method->call(handler, decoder, state);
    } catch (const std::exception &e) {
        // Until its arguments decode, the call has no Reply: state still holds it.
        if (state || method->oneway)
            return malformed(connection,
                             QStringLiteral("a call of %1 whose arguments do not "
                                            "decode (%2)")
                                 .arg(QLatin1String(method->name), QString::fromUtf8(e.what())));
        log::warning(lcService(),
                     QStringLiteral("LumoService::Server: the handler of %1 threw: %2")
                         .arg(QLatin1String(method->name), QString::fromUtf8(e.what())));
    }
}

void KLumoServerCore::dispatchRaw(KLumoServiceConnection *connection, quint32 seqId,
                                  const char *body, quint32 length, const char *method, bool oneway,
                                  qint32 thriftSeq, KLumoServiceMethod::State state)
{
    LumoService::RawCall call;
    call.client = connection->id();
    call.seqId = seqId;
    call.method = method;
    call.oneway = oneway;
    call.thriftSeqId = thriftSeq;
    call.message = QByteArray(body, int(length));
    try {
        m_pRawHandler->call(call, LumoService::Reply<QByteArray>(std::move(state)));
    } catch (const std::exception &e) {
        log::warning(lcService(),
                     QStringLiteral("LumoService::Server: the handler of %1 threw: %2")
                         .arg(QLatin1String(method), QString::fromUtf8(e.what())));
    }
}

} // namespace ofx::lumo
