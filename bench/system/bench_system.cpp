// End-to-end figures of the library against the service emulator, next to
// plain QLocalSocket ping-pongs (blocking and in the event loop) measured in
// the same run:
//   round trip p50/p99 and context switches per round trip, calls per second
//   with 1/16/256 in flight, notifications per second, one 16 MiB reply;
//   what recording the traffic (LUMOIPC_CAPTURE) costs the round trip and the
//   notification rate; then the round trips again with every process pinned
//   to one core.
//   and how soon a typed call that the service fails ends (failfast).
// Usage: bench_system [--quick] [--only=latency,throughput,notify,big,capture,failfast]
//        [--no-pinned]
// (runs in a private TMPDIR/HOME of its own)

#include "ipc/lumoipc.h"
#include "lumoipccalls.h"

#include "klumopercentile.h"
#include "lumobenchservice.h"

#include <lumo_types.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <QSet>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <numeric>
#include <sched.h>
#include <vector>

using ofx::lumo::CreateFolderArg;
using ofx::lumo::CreateFolderResult;
using ofx::lumo::KLumoPercentile;

namespace {

using lumobench::control;

constexpr int PingSize = 64;

// Runs the event loop for @p ms without spinning: the machine's cores belong
// to the service and the dispatcher's thread while we wait.
void pump(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// The baseline's far side: echoes every byte it receives, in its own process.
int runEchoServer(const QString &name)
{
    QLocalServer server;
    QLocalServer::removeServer(name);
    if (!server.listen(name))
        return 1;
    QObject::connect(&server, &QLocalServer::newConnection, [&] {
        QLocalSocket *s = server.nextPendingConnection();
        QObject::connect(s, &QLocalSocket::readyRead, [s] { s->write(s->readAll()); });
        QObject::connect(s, &QLocalSocket::disconnected, [] { QCoreApplication::quit(); });
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return QCoreApplication::exec();
}

class Receiver : public QObject
{
    Q_OBJECT
public:
    int answered = 0;
    int failed = 0;
    int duplicates = 0;
    QSet<QString> seen;
    qint64 lastSize = 0;
    std::function<void()> onAnswer;

public Q_SLOTS:
    void onResult(bool ok, const QString &requestId, const CreateFolderResult &value)
    {
        if (seen.contains(requestId))
            ++duplicates;
        seen.insert(requestId);
        ++answered;
        if (!ok)
            ++failed;
        lastSize = qint64(value.folderName.size());
        if (onAnswer)
            onAnswer();
    }
    void onNotify() { ++notifications; }

public:
    int notifications = 0;
};

const CreateFolderArg &benchArg()
{
    static const CreateFolderArg arg = [] {
        CreateFolderArg a;
        a.folderName = "bench";
        return a;
    }();
    return arg;
}

QString call(Receiver &r)
{
    const CreateFolderArg &arg = benchArg();
    return LumoIpcAsynCallEx(QStringLiteral("createFolder"), Q_ARG(CreateFolderArg, arg), &r,
                             QStringLiteral("onResult"));
}

// The same call through its typed function, ending in the same receiver.
QString typedCall(Receiver &r)
{
    return LumoIpc::createFolder(benchArg(), &r,
                                 [&r](bool ok, const QString &id, const CreateFolderResult &v) {
                                     r.onResult(ok, id, v);
                                 })
        .id();
}

// Starts the library (recording to @p capture when it is not empty) and waits
// until it has logged in through the emulator.
bool startLibrary(const QString &capture = QString())
{
    if (capture.isEmpty())
        qunsetenv("LUMOIPC_CAPTURE");
    else
        qputenv("LUMOIPC_CAPTURE", capture.toLocal8Bit());
    LumoIpcInit(true);
    QElapsedTimer wait;
    wait.start();
    while (!LumoIpcLoginCache().isLogined && wait.elapsed() < 10000)
        pump(10);
    if (!LumoIpcLoginCache().isLogined)
        std::fprintf(stderr, "bench: the library did not connect to the emulator\n");
    return LumoIpcLoginCache().isLogined;
}

// One sequential call: microseconds from the call to its result.
double timedCall(Receiver &r)
{
    QElapsedTimer t;
    const int before = r.answered;
    t.start();
    call(r);
    while (r.answered == before)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return double(t.nsecsElapsed()) / 1000.0;
}

// Pushes @p burst notifications and returns how many per second reached the
// host's event object.
double notificationRate(Receiver &r, int burst)
{
    QElapsedTimer t;
    r.notifications = 0;
    t.start();
    control(R"({"cmd":"push","name":"notifyFileAction","arg":{"fileId":"f","action":1},"count":)"
            + QByteArray::number(burst) + "}");
    while (r.notifications < burst && t.elapsed() < 60000)
        pump(5);
    return r.notifications * 1000.0 / double(t.elapsed());
}

void countNotifications(Receiver &r)
{
    QObject::connect(LumoIpcEventObject(), SIGNAL(signal_notifyFileAction(NotifyFileActionArg)), &r,
                     SLOT(onNotify()));
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc >= 3 && QByteArray(argv[1]) == "--echo-server") {
        QCoreApplication app(argc, argv);
        return runEchoServer(QString::fromLocal8Bit(argv[2]));
    }
    const QStringList args = [&] {
        QStringList a;
        for (int i = 1; i < argc; ++i)
            a << QString::fromLocal8Bit(argv[i]);
        return a;
    }();
    const bool quick = args.contains(QLatin1String("--quick"));
    // --only=latency,throughput,notify,big,capture,failfast picks phases (all by default).
    QStringList phases = {"latency", "throughput", "notify", "big", "capture", "failfast"};
    for (const QString &a : args)
        if (a.startsWith(QLatin1String("--only=")))
            phases = a.mid(7).split(QLatin1Char(','));
    const bool pinned = args.contains(QLatin1String("--pinned"));
    if (pinned) {
        // Before any thread exists: every thread of this process, the emulator
        // and the echo peer inherit the one core.
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(0, &one);
        ::sched_setaffinity(0, sizeof(one), &one);
    }
    const QString root = lumobench::enterPrivateRoot("lumobench");
    QCoreApplication app(argc, argv);
    const int samples = quick ? 2000 : 10000;
    const int windowMs = quick ? 1000 : 2000;

    // The emulator, and the library connected to it with a user logged in.
    QProcess service;
    if (!lumobench::startService(service, QStringLiteral(LUMO_SERVICE_BIN))) {
        std::fprintf(stderr, "bench: the emulator did not start\n");
        return 1;
    }
    Receiver r;
    if (!startLibrary())
        return 1;
    QElapsedTimer t;
    int totalIssued = 0;

    // Round trips: two baselines, a sequential 64-byte ping-pong over a plain
    // local socket to an echoing process, waiting in waitForReadyRead() (the
    // client thread sleeps in the socket's poll) and in the event loop (as a
    // host and the library wait), and sequential calls through the exported
    // functions. Measured in alternating blocks so that all three see the same
    // machine (frequency, neighbours, scheduler placement). The context
    // switches of this process per round trip count the wake-ups it paid: a
    // call wakes the host thread and the dispatcher's worker (and the service),
    // a ping-pong the client thread (and the echo peer).
    double pingRate = 0;
    if (phases.contains(QLatin1String("latency")) || phases.contains(QLatin1String("throughput"))) {
        QProcess echo;
        const QString echoName = QStringLiteral("lumobench-echo");
        echo.start(QCoreApplication::applicationFilePath(), {"--echo-server", echoName});
        echo.waitForReadyRead(5000);
        QLocalSocket ping, evPing;
        for (QLocalSocket *s : {&ping, &evPing}) {
            s->connectToServer(echoName);
            s->waitForConnected(3000);
        }
        qint64 evGot = 0;
        QObject::connect(&evPing, &QLocalSocket::readyRead,
                         [&] { evGot += evPing.readAll().size(); });
        const QByteArray payload(PingSize, 'p');
        struct Round
        {
            const char *name;
            std::function<void()> once;
            std::vector<double> us;
            qint64 switches = 0;
            qint64 cpuUs = 0;
        };
        Round rounds[] = {
            {"ping-pong, waitForReadyRead (64 B)",
             [&] {
                 ping.write(payload);
                 ping.flush();
                 qint64 got = 0;
                 while (got < PingSize && ping.waitForReadyRead(3000))
                     got += ping.readAll().size();
             }},
            {"ping-pong, event loop (64 B)",
             [&] {
                 evGot = 0;
                 evPing.write(payload);
                 evPing.flush();
                 while (evGot < PingSize)
                     QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
             }},
            {"LumoIpcAsynCallEx round trip",
             [&] {
                 const int before = r.answered;
                 call(r);
                 ++totalIssued;
                 while (r.answered == before)
                     QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
             }},
            {"LumoIpc::createFolder round trip",
             [&] {
                 const int before = r.answered;
                 typedCall(r);
                 ++totalIssued;
                 while (r.answered == before)
                     QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
             }},
        };
        constexpr int Block = 50, Warmup = 100;
        for (int done = -Warmup; done < samples; done += Block) {
            for (Round &round : rounds) {
                const qint64 switchesBefore = lumobench::contextSwitches();
                const qint64 cpuBefore = lumobench::cpuMicroseconds();
                for (int i = 0; i < Block; ++i) {
                    t.start();
                    round.once();
                    if (done >= 0)
                        round.us.push_back(double(t.nsecsElapsed()) / 1000.0);
                }
                if (done >= 0) {
                    round.cpuUs += lumobench::cpuMicroseconds() - cpuBefore;
                    round.switches += lumobench::contextSwitches() - switchesBefore;
                }
            }
        }
        ping.disconnectFromServer();
        evPing.disconnectFromServer();
        echo.waitForFinished(3000);
        std::printf("\n%-38s %10s %10s %15s %10s   (%d samples each; switches and CPU:"
                    " this process)\n",
                    "", "p50 (us)", "p99 (us)", "switches/round", "CPU (us)",
                    int(rounds[0].us.size()));
        for (const Round &round : rounds)
            std::printf("%-38s %10.1f %10.1f %15.2f %10.1f\n", round.name,
                        KLumoPercentile::of(round.us, 0.5), KLumoPercentile::of(round.us, 0.99),
                        double(round.switches) / double(round.us.size()),
                        double(round.cpuUs) / double(round.us.size()));
        const std::vector<double> &blocking = rounds[0].us;
        const double e2eP50 = KLumoPercentile::of(rounds[2].us, 0.5);
        std::printf("%-38s %10.2f\n", "ratio p50 end-to-end / blocking",
                    e2eP50 / KLumoPercentile::of(blocking, 0.5));
        std::printf("%-38s %10.2f\n", "ratio p50 end-to-end / event loop",
                    e2eP50 / KLumoPercentile::of(rounds[1].us, 0.5));
        // The typed layer's own cost: one more look-up and a virtual call per result.
        const double typedRatio = KLumoPercentile::of(rounds[3].us, 0.5) / e2eP50;
        std::printf("%-38s %10.2f   (target 1.10: %s)\n\n", "ratio p50 typed / named call",
                    typedRatio, typedRatio <= 1.10 ? "met" : "NOT met");
        pingRate = 1e6
            / (std::accumulate(blocking.begin(), blocking.end(), 0.0) / double(blocking.size()));
        std::printf("%-38s %10.0f calls/s\n", "blocking ping-pong sequential rate", pingRate);
    }

    // Throughput with a fixed number of calls in flight.
    if (phases.contains(QLatin1String("throughput"))) {
        double rate256 = 0;
        for (int inFlight : {1, 16, 256}) {
            int issued = 0;
            const int start = r.answered;
            bool running = true;
            r.onAnswer = [&] {
                if (running) {
                    call(r);
                    ++issued;
                }
            };
            for (int i = 0; i < inFlight; ++i, ++issued)
                call(r);
            const qint64 switchesBefore = lumobench::contextSwitches();
            const qint64 cpuBefore = lumobench::cpuMicroseconds();
            t.start();
            pump(windowMs);
            const int done = r.answered - start;
            const double rate = done * 1000.0 / double(t.elapsed());
            const double switchesPerCall =
                double(lumobench::contextSwitches() - switchesBefore) / qMax(1, done);
            const double cpuPerCall =
                double(lumobench::cpuMicroseconds() - cpuBefore) / qMax(1, done);
            running = false;
            while (r.answered - start < issued && t.elapsed() < windowMs + 20000)
                pump(10);
            r.onAnswer = nullptr;
            totalIssued += issued;
            if (inFlight == 256)
                rate256 = rate;
            std::printf("%-38s %10.0f calls/s, %.2f switches and %.1f us CPU per call\n",
                        qPrintable(QStringLiteral("%1 in flight").arg(inFlight)), rate,
                        switchesPerCall, cpuPerCall);
        }
        std::printf("%-38s %10.2f   (target >= 1)\n", "ratio 256 in flight / blocking",
                    rate256 / pingRate);
    }
    if (totalIssued > 0)
        std::printf("%-38s %10d issued, %d answered, %d failed, %d twice\n", "calls", totalIssued,
                    r.answered, r.failed, r.duplicates);

    // Notifications: a burst pushed by the emulator, counted at the event object.
    if (phases.contains(QLatin1String("notify"))) {
        countNotifications(r);
        const int burst = quick ? 5000 : 20000;
        const double rate = notificationRate(r, burst);
        std::printf("%-38s %10.0f notifications/s (%d of %d delivered)\n", "notifications", rate,
                    r.notifications, burst);
    }

    // Capture off and on, in alternating blocks (each block restarts the
    // library, as a host started with or without LUMOIPC_CAPTURE would be), the
    // order swapped every round so that neither side always runs first.
    if (phases.contains(QLatin1String("capture"))) {
        const QString file = root + "/capture.pcapng";
        const int rounds = quick ? 4 : 10, calls = quick ? 300 : 1000, burst = quick ? 5000 : 20000;
        std::vector<double> rtt[2], rate[2];
        for (int round = 0; round < rounds; ++round) {
            for (int k = 0; k < 2; ++k) {
                const int on = (round + k) % 2;
                LumoIpcFree();
                if (!startLibrary(on ? file : QString()))
                    return 1;
                countNotifications(r);
                for (int i = -20; i < calls; ++i) { // the first few warm the caches
                    const double us = timedCall(r);
                    if (i >= 0)
                        rtt[on].push_back(us);
                }
                rate[on].push_back(notificationRate(r, burst));
            }
        }
        const double offP50 = KLumoPercentile::of(rtt[0], 0.5),
                     onP50 = KLumoPercentile::of(rtt[1], 0.5);
        const double offRate = KLumoPercentile::of(rate[0], 0.5),
                     onRate = KLumoPercentile::of(rate[1], 0.5);
        std::printf("\n%-34s %12s %12s %8s   (%d rounds)\n", "capture", "off", "on", "ratio",
                    rounds);
        std::printf("%-34s %12.1f %12.1f %8.2f   (target <= 1.2)\n", "round trip p50 (us)", offP50,
                    onP50, onP50 / offP50);
        std::printf("%-34s %12.1f %12.1f %8.2f\n", "round trip p99 (us)",
                    KLumoPercentile::of(rtt[0], 0.99), KLumoPercentile::of(rtt[1], 0.99),
                    KLumoPercentile::of(rtt[1], 0.99) / KLumoPercentile::of(rtt[0], 0.99));
        std::printf("%-34s %12.0f %12.0f %8.2f   (target <= 1.5, off / on; median of %d bursts)\n",
                    "notifications/s", offRate, onRate, offRate / onRate, rounds);
        std::printf("%-34s %12lld bytes\n", "last capture file", QFileInfo(file).size());
    }

    // A typed call that the service fails: its callable runs as soon as the
    // exception arrives (a call by name waits for its expiry, 16 s). From the
    // call to the callable, which bounds the time from the reply.
    if (phases.contains(QLatin1String("failfast"))) {
        control(R"({"cmd":"reply","method":"remove","behaviour":{"fail":"bench"}})");
        std::vector<double> ms;
        int otherwise = 0;
        for (int i = 0; i < (quick ? 200 : 1000); ++i) {
            bool ended = false;
            t.start();
            LumoIpc::remove(ofx::lumo::RemoveArg(), &r,
                            [&](const LumoIpc::Status &status, const ofx::lumo::RemoveResult &) {
                                ended = true;
                                otherwise +=
                                    status.code() != LumoIpc::Status::Code::ServiceException;
                            });
            while (!ended && t.elapsed() < 30000)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            ms.push_back(double(t.nsecsElapsed()) / 1e6);
        }
        const double worst = *std::max_element(ms.begin(), ms.end());
        std::printf("%-38s %10.2f ms p50, %.2f ms p99, %.2f ms max   (target max <= 50: %s;"
                    " %d of %d ended otherwise)\n",
                    "typed call failed by the service", KLumoPercentile::of(ms, 0.5),
                    KLumoPercentile::of(ms, 0.99), worst, worst <= 50 ? "met" : "NOT met",
                    otherwise, int(ms.size()));
    }

    // One 16 MiB reply, after the emulator was told to answer with it.
    if (phases.contains(QLatin1String("big"))) {
        const QByteArray big(16 << 20, 'z');
        control(R"({"cmd":"reply","method":"createFolder","behaviour":{"reply":{"folderName":")"
                + big + "\"}}}");
        std::vector<double> ms;
        for (int i = 0; i < 3; ++i) {
            const int before = r.answered;
            t.start();
            call(r);
            ++totalIssued;
            while (r.answered == before && t.elapsed() < 30000)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            ms.push_back(double(t.nsecsElapsed()) / 1e6);
        }
        std::printf("%-38s %10.1f ms (%lld bytes, median of 3)\n", "16 MiB reply round trip",
                    KLumoPercentile::of(ms, 0.5), r.lastSize);
    }

    LumoIpcFree();
    lumobench::stopService(service);

    // The same round trips with everything on one core: what is left once
    // waking a thread on the other core costs nothing more than a switch.
    if (phases.contains(QLatin1String("latency")) && !pinned
        && !args.contains(QLatin1String("--no-pinned"))) {
        std::printf("\npinned to core 0 (sched_setaffinity, the emulator and echo peer too):\n");
        std::fflush(stdout);
        QProcess again;
        again.setProcessChannelMode(QProcess::ForwardedChannels);
        QStringList pass = {QStringLiteral("--pinned"), QStringLiteral("--only=latency")};
        if (quick)
            pass << QStringLiteral("--quick");
        again.start(QCoreApplication::applicationFilePath(), pass);
        again.waitForFinished(-1);
    }
    QDir(root).removeRecursively();
    return 0;
}

#include "bench_system.moc"
