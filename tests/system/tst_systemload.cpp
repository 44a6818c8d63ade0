#include "emulatorprocess.h"
#include "lumotestenv.h"

#include <QtTest>

#include <cstdio>

using lumotest::EmulatorProcess;

// Four host processes keep 64 calls each in flight for LUMO_LOAD_SECONDS
// (30 by default) while the service pushes a numbered notification stream:
// every call is answered exactly once, every notification arrives, in order,
// and resident memory stays flat.
class TestSystemLoad : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fourHostsUnderLoadWithNotificationStream();
};

void TestSystemLoad::fourHostsUnderLoadWithNotificationStream()
{
    bool set = false;
    const int given = qEnvironmentVariableIntValue("LUMO_LOAD_SECONDS", &set);
    const int seconds = set ? given : 30;
    const int scale = lumotest::timeScale();
    // 100 notifications a second; an instrumented build pushes fewer, as its
    // emulator answers control commands that much slower.
    const int notes = 100 * seconds / scale;
    EmulatorProcess emulator;
    QVERIFY(emulator.start({"autologin"}, 5000 * scale));
    struct Host
    {
        QProcess process;
        QByteArray out;
    } hosts[4];
    for (Host &h : hosts) {
        connect(&h.process, &QProcess::readyReadStandardOutput, this,
                [&h] { h.out += h.process.readAllStandardOutput(); });
        // Each host stops issuing after the run and then waits for the whole
        // stream, so a slow machine lengthens the run instead of losing notes.
        h.process.start(QStringLiteral(LUMOHOST_BIN),
                        {QStringLiteral("ofxload"), QString::number(seconds + 1),
                         QStringLiteral("64"), QString::number(notes)});
    }
    for (Host &h : hosts)
        QTRY_VERIFY_WITH_TIMEOUT(h.out.contains("login 1"), 10000 * scale);

    // The stream, spread over the run.
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < notes; ++i) {
        QVERIFY(emulator.ok(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":)"
                            + QByteArray::number(i) + "}}"));
        while (t.elapsed() < qint64(i) * seconds * 900 / notes)
            QTest::qWait(2);
    }
    for (Host &h : hosts) {
        if (h.process.state() != QProcess::NotRunning)
            QVERIFY(h.process.waitForFinished(40000 * scale));
        h.out += h.process.readAllStandardOutput();
        const QByteArray summary = h.out.mid(h.out.lastIndexOf("load ")).trimmed();
        const QList<QByteArray> v = summary.split(' ');
        QVERIFY2(v.size() == 9, h.out.constData());
        std::fprintf(stderr, "host: %s\n", summary.constData());
        const int issued = v[1].toInt(), answered = v[2].toInt();
        QVERIFY(issued > 64);
        QCOMPARE(answered, issued);
        QCOMPARE(v[3].toInt(), 0); // failed
        QCOMPARE(v[4].toInt(), 0); // answered twice
        QCOMPARE(v[5].toInt(), notes);
        QCOMPARE(v[6].toInt(), 0); // out of order
        // Measured from 2 s into the run, once buffers have their working size.
        // (A sanitizer's shadow memory and quarantine grow on their own.)
        if (qEnvironmentVariableIsEmpty("LUMO_TEST_SANITIZER"))
            QVERIFY2(v[8].toLong() - v[7].toLong() < 2 * 1024,
                     "resident memory grew by more than 2 MiB");
    }
}

LUMO_TEST_MAIN(TestSystemLoad)
#include "tst_systemload.moc"
