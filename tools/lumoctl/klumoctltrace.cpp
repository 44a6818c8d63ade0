#include "klumoctltrace.h"

#include "klumoctlconsole.h"
#include "klumoctloptions.h"
#include "klumotracesource.h"
#include "klumotracesummary.h"
#include "klumotracetimeline.h"

#include <QEventLoop>
#include <QFile>
#include <QFileSystemWatcher>

#include <cstdio>
#include <memory>
#include <vector>

namespace ofx::lumo {

int KLumoCtlTrace::run(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    QStringList timeline;
    if (!line.takeAll("--timeline", &timeline))
        return KLumoCtlConsole::usageError(line.error());
    const bool stats = line.takeFlag("--stats");
    const bool json = line.takeFlag("--json");
    const bool follow = line.takeFlag("--follow");
    const QStringList &paths = line.args();
    if (paths.isEmpty() || timeline.size() > 1)
        return KLumoCtlConsole::usageError(
            QStringLiteral("trace FILE... [--stats [--json] | --timeline OUT.json | --follow]"));
    if (follow && (stats || !timeline.isEmpty()))
        return KLumoCtlConsole::usageError(QStringLiteral("--follow prints frames only"));
    const bool printFrames = !stats && timeline.isEmpty();

    std::vector<std::unique_ptr<KLumoTraceSource>> sources;
    for (const QString &path : paths) {
        sources.push_back(std::make_unique<KLumoTraceSource>());
        KLumoTraceSource &s = *sources.back();
        s.path = path;
        if (!s.open()) {
            KLumoCtlConsole::fail(path + QLatin1String(": ") + s.file.errorString());
            return 1;
        }
    }

    KLumoTraceSummary summary;
    std::string out;
    const auto take = [&](KLumoTraceSource &s) {
        const KLumoTraceFrame f = KLumoTraceFrame::decode(s.packet, s.process(&summary));
        if (printFrames)
            out += f.toJson(summary.processes()[size_t(f.process)].description).serialize() + "\n";
        else
            summary.add(f);
        if (out.size() > (1 << 16)) {
            std::fwrite(out.data(), 1, out.size(), stdout);
            out.clear();
        }
    };
    const auto failed = [&]() {
        std::fwrite(out.data(), 1, out.size(), stdout);
        std::fflush(stdout);
        for (const auto &s : sources) {
            if (s->state == KLumoTraceSource::Failed) {
                KLumoCtlConsole::fail(s->path + QLatin1String(": ") + s->reader.error());
                return true;
            }
        }
        return false;
    };

    if (follow) {
        // Each file in the order it grows; files are not merged by time.
        QFileSystemWatcher watcher(paths);
        QEventLoop loop;
        QObject::connect(&watcher, &QFileSystemWatcher::fileChanged, &loop, &QEventLoop::quit);
        for (;;) {
            for (const auto &s : sources) {
                while (s->fetch(true) == KLumoTraceSource::Ready)
                    take(*s);
            }
            if (failed())
                return 1;
            out.clear();
            loop.exec();
        }
    }

    // Several files merge into one time line, a packet at a time.
    for (const auto &s : sources)
        s->fetch(false);
    while (KLumoTraceSource *next = KLumoTraceSource::earliest(sources)) {
        take(*next);
        next->fetch(false);
    }
    if (failed())
        return 1;
    if (stats) {
        const std::string text = json ? summary.stats().serialize() + "\n" : summary.statsTable();
        std::fputs(text.c_str(), stdout);
    }
    if (!timeline.isEmpty()) {
        const std::string text = KLumoTraceTimeline::build(summary).serialize() + "\n";
        if (timeline.first() == QLatin1String("-")) {
            std::fputs(text.c_str(), stdout);
        } else {
            QFile file(timeline.first());
            if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
                || file.write(text.data(), qint64(text.size())) != qint64(text.size())) {
                KLumoCtlConsole::fail(timeline.first() + QLatin1String(": ") + file.errorString());
                return 1;
            }
        }
    }
    return 0;
}

} // namespace ofx::lumo
