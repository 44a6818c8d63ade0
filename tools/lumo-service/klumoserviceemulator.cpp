#include "klumoserviceemulator.h"

#include "klumojsoncodec.h"
#include "klumojsonmessage.h"

#include <LumoService/Discovery>
#include <LumoService/Frame>

#include <thrift/TApplicationException.h>

#include <QFile>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace ofx::lumo {

namespace {

void note(const QString &text)
{
    std::fprintf(stderr, "lumo-service: %s\n", qPrintable(text));
}

quint32 seqOf(const QByteArray &frame)
{
    return frame::readHeader(frame.constData()).seqId;
}

void setSeq(QByteArray &frame, quint32 seqId)
{
    frame::writeHeader(frame.data(), frame::readHeader(frame.constData()).bodyLength(), seqId);
}

} // namespace

KLumoServiceEmulator::KLumoServiceEmulator(QObject *parent)
    : QObject(parent)
{
    m_oServer.setRawHandler(this);
    m_oServer.setInterceptor(this);
    connect(&m_oServer, &LumoService::Server::signal_clientConnected, this,
            [this](ClientId client) { m_nNewest = client; });
    connect(&m_oServer, &LumoService::Server::signal_clientDisconnected, this,
            [this](ClientId client) {
                m_mapLastSeq.erase(client);
                m_mapUnanswered.erase(client); // their client left: nothing is sent
                if (m_nNewest == client)
                    m_nNewest = 0;
            });
}

KLumoServiceEmulator::~KLumoServiceEmulator()
{
    stop();
}

QString KLumoServiceEmulator::defaultServerName()
{
    return LumoService::Discovery::serverName();
}

bool KLumoServiceEmulator::start(const QString &serverName, QString *error)
{
    m_oServer.setServerName(serverName);
    if (!m_oServer.listen(error))
        return false;
    // A departure the SDK does not offer: the emulator makes it itself.
    if (m_oFaults.has(KLumoEmulatorFaults::OpenSocket))
        ::chmod(QFile::encodeName(m_oServer.fullServerName()).constData(), 0777);
    return true;
}

bool KLumoServiceEmulator::setRequestLog(const QString &path, QString *error)
{
    return m_oLog.openRequests(path, error);
}

bool KLumoServiceEmulator::setFrameLog(const QString &path, QString *error)
{
    return m_oLog.openFrames(path, error);
}

bool KLumoServiceEmulator::login(const KLumoJsonValue *profile, std::string *error)
{
    if (profile && !m_oScenario.setProfile(*profile, error))
        return false;
    if (m_oFaults.has(KLumoEmulatorFaults::LoginUnlocked)) {
        m_bUnlockedLogin = true;
        return true;
    }
    if (!m_oServer.setLoggedIn(true)) {
        *error = "the login-status lock is held by another process";
        return false;
    }
    return true;
}

void KLumoServiceEmulator::logout()
{
    m_bUnlockedLogin = false;
    m_oServer.setLoggedIn(false);
}

bool KLumoServiceEmulator::isLoggedIn() const
{
    return m_bUnlockedLogin || m_oServer.isLoggedIn();
}

int KLumoServiceEmulator::push(const std::string &name, const KLumoJsonValue &arg, int64_t times,
                               std::string *error)
{
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method(NotifyService, name);
    if (!m) {
        *error = name + ": not a notification of " + NotifyService;
        return -1;
    }
    KLumoJsonValue args = KLumoJsonValue::object();
    args.insert("arg", arg);
    QByteArray body;
    try {
        body = QByteArray::fromStdString(KLumoJsonMessage::encodeCall(*m, args, 0));
    } catch (const KLumoJsonError &e) {
        *error = e.what();
        return -1;
    }
    // Encoded once: a burst repeats the same message.
    for (int64_t i = 0; i < times; ++i)
        m_oServer.pushMessage(LumoService::AllClients, body);
    return clientCount();
}

int KLumoServiceEmulator::sendRaw(const QByteArray &bytes)
{
    const auto clients = m_oServer.clients();
    for (const ClientId client : clients)
        writeRaw(client, bytes);
    return clients.size();
}

int KLumoServiceEmulator::cutClients()
{
    constexpr quint32 Announced = 1u << 20, Sent = 64u << 10;
    const auto clients = m_oServer.clients();
    for (const ClientId client : clients) {
        QByteArray start(int(frame::HeaderSize + Sent), '\x5a');
        frame::writeHeader(start.data(), Announced, m_mapLastSeq[client]);
        writeRaw(client, start);
        m_oServer.disconnectClient(client);
    }
    return clients.size();
}

void KLumoServiceEmulator::setStalled(bool stalled)
{
    setReading(!stalled);
}

void KLumoServiceEmulator::stop()
{
    if (m_bStopped)
        return;
    m_bStopped = true;
    m_bUnlockedLogin = false;
    m_oServer.close();
    Q_EMIT stopped();
}

bool KLumoServiceEmulator::incoming(ClientId client, quint32 seqId, const QByteArray &body,
                                    int index)
{
    m_oLog.frame(false, seqId, body.toStdString());
    m_mapLastSeq[client] = seqId;
    return !(m_oFaults.has(KLumoEmulatorFaults::DropPipelined)
             && index >= KLumoEmulatorFaults::FramesPerRead);
}

void KLumoServiceEmulator::outgoing(Outgoing &out)
{
    const quint32 seqId = seqOf(out.frame);
    if (seqId == 0) {
        if (m_oFaults.has(KLumoEmulatorFaults::NotifySeq))
            setSeq(out.frame, m_mapLastSeq[out.client]);
    } else {
        if (m_oFaults.has(KLumoEmulatorFaults::NoReply))
            out.copies = 0;
        if (m_oFaults.has(KLumoEmulatorFaults::LatestClient) && m_nNewest)
            out.client = m_nNewest;
        const quint32 sent = m_oFaults.replySeqId(seqId);
        if (sent != seqId)
            setSeq(out.frame, sent);
        if (m_oFaults.has(KLumoEmulatorFaults::BadMagic))
            std::memcpy(out.frame.data(), "LUMO", 4);
        if (m_oFaults.has(KLumoEmulatorFaults::DoubleReply))
            out.copies = 2;
    }
    if (m_oLog.logsFrames()) {
        const std::string body = out.frame.mid(int(frame::HeaderSize)).toStdString();
        for (int i = 0; i < out.copies; ++i)
            m_oLog.frame(true, seqOf(out.frame), body);
    }
}

void KLumoServiceEmulator::malformed(ClientId client, const QString &why)
{
    if (m_oFaults.has(KLumoEmulatorFaults::ExitOnMalformed)) {
        note(why + QStringLiteral("; exiting"));
        ::_exit(1);
    }
    note(why + QStringLiteral("; closing its connection"));
}

bool KLumoServiceEmulator::takesMainLock() const
{
    return !m_oFaults.has(KLumoEmulatorFaults::NoMainLock);
}

void KLumoServiceEmulator::drop(ClientId client, const QString &why)
{
    malformed(client, why);
    m_oServer.disconnectClient(client);
}

void KLumoServiceEmulator::call(const LumoService::RawCall &call,
                                LumoService::Reply<QByteArray> reply)
{
    const std::string body = call.message.toStdString();
    KLumoJsonMessage::Call decoded;
    try {
        // The arguments matter only to the request log and to the generic
        // route (whose name picks the behaviour); otherwise skip decoding them.
        decoded = KLumoJsonMessage::decodeCall(RequestService, body,
                                               m_oLog.logsRequests() || call.method == "asynCall");
    } catch (const std::exception &e) {
        return drop(call.client,
                    QStringLiteral("undecodable request (%1)").arg(QString::fromUtf8(e.what())));
    }
    ++m_nRequests;
    m_oLog.request(decoded.name, decoded.args);
    if (call.oneway) {
        // The SDK answers no one-way call: the fault writes its answer itself.
        if (m_oFaults.has(KLumoEmulatorFaults::ReplyOneway) && decoded.method) {
            Outgoing out {call.client,
                          frame::make(call.seqId,
                                      QByteArray::fromStdString(KLumoJsonMessage::encodeReply(
                                          *decoded.method, {}, call.thriftSeqId))),
                          1};
            outgoing(out);
            for (int i = 0; i < out.copies; ++i)
                writeRaw(out.client, out.frame);
        }
        return;
    }
    int delayMs = 0;
    const std::string message = answer(decoded.name, decoded.args, call.thriftSeqId, &delayMs);
    if (message.empty()) {
        // No answer, on purpose: the call is kept, unanswered, while its client stays.
        m_mapUnanswered.emplace(call.client, std::move(reply));
        return;
    }
    if (m_oFaults.has(KLumoEmulatorFaults::Slow))
        delayMs = qMax(delayMs, KLumoEmulatorFaults::SlowMs);
    if (delayMs <= 0)
        return reply.finish(QByteArray::fromStdString(message));
    auto held = std::make_shared<LumoService::Reply<QByteArray>>(std::move(reply));
    QTimer::singleShot(delayMs, this, [held, message] {
        held->finish(QByteArray::fromStdString(message)); // nothing once the client left
    });
}

std::string KLumoServiceEmulator::answer(const std::string &method, const KLumoJsonValue &args,
                                         int32_t seqId, int *delayMs)
{
    using apache::thrift::TApplicationException;
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method(RequestService, method);
    const KLumoEmulatorScenario::Behaviour *b = &m_oScenario.behaviour(method);
    std::string generic;
    if (method == "asynCall") {
        if (const KLumoJsonValue *name = args.find("method"))
            generic = name->toString();
        const KLumoEmulatorScenario::Behaviour &g = m_oScenario.genericBehaviour(generic);
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
            value = &m_oScenario.profile();
        } else {
            built = KLumoJsonValue::object();
            built.insert("isLogined", "0");
        }
    } else if (method == "asynCall") {
        built = KLumoJsonValue::object();
        built.insert("method", generic);
        built.insert("result", "ok");
    } else if (m_oFaults.has(KLumoEmulatorFaults::WrongResult)
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

} // namespace ofx::lumo

#include "moc_klumoserviceemulator.cpp"
