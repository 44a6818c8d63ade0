// The Wireshark dissector on captures the suite records: lumoctl, a host on
// the shared library, talks to the emulator with LUMOIPC_CAPTURE set, and
// tshark with tools/wireshark/lumo.lua must name each frame's kind and the
// Thrift dissector each method, for the call and for its reply.
#include "emulatorprocess.h"
#include "lumotestenv.h"

#include <QRegularExpression>
#include <QtTest>

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
        QTest::addColumn<QByteArray>("behaviour"); // emulator command before the run
        QTest::addColumn<QStringList>("lumoctl");
        QTest::addColumn<QStringList>("expected"); // "kind TYPE method", one per frame
        QTest::addRow("call") << QByteArray() << QStringList {"call", "createFolder", "{}"}
                              << QStringList {"call CALL createFolder", "reply REPLY createFolder"};
        QTest::addRow("generic route")
            << QByteArray(R"({"cmd":"generic","name":"getSkinInfo","behaviour":{"reply":{}}})")
            << QStringList {"generic", "getSkinInfo"}
            << QStringList {"call CALL asynCall", "reply REPLY asynCall"};
        QTest::addRow("failure") << QByteArray(
            R"({"cmd":"reply","method":"remove","behaviour":{"fail":"gone"}})")
                                 << QStringList {"call", "remove", "--timeout", "1"}
                                 << QStringList {"call CALL remove", "reply EXCEPTION remove"};
        QTest::addRow("notification") << QByteArray() << QStringList {"monitor",
                                                                      "--count",
                                                                      "1",
                                                                      "--timeout",
                                                                      "60",
                                                                      "--signal",
                                                                      "signal_notifyFileAction"}
                                      << QStringList {"notification ONEWAY notifyFileAction"};
    }
    void framesShowKindAndMethod()
    {
        QFETCH(QByteArray, behaviour);
        QFETCH(QStringList, lumoctl);
        QFETCH(QStringList, expected);
        EmulatorProcess emulator;
        QVERIFY(emulator.start());
        QVERIFY(behaviour.isEmpty() || emulator.ok(behaviour));
        const QString capture = QDir::tempPath() + "/capture.pcapng";
        QProcess host;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("LUMOIPC_CAPTURE", capture);
        host.setProcessEnvironment(env);
        host.start(QStringLiteral(LUMOCTL_BIN), lumoctl);
        // A push reaches no one until the host has connected: push until one did.
        const auto pushed = [&] {
            const auto n =
                emulator.ctl(R"({"cmd":"push","name":"notifyFileAction"})").find("clients");
            return n ? n->toInteger() : -1;
        };
        if (lumoctl.first() == "monitor")
            QVERIFY(QTest::qWaitFor([&] { return pushed() == 1; }, 20000 * lumotest::timeScale()));
        QVERIFY(host.waitForFinished(30000 * lumotest::timeScale()));

        QProcess tshark;
        tshark.start(QStringLiteral("tshark"),
                     {"-X", "lua_script:" LUMO_DISSECTOR, "-r", capture, "-V"});
        QVERIFY(tshark.waitForFinished(60000 * lumotest::timeScale()));
        const QString out = QString::fromUtf8(tshark.readAllStandardOutput());
        QVERIFY2(tshark.exitCode() == 0 && !out.contains("Lua Error"),
                 qPrintable(out + tshark.readAllStandardError()));
        static const QRegularExpression kind(QStringLiteral("lumoipc frame, (\\w+)"));
        static const QRegularExpression message(
            QStringLiteral("\\n    (\\w+) \\[[^]]*method: (\\w+)\\]"));
        QStringList seen;
        for (const QString &frame : out.split(QStringLiteral("\nFrame "))) {
            const QRegularExpressionMatch k = kind.match(frame), m = message.match(frame);
            if (k.hasMatch() && m.hasMatch())
                seen << k.captured(1) + ' ' + m.captured(1) + ' ' + m.captured(2);
        }
        for (const QString &e : expected)
            QVERIFY2(seen.contains(e), qPrintable(e + " not in: " + seen.join(", ")));
    }
};

LUMO_TEST_MAIN(TestLumoDissector)
#include "tst_lumodissector.moc"
