// How the inspector's capture view copes with a large capture, next to what
// reading it costs on its own:
//   a capture of 100,000 frames written through the library's capture writer
//   (calls and replies of several methods, failures, calls never answered,
//   notifications), then
//   - opening it in the capture view until the chart and tables show it, and
//     the longest the GUI thread was kept from its event loop meanwhile,
//   - against reading, decoding and summing it up alone, as lumoctl trace
//     --stats does (the baseline, same run),
//   - repainting the chart's viewport while scrolling through it.
// Usage: bench_inspector [FRAMES] [RUNS]   (defaults 100000 and 3; offscreen)

#include "klumocapturesession.h"
#include "klumocaptureview.h"
#include "klumojsonmessage.h"
#include "klumojsonsample.h"
#include "klumojsonschemaindex.h"
#include "klumopercentile.h"
#include "klumosequencechart.h"
#include "klumotraceframe.h"
#include "klumotracesource.h"
#include "klumotracesummary.h"

#include "transport/klumocapturewriter.h"
#include "transport/klumoframe.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <random>
#include <vector>

using namespace ofx::lumo;

namespace {

constexpr double OpenTargetSeconds = 3;
constexpr double FrameTargetMs = 1000.0 / 60;

QString loadAverage()
{
    QFile f(QStringLiteral("/proc/loadavg"));
    return f.open(QIODevice::ReadOnly) ? QString::fromLatin1(f.readAll()).section(' ', 0, 2)
                                       : QStringLiteral("?");
}

// CPU time, which a loaded machine stretches less than wall time.
qint64 cpuNs(clockid_t clock)
{
    timespec ts;
    clock_gettime(clock, &ts);
    return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

qint64 threadCpuNs()
{
    return cpuNs(CLOCK_THREAD_CPUTIME_ID);
}

// Frames of a few methods through the capture writer: four calls in flight,
// and per 50 of them a notification, a failure and a call never answered.
qint64 writeCapture(const QString &path, int frames)
{
    KLumoCaptureWriter::Options options;
    options.path = path;
    options.interfaceName = QStringLiteral("_Thrift_Lumo_IPC_bench");
    options.description =
        QStringLiteral("benchhost (pid %1)").arg(QCoreApplication::applicationPid());
    if (!KLumoCaptureWriter::start(options))
        return -1;
    struct Kind
    {
        const jsonschema::Method *method;
        std::string call, reply;
    };
    std::vector<Kind> kinds;
    for (const char *name : {"createFolder", "remove", "rename", "getLinkInfo", "asynCall"}) {
        const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", name);
        KLumoJsonValue args = KLumoJsonValue::object();
        for (int i = 0; i < m->argCount; ++i)
            args.insert(jsonschema::fields[m->firstArg + i].name,
                        KLumoJsonSample::value(jsonschema::fields[m->firstArg + i].type));
        kinds.push_back({m, KLumoJsonMessage::encodeCall(*m, args),
                         KLumoJsonMessage::encodeReply(*m, KLumoJsonSample::value(m->result))});
    }
    const jsonschema::Method *note =
        KLumoJsonSchemaIndex::method("KLumoNotifyServices", "notifyFileAction");
    KLumoJsonValue noteArgs = KLumoJsonValue::object();
    noteArgs.insert(jsonschema::fields[note->firstArg].name,
                    KLumoJsonSample::value(jsonschema::fields[note->firstArg].type));
    const QByteArray noteFrame =
        frame::make(0, QByteArray::fromStdString(KLumoJsonMessage::encodeCall(*note, noteArgs)));
    const auto record = [](capture::Direction d, quint32 seq, const std::string &body) {
        const QByteArray f = frame::make(seq, body.data(), quint32(body.size()));
        KLumoCaptureWriter::record(d, f.constData(), quint32(f.size()));
    };
    int written = 0;
    quint32 seq = 0;
    while (written < frames) {
        std::vector<std::pair<quint32, const Kind *>> flight;
        for (int i = 0; i < 4 && written < frames; ++i, ++written) {
            const Kind &k = kinds[++seq % kinds.size()];
            record(capture::Outbound, seq, k.call);
            flight.emplace_back(seq, &k);
        }
        for (const auto &[id, k] : flight) {
            if (id % 50 == 2 || written >= frames)
                continue; // never answered
            ++written;
            if (id % 50 == 1)
                record(capture::Inbound, id,
                       KLumoJsonMessage::encodeException(k->method->name, 0, 6, "locked"));
            else
                record(capture::Inbound, id, k->reply);
            if (id % 50 == 0 && written < frames) {
                ++written;
                KLumoCaptureWriter::record(capture::Inbound, noteFrame.constData(),
                                           quint32(noteFrame.size()));
            }
        }
    }
    KLumoCaptureWriter::stop();
    return QFileInfo(path).size();
}

// What lumoctl trace --stats does with the file, in this process.
double readAlone(const QString &path, int *frames, double *cpuSeconds)
{
    QElapsedTimer t;
    t.start();
    const qint64 cpu = threadCpuNs();
    std::vector<std::unique_ptr<KLumoTraceSource>> sources;
    sources.push_back(std::make_unique<KLumoTraceSource>());
    sources.back()->path = path;
    sources.back()->open();
    sources.back()->fetch(false);
    KLumoTraceSummary summary;
    *frames = 0;
    while (KLumoTraceSource *s = KLumoTraceSource::earliest(sources)) {
        summary.add(KLumoTraceFrame::decode(s->packet, s->process(&summary)));
        ++*frames;
        s->fetch(false);
    }
    const std::string table = summary.statsTable();
    *cpuSeconds = double(threadCpuNs() - cpu) / 1e9;
    return table.empty() ? 0 : double(t.nsecsElapsed()) / 1e9;
}

} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The figures are the output; Qt's and the writer's chatter is not.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type >= QtCriticalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    QApplication app(argc, argv);
    const int frames = argc > 1 ? std::atoi(argv[1]) : 100000;
    const int runs = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("bench.pcapng"));
    QElapsedTimer t;
    t.start();
    const qint64 bytes = writeCapture(path, frames);
    if (bytes < 0)
        return 1;
    std::printf("bench_inspector: %d frames (%.1f MiB) written through the capture writer in "
                "%.2f s; load average %s\n",
                frames, double(bytes) / (1 << 20), double(t.elapsed()) / 1000,
                qPrintable(loadAverage()));

    KLumoCaptureView view;
    view.resize(1400, 900);
    view.show();
    std::vector<double> opens, alone, stalls, cpuStalls, openCpu, aloneCpu;
    int read = 0;
    for (int run = 0; run < runs; ++run) {
        double cpu = 0;
        alone.push_back(readAlone(path, &read, &cpu));
        aloneCpu.push_back(cpu);
        // The GUI thread's longest absence from its event loop while loading:
        // in wall time (its own work plus waiting for a core on a busy
        // machine), and in its own CPU time.
        QElapsedTimer tick;
        qint64 stall = 0, cpuStall = 0, cpuAt = threadCpuNs();
        QTimer beat;
        QObject::connect(&beat, &QTimer::timeout, [&] {
            stall = std::max(stall, tick.restart());
            const qint64 now = threadCpuNs();
            cpuStall = std::max(cpuStall, now - cpuAt);
            cpuAt = now;
        });
        QEventLoop loop;
        QObject::connect(&view, &KLumoCaptureView::sessionShown, &loop, [&](bool complete) {
            if (complete)
                loop.quit();
        });
        t.restart();
        const qint64 processCpu = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
        tick.start();
        beat.start(5);
        view.open({path}, false);
        loop.exec();
        opens.push_back(double(t.nsecsElapsed()) / 1e9);
        openCpu.push_back(double(cpuNs(CLOCK_PROCESS_CPUTIME_ID) - processCpu) / 1e9);
        stalls.push_back(double(stall));
        cpuStalls.push_back(double(cpuStall) / 1e6);
    }
    const int shown = view.chart()->session()->rowCount();
    std::printf("open in the capture view (to chart and tables shown): median %.3f s over %d runs "
                "(target %.0f s), CPU %.3f s (all threads)\n",
                KLumoPercentile::median(opens), runs, OpenTargetSeconds,
                KLumoPercentile::median(openCpu));
    std::printf("  baseline, reading and decoding alone as lumoctl trace --stats does: median "
                "%.3f s, CPU %.3f s; the view costs %.2fx (CPU %.2fx)\n",
                KLumoPercentile::median(alone), KLumoPercentile::median(aloneCpu),
                KLumoPercentile::median(opens) / KLumoPercentile::median(alone),
                KLumoPercentile::median(openCpu) / KLumoPercentile::median(aloneCpu));
    std::printf("  frames read %d, rows shown %d; the GUI thread's longest time away from its "
                "event loop while loading, per run (wall / its own CPU):",
                read, shown);
    for (size_t i = 0; i < stalls.size(); ++i)
        std::printf(" %.0f/%.1f ms", stalls[i], cpuStalls[i]);
    std::printf("\n");

    // Scrolling: row by row from the middle, then jumps anywhere.
    KLumoSequenceChart *chart = view.chart();
    QScrollBar *bar = chart->verticalScrollBar();
    std::vector<double> paints, paintCpu;
    std::mt19937 random(7);
    for (int i = 0; i < 400; ++i) {
        bar->setValue(i < 200 ? bar->maximum() / 2 + i * chart->rowHeight()
                              : int(random() % quint32(bar->maximum() + 1)));
        t.restart();
        const qint64 cpu = threadCpuNs();
        const QPixmap frame = chart->viewport()->grab();
        paints.push_back(double(t.nsecsElapsed()) / 1e6);
        paintCpu.push_back(double(threadCpuNs() - cpu) / 1e6);
    }
    std::printf("scrolling: repainting the chart's %dx%d viewport takes median %.2f ms, p99 %.2f "
                "ms, max %.2f ms over 400 positions (target %.1f ms, a 60 Hz frame); CPU "
                "median %.2f ms, p99 %.2f ms\n",
                chart->viewport()->width(), chart->viewport()->height(),
                KLumoPercentile::median(paints), KLumoPercentile::of(paints, 0.99),
                *std::max_element(paints.begin(), paints.end()), FrameTargetMs,
                KLumoPercentile::median(paintCpu), KLumoPercentile::of(paintCpu, 0.99));
    std::printf("load average after: %s\n", qPrintable(loadAverage()));
    const bool met = KLumoPercentile::median(opens) <= OpenTargetSeconds
        && KLumoPercentile::of(paints, 0.99) <= FrameTargetMs;
    return met && shown >= read ? 0 : 1;
}
