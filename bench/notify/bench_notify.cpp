// Notification throughput: frames with sequence id 0 written by a peer thread,
// read by the channel, decoded by the notification processor, turned into
// queued invocations by the handler, and counted where the target's signal
// fires. The baseline cuts the same frames out of a QLocalSocket and copies
// each body, nothing more. Both use the same peer and bytes in the same run.
// Usage: bench_notify [repetitions, default 3] [case filter] [extra meta types]
// The last argument registers that many further record types first, as the
// whole library does (the call dispatcher registers every record): custom type
// names are looked up by a scan in Qt 5.
#include "lumoplainreader.h"
#include "notifytarget.h"

#include "notify/klumonotifyactualprocessor.h"
#include "notify/klumonotifyhandler.h"
#include "transport/klumoframe.h"
#include "transport/klumoipcchannel.h"

#include "KLumoNotifyServices.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QVector>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

using namespace ofx::lumo;
using apache::thrift::transport::TMemoryBuffer;

namespace {

template<class Args> QByteArray notification(const char *method, const decltype(Args::arg) &value)
{
    Args args;
    args.arg = value;
    auto buffer = std::make_shared<TMemoryBuffer>();
    apache::thrift::protocol::TCompactProtocol proto(buffer);
    proto.writeMessageBegin(method, apache::thrift::protocol::T_ONEWAY, 0);
    args.write(&proto);
    proto.writeMessageEnd();
    return QByteArray::fromStdString(buffer->getBufferAsString());
}

// Frames per second of wall time, and per second of the reading thread's CPU
// time: the machine is shared, and the second figure is the one that other
// processes disturb least.
struct Rates
{
    double wall = 0, cpu = 0;
    void keepBest(const Rates &r)
    {
        wall = std::max(wall, r.wall);
        cpu = std::max(cpu, r.cpu);
    }
};

class Clock
{
public:
    Clock()
    {
        m_wall.start();
        m_cpu = threadCpu();
    }
    Rates rates(int count) const
    {
        return {count / (double(m_wall.nsecsElapsed()) / 1e9), count / (threadCpu() - m_cpu)};
    }

private:
    static double threadCpu()
    {
        timespec ts;
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
        return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
    }
    QElapsedTimer m_wall;
    double m_cpu = 0;
};

// All frames of one run, back to back, written by a thread once go() is called.
class Sender
{
public:
    Sender(const QByteArray &body, int count)
    {
        const QByteArray one = frame::make(0, body);
        m_bytes.reserve(one.size() * count);
        for (int i = 0; i < count; ++i)
            m_bytes += one;
        static int n = 0;
        m_path = "/tmp/lumo-bench-notify-" + std::to_string(::getpid()) + "-" + std::to_string(++n);
        ::unlink(m_path.c_str());
        m_listen = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr = {};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, m_path.c_str(), sizeof addr.sun_path - 1);
        if (::bind(m_listen, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0
            || ::listen(m_listen, 1) != 0)
            std::abort();
        m_thread = std::thread([this] {
            const int fd = ::accept(m_listen, nullptr, nullptr);
            while (!m_go.load())
                std::this_thread::yield();
            for (int off = 0; fd >= 0 && off < m_bytes.size();) {
                const ssize_t w =
                    ::send(fd, m_bytes.constData() + off,
                           size_t(std::min(64 * 1024, int(m_bytes.size()) - off)), MSG_NOSIGNAL);
                if (w <= 0)
                    break;
                off += int(w);
            }
            // Stay connected until the reader is done, so no disconnect races the count.
            while (!m_done.load())
                std::this_thread::yield();
            if (fd >= 0)
                ::close(fd);
        });
    }
    ~Sender()
    {
        m_go = true;
        m_done = true;
        m_thread.join();
        ::close(m_listen);
        ::unlink(m_path.c_str());
    }
    QString name() const { return QString::fromStdString(m_path); }
    void go() { m_go = true; }

private:
    QByteArray m_bytes;
    std::string m_path;
    int m_listen = -1;
    std::atomic<bool> m_go {false}, m_done {false};
    std::thread m_thread;
};

// Frames per second of a reader that only cuts frames and copies their bodies.
Rates baseline(const QByteArray &body, int count)
{
    Sender sender(body, count);
    lumobench::PlainReader reader(sender.name());
    Clock clock;
    sender.go();
    while (reader.frames() < count)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return clock.rates(count);
}

// The channel alone: frames handed to a processor that only counts them.
class Counter : public KLumoNotifyProcessor
{
public:
    void onNotified(std::shared_ptr<TMemoryBuffer>) override { ++frames; }
    int frames = 0;
};

// Runs @p count frames of @p body through a channel that hands them to
// @p processor, until @p done(count) holds.
Rates throughChannel(const QByteArray &body, int count,
                     std::shared_ptr<KLumoNotifyProcessor> processor,
                     const std::function<bool(int)> &done)
{
    Sender sender(body, count);
    KLumoIpcChannel channel(nullptr, std::move(processor));
    if (!channel.connectToServer(sender.name()))
        std::abort();
    while (!channel.isConnected())
        QCoreApplication::processEvents();
    Clock clock;
    sender.go();
    while (!done(count))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return clock.rates(count);
}

Rates channelOnly(const QByteArray &body, int count)
{
    auto counter = std::make_shared<Counter>();
    return throughChannel(body, count, counter, [&](int n) { return counter->frames >= n; });
}

// The generated processor's share: the same bodies decoded by the processor in
// a loop, over a handler without a target (so nothing is converted or posted).
Rates decodeOnly(const QByteArray &body, int count)
{
    KLumoNotifyActualProcessor processor(std::make_shared<KLumoNotifyHandler>(nullptr));
    Clock clock;
    for (int i = 0; i < count; ++i) {
        auto buffer = std::make_shared<TMemoryBuffer>(body.size());
        buffer->write(reinterpret_cast<const uint8_t *>(body.constData()), uint32_t(body.size()));
        processor.onNotified(std::move(buffer));
    }
    return clock.rates(count);
}

// Notifications per second through the library, counted at the target.
Rates throughLibrary(const QByteArray &body, int count)
{
    // The target as the proxy has it: a forwarded record arrives as a signal,
    // a converted list at a slot (here a signal too).
    lumotest::NotifyTarget target;
    int arrived = 0;
    QObject::connect(&target, &lumotest::NotifyTarget::signal_notifyRoamingFileTransferFinished,
                     [&arrived] { ++arrived; });
    QObject::connect(&target, &lumotest::NotifyTarget::on_notifyRecentFileStateChanged,
                     [&arrived] { ++arrived; });
    auto processor =
        std::make_shared<KLumoNotifyActualProcessor>(std::make_shared<KLumoNotifyHandler>(&target));
    return throughChannel(body, count, processor, [&](int n) { return arrived >= n; });
}

const char *g_only = nullptr;

void report(const char *name, const QByteArray &body, int count, int reps)
{
    if (g_only && !std::strstr(name, g_only))
        return;
    Rates base, chan, decode, lib;
    for (int r = 0; r < reps; ++r) { // best of: the machine is shared
        base.keepBest(baseline(body, count));
        chan.keepBest(channelOnly(body, count));
        decode.keepBest(decodeOnly(body, count));
        lib.keepBest(throughLibrary(body, count));
    }
    std::printf("%s (body %d B, %d frames)       per wall second   per CPU second\n"
                "  plain parser, frames        %14.0f %16.0f\n"
                "  channel only, frames        %14.0f %16.0f\n"
                "  decoding only, frames       %14.0f %16.0f\n"
                "  to the target, notifications%14.0f %16.0f\n"
                "  ratio to plain parser       %14.3f %16.3f\n"
                "  ratio to channel only       %14.3f %16.3f\n",
                name, body.size(), count, base.wall, base.cpu, chan.wall, chan.cpu, decode.wall,
                decode.cpu, lib.wall, lib.cpu, lib.wall / base.wall, lib.cpu / base.cpu,
                lib.wall / chan.wall, lib.cpu / chan.cpu);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // Per-notification log lines would measure the terminal, not the library.
    QLoggingCategory::setFilterRules(QStringLiteral("lumoipc*.info=false"));
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    g_only = argc > 2 && *argv[2] ? argv[2] : nullptr;
    struct Record
    {
        std::string a, b;
    };
    const int extraTypes = argc > 3 ? std::atoi(argv[3]) : 0;
    for (int i = 0; i < extraTypes; ++i) // names 12 to 40 characters long
        qRegisterMetaType<Record>(
            QByteArray("Record").append(QByteArray::number(i)).leftJustified(12 + i % 29, 'x'));

    NotifyFileTransferArg small;
    small.id = "0f3a9c";
    small.parentId = "p-1";
    small.groupId = "g-1";
    small.originGroupId = "g-0";
    report("small record (NotifyFileTransferArg)",
           notification<KLumoNotifyServices_notifyRoamingFileTransferFinished_args>(
               "notifyRoamingFileTransferFinished", small),
           200000, reps);

    std::vector<CloudItem> items(1000);
    for (int i = 0; i < 1000; ++i) {
        CloudItem &c = items[size_t(i)];
        c.groupId = "group-" + std::to_string(i % 7);
        c.parentId = "parent-" + std::to_string(i % 13);
        c.id = "id-" + std::to_string(i);
        c.name = "document " + std::to_string(i) + ".docx";
        c.size = 1000 + i;
        c.mtime = 1700000000000LL + i;
        c.fileId = std::to_string(100000 + i);
        c.extraParam = {{"k", "v"}};
    }
    report("1000 x CloudItem (list)",
           notification<KLumoNotifyServices_notifyRecentFileStateChanged_args>(
               "notifyRecentFileStateChanged", items),
           300, reps);
    return 0;
}

#include "moc_notifytarget.cpp"
