#include "klumoserviceemulator.h"

#include "klumojsoncodec.h"
#include "klumojsonmessage.h"

#include "connection/klumolockfile.h"
#include "support/klumopaths.h"
#include "transport/klumoframe.h"

#include <thrift/TApplicationException.h>

#include <QLocalSocket>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace ofx::lumo {

namespace {

// A frame announcing more than this is treated as garbage rather than buffered.
constexpr quint32 MaxFrame = 256u << 20;

void note(const QString &text)
{
    std::fprintf(stderr, "lumo-service: %s\n", qPrintable(text));
}

} // namespace

KLumoServiceEmulator::KLumoServiceEmulator(QObject *parent)
    : QObject(parent)
{
    connect(&m_server, &QLocalServer::newConnection, this, &KLumoServiceEmulator::onNewConnection);
}

KLumoServiceEmulator::~KLumoServiceEmulator()
{
    stop();
}

QString KLumoServiceEmulator::defaultServerName()
{
    return KLumoPaths::localServerName();
}

bool KLumoServiceEmulator::start(const QString &serverName, QString *error)
{
    m_existLock = std::make_unique<KLumoLockFile>(QLatin1String(KLumoLockFile::ExistKey));
    m_mainLock = std::make_unique<KLumoLockFile>(QLatin1String(KLumoLockFile::MainKey));
    m_existLock->tryLock(); // several processes may "exist"; only the main lock excludes
    if (!m_faults.has(KLumoEmulatorFaults::NoMainLock) && !m_mainLock->tryLock()) {
        *error = QStringLiteral("another service holds the main lock (%1)")
                     .arg(KLumoLockFile::path(QLatin1String(KLumoLockFile::MainKey)));
        return false;
    }
    // Holding the main lock, any socket file left under our name is stale.
    QLocalServer::removeServer(serverName);
    m_server.setSocketOptions(m_faults.has(KLumoEmulatorFaults::OpenSocket)
                                  ? QLocalServer::WorldAccessOption
                                  : QLocalServer::UserAccessOption);
    if (!m_server.listen(serverName)) {
        *error = QStringLiteral("cannot listen on %1: %2").arg(serverName, m_server.errorString());
        m_mainLock->release();
        return false;
    }
    return true;
}

bool KLumoServiceEmulator::setRequestLog(const QString &path, QString *error)
{
    return m_log.openRequests(path, error);
}

bool KLumoServiceEmulator::setFrameLog(const QString &path, QString *error)
{
    return m_log.openFrames(path, error);
}

bool KLumoServiceEmulator::login(const KLumoJsonValue *profile, std::string *error)
{
    if (profile && !m_scenario.setProfile(*profile, error))
        return false;
    if (m_faults.has(KLumoEmulatorFaults::LoginUnlocked)) {
        m_unlockedLogin = true;
        return true;
    }
    if (!m_loginLock)
        m_loginLock = std::make_unique<KLumoLockFile>(QLatin1String(KLumoLockFile::LoginStatusKey));
    if (!m_loginLock->isLocked() && !m_loginLock->tryLock()) {
        *error = "the login-status lock is held by another process";
        return false;
    }
    return true;
}

void KLumoServiceEmulator::logout()
{
    m_unlockedLogin = false;
    if (m_loginLock)
        m_loginLock->release();
}

bool KLumoServiceEmulator::isLoggedIn() const
{
    return m_unlockedLogin || (m_loginLock && m_loginLock->isLocked());
}

int KLumoServiceEmulator::push(const std::string &name, const KLumoJsonValue &arg,
                               std::string *error)
{
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method(NotifyService, name);
    if (!m) {
        *error = name + ": not a notification of " + NotifyService;
        return -1;
    }
    KLumoJsonValue args = KLumoJsonValue::object();
    args.insert("arg", arg);
    std::string body;
    try {
        body = KLumoJsonMessage::encodeCall(*m, args, 0);
    } catch (const KLumoJsonError &e) {
        *error = e.what();
        return -1;
    }
    int sent = 0;
    const bool underRequestId = m_faults.has(KLumoEmulatorFaults::NotifySeq);
    for (auto &c : m_clients) {
        send(c.first, underRequestId ? c.second.lastSeqId : 0, body);
        ++sent;
    }
    return sent;
}

int KLumoServiceEmulator::sendRaw(const QByteArray &bytes)
{
    for (auto &c : m_clients)
        c.first->write(bytes);
    return int(m_clients.size());
}

int KLumoServiceEmulator::cutClients()
{
    constexpr quint32 Announced = 1u << 20, Sent = 64u << 10;
    const auto clients = m_clients;
    for (const auto &c : clients) {
        char header[frame::HeaderSize];
        frame::writeHeader(header, Announced, c.second.lastSeqId);
        c.first->write(header, sizeof header);
        c.first->write(QByteArray(int(Sent), '\x5a'));
        c.first->flush();
        m_clients.erase(c.first);
        c.first->abort();
        c.first->deleteLater();
    }
    return int(clients.size());
}

void KLumoServiceEmulator::setStalled(bool stalled)
{
    m_stalled = stalled;
    for (auto &c : m_clients) {
        // A tiny read buffer makes Qt stop draining the socket, so the kernel's
        // buffers fill and the client feels it.
        c.first->setReadBufferSize(stalled ? 1 : 0);
        if (!stalled)
            QTimer::singleShot(0, this, [this, s = c.first] { onReadyRead(s); });
    }
}

void KLumoServiceEmulator::stop()
{
    if (m_stopped)
        return;
    m_stopped = true;
    m_server.close();
    const auto clients = m_clients;
    for (const auto &c : clients) {
        c.first->flush();
        c.first->abort();
        c.first->deleteLater();
    }
    m_clients.clear();
    logout();
    if (m_mainLock)
        m_mainLock->release();
    if (m_existLock)
        m_existLock->release();
    Q_EMIT stopped();
}

void KLumoServiceEmulator::onNewConnection()
{
    while (QLocalSocket *s = m_server.nextPendingConnection()) {
        m_clients.emplace(s, Client());
        m_newest = s;
        if (m_stalled)
            s->setReadBufferSize(1);
        connect(s, &QLocalSocket::readyRead, this, [this, s] { onReadyRead(s); });
        connect(s, &QLocalSocket::disconnected, this, [this, s] { onDisconnected(s); });
    }
}

void KLumoServiceEmulator::onDisconnected(QLocalSocket *socket)
{
    if (m_newest == socket)
        m_newest = nullptr;
    if (m_clients.erase(socket))
        socket->deleteLater();
}

void KLumoServiceEmulator::onReadyRead(QLocalSocket *socket)
{
    auto it = m_clients.find(socket);
    if (it == m_clients.end())
        return;
    if (m_stalled)
        return;
    QByteArray &buf = it->second.buffer;
    buf += socket->readAll();
    int pos = 0;
    int handled = 0;
    while (buf.size() - pos >= int(frame::HeaderSize)) {
        const frame::Header h = frame::readHeader(buf.constData() + pos);
        if (!h.hasMagic() || h.total < frame::HeaderSize || h.total > MaxFrame)
            return drop(socket, QStringLiteral("malformed frame from a client"));
        if (quint32(buf.size() - pos) < h.total)
            break;
        const std::string body(buf.constData() + pos + frame::HeaderSize, h.bodyLength());
        pos += int(h.total);
        m_log.frame(false, h.seqId, body);
        it->second.lastSeqId = h.seqId;
        handleFrame(socket, h.seqId, body);
        if (!m_clients.count(socket))
            return;
        if (m_faults.has(KLumoEmulatorFaults::DropPipelined)
            && ++handled == KLumoEmulatorFaults::FramesPerRead) {
            buf.clear();
            return;
        }
    }
    buf.remove(0, pos);
}

void KLumoServiceEmulator::handleFrame(QLocalSocket *socket, quint32 seqId, const std::string &body)
{
    KLumoJsonMessage::Call call;
    try {
        // The arguments matter only to the request log and to the generic
        // route (whose name picks the behaviour); otherwise skip decoding them.
        const bool generic = body.find("asynCall") != std::string::npos;
        call = KLumoJsonMessage::decodeCall(RequestService, body, m_log.logsRequests() || generic);
    } catch (const std::exception &e) {
        return drop(socket,
                    QStringLiteral("undecodable request (%1)").arg(QString::fromUtf8(e.what())));
    }
    ++m_requests;
    m_log.request(call.name, call.args);
    if (m_faults.has(KLumoEmulatorFaults::NoReply))
        return;
    if (call.type == apache::thrift::protocol::T_ONEWAY || (call.method && call.method->oneway)) {
        if (call.method && m_faults.has(KLumoEmulatorFaults::ReplyOneway))
            send(socket, seqId, KLumoJsonMessage::encodeReply(*call.method, {}, call.seqId));
        return;
    }
    std::string reply;
    int delayMs = 0;
    if (!call.method) {
        using apache::thrift::TApplicationException;
        reply = KLumoJsonMessage::encodeException(call.name, call.seqId,
                                                  TApplicationException::UNKNOWN_METHOD,
                                                  "Invalid method name: '" + call.name + "'");
    } else {
        reply = answer(call.name, call.args, call.seqId, &delayMs);
    }
    if (reply.empty())
        return;
    if (m_faults.has(KLumoEmulatorFaults::LatestClient) && m_newest)
        socket = m_newest;
    seqId = m_faults.replySeqId(seqId);
    const int copies = m_faults.has(KLumoEmulatorFaults::DoubleReply) ? 2 : 1;
    if (m_faults.has(KLumoEmulatorFaults::Slow))
        delayMs = qMax(delayMs, KLumoEmulatorFaults::SlowMs);
    if (delayMs <= 0) {
        for (int i = 0; i < copies; ++i)
            send(socket, seqId, reply);
        return;
    }
    QPointer<QLocalSocket> guard(socket);
    QTimer::singleShot(delayMs, this, [this, guard, seqId, reply, copies] {
        for (int i = 0; guard && m_clients.count(guard.data()) && i < copies; ++i)
            send(guard.data(), seqId, reply);
    });
}

std::string KLumoServiceEmulator::answer(const std::string &method, const KLumoJsonValue &args,
                                         int32_t seqId, int *delayMs)
{
    using apache::thrift::TApplicationException;
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method(RequestService, method);
    const KLumoEmulatorScenario::Behaviour *b = &m_scenario.behaviour(method);
    std::string generic;
    if (method == "asynCall") {
        if (const KLumoJsonValue *name = args.find("method"))
            generic = name->toString();
        const KLumoEmulatorScenario::Behaviour &g = m_scenario.genericBehaviour(generic);
        if (g.hasReply || g.fail || g.noReply || g.delayMs)
            b = &g;
    }
    *delayMs = b->delayMs;
    if (b->noReply)
        return {};
    if (b->fail)
        return KLumoJsonMessage::encodeException(
            method, seqId, TApplicationException::INTERNAL_ERROR, b->failMessage);

    // The scenario's reply is encoded where it stands: it may be many megabytes.
    KLumoJsonValue built;
    const KLumoJsonValue *value = &built;
    if (b->hasReply) {
        value = &b->reply;
    } else if (method == "getLoginInfo" || generic == "getLoginInfo") {
        if (isLoggedIn()) {
            value = &m_scenario.profile();
        } else {
            built = KLumoJsonValue::object();
            built.insert("isLogined", "0");
        }
    } else if (method == "asynCall") {
        built = KLumoJsonValue::object();
        built.insert("method", generic);
        built.insert("result", "ok");
    } else if (m_faults.has(KLumoEmulatorFaults::WrongResult)
               && jsonschema::types[m->result].kind == jsonschema::Kind::Struct) {
        return KLumoEmulatorFaults::wrongResult(*m, seqId);
    } else {
        built = KLumoJsonCodec::defaultValue(m->result);
    }
    try {
        return KLumoJsonMessage::encodeReply(*m, *value, seqId);
    } catch (const KLumoJsonError &e) {
        return KLumoJsonMessage::encodeException(method, seqId,
                                                 TApplicationException::INTERNAL_ERROR, e.what());
    }
}

void KLumoServiceEmulator::send(QLocalSocket *socket, quint32 seqId, const std::string &body)
{
    m_log.frame(true, seqId, body);
    char header[frame::HeaderSize];
    frame::writeHeader(header, quint32(body.size()), seqId);
    if (seqId && m_faults.has(KLumoEmulatorFaults::BadMagic))
        std::memcpy(header, "LUMO", 4);
    size_t sent = 0;
    if (socket->bytesToWrite() == 0) {
        // Nothing queued ahead of it: straight to the kernel, without a copy
        // into Qt's write buffer or a wait for the next pass of the event loop.
        iovec iov[2] = {{header, sizeof header}, {const_cast<char *>(body.data()), body.size()}};
        msghdr msg {};
        msg.msg_iov = iov;
        msg.msg_iovlen = 2;
        const ssize_t n =
            ::sendmsg(int(socket->socketDescriptor()), &msg, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0)
            sent = size_t(n);
    }
    // What the kernel did not take goes through Qt, which reports any error.
    if (sent < sizeof header) {
        socket->write(header + sent, qint64(sizeof header - sent));
        sent = sizeof header;
    }
    const size_t bodySent = sent - sizeof header;
    if (bodySent < body.size())
        socket->write(body.data() + bodySent, qint64(body.size() - bodySent));
}

void KLumoServiceEmulator::drop(QLocalSocket *socket, const QString &why)
{
    if (m_faults.has(KLumoEmulatorFaults::ExitOnMalformed)) {
        note(why + QStringLiteral("; exiting"));
        ::_exit(1);
    }
    note(why + QStringLiteral("; closing its connection"));
    m_clients.erase(socket);
    if (m_newest == socket)
        m_newest = nullptr;
    socket->abort();
    socket->deleteLater();
}

} // namespace ofx::lumo
