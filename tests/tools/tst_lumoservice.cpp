#include <sys/stat.h> // lumotestenv.h uses chmod

#include "emulatorprocess.h"
#include "klumojsoncodec.h"
#include "klumojsonmessage.h"
#include "lumotestenv.h"
#include "thriftcodec.h"

#include "connection/klumolockfile.h"
#include "transport/klumoframe.h"

#include <KLumoNotifyServices.h>
#include <KLumoServices.h>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <QFile>
#include <QtTest>

#include <csignal>

using namespace ofx::lumo;
using apache::thrift::protocol::TCompactProtocol;
using apache::thrift::transport::TMemoryBuffer;
using lumotest::EmulatorProcess;

namespace {

// The library's side of the wire, reduced to what the tests need: frames out,
// frames in, generated client code to encode requests and decode replies.
class RawClient
{
public:
    bool connect()
    {
        m_socket.connectToServer(lumotest::serviceName());
        return m_socket.waitForConnected(3000);
    }
    void sendRaw(const QByteArray &bytes)
    {
        m_socket.write(bytes);
        m_socket.flush();
    }
    // Encodes one request with the generated client.
    template<class Send> void call(quint32 seqId, Send send)
    {
        auto out = std::make_shared<TMemoryBuffer>();
        KLumoServicesClient client(std::make_shared<TCompactProtocol>(out));
        send(client);
        sendRaw(frame::make(seqId, QByteArray::fromStdString(out->getBufferAsString())));
    }
    // Waits for the next frame; false on timeout or disconnection.
    bool next(quint32 *seqId, std::string *body, int timeoutMs = 3000)
    {
        QElapsedTimer t;
        t.start();
        for (;;) {
            if (m_buffer.size() >= int(frame::HeaderSize)) {
                const frame::Header h = frame::readHeader(m_buffer.constData());
                if (m_buffer.size() >= int(h.total)) {
                    *seqId = h.seqId;
                    *body = m_buffer.mid(frame::HeaderSize, int(h.bodyLength())).toStdString();
                    m_buffer.remove(0, int(h.total));
                    return true;
                }
            }
            const qint64 left = timeoutMs - t.elapsed();
            if (left <= 0 || m_socket.state() != QLocalSocket::ConnectedState)
                return false;
            if (m_socket.waitForReadyRead(int(left)))
                m_buffer += m_socket.readAll();
        }
    }
    // Waits for the next frame and checks that it carries @p seqId.
    bool nextIs(quint32 seqId, std::string *body = nullptr, int timeoutMs = 3000)
    {
        quint32 seq = 0;
        std::string ignored;
        if (!next(&seq, body ? body : &ignored, timeoutMs))
            return false;
        if (seq != seqId)
            qWarning("frame %u where %u was expected", seq, seqId);
        return seq == seqId;
    }
    // Decodes a reply body with the generated client's receive function.
    template<class Recv> static void receive(const std::string &body, Recv recv)
    {
        auto in = std::make_shared<TMemoryBuffer>(
            reinterpret_cast<uint8_t *>(const_cast<char *>(body.data())), uint32_t(body.size()));
        KLumoServicesClient client(std::make_shared<TCompactProtocol>(in));
        recv(client);
    }
    QLocalSocket &socket() { return m_socket; }

private:
    QLocalSocket m_socket;
    QByteArray m_buffer;
};

} // namespace

class TestLumoService : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void holdsLocksAndRefusesSecondInstance();
    void answers_data();
    void answers();
    void delayedAndMissingReplies();
    void loginProfileFollowsControl();
    void pushesNotifications();
    void garbageClosesOnlyThatClient();
    void scenarioErrorsAreReported();

private:
    std::unique_ptr<EmulatorProcess> m_emulator;
};

void TestLumoService::init()
{
    m_emulator = std::make_unique<EmulatorProcess>();
}

void TestLumoService::cleanup()
{
    m_emulator.reset();
}

void TestLumoService::holdsLocksAndRefusesSecondInstance()
{
    QVERIFY(!KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey)));
    QVERIFY(m_emulator->start({"/lumodesk", "/start_from=lumoipc"}));
    QVERIFY(KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey)));
    QVERIFY(KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::ExistKey)));
    QVERIFY(!KLumoLockFile::isLoginStatusHeld());
    // The sockets are for this user only.
    struct stat st;
    QCOMPARE(::stat(QFile::encodeName(QDir::tempPath() + "/" + lumotest::serviceName()).constData(),
                    &st),
             0);
    QCOMPARE(st.st_mode & 077u, 0u);

    QProcess second;
    second.start(QStringLiteral(LUMO_SERVICE_BIN),
                 {"/lumodesk", "/start_from=lumoipc", "autologin"});
    QVERIFY(second.waitForFinished(5000));
    QCOMPARE(second.exitCode(), 1);
    QVERIFY(second.readAllStandardError().contains("another service holds the main lock"));
    // The refused instance must not have disturbed the running one.
    QVERIFY(m_emulator->ok(R"({"cmd":"status"})"));

    // SIGTERM stops cleanly and gives the locks back.
    ::kill(pid_t(m_emulator->pid()), SIGTERM);
    QVERIFY(m_emulator->process().waitForFinished(5000));
    QCOMPARE(m_emulator->process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_emulator->process().exitCode(), 0);
    QVERIFY(!KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey)));
}

void TestLumoService::answers_data()
{
    QTest::addColumn<QByteArray>("control"); // reply setting, or empty for the default
    QTest::addColumn<int>("expectState");
    QTest::addColumn<QString>("expectError");
    QTest::addRow("default result") << QByteArray() << 0 << QString();
    QTest::addRow("scenario reply")
        << QByteArray(R"({"reply":{"state":42,"folderId":"F1"}})") << 42 << QString();
    QTest::addRow("failure") << QByteArray(R"({"fail":"quota exceeded"})") << -1
                             << "quota exceeded";
}

void TestLumoService::answers()
{
    QFETCH(QByteArray, control);
    QFETCH(int, expectState);
    QFETCH(QString, expectError);
    QVERIFY(m_emulator->start());
    if (!control.isEmpty())
        QVERIFY(m_emulator->ok(R"({"cmd":"reply","method":"createFolder","behaviour":)" + control
                               + "}"));
    RawClient c;
    QVERIFY(c.connect());
    CreateFolderArg arg;
    arg.folderName = "x";
    c.call(77, [&](KLumoServicesClient &cl) { cl.send_createFolder(arg); });
    std::string body;
    QVERIFY(c.nextIs(77, &body));
    CreateFolderResult result;
    QString error;
    try {
        RawClient::receive(body, [&](KLumoServicesClient &cl) { cl.recv_createFolder(result); });
    } catch (const apache::thrift::TApplicationException &e) {
        error = QString::fromUtf8(e.what());
    }
    QCOMPARE(error, expectError);
    if (expectState >= 0)
        QCOMPARE(result.state, expectState);

    // Unknown methods are refused the way a generated processor refuses them;
    // oneway methods get no reply at all, so the next frame answers getUserId.
    const jsonschema::Method bogus {"noSuchMethod", 0, false, 0, 0, 0};
    c.sendRaw(frame::make(78, QByteArray::fromStdString(KLumoJsonMessage::encodeCall(bogus, {}))));
    QVERIFY(c.nextIs(78, &body));
    QVERIFY(KLumoJsonMessage::decodeReply(bogus, body).exception);
    c.call(79, [](KLumoServicesClient &cl) { cl.send_showBubble("hello"); });
    c.call(80, [](KLumoServicesClient &cl) { cl.send_getUserId(); });
    QVERIFY(c.nextIs(80));
}

void TestLumoService::delayedAndMissingReplies()
{
    QVERIFY(m_emulator->start());
    QVERIFY(m_emulator->ok(R"({"cmd":"reply","method":"rename","behaviour":{"delayMs":300}})"));
    QVERIFY(m_emulator->ok(R"({"cmd":"reply","method":"remove","behaviour":{"noReply":true}})"));
    RawClient c;
    QVERIFY(c.connect());
    QElapsedTimer t;
    t.start();
    c.call(1, [](KLumoServicesClient &cl) { cl.send_rename(RenameArg()); });
    c.call(2, [](KLumoServicesClient &cl) { cl.send_remove(RemoveArg()); });
    c.call(3, [](KLumoServicesClient &cl) { cl.send_getUserId(); });
    QVERIFY(c.nextIs(3)); // not held up by the slow one
    QVERIFY(c.nextIs(1));
    QVERIFY(t.elapsed() >= 290);
    quint32 seq = 0;
    std::string body;
    QVERIFY(!c.next(&seq, &body, 300)); // remove is never answered
}

void TestLumoService::loginProfileFollowsControl()
{
    QVERIFY(m_emulator->start({"autologin"}));
    QVERIFY(KLumoLockFile::isLoginStatusHeld());
    RawClient c;
    QVERIFY(c.connect());
    auto loginInfo = [&](quint32 seqId) {
        c.call(seqId, [](KLumoServicesClient &cl) { cl.send_getLoginInfo(); });
        std::string body;
        std::map<std::string, std::string> info;
        if (c.nextIs(seqId, &body))
            RawClient::receive(body, [&](KLumoServicesClient &cl) { cl.recv_getLoginInfo(info); });
        return info;
    };
    QCOMPARE(loginInfo(1).at("userId"), std::string("10001"));

    QVERIFY(m_emulator->ok(R"({"cmd":"logout"})"));
    QVERIFY(!KLumoLockFile::isLoginStatusHeld());
    QCOMPARE(loginInfo(2).at("isLogined"), std::string("0"));

    QVERIFY(m_emulator->ok(R"({"cmd":"login","profile":{"userId":"77","userName":"eve"}})"));
    QVERIFY(KLumoLockFile::isLoginStatusHeld());
    const auto info = loginInfo(3);
    QCOMPARE(info.at("userName"), std::string("eve"));
    // The generic route answers getLoginInfo with the same profile.
    c.call(4, [](KLumoServicesClient &cl) { cl.send_asynCall("getLoginInfo", {"app"}); });
    std::string body;
    QVERIFY(c.nextIs(4, &body));
    std::map<std::string, std::string> generic;
    RawClient::receive(body, [&](KLumoServicesClient &cl) { cl.recv_asynCall(generic); });
    QCOMPARE(generic, info);
}

void TestLumoService::pushesNotifications()
{
    QVERIFY(m_emulator->start());
    RawClient a, b;
    QVERIFY(a.connect());
    QVERIFY(b.connect());
    QTRY_COMPARE(m_emulator->ctl(R"({"cmd":"status"})").find("clients")->toInteger(), int64_t(2));
    const KLumoJsonValue answer = m_emulator->ctl(
        R"({"cmd":"push","name":"notifyFileAction","arg":{"action":3,"fileId":"f9","entries":[{}]}})");
    QCOMPARE(answer.find("clients")->toInteger(), int64_t(2));
    for (RawClient *c : {&a, &b}) {
        std::string body;
        QVERIFY(c->nextIs(0, &body));
        KLumoNotifyServices_notifyFileAction_args args;
        const lumotest::MessageHead head =
            lumotest::decodeMessage(QByteArray::fromStdString(body), args);
        QCOMPARE(head.name, std::string("notifyFileAction"));
        QCOMPARE(head.type, apache::thrift::protocol::T_ONEWAY);
        QCOMPARE(args.arg.action, 3);
        QCOMPARE(args.arg.fileId, std::string("f9"));
        QVERIFY(args.arg.__isset.entries);
    }
    const KLumoJsonValue bad =
        m_emulator->ctl(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":"x"}})");
    QCOMPARE(QString::fromStdString(bad.find("error")->toString()),
             QStringLiteral("arg.action: expected i32, got string"));
}

void TestLumoService::garbageClosesOnlyThatClient()
{
    QVERIFY(m_emulator->start());
    RawClient bad, good;
    QVERIFY(bad.connect());
    QVERIFY(good.connect());
    bad.sendRaw(QByteArray("GARBAGE-GARBAGE-GARBAGE-GARBAGE"));
    QTRY_COMPARE(bad.socket().state(), QLocalSocket::UnconnectedState);
    // A well-framed body that is not a Thrift message ends that connection too.
    RawClient worse;
    QVERIFY(worse.connect());
    worse.sendRaw(frame::make(9, QByteArray("\xff\xff\xff\xff\xff", 5)));
    QTRY_COMPARE(worse.socket().state(), QLocalSocket::UnconnectedState);
    good.call(1, [](KLumoServicesClient &cl) { cl.send_getUserId(); });
    QVERIFY(good.nextIs(1));
}

void TestLumoService::scenarioErrorsAreReported()
{
    const QString file = QDir::tempPath() + "/scenario.json";
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(R"({"methods":{"createFolder":{"reply":{"folderId":5}}}})");
    f.close();
    QProcess p;
    p.start(QStringLiteral(LUMO_SERVICE_BIN), {"--scenario", file});
    QVERIFY(p.waitForFinished(5000));
    QCOMPARE(p.exitCode(), 2);
    QVERIFY2(p.readAllStandardError().contains(
                 "methods.createFolder.reply.folderId: expected string, got integer"),
             "the message names the field");
    QVERIFY(!KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey)));
}

LUMO_TEST_MAIN(TestLumoService)
#include "tst_lumoservice.moc"
