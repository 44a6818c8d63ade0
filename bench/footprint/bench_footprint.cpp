// What the library costs every host application, next to its targets:
//   text size and exported dynamic symbols of the shared library,
//   a clean build of everything without a compiler cache: wall and CPU time,
//   and where it went by folder and by translation unit (only with
//   --build-time; --ninja-log=PATH breaks down an earlier build's log instead),
//   what a host source file's compile costs with the typed calls, against the
//   same call by name (only with --compile-time),
//   resident memory of a minimal host once it sees the login,
//   time from LumoIpcInit to the login being seen, the emulator running,
//   wake-ups per second of that host, connected and idle (all its threads).
// Usage: bench_footprint [--quick] [--build-time [--keep-build]] [--ninja-log=PATH]
//                        [--compile-time] [--lib=PATH] [--idle=SECONDS]
// (--quick: a 3 s idle window instead of 30 s; runs in a private TMPDIR/HOME.)
// The host is this program again (--host), so that its figures are a fresh
// process's and the measurement itself never runs inside it.

#include "ipc/lumoipc.h"

#include "klumocleanbuild.h"
#include "lumobenchservice.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QSocketNotifier>
#include <QStringList>
#include <QTimer>

#include <cstdio>

namespace {

constexpr qint64 TextTarget = 6000000;
constexpr double LoginTargetMs = 50;
constexpr double WakeupTarget = 1;
// CPU seconds (user + system) of a clean build of everything, on 2 cores.
constexpr double BuildCpuTargetSeconds = 500;
constexpr int HeaviestShown = 10;
constexpr double TypedCompileTarget = 1.5;
constexpr int LoginTimeoutMs = 10000;

// The minimal host: sees the login, says when and at what memory, then stays
// idle until its standard input closes.
class Host : public QObject
{
    Q_OBJECT
public:
    QElapsedTimer sinceInit;

public Q_SLOTS:
    void onLoginStatus()
    {
        if (reported || !LumoIpcLoginCache().isLogined)
            return;
        reported = true;
        std::printf("login %.2f\nrss %lld\nhwm %lld\n", double(sinceInit.nsecsElapsed()) / 1e6,
                    lumobench::statusKiB("VmRSS:"), lumobench::statusKiB("VmHWM:"));
        std::fflush(stdout);
    }

private:
    bool reported = false;
};

int runHost(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    Host host;
    host.sinceInit.start();
    LumoIpcInit(true);
    QObject::connect(LumoIpcEventObject(), SIGNAL(LoginStatusChange()), &host,
                     SLOT(onLoginStatus()));
    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    const int rc = app.exec();
    LumoIpcFree();
    return rc;
}

QByteArray run(const QString &program, const QStringList &args, int timeoutMs = 60000)
{
    QProcess p;
    p.start(program, args);
    if (!p.waitForFinished(timeoutMs) || p.exitCode() != 0)
        return {};
    return p.readAllStandardOutput();
}

// The "text" column of size(1) in its Berkeley form.
qint64 textSize(const QString &lib)
{
    const QList<QByteArray> lines = run(QStringLiteral("size"), {lib}).split('\n');
    bool ok = false;
    const qint64 text = lines.value(1).simplified().split(' ').value(0).toLongLong(&ok);
    return ok ? text : -1;
}

qint64 exportedSymbols(const QString &lib)
{
    const QByteArray out = run(QStringLiteral("nm"), {"-D", "--defined-only", lib});
    return out.isEmpty() ? -1 : out.count('\n');
}

// A host's source file that makes one call, by its typed function or by name.
const char *const TypedHost = R"(#include <lumoipccalls.h>
void host(QObject *context)
{
    ofx::lumo::CreateFolderArg arg;
    arg.__set_folderName("Reports");
    LumoIpc::createFolder(arg, context, [](bool, const ofx::lumo::CreateFolderResult &) {});
}
)";
const char *const NamedHost = R"(#include <lumo_types.h>
#include <lumoipc.h>
void host(QObject *receiver)
{
    ofx::lumo::CreateFolderArg arg;
    arg.__set_folderName("Reports");
    LumoIpcAsynCallEx("createFolder", Q_ARG(ofx::lumo::CreateFolderArg, arg), receiver, "onFolder");
}
)";

// Seconds to compile @p source as a host would (-O2, the library's include
// folders), the best of @p rounds; -1 when it does not compile.
double compileSeconds(const QString &dir, const char *name, const char *source, int rounds)
{
    const QString file = dir + QLatin1Char('/') + QLatin1String(name);
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(source) < 0)
        return -1;
    out.close();
    QStringList args = {"-std=c++17", "-fPIC", "-O2", "-c", file, "-o", file + ".o"};
    for (const QString &include : QStringLiteral(LUMO_HOST_INCLUDES).split(QLatin1Char(':')))
        args << QStringLiteral("-I") + include;
    double best = -1;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer t;
        t.start();
        QProcess compiler;
        compiler.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        compiler.start(QStringLiteral(LUMO_CXX_COMPILER), args);
        if (!compiler.waitForFinished(120000) || compiler.exitCode() != 0)
            return -1;
        const double s = double(t.nsecsElapsed()) / 1e9;
        best = best < 0 ? s : qMin(best, s);
    }
    return best;
}

struct HostFigures
{
    double loginMs = -1;
    qint64 rssKiB = -1, hwmKiB = -1;
    double wakeupsPerSecond = -1;
    int threads = 0;
};

// Runs the host against a freshly started emulator; its idle window starts
// @p settleMs after the login.
HostFigures measureHost(int idleMs, int settleMs)
{
    HostFigures f;
    QProcess service;
    if (!lumobench::startService(service, QStringLiteral(LUMO_SERVICE_BIN))) {
        std::fprintf(stderr, "bench_footprint: the emulator did not start\n");
        return f;
    }
    QProcess host;
    host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    host.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--host")});
    QElapsedTimer t;
    t.start();
    QByteArray out;
    while (out.count('\n') < 3 && t.elapsed() < LoginTimeoutMs && host.waitForReadyRead(1000))
        out += host.readAllStandardOutput();
    for (const QByteArray &line : out.split('\n')) {
        const QList<QByteArray> kv = line.split(' ');
        if (kv.value(0) == "login")
            f.loginMs = kv.value(1).toDouble();
        else if (kv.value(0) == "rss")
            f.rssKiB = kv.value(1).toLongLong();
        else if (kv.value(0) == "hwm")
            f.hwmKiB = kv.value(1).toLongLong();
    }
    if (f.loginMs >= 0) {
        // Sleep, not an event loop: the driver must not wake anything meanwhile.
        QThread::msleep(ulong(settleMs));
        const qint64 pid = host.processId();
        const qint64 before = lumobench::contextSwitches(pid);
        QElapsedTimer window;
        window.start();
        QThread::msleep(ulong(idleMs));
        const qint64 after = lumobench::contextSwitches(pid);
        f.wakeupsPerSecond = double(after - before) * 1000.0 / double(window.elapsed());
        f.threads = QDir(QStringLiteral("/proc/%1/task").arg(pid))
                        .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                        .size();
    } else {
        std::fprintf(stderr, "bench_footprint: the host saw no login in %d ms\n", LoginTimeoutMs);
    }
    host.closeWriteChannel();
    if (!host.waitForFinished(10000))
        host.kill();
    lumobench::stopService(service);
    return f;
}

// One line of the report: what, the figure (or why there is none), the target.
void row(const QString &what, const QString &figure, const QString &target = QString())
{
    std::printf("%-58s %14s   %s\n", qPrintable(what), qPrintable(figure), qPrintable(target));
}

QString verdict(bool met, const QString &target)
{
    return target + (met ? QStringLiteral("  met") : QStringLiteral("  MISSED"));
}

// Where a build's job time went: per top-level folder, the heaviest second-level
// folders, and the heaviest translation units.
void printJobs(const QVector<KLumoCleanBuild::Job> &jobs)
{
    double total = 0;
    QMap<QString, double> folders, subfolders;
    for (const KLumoCleanBuild::Job &job : jobs) {
        total += job.seconds;
        folders[job.folder] += job.seconds;
        subfolders[job.subfolder] += job.seconds;
    }
    if (total <= 0) {
        std::printf("  (no jobs in the build log)\n");
        return;
    }
    const auto heaviest = [](const QMap<QString, double> &map) {
        QVector<QPair<double, QString>> sorted;
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            sorted.append({it.value(), it.key()});
        std::sort(sorted.begin(), sorted.end(), [](const auto &a, const auto &b) { return a > b; });
        return sorted;
    };
    const auto line = [total](const QString &what, double seconds) {
        std::printf("    %-64s %7.1f s %5.1f %%\n", qPrintable(what), seconds,
                    100.0 * seconds / total);
    };
    std::printf("  job time, Ninja's log: %.1f s in %d jobs; by top-level folder:\n", total,
                int(jobs.size()));
    for (const auto &f : heaviest(folders))
        line(f.second, f.first);
    std::printf("  the heaviest folders:\n");
    for (const auto &f : heaviest(subfolders).mid(0, HeaviestShown))
        line(f.second, f.first);
    std::printf("  the heaviest translation units:\n");
    int shown = 0;
    for (const KLumoCleanBuild::Job &job : jobs) {
        if (job.compile && shown++ < HeaviestShown)
            line(job.what, job.seconds);
    }
}

// A clean build of everything without a compiler cache, and where it went.
void reportCleanBuild(bool keep)
{
    const QString dir = QStringLiteral(LUMO_BINARY_DIR "/footprint-clean-build");
    KLumoCleanBuild build(QStringLiteral(LUMO_SOURCE_DIR), dir, 2);
    const bool ok = build.run(keep);
    const double cpu = build.configureCpuSeconds() + build.buildCpuSeconds();
    const double wall = build.configureWallSeconds() + build.buildWallSeconds();
    row(QStringLiteral("clean build, no ccache, -j2, everything (CPU s)"),
        ok ? QString::number(cpu, 'f', 1) : QStringLiteral("failed"),
        verdict(ok && cpu <= BuildCpuTargetSeconds,
                QStringLiteral("<= %1 user + sys").arg(BuildCpuTargetSeconds)));
    std::printf("  wall %.1f s (configure %.1f s, build %.1f s); CPU: configure %.1f s, build "
                "%.1f s%s\n",
                wall, build.configureWallSeconds(), build.buildWallSeconds(),
                build.configureCpuSeconds(), build.buildCpuSeconds(),
                keep ? qPrintable(QStringLiteral("; kept in ") + dir) : "");
    printJobs(build.jobs());
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc >= 2 && QByteArray(argv[1]) == "--host")
        return runHost(argc, argv);
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const bool quick = args.contains(QLatin1String("--quick"));
    QString lib = QStringLiteral(LUMOIPC_LIBRARY);
    QString ninjaLog;
    int idleSeconds = quick ? 3 : 30;
    for (const QString &a : args) {
        if (a.startsWith(QLatin1String("--lib=")))
            lib = a.mid(6);
        else if (a.startsWith(QLatin1String("--ninja-log=")))
            ninjaLog = a.mid(12);
        else if (a.startsWith(QLatin1String("--idle=")))
            idleSeconds = qMax(1, a.mid(7).toInt());
    }
    const QString root = lumobench::enterPrivateRoot("lumofootprint");
    QCoreApplication app(argc, argv);

    std::printf("footprint of %s\n", qPrintable(lib));
    const qint64 text = textSize(lib);
    row(QStringLiteral("text size (size, bytes)"),
        text < 0 ? QStringLiteral("unavailable") : QString::number(text),
        verdict(text >= 0 && text <= TextTarget, QStringLiteral("<= %1").arg(TextTarget)));
    const qint64 symbols = exportedSymbols(lib);
    row(QStringLiteral("exported dynamic symbols (nm -D --defined-only)"),
        symbols < 0 ? QStringLiteral("unavailable") : QString::number(symbols));
    if (args.contains(QLatin1String("--build-time"))) {
        reportCleanBuild(args.contains(QLatin1String("--keep-build")));
    } else {
        row(QStringLiteral("clean build, no ccache, -j2, everything (CPU s)"),
            QStringLiteral("not measured"), QStringLiteral("(--build-time)"));
    }
    if (!ninjaLog.isEmpty()) {
        std::printf("build log %s\n", qPrintable(ninjaLog));
        printJobs(KLumoCleanBuild::readNinjaLog(ninjaLog));
    }

    if (args.contains(QLatin1String("--compile-time"))) {
        // Alternating, so that both see the same machine.
        double typed = -1, named = -1;
        for (int i = 0; i < 3; ++i) {
            const double t = compileSeconds(root, "typed.cpp", TypedHost, 1);
            const double n = compileSeconds(root, "named.cpp", NamedHost, 1);
            typed = typed < 0 || (t >= 0 && t < typed) ? t : typed;
            named = named < 0 || (n >= 0 && n < named) ? n : named;
        }
        const double ratio = typed > 0 && named > 0 ? typed / named : -1;
        row(QStringLiteral("host file compile, typed call / by name (s, best of 3)"),
            ratio < 0 ? QStringLiteral("failed")
                      : QStringLiteral("%1 / %2 = %3")
                            .arg(typed, 0, 'f', 2)
                            .arg(named, 0, 'f', 2)
                            .arg(ratio, 0, 'f', 2),
            verdict(ratio > 0 && ratio <= TypedCompileTarget,
                    QStringLiteral("<= %1x").arg(TypedCompileTarget)));
    } else {
        row(QStringLiteral("host file compile, typed call / by name (s, best of 3)"),
            QStringLiteral("not measured"), QStringLiteral("(--compile-time)"));
    }

    const HostFigures f = measureHost(idleSeconds * 1000, quick ? 500 : 2000);
    const auto orNone = [](double v, int decimals) {
        return v < 0 ? QStringLiteral("unavailable") : QString::number(v, 'f', decimals);
    };
    row(QStringLiteral("minimal host after login, VmRSS (KiB)"), orNone(double(f.rssKiB), 0));
    row(QStringLiteral("minimal host after login, VmHWM (KiB)"), orNone(double(f.hwmKiB), 0));
    row(QStringLiteral("LumoIpcInit to login seen, emulator running (ms)"), orNone(f.loginMs, 1),
        verdict(f.loginMs >= 0 && f.loginMs <= LoginTargetMs,
                QStringLiteral("<= %1").arg(LoginTargetMs)));
    row(QStringLiteral("idle connected host, wake-ups/s over %1 s (%2 threads)")
            .arg(idleSeconds)
            .arg(f.threads),
        orNone(f.wakeupsPerSecond, 2),
        verdict(f.wakeupsPerSecond >= 0 && f.wakeupsPerSecond <= WakeupTarget,
                QStringLiteral("<= %1").arg(WakeupTarget)));
    QDir(root).removeRecursively();
    return text >= 0 && symbols >= 0 && f.loginMs >= 0 && f.wakeupsPerSecond >= 0 ? 0 : 1;
}

#include "bench_footprint.moc"
