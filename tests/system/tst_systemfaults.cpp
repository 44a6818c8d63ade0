#include "emulatorprocess.h"
#include "lumotestenv.h"

#include "ipc/lumoipc.h"

#include <QSettings>
#include <QTest>

#include <csignal>

using lumotest::EmulatorProcess;
using lumotest::readFile;

namespace {

// A stand-in "ofxcloudsvr" in a suite folder (with a blank in its name) that
// runs the emulator after @p before, a shell line.
void writeSuite(const QByteArray &before)
{
    const QString suite = QDir::tempPath() + "/suite dir";
    QDir().mkpath(suite);
    lumotest::writeFile(suite + "/ofxcloudsvr",
                        "#!/bin/sh\n" + before + "\nexec '" LUMO_SERVICE_BIN "' \"$@\"\n");
    QFile::setPermissions(suite + "/ofxcloudsvr",
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("LUMO_SUITE_DIR", suite.toUtf8());
}

} // namespace

// A host that frees the library from a slot.
class Receiver : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    void freeLibrary() { LumoIpcFree(); }
};

// The library as a host application links it (the shared object alone),
// against the emulator as a real process.
class TestSystemFaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void autologinStartsTheServiceThroughTheLauncher();
    void documentedNamesOnTheWire();
    void twoMainApplicationsRaceToRestartTheService();

private:
    // Starts the library and waits until it is connected and sees the login.
    bool connectHost();
};

void TestSystemFaults::cleanup()
{
    LumoIpcFree();
    qunsetenv("LUMO_SUITE_DIR");
    // A service the library started detached is not our child, but it listens
    // in this test's TMPDIR: its control stops it, also after a row that failed.
    EmulatorProcess detached;
    if (detached.ok(R"({"cmd":"stop"})"))
        QTRY_VERIFY(detached.ctl(R"({"cmd":"status"})").isNull());
}

bool TestSystemFaults::connectHost()
{
    LumoIpcInit(true);
    QSignalSpy connected(LumoIpcEventObject(), SIGNAL(SocketConnected()));
    return QTest::qWaitFor([&] { return connected.count() && LumoIpcLoginCache().isLogined; },
                           8000 * lumotest::timeScale());
}

// The library starts the service itself: autologin is configured, the suite's
// "ofxcloudsvr" is the emulator, and the host sees the connection and the login.
void TestSystemFaults::autologinStartsTheServiceThroughTheLauncher()
{
    const QString argvFile = QDir::tempPath() + "/argv.txt";
    writeSuite("printf '%s\\n' \"$@\" > '" + argvFile.toUtf8() + "'");
    QSettings(lumotest::serviceConfigPath(), QSettings::IniFormat).setValue("autologin", 1);

    LumoIpcInit(true);
    QSignalSpy connected(LumoIpcEventObject(), SIGNAL(SocketConnected()));
    QVERIFY(!LumoIpcCheckLumoRunning());
    QVERIFY(LumoIpcIsNeedAutoLogin());
    QVERIFY(LumoIpcCheckAutoLogin());
    QTRY_VERIFY_WITH_TIMEOUT(LumoIpcCheckLumoRunning(), 5000);
    QTRY_VERIFY_WITH_TIMEOUT(connected.count() > 0, 8000);
    QTRY_VERIFY_WITH_TIMEOUT(LumoIpcLoginCache().isLogined, 8000);
    QCOMPARE(LumoIpcLoginCache().userId, QStringLiteral("10001"));
    QCOMPARE(readFile(argvFile), QByteArray("/lumodesk\n/start_from=lumoipc\nautologin\n"));
    QVERIFY(LumoIpcCheckAutoLogin()); // with the service running, nothing more starts
}

// A host connects by the documented names, odd spellings included, and the
// service sends them so on the wire; a local push message comes out as its signal.
void TestSystemFaults::documentedNamesOnTheWire()
{
    EmulatorProcess emulator;
    QVERIFY(emulator.start({"autologin"}));
    QVERIFY(connectHost());
    QObject *events = LumoIpcEventObject();
    QSignalSpy folder(events, SIGNAL(signal_notifyBrowserFolder(NotifyBroswerFolderArg)));
    QSignalSpy broadcast(events, SIGNAL(signal_broadcast(QString)));
    QVERIFY(folder.isValid() && broadcast.isValid());
    QVERIFY(emulator.ok(R"({"cmd":"push","name":"notifyFileThumnail","arg":{}})"));
    QVERIFY(emulator.ok(R"({"cmd":"push","name":"notifyBrowserFolder","arg":{}})"));
    QVERIFY(emulator.ok(
        R"({"cmd":"push","name":"notifyBroadcastLocalMsg","arg":"act=broadcast&force=true&a=1"})"));
    QTRY_COMPARE(broadcast.count(), 1);
    QCOMPARE(broadcast.at(0).at(0).toString(), QStringLiteral("act=broadcast&a=1"));
    QCOMPARE(folder.count(), 1);
    // A host may free the library from the first of the signals one message raises.
    Receiver host;
    connect(events, SIGNAL(signal_roamingChange(QString)), &host, SLOT(freeLibrary()));
    QVERIFY(emulator.ok(R"({"cmd":"push","name":"notifyBroadcastLocalMsg","arg":)"
                        R"("act=roamingChange&roamingChangeTag=t"})"));
    QTRY_VERIFY(!LumoIpcEventObject());
}

// Two applications named "ofxoffice" lose the service at once; each applies
// the restart rule, and the restart lock plus the stored restart time let
// exactly one of them start it. An application with another name never does.
void TestSystemFaults::twoMainApplicationsRaceToRestartTheService()
{
    const QString starts = QDir::tempPath() + "/starts.log";
    writeSuite("echo start >> '" + starts.toUtf8() + "'");
    auto emulator = std::make_unique<EmulatorProcess>();
    QVERIFY(emulator->start({"autologin"}));
    struct Host
    {
        QProcess process;
        QByteArray out;
    } hosts[3];
    const char *names[3] = {"ofxoffice", "ofxoffice", "ofxwriter"};
    for (int i = 0; i < 3; ++i) {
        Host *h = &hosts[i];
        connect(&h->process, &QProcess::readyReadStandardOutput, this,
                [h] { h->out += h->process.readAllStandardOutput(); });
        h->process.start(QStringLiteral(LUMOHOST_BIN), {names[i], QStringLiteral("30")});
    }
    for (Host &h : hosts)
        QTRY_VERIFY_WITH_TIMEOUT(h.out.contains("login 1"), 10000);

    ::kill(pid_t(emulator->pid()), SIGKILL);
    QVERIFY(emulator->process().waitForFinished(3000));
    emulator.reset();
    // A host restarts the service; all three connect to it and see the login
    // again. One whose disconnect is handled after the restart never sees a
    // logout (the main lock is held again): only the final state is checked.
    QTRY_VERIFY_WITH_TIMEOUT(LumoIpcCheckLumoRunning(), 10000);
    for (Host &h : hosts) {
        const auto settled = [&h] {
            const QList<QByteArray> lines = h.out.split('\n');
            return lines.count("connected") >= 2
                && lines.lastIndexOf("login 1") > lines.lastIndexOf("login 0");
        };
        QTRY_VERIFY2_WITH_TIMEOUT(settled(), h.out.constData(), 25000);
    }
    QCOMPARE(readFile(starts), QByteArray("start\n"));
    for (Host &h : hosts) {
        h.process.terminate();
        h.process.waitForFinished(3000);
    }
}

LUMO_TEST_MAIN(TestSystemFaults)
#include "tst_systemfaults.moc"
