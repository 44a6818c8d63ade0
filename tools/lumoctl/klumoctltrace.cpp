#include "klumoctltrace.h"

#include "klumocapturereader.h"
#include "klumoctlconsole.h"
#include "klumoctloptions.h"
#include "klumotracesummary.h"
#include "klumotracetimeline.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>

#include <cstdio>
#include <map>
#include <memory>
#include <vector>

namespace ofx::lumo {

namespace {

// One capture file and the packet read ahead of the others.
struct Source
{
    enum State { Ready, Waiting, Ended, Failed };

    QString path;
    QFile file;
    KLumoCaptureReader reader;
    KLumoCaptureReader::Packet packet;
    State state = Waiting;
    std::map<std::pair<int, int>, int> processes; // (section, interface) -> process

    // Reads ahead to the next packet. At the end of the file a follower waits
    // for more, anyone else needs the file to end on a whole block.
    State fetch(bool follow)
    {
        for (;;) {
            const KLumoCaptureReader::Next next = reader.next(&packet);
            if (next == KLumoCaptureReader::Next::Packet)
                return state = Ready;
            if (next == KLumoCaptureReader::Next::Error)
                return state = Failed;
            const QByteArray chunk = file.read(1 << 20);
            if (!chunk.isEmpty())
                reader.append(chunk);
            else if (follow)
                return state = Waiting;
            else
                return state = reader.finish() ? Ended : Failed;
        }
    }

    // The process that wrote the packet in hand, numbered in @p summary.
    int process(KLumoTraceSummary *summary)
    {
        const auto key = std::make_pair(packet.section, packet.interfaceId);
        auto it = processes.find(key);
        if (it == processes.end()) {
            QString name = reader.interfaces().at(packet.interfaceId).description;
            if (name.isEmpty())
                name = QFileInfo(path).fileName();
            it = processes.emplace(key, summary->addProcess(name)).first;
        }
        return it->second;
    }
};

} // namespace

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

    std::vector<std::unique_ptr<Source>> sources;
    for (const QString &path : paths) {
        sources.push_back(std::make_unique<Source>());
        Source &s = *sources.back();
        s.path = path;
        s.file.setFileName(path);
        if (!s.file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
            KLumoCtlConsole::fail(path + QLatin1String(": ") + s.file.errorString());
            return 1;
        }
    }

    KLumoTraceSummary summary;
    std::string out;
    const auto take = [&](Source &s) {
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
            if (s->state == Source::Failed) {
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
                while (s->fetch(true) == Source::Ready)
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
    for (;;) {
        Source *next = nullptr;
        for (const auto &s : sources) {
            if (s->state == Source::Ready && (!next || s->packet.timeNs < next->packet.timeNs))
                next = s.get();
        }
        if (!next)
            break;
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
