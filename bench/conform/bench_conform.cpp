// The conformance kit against the emulator: how long a full run takes (every
// group; notifications without --push-command), group by group, and how much
// memory the kit holds while the service answers 64 MiB replies. The baseline
// is the same run against the emulator's small default replies, measured in
// alternating rounds of the same process.
//
// Usage: bench_conform [ROUNDS]   (default 3)

#include "klumopercentile.h"
#include "lumobenchservice.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

extern char **environ;

using ofx::lumo::KLumoPercentile;

namespace {

constexpr qint64 BigReply = 64 << 20;
// Methods whose result record has a string field the scenario fills.
const char *const BigMethods[] = {"getUserId", "getInfo"};

struct KitRun
{
    int exitCode = -1;
    double seconds = 0;
    long maxRssKiB = 0; // VmHWM sampled every 5 ms
    long accountedKiB = 0; // the kernel's ru_maxrss, an upper bound
    std::map<QString, double> groupMs;
};

// Runs the kit to its end; its peak RSS comes from the kernel's account of the child.
KitRun runKit()
{
    int out[2];
    if (::pipe(out) != 0)
        qFatal("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    char bin[] = LUMO_CONFORM_BIN, json[] = "--json";
    char *argv[] = {bin, json, nullptr};
    QElapsedTimer t;
    t.start();
    pid_t pid;
    if (posix_spawn(&pid, bin, &actions, nullptr, argv, environ) != 0)
        qFatal("cannot start %s", bin);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    // The kit's own high-water mark, read while it runs: the kernel's account
    // at the end also holds whatever this process had before the exec.
    QByteArray text;
    char buf[65536];
    const QString statusFile = QStringLiteral("/proc/%1/status").arg(pid);
    long ownHwm = 0;
    for (;;) {
        pollfd p = {out[0], POLLIN, 0};
        if (::poll(&p, 1, 5) > 0) {
            const ssize_t n = ::read(out[0], buf, sizeof buf);
            if (n <= 0)
                break;
            text.append(buf, int(n));
        }
        QFile f(statusFile);
        if (f.open(QIODevice::ReadOnly)) {
            const QByteArray s = f.readAll();
            const int at = s.indexOf("VmHWM:");
            if (at >= 0)
                ownHwm = qMax(ownHwm, s.mid(at + 6).trimmed().split(' ').value(0).toLong());
        }
    }
    ::close(out[0]);
    int status = 0;
    rusage usage {};
    ::wait4(pid, &status, 0, &usage);
    KitRun run;
    run.seconds = double(t.nsecsElapsed()) / 1e9;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.maxRssKiB = ownHwm;
    run.accountedKiB = usage.ru_maxrss;
    for (const QByteArray &line : text.split('\n')) {
        const QJsonObject c = QJsonDocument::fromJson(line).object();
        if (!c.isEmpty())
            run.groupMs[c.value(QLatin1String("group")).toString()] +=
                c.value(QLatin1String("ms")).toDouble();
    }
    return run;
}

QString writeScenario(bool big)
{
    const QString path = QDir::tempPath() + (big ? "/big.json" : "/small.json");
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot write %s", qPrintable(path));
    f.write("{\"methods\": {");
    for (const char *m : BigMethods) {
        if (!big)
            break;
        if (m != BigMethods[0])
            f.write(",");
        f.write("\"" + QByteArray(m) + "\": {\"reply\": {\"userId\": \"");
        // In pieces: a child's peak RSS counts its parent's from before exec.
        const QByteArray piece(1 << 20, 'x');
        for (qint64 n = 0; n < BigReply; n += piece.size())
            f.write(piece);
        f.write("\"}}");
    }
    f.write("}}");
    return path;
}

bool startEmulator(QProcess &service, const QString &scenario)
{
    service.setStandardErrorFile(QProcess::nullDevice());
    service.start(QStringLiteral(LUMO_SERVICE_BIN), {"--scenario", scenario});
    for (int i = 0; i < 1500; ++i) { // parsing a 128 MiB scenario takes a while
        if (lumobench::control(R"({"cmd":"status"})"))
            return true;
        QThread::msleep(20);
    }
    return false;
}

QByteArray loadAverage()
{
    QFile f(QStringLiteral("/proc/loadavg"));
    return f.open(QIODevice::ReadOnly) ? f.readAll().trimmed() : QByteArray("?");
}

} // namespace

int main(int argc, char *argv[])
{
    const QString root = lumobench::enterPrivateRoot("bench-conform");
    QCoreApplication app(argc, argv);
    const int rounds = qMax(1, app.arguments().value(1, QStringLiteral("3")).toInt());
    const QString scenarios[] = {writeScenario(false), writeScenario(true)};
    const char *const names[] = {"small replies (baseline)", "two 64 MiB replies"};
    std::map<QString, std::vector<double>> groups[2];
    std::vector<double> totals[2], rss[2];
    int failed = 0;
    std::printf("load average at start: %s\n", loadAverage().constData());
    for (int round = 0; round < rounds; ++round) {
        for (int big = 0; big < 2; ++big) {
            QProcess service;
            if (!startEmulator(service, scenarios[big]))
                qFatal("the emulator did not start");
            const KitRun run = runKit();
            lumobench::stopService(service);
            failed += run.exitCode != 0;
            totals[big].push_back(run.seconds);
            rss[big].push_back(run.maxRssKiB / 1024.0);
            for (const auto &[group, ms] : run.groupMs)
                groups[big][group].push_back(ms);
            std::printf("round %d, %-24s %6.2f s, kit VmHWM %6.1f MiB (ru_maxrss %6.1f), exit %d\n",
                        round + 1, names[big], run.seconds, run.maxRssKiB / 1024.0,
                        run.accountedKiB / 1024.0, run.exitCode);
            std::fflush(stdout);
        }
    }
    std::printf("\nmedian of %d rounds        %12s %12s\n", rounds, "small", "64 MiB");
    for (const auto &[group, ms] : groups[0])
        std::printf("  %-24s %9.1f ms %9.1f ms\n", qPrintable(group), KLumoPercentile::median(ms),
                    KLumoPercentile::median(groups[1][group]));
    std::printf("  %-24s %9.2f s  %9.2f s   (target: at most 30 s)\n", "whole run",
                KLumoPercentile::median(totals[0]), KLumoPercentile::median(totals[1]));
    std::printf("  %-24s %8.1f MiB %8.1f MiB  (target: under 100 MB = %.1f MiB)\n", "kit peak RSS",
                KLumoPercentile::median(rss[0]), KLumoPercentile::median(rss[1]), 100e6 / 1048576);
    std::printf("load average at end: %s\n", loadAverage().constData());
    QDir(root).removeRecursively();
    return failed ? 1 : 0;
}
