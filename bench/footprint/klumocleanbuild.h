#pragma once

#include <QString>
#include <QVector>

/**
 * A clean build of the whole project (library, tools, tests, benchmarks) in a
 * fresh folder, without a compiler cache, and where its time went.
 *
 * CPU time is what the build's processes used, user and system, children
 * included: on a machine shared with other work it still says what an idle
 * one needs, where the wall time does not. The job times come from Ninja's
 * log of the build: the time from a command's start to its end, summed per
 * folder of the source tree and listed for the heaviest compilations. Under
 * -j2 they add up to about the CPU time.
 *
 * Used from one thread; run() blocks until the build has ended.
 */
class KLumoCleanBuild
{
public:
    struct Job
    {
        QString what; // a translation unit's source, or the command's output
        QString folder; // the top-level folder of the source tree it belongs to
        QString subfolder; // the second level ("tests/dispatch"), or the folder itself
        double seconds = 0;
        bool compile = false; // a translation unit (or a precompiled header)
    };

    KLumoCleanBuild(const QString &sourceDir, const QString &buildDir, int jobs);

    // Configures and builds; false when either step fails. The build folder is
    // removed afterwards unless @p keep.
    bool run(bool keep = false);

    double configureWallSeconds() const { return m_fConfigureWall; }
    double configureCpuSeconds() const { return m_fConfigureCpu; }
    double buildWallSeconds() const { return m_fBuildWall; }
    double buildCpuSeconds() const { return m_fBuildCpu; }
    // Ninja's jobs, each command once, the heaviest first.
    const QVector<Job> &jobs() const { return m_lstJobs; }

    // The commands of a Ninja log ("# ninja log v5": start, end, mtime, output,
    // hash per line; a command with several outputs has a line for each), the
    // last run of each, the heaviest first.
    static QVector<Job> readNinjaLog(const QString &path);

private:
    bool step(const QStringList &args, double *wall, double *cpu);

    QString m_strSourceDir;
    QString m_strBuildDir;
    int m_nJobs;
    double m_fConfigureWall = 0;
    double m_fConfigureCpu = 0;
    double m_fBuildWall = 0;
    double m_fBuildCpu = 0;
    QVector<Job> m_lstJobs;
};
