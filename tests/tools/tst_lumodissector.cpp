// The Wireshark dissector on captures lumoctl (a host) records against the
// emulator: tshark with tools/wireshark/lumo.lua names each frame's kind and the
// Thrift dissector each method, for the call and for its reply.
#include "emulatorprocess.h"
#include "lumotestenv.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <QTest>

using lumotest::EmulatorProcess;

class TestLumoDissector : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("tshark")).isEmpty())
            QSKIP("tshark is not installed (apt-get install tshark): the dissector is not tested");
    }

    void framesShowKindAndMethod_data()
    {
        QTest::addColumn<QString>("lumoctl");
        QTest::addColumn<QString>("expected"); // "kind TYPE method" of the frames, by ","
        QTest::addRow("call") << "call createFolder {}"
                              << "call CALL createFolder,reply REPLY createFolder";
        QTest::addRow("notification")
            << "monitor --count 1 --timeout 60 --signal signal_notifyFileAction"
            << "notification ONEWAY notifyFileAction";
    }
    void framesShowKindAndMethod()
    {
        QFETCH(QString, lumoctl);
        QFETCH(QString, expected);
        EmulatorProcess emulator;
        QVERIFY(emulator.start());
        const QString capture = QDir::tempPath() + "/capture.pcapng";
        qputenv("LUMOIPC_CAPTURE", capture.toLocal8Bit()); // read by the hosts (lumoctl) only
        QProcess host;
        host.start(QStringLiteral(LUMOCTL_BIN), lumoctl.split(' '));
        const qint64 pid = host.waitForStarted() ? host.processId() : 0;
        // A push reaches no one until the host has connected: push until one did.
        const QByteArray push = R"({"cmd":"push","name":"notifyFileAction"})";
        if (lumoctl.startsWith("monitor"))
            QVERIFY(QTest::qWaitFor([&] { return emulator.ctl(push).find("clients")->toInteger(); },
                                    20000 * lumotest::timeScale()));
        QVERIFY(host.waitForFinished(30000 * lumotest::timeScale()));

        QProcess tshark;
        tshark.start(QStringLiteral("tshark"),
                     {"-X", "lua_script:" LUMO_DISSECTOR, "-r", capture, "-V"});
        QVERIFY(tshark.waitForFinished(60000 * lumotest::timeScale()) && tshark.exitCode() == 0);
        const QString out = QString::fromUtf8(tshark.readAllStandardOutput());
        QVERIFY(out.contains("Interface name: " + LumoIpcServerName() + "\n")
                && out.contains(QStringLiteral("Interface description: %1 (pid %2)\n")
                                    .arg(QFileInfo(QStringLiteral(LUMOCTL_BIN)).fileName())
                                    .arg(pid)));
        // Our tree (indented lines), then Thrift's, frame by frame.
        static const QRegularExpression frame(
            QStringLiteral("lumoipc frame, (\\w+)[^\\n]*\\n(?:    [^\\n]*\\n)*Thrift Protocol\\n   "
                           " (\\w+) \\[[^]]*method: (\\w+)\\]"));
        QStringList seen;
        for (auto m = frame.globalMatch(out); m.hasNext();) {
            const QRegularExpressionMatch f = m.next();
            seen << f.captured(1) + ' ' + f.captured(2) + ' ' + f.captured(3);
        }
        for (const QString &e : expected.split(','))
            QVERIFY2(seen.contains(e), qPrintable(e + " not in: " + seen.join(", ")));
    }
};

LUMO_TEST_MAIN(TestLumoDissector)
#include "tst_lumodissector.moc"
