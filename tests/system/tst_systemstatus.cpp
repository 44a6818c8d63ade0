// How a call ends, told with its result, through the real processes: this test
// is a host (the shared library, the inspector's call console), the emulator or
// a peer in this process plays the service, lumoctl runs as a process of its own.
#include "emulatorprocess.h"
#include "framedpeer.h"
#include "klumocallconsole.h"
#include "lumotestenv.h"

#include <LumoIpc/LumoIpcCalls>

#include <QApplication>
#include <QStandardItemModel>

using namespace ofx::lumo;
using lumotest::EmulatorProcess;
using Code = LumoIpc::Status::Code;

namespace {

enum class Service { None, Emulator, Peer };

struct Ending
{
    LumoIpc::Status status;
    qint64 ms = -1; // from the moment that decides the ending
};

} // namespace
Q_DECLARE_METATYPE(Service)

class TestSystemStatus : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    // The named route's receiver.
    void onRemoved(bool ok, const QString &, const RemoveResult &) { m_namedEndings << ok; }

private Q_SLOTS:
    void cleanup();
    void everyRouteSaysHowACallEnded_data();
    void everyRouteSaysHowACallEnded();

private:
    // The calls of remove the emulator has received.
    static int removes()
    {
        int n = 0;
        for (const QByteArray &line :
             lumotest::readFile(QDir::tempPath() + "/requests.jsonl").split('\n')) {
            const KLumoJsonValue request = KLumoJsonValue::parse(line.toStdString(), nullptr);
            const KLumoJsonValue *method = request.find("method");
            n += method && method->toString() == "remove";
        }
        return n;
    }

    std::unique_ptr<EmulatorProcess> m_emulator;
    QList<bool> m_namedEndings;
};

void TestSystemStatus::cleanup()
{
    LumoIpcFree();
    m_emulator.reset();
    QFile::remove(QDir::tempPath() + "/requests.jsonl");
    m_namedEndings.clear();
    qunsetenv("LUMOIPC_CALL_EXPIRY_MS");
}

// One row per way a call ends. The typed call's status says it, with the
// service's text, at once however long the expiry (16 s unless the row sets one);
// a call by name keeps its course (a failed reply or a lost connection leave it
// to its expiry); the inspector's console and lumoctl word the cause alike.
void TestSystemStatus::everyRouteSaysHowACallEnded_data()
{
    QTest::addColumn<Service>("service");
    QTest::addColumn<QByteArray>("behaviour"); // the emulator's for remove
    QTest::addColumn<bool>("cut"); // the emulator drops its clients once the calls arrived
    QTest::addColumn<int>("expiryMs"); // 0: the default
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("namedEnds"); // before the typed call's end and a little more
    QTest::addColumn<int>("lumoctlExit");
    const int expiry = 400 * lumotest::timeScale();
    QTest::addRow("answered") << Service::Emulator << QByteArray() << false << 0 << int(Code::Ok)
                              << QString() << true << 0;
    QTest::addRow("not connected") << Service::None << QByteArray() << false << 0
                                   << int(Code::NotConnected) << QString() << true << 3;
    QTest::addRow("service exception")
        << Service::Emulator << QByteArray(R"({"fail":"the file is locked"})") << false << 0
        << int(Code::ServiceException) << "the file is locked" << false << 4;
    QTest::addRow("undecodable reply")
        << Service::Peer << QByteArray() << false << 0 << int(Code::UndecodableReply)
        << "Bad protocol identifier" << false << 5;
    QTest::addRow("connection lost")
        << Service::Emulator << QByteArray(R"({"noReply":true})") << true << 0
        << int(Code::ConnectionLost) << QString() << false << 3;
    QTest::addRow("expired") << Service::Emulator << QByteArray(R"({"noReply":true})") << false
                             << expiry << int(Code::Expired) << QString() << true << 6;
}

void TestSystemStatus::everyRouteSaysHowACallEnded()
{
    QFETCH(Service, service);
    QFETCH(QByteArray, behaviour);
    QFETCH(bool, cut);
    QFETCH(int, expiryMs);
    QFETCH(int, code);
    QFETCH(QString, message);
    QFETCH(bool, namedEnds);
    QFETCH(int, lumoctlExit);
    const int scale = lumotest::timeScale();
    if (expiryMs)
        qputenv("LUMOIPC_CALL_EXPIRY_MS", QByteArray::number(expiryMs));

    lumotest::FramedPeer peer;
    if (service == Service::Emulator) {
        m_emulator = std::make_unique<EmulatorProcess>();
        QVERIFY(m_emulator->start({"--request-log", QDir::tempPath() + "/requests.jsonl"}));
        if (!behaviour.isEmpty())
            QVERIFY(m_emulator->ok(R"({"cmd":"reply","method":"remove","behaviour":)" + behaviour
                                   + "}"));
    } else if (service == Service::Peer) {
        peer.setResponder(
            [](const lumotest::FramedPeer::Frame &) { return "not a Thrift message"; });
        QVERIFY(peer.listen(LumoIpcServerName()));
    }
    QVERIFY(LumoIpcInit(false));
    if (service != Service::None) {
        QSignalSpy up(LumoIpc::events(), &KLumoIpc::SocketConnected);
        QVERIFY(up.wait(5000 * scale));
    }

    // The same method by the three ways in: typed, by name, and the console's.
    QElapsedTimer clock;
    clock.start();
    Ending typed;
    RemoveArg arg;
    arg.__set_id("42");
    const LumoIpc::PendingCall call =
        LumoIpc::remove(arg, this, [&](const LumoIpc::Status &status, const RemoveResult &) {
            typed = {status, clock.elapsed()};
        });
    LumoIpcAsynCallEx(QStringLiteral("remove"), Q_ARG(RemoveArg, arg), this,
                      QStringLiteral("onRemoved"));
    KLumoCallConsole console;
    QSignalSpy consoleEnded(&console, &KLumoCallConsole::callEnded);
    QVERIFY(console.selectMethod(QStringLiteral("remove")));
    QVERIFY(console.send());
    if (cut) {
        QTRY_COMPARE(removes(), 3);
        clock.restart();
        QVERIFY(m_emulator->ok(R"({"cmd":"cut"})"));
    }

    QTRY_VERIFY_WITH_TIMEOUT(typed.ms >= 0, (expiryMs + 5000) * scale);
    QCOMPARE(int(typed.status.code()), code);
    QCOMPARE(typed.status.ok(), code == int(Code::Ok));
    QCOMPARE(typed.status.message(), message);
    QCOMPARE(typed.status.requestId(), call.id());
    if (expiryMs) {
        QVERIFY2(typed.ms >= expiryMs && typed.ms < expiryMs + 1000 * scale,
                 qPrintable(QString::number(typed.ms)));
    } else {
        QVERIFY2(typed.ms < 1000 * scale, qPrintable(QString::number(typed.ms)));
    }
    QTRY_COMPARE(consoleEnded.count(), 1);
    QTest::qWait(200 * scale);
    QCOMPARE(m_namedEndings.size(), namedEnds ? 1 : 0);
    if (namedEnds)
        QCOMPARE(m_namedEndings.first(), code == int(Code::Ok));
    const QString words = console.history()->item(0, 2)->text();
    LumoIpcFree(); // the peer serves one client at a time: lumoctl's, now

    QProcess lumoctl;
    lumoctl.start(QStringLiteral(LUMOCTL_BIN), {"call", "remove", "--wait", "1"});
    if (cut) {
        QTRY_COMPARE(removes(), 4);
        QVERIFY(m_emulator->ok(R"({"cmd":"cut"})"));
    }
    QTRY_COMPARE_WITH_TIMEOUT(lumoctl.state(), QProcess::NotRunning, (expiryMs + 10000) * scale);
    QCOMPARE(lumoctl.exitCode(), lumoctlExit);
    const QString said = QString::fromUtf8(lumoctl.readAllStandardError());
    if (lumoctlExit == 0)
        QCOMPARE(words, QStringLiteral("answered"));
    else
        QVERIFY2(said.startsWith("lumoctl: remove " + words), qPrintable(said + " / " + words));
}

LUMO_TEST_MAIN_APP(TestSystemStatus, QApplication)

#include "tst_systemstatus.moc"
