#include "klumocleanbuild.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QSet>

#include <algorithm>
#include <sys/resource.h>
#include <sys/time.h>

namespace {

// User and system time of every child process waited for so far, and of theirs.
double childrenCpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto seconds = [](const timeval &t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// "tests/dispatch/CMakeFiles/tst_x.dir/tst_x.cpp.o" -> "tests/dispatch/tst_x.cpp";
// a unity source or a precompiled header keeps its target's name.
QString sourceOf(const QString &output, bool *compile)
{
    *compile = output.endsWith(QLatin1String(".o")) || output.endsWith(QLatin1String(".gch"));
    const int cmake = output.indexOf(QLatin1String("CMakeFiles/"));
    if (cmake < 0)
        return output;
    const QString prefix = output.left(cmake);
    QString rest = output.mid(cmake + int(qstrlen("CMakeFiles/")));
    const int dir = rest.indexOf(QLatin1String(".dir/"));
    const QString target = dir < 0 ? QString() : rest.left(dir);
    if (dir >= 0)
        rest = rest.mid(dir + 5);
    if (rest.endsWith(QLatin1String(".o")))
        rest.chop(2);
    if (rest.startsWith(QLatin1String("Unity/")) || rest.startsWith(QLatin1String("cmake_pch")))
        rest += QStringLiteral(" (%1)").arg(target);
    return prefix + rest;
}

} // namespace

KLumoCleanBuild::KLumoCleanBuild(const QString &sourceDir, const QString &buildDir, int jobs)
    : m_strSourceDir(sourceDir)
    , m_strBuildDir(buildDir)
    , m_nJobs(jobs)
{ }

bool KLumoCleanBuild::step(const QStringList &args, double *wall, double *cpu)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("CCACHE_DISABLE"), QStringLiteral("1"));
    QProcess p;
    p.setProcessEnvironment(env);
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.setStandardOutputFile(QProcess::nullDevice());
    const double before = childrenCpuSeconds();
    QElapsedTimer t;
    t.start();
    p.start(QStringLiteral("cmake"), args);
    const bool ok = p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit
        && p.exitCode() == 0;
    *wall = double(t.nsecsElapsed()) / 1e9;
    *cpu = childrenCpuSeconds() - before;
    return ok;
}

bool KLumoCleanBuild::run(bool keep)
{
    QDir(m_strBuildDir).removeRecursively();
    // Everything, as a newcomer's first build has it, with no compiler launcher.
    const bool built = step({"-S", m_strSourceDir, "-B", m_strBuildDir, "-G", "Ninja",
                             "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DCMAKE_CXX_COMPILER_LAUNCHER=",
                             "-DLUMO_BUILD_BENCH=ON", "-DLUMO_BUILD_TOOLS=ON", "-DBUILD_TESTING=ON"},
                            &m_fConfigureWall, &m_fConfigureCpu)
        && step({"--build", m_strBuildDir, "-j", QString::number(m_nJobs)}, &m_fBuildWall,
                &m_fBuildCpu);
    m_lstJobs = readNinjaLog(m_strBuildDir + QStringLiteral("/.ninja_log"));
    if (!keep)
        QDir(m_strBuildDir).removeRecursively();
    return built;
}

QVector<KLumoCleanBuild::Job> KLumoCleanBuild::readNinjaLog(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // The last run of each output; then one job per command (start, end, hash).
    QHash<QString, QByteArray> lastRun;
    QVector<QString> order;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        const QList<QByteArray> f = line.split('\t');
        if (line.startsWith('#') || f.size() < 5)
            continue;
        const QString output = QString::fromUtf8(f[3]);
        if (!lastRun.contains(output))
            order.append(output);
        lastRun.insert(output, line);
    }
    QVector<Job> jobs;
    QSet<QByteArray> seen;
    for (const QString &output : qAsConst(order)) {
        const QList<QByteArray> f = lastRun.value(output).split('\t');
        const QByteArray command = f[0] + ' ' + f[1] + ' ' + f[4];
        // Outputs named by absolute path repeat a command's relative ones.
        if (seen.contains(command) || QDir::isAbsolutePath(output))
            continue;
        seen.insert(command);
        Job job;
        job.what = sourceOf(output, &job.compile);
        const QStringList parts = job.what.split(QLatin1Char('/'));
        job.folder = parts.size() > 1 ? parts.first() : QStringLiteral("(top level)");
        job.subfolder = parts.size() > 2 ? parts[0] + QLatin1Char('/') + parts[1] : job.folder;
        job.seconds = (f[1].toDouble() - f[0].toDouble()) / 1000.0;
        jobs.append(job);
    }
    std::stable_sort(jobs.begin(), jobs.end(),
                     [](const Job &a, const Job &b) { return a.seconds > b.seconds; });
    return jobs;
}
