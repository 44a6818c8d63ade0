#include "emulatorprocess.h"
#include "lumotestenv.h"

#include <QRandomGenerator>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <memory>
#include <unistd.h>

using lumotest::EmulatorProcess;

namespace {

constexpr int ExpiryMs = 2000; // the hosts' call expiry, shortened
constexpr int PollMs = 5000, SlackMs = 500; // the regular poll; handling one event

// One host process and what it has said so far.
struct Host
{
    QProcess process;
    QByteArray partial, summary;
    int connects = 0, connectsBefore = 0, markAction = -1, markCount = 0;
    qint64 lastConnectMs = 0;
    long residentBefore = 0, residentAfter = 0;
    bool loggedIn = false;

    // A process being destroyed may still report output: not to a half-gone host.
    ~Host() { process.disconnect(); }
    long residentKiB() const
    {
        QFile f(QStringLiteral("/proc/%1/statm").arg(process.processId()));
        const QList<QByteArray> pages =
            f.open(QIODevice::ReadOnly) ? f.readAll().split(' ') : QList<QByteArray>();
        return pages.value(1).toLong() * (::sysconf(_SC_PAGESIZE) / 1024);
    }
    void read(const QElapsedTimer &clock)
    {
        partial += process.readAllStandardOutput();
        for (int end; (end = partial.indexOf('\n')) >= 0; partial.remove(0, end + 1)) {
            const QList<QByteArray> w = partial.left(end).split(' ');
            if (w[0] == "connected") {
                ++connects;
                lastConnectMs = clock.elapsed();
            } else if (w[0] == "login") {
                loggedIn = w.value(1) == "1";
            } else if (w[0] == "mark") {
                markAction = w.value(1).toInt();
                markCount = w.value(2).toInt();
            } else if (w[0] == "load") {
                summary = partial.left(end);
            }
        }
    }
};

} // namespace

// Four hosts keep 64 calls each in flight while the service pushes numbered
// notifications in batches; under "chaos" it is also, at seeded random moments
// between batches, killed and restarted, stopped past the call expiry, or made to
// cut every connection mid-frame. Every call ends once, no host crashes, each
// reconnects within one regular poll of the service's return, every batch
// arrives whole and in order, and resident memory stays flat.
class TestSystemChaos : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fourHosts_data();
    void fourHosts();
};

void TestSystemChaos::fourHosts_data()
{
    QTest::addColumn<QByteArray>("lengthVariable");
    QTest::addColumn<int>("defaultSeconds");
    QTest::addColumn<bool>("chaos");
    QTest::addRow("steady load") << QByteArray("LUMO_LOAD_SECONDS") << 30 << false;
    QTest::addRow("chaos") << QByteArray("LUMO_CHAOS_SECONDS") << 60 << true;
}

void TestSystemChaos::fourHosts()
{
    QFETCH(QByteArray, lengthVariable);
    QFETCH(int, defaultSeconds);
    QFETCH(bool, chaos);
    const int given = qEnvironmentVariableIntValue(lengthVariable);
    const int seconds = given > 0 ? given : defaultSeconds;
    const quint32 seed = qEnvironmentVariableIsSet("LUMO_CHAOS_SEED")
        ? quint32(qEnvironmentVariableIntValue("LUMO_CHAOS_SEED"))
        : QRandomGenerator::system()->generate() % 1000000;
    std::fprintf(stderr, "%d s, LUMO_CHAOS_SEED=%u\n", seconds, seed);
    QRandomGenerator random(seed);
    const int scale = lumotest::timeScale();
    // 100 notifications a second, in batches of a second each; an instrumented
    // build pushes fewer, as its emulator answers control commands that much slower.
    const int batch = 100 / scale;
    qputenv("LUMOIPC_CALL_EXPIRY_MS", QByteArray::number(ExpiryMs * scale));

    auto emulator = std::make_unique<EmulatorProcess>();
    QVERIFY(emulator->start({"autologin"}, 5000 * scale));
    QElapsedTimer clock;
    clock.start();
    Host hosts[4];
    for (Host &h : hosts) {
        connect(&h.process, &QProcess::readyReadStandardOutput, this, [&] { h.read(clock); });
        h.process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        h.process.start(
            QStringLiteral(LUMOHOST_BIN),
            {QStringLiteral("ofxchaos"), QString::number(seconds + 2), QStringLiteral("64")});
        QVERIFY(h.process.waitForStarted());
    }
    int action = 0, batches = 0, kills = 0, stops = 0, cuts = 0;

    // Each host connects again within one regular poll of the service being
    // back. Fast polling is usually sooner, but its tick count carries over
    // from one episode to the next, so a later one may get the regular poll.
    const auto allReconnected = [&](const char *what) {
        const qint64 back = clock.elapsed();
        qint64 latest = 0;
        for (Host &h : hosts) {
            QTRY_VERIFY_WITH_TIMEOUT(h.connects > h.connectsBefore, 2 * PollMs * scale);
            latest = qMax(latest, h.lastConnectMs);
        }
        std::fprintf(stderr, "%6lld ms: %s, all back after %lld ms\n", latest, what, latest - back);
        QVERIFY2(latest - back <= (PollMs + SlackMs) * scale, what);
    };
    const qint64 end = seconds * 1000 - (chaos ? 10000 : 1500) * scale;
    for (;;) {
        // Between disruptions: every host is up and logged in, and a batch
        // reaches each one whole and in order. A host's connection counts once
        // the service has taken it too: what it pushes before that is lost.
        for (Host &h : hosts) {
            QCOMPARE(h.process.state(), QProcess::Running);
            QTRY_VERIFY_WITH_TIMEOUT(h.loggedIn, 10000 * scale);
        }
        QTRY_COMPARE_WITH_TIMEOUT(emulator->ctl(R"({"cmd":"status"})").find("clients")->toInteger(),
                                  int64_t(4), 5000 * scale);
        const qint64 start = clock.elapsed();
        for (int i = 0; i < batch; ++i, ++action) {
            QVERIFY(emulator->ok(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":)"
                                 + QByteArray::number(action)
                                 + (i + 1 < batch ? "" : R"(,"fileId":"mark")") + "}}"));
            while (clock.elapsed() - start < qint64(i) * 1000 / batch)
                QTest::qWait(2);
        }
        for (Host &h : hosts) {
            QTRY_COMPARE_WITH_TIMEOUT(h.markAction, action - 1, 10000 * scale);
            QCOMPARE(h.markCount, batch);
        }
        if (++batches == 3)
            for (Host &h : hosts)
                h.residentBefore = h.residentKiB();
        if (clock.elapsed() >= end)
            break;
        if (!chaos)
            continue;
        QTest::qWait(int(random.bounded(2000))); // the moment of the disruption
        for (Host &h : hosts)
            h.connectsBefore = h.connects;
        const pid_t pid = pid_t(emulator->pid());
        switch (random.bounded(3)) {
        case 0: // killed, and restarted a moment later
            ++kills;
            ::kill(pid, SIGKILL);
            QVERIFY(emulator->process().waitForFinished(3000 * scale));
            emulator.reset();
            QTest::qWait(100 + int(random.bounded(1000)));
            emulator = std::make_unique<EmulatorProcess>();
            QVERIFY(emulator->start({"autologin"}, 5000 * scale));
            allReconnected("killed and restarted");
            break;
        case 1: // stopped while every call it holds expires
            ++stops;
            ::kill(pid, SIGSTOP);
            QTest::qWait(ExpiryMs * scale + 500 + int(random.bounded(1500)));
            ::kill(pid, SIGCONT);
            break;
        default: // every connection closed in the middle of a large reply
            ++cuts;
            QVERIFY(emulator->ok(R"({"cmd":"cut"})"));
            allReconnected("connections cut");
        }
        if (QTest::currentTestFailed())
            return;
    }
    std::fprintf(stderr, "%d batches of %d notes; %d kills, %d stops, %d cuts\n", batches, batch,
                 kills, stops, cuts);
    for (Host &h : hosts)
        h.residentAfter = h.residentKiB();
    for (Host &h : hosts) {
        QVERIFY(h.process.waitForFinished((seconds + 40) * 1000 * scale));
        h.read(clock);
        QCOMPARE(h.process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(h.process.exitCode(), 0);
        std::fprintf(stderr, "host: %s, resident %ld -> %ld KiB\n", h.summary.constData(),
                     h.residentBefore, h.residentAfter);
        // "load issued answered failed twice notes disorder"
        const QList<QByteArray> v = h.summary.split(' ');
        QCOMPARE(v.size(), 7);
        QVERIFY(v[1].toInt() > 64);
        QCOMPARE(v[2].toInt(), v[1].toInt()); // every call ended
        QCOMPARE(v[4].toInt(), 0); // none ended twice
        QCOMPARE(v[5].toInt(), action); // every notification pushed
        QCOMPARE(v[6].toInt(), 0); // out of order
        if (!chaos)
            QCOMPARE(v[3].toInt(), 0); // failed
        // A sanitizer's shadow memory and quarantine grow on their own.
        if (qEnvironmentVariableIsEmpty("LUMO_TEST_SANITIZER"))
            QVERIFY2(h.residentAfter - h.residentBefore < 2 * 1024,
                     "resident memory grew by more than 2 MiB");
    }
}

LUMO_TEST_MAIN(TestSystemChaos)
#include "tst_systemchaos.moc"
