#include "emulatorprocess.h"
#include "framedclient.h"
#include "lumotestenv.h"
#include "thriftcodec.h"

#include "connection/klumolockfile.h"

#include <KLumoNotifyServices.h>

using namespace ofx::lumo;
using lumotest::EmulatorProcess;
using lumotest::FramedClient;

namespace {

int64_t clients(EmulatorProcess &emulator, const QByteArray &command)
{
    const KLumoJsonValue answer = emulator.ctl(command);
    const KLumoJsonValue *n = answer.find("clients");
    return n ? n->toInteger() : -1;
}

// Exit code and output of a process that is expected to end by itself.
QByteArray outcome(const QString &program, const QStringList &args, bool errors = false)
{
    const lumotest::Finished f = lumotest::runToEnd(program, args);
    return QByteArray::number(f.exitCode) + " " + (errors ? f.err : f.out).trimmed();
}

} // namespace

class TestLumoService : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void controlCommands();
    void lumoctlWaitsForEvents();
};

// One emulator session: it holds the service's locks, lets no other user at its
// socket, refuses a second service or a scenario that does not fit; control
// commands log users in and out, push notifications (read by generated code) and
// raw bytes, and stop it, releasing the locks. Replies: the whole-system tests'.
void TestLumoService::controlCommands()
{
    EmulatorProcess emulator;
    QVERIFY(emulator.start({"/lumodesk", "/start_from=lumoipc", "autologin"}));
    QVERIFY(KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey))
            && KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::ExistKey))
            && KLumoLockFile::isLoginStatusHeld());
    const QFileInfo socket(QDir::tempPath() + "/" + LumoIpcServerName());
    QCOMPARE(int(socket.permissions() & 0x0077), 0); // nobody but this user
    QVERIFY(outcome(LUMO_SERVICE_BIN, {}, true)
                .startsWith("1 lumo-service: another service holds the main lock"));
    const QString bad = QDir::tempPath() + "/scenario.json";
    QVERIFY(lumotest::writeFile(bad, R"({"methods":{"createFolder":{"reply":{"folderId":5}}}})"));
    QVERIFY(outcome(LUMO_SERVICE_BIN, {"--scenario", bad}, true)
                .endsWith(": methods.createFolder.reply.folderId: expected string, got integer"));
    FramedClient a(LumoIpcServerName()), garbage(LumoIpcServerName());
    QVERIFY(a.isConnected() && garbage.isConnected());
    garbage.send("GARBAGE-GARBAGE-GARBAGE-GARBAGE"); // ends that connection only
    QVERIFY(garbage.waitClosed());
    QTRY_COMPARE(clients(emulator, R"({"cmd":"status"})"), 1);
    QVERIFY(emulator.ok(R"({"cmd":"logout"})") && !KLumoLockFile::isLoginStatusHeld());
    QVERIFY(emulator.ok(R"({"cmd":"login","profile":{"userId":"77"}})"));
    QVERIFY(KLumoLockFile::isLoginStatusHeld());
    QCOMPARE(clients(emulator, R"({"cmd":"push","name":"notifyFileAction","arg":{"fileId":"f9"}})"),
             1);
    QVERIFY(a.waitFrames(1));
    QCOMPARE(a.frames().first().seqId, 0u);
    KLumoNotifyServices_notifyFileAction_args pushed;
    const lumotest::MessageHead head = lumotest::decodeMessage(a.frames().first().body, pushed);
    QVERIFY(head.name == "notifyFileAction" && head.type == apache::thrift::protocol::T_ONEWAY);
    QCOMPARE(pushed.arg.fileId, "f9");
    QCOMPARE(emulator.ctl(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":"x"}})")
                 .find("error")
                 ->toString(),
             "arg.action: expected i32, got string");
    QVERIFY(emulator.ok(R"({"cmd":"raw","hex":"6c756d6f"})"));
    QTRY_VERIFY(a.received().endsWith("lumo"));
    QVERIFY(emulator.ok(R"({"cmd":"stop"})"));
    QVERIFY(emulator.process().waitForFinished(5000)
            && !KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey)));
}

// lumoctl against the emulator: its waits end on the awaited event, not on
// a tick or at their timeout.
void TestLumoService::lumoctlWaitsForEvents()
{
    EmulatorProcess emulator;
    QVERIFY(emulator.start());
    QVERIFY(
        emulator.ok(R"({"cmd":"generic","name":"getSkinInfo","behaviour":{"reply":{"a":"1"}}})"));
    QCOMPARE(outcome(LUMOCTL_BIN, {"generic", "getSkinInfo"}), R"(0 {"a":"1"})");
    QVERIFY(emulator.ok(R"({"cmd":"reply","method":"remove","behaviour":{"noReply":true}})"));
    QCOMPARE(outcome(LUMOCTL_BIN, {"call", "remove", "--timeout", "0.5"}, true),
             "6 lumoctl: remove expired: no result within 0.5 s");
    // status answers with the login the library has fetched by then.
    QVERIFY(emulator.ok(R"({"cmd":"login","profile":{"isLogined":"1","userId":"u7"}})"));
    const QByteArray status = outcome(LUMOCTL_BIN, {"status"}).simplified().replace(" ", "");
    QVERIFY2(status.contains(R"("logined":true)") && status.contains(R"("userId":"u7")"),
             status.constData());
    QTRY_COMPARE(clients(emulator, R"({"cmd":"status"})"), 0); // those runs have gone
    // monitor prints each kind of argument the event object's signals carry.
    const QByteArray pushes[][2] = {
        {R"("notifyFileAction","arg":{"fileId":"f9"})",
         R"({"signal":"signal_notifyFileAction","args":[{"action":0,"fileId":"f9",)"},
        {R"("notifyNewMsgList","arg":["a","b"])",
         R"({"signal":"signal_notifyNewMsgList","args":[["a","b"]]})"},
        {R"("notifyRecentFileStateChanged","arg":[{"id":"c1"}])",
         R"({"signal":"signal_notifyRecentFileStateChanged","args":[[{"groupId":"","parentId":"","id":"c1",)"},
        {R"("notifyDocCollaborativeStatus","arg":{"fileId":"d1","collaborativeStatus":1,"collaboratorNum":3})",
         R"({"signal":"signal_docCollaborativeStatus","args":["d1",true,3]})"},
        {R"("notifyActionsMap","arg":{"nActionType":1,"mapArgs":{"k":"v"}})",
         R"({"signal":"signal_notifyActionsMapForShareFile","args":[{"k":"v"}]})"}};
    QProcess monitor;
    monitor.start(LUMOCTL_BIN,
                  {"monitor", "--count", "5", "--timeout", "60", "--signal",
                   "signal_notifyFileAction", "--signal", "signal_notifyNewMsgList", "--signal",
                   "signal_notifyRecentFileStateChanged", "--signal",
                   "signal_docCollaborativeStatus", "--signal",
                   "signal_notifyActionsMapForShareFile"});
    QTRY_COMPARE_WITH_TIMEOUT(clients(emulator, R"({"cmd":"status"})"), 1,
                              20000 * lumotest::timeScale());
    for (const auto &push : pushes)
        QCOMPARE(clients(emulator, R"({"cmd":"push","name":)" + push[0] + "}"), 1);
    QVERIFY(monitor.waitForFinished(10000 * lumotest::timeScale()));
    QCOMPARE(monitor.exitCode(), 0);
    const QList<QByteArray> lines = monitor.readAllStandardOutput().split('\n');
    for (int i = 0; i < 5; ++i)
        QVERIFY2(lines.value(i).startsWith(pushes[i][1]), lines.value(i).constData());
}

LUMO_TEST_MAIN(TestLumoService)
#include "tst_lumoservice.moc"
