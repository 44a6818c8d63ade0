// Receive throughput of the channel next to two baselines over the same bytes:
// a raw AF_UNIX read into a reused buffer, and a plain frame parser on a
// QLocalSocket. Usage: bench_transport [repetition scale, default 1] [case filter]
#include "lumoplainreader.h"

#include "transport/klumoframe.h"
#include "transport/klumoipcchannel_p.h"
#include "transport/klumonotifyprocessor.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QLoggingCategory>

#include <thrift/transport/TBufferTransports.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace ofx::lumo;
using apache::thrift::transport::TMemoryBuffer;

namespace {

// What the peer sends: @p count frames, each a header (sequence ids from
// @p firstSeq, or 0) and the same body.
struct Stream
{
    QByteArray body;
    int count = 0;
    quint32 firstSeq = 0;
    int burst = 1; // frames per send() call
    quint64 bytes() const { return quint64(body.size() + frame::HeaderSize) * quint64(count); }
};

// Listens on a path, accepts one client, waits for go(), then writes the stream
// with blocking sends; discards whatever the client sends.
class Peer
{
public:
    Peer(const std::string &path, const Stream &stream)
        : m_path(path)
        , m_stream(stream)
    {
        ::unlink(path.c_str());
        m_listen = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr = {};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
        if (::bind(m_listen, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0
            || ::listen(m_listen, 1) != 0)
            std::abort();
        m_thread = std::thread([this] { run(); });
    }
    ~Peer()
    {
        m_go = true;
        m_thread.join();
        ::close(m_listen);
        ::unlink(m_path.c_str());
    }
    void go() { m_go = true; }

private:
    void sendAll(int fd, const char *p, size_t n)
    {
        while (n > 0) {
            const ssize_t w = ::send(fd, p, n, MSG_NOSIGNAL);
            if (w <= 0)
                return;
            p += w;
            n -= size_t(w);
        }
    }
    void run()
    {
        const int fd = ::accept(m_listen, nullptr, nullptr);
        if (fd < 0)
            return;
        std::thread drain([fd] {
            char sink[4096];
            while (::recv(fd, sink, sizeof sink, 0) > 0) { }
        });
        while (!m_go)
            std::this_thread::yield();
        const bool small = m_stream.body.size() < 4096;
        QByteArray burst;
        for (int i = 0; i < m_stream.count; ++i) {
            const quint32 seq = m_stream.firstSeq ? m_stream.firstSeq + quint32(i) : 0;
            char header[frame::HeaderSize];
            frame::writeHeader(header, quint32(m_stream.body.size()), seq);
            if (small) {
                burst.append(header, sizeof header).append(m_stream.body);
                if ((i + 1) % m_stream.burst == 0 || i + 1 == m_stream.count) {
                    sendAll(fd, burst.constData(), size_t(burst.size()));
                    burst.clear();
                }
            } else {
                sendAll(fd, header, sizeof header);
                sendAll(fd, m_stream.body.constData(), size_t(m_stream.body.size()));
            }
        }
        ::shutdown(fd, SHUT_WR);
        drain.join();
        ::close(fd);
    }

    std::string m_path;
    Stream m_stream;
    int m_listen = -1;
    std::atomic<bool> m_go {false};
    std::thread m_thread;
};

std::string socketPath()
{
    static int n = 0;
    return "/tmp/lumo-bench-" + std::to_string(::getpid()) + "-" + std::to_string(++n);
}

// Reads into a reused 256 KiB buffer; with @p frameSized, into a reused buffer
// as large as one frame, filled front to back like a receive buffer (what is
// left between the two is memory bandwidth, not the channel).
double rawRead(const Stream &s, bool frameSized = false)
{
    const std::string path = socketPath();
    Peer peer(path, s);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.c_str(), sizeof addr.sun_path - 1);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0)
        std::abort();
    const size_t size = frameSized ? size_t(s.body.size()) + frame::HeaderSize : 256 * 1024;
    std::vector<char> buf(size, 1); // touched: no page faults while timed
    quint64 got = 0;
    size_t at = 0;
    QElapsedTimer t;
    t.start();
    peer.go();
    while (got < s.bytes()) {
        const ssize_t n = ::recv(fd, buf.data() + at, std::min<size_t>(size - at, 1 << 20), 0);
        if (n <= 0)
            break;
        got += quint64(n);
        at = (at + size_t(n)) % size;
    }
    const double secs = double(t.nsecsElapsed()) / 1e9;
    ::close(fd);
    return double(got) / secs;
}

// The obvious parser (lumoplainreader.h).
double plainParser(const Stream &s)
{
    const std::string path = socketPath();
    Peer peer(path, s);
    lumobench::PlainReader reader(QString::fromStdString(path));
    QElapsedTimer t;
    t.start();
    peer.go();
    while (reader.frames() < s.count)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return double(s.bytes()) / (double(t.nsecsElapsed()) / 1e9);
}

class CountingProcessor : public KLumoNotifyProcessor
{
public:
    void onNotified(std::shared_ptr<TMemoryBuffer> buffer) override
    {
        ++count;
        bytes += buffer->available_read();
    }
    int count = 0;
    quint64 bytes = 0;
};

// Small frames arrive as notifications, large ones as replies to waiting calls
// that share one receive buffer, the way the generated client does. For
// replies, one extra frame goes first and the clock starts when it is in: the
// reader keeps a large reply's memory for the next, so the steady state is the
// one that counts (fresh memory costs a page fault per 4 KiB on these machines).
double channelRead(const Stream &s, double *copiedPerPayload)
{
    const std::string path = socketPath();
    Stream stream = s;
    const bool replies = s.body.size() >= 4096;
    stream.firstSeq = replies ? 1 : 0;
    stream.count = replies ? s.count + 1 : s.count;
    Peer peer(path, stream);
    auto processor = std::make_shared<CountingProcessor>();
    KLumoIpcChannel channel(nullptr, processor);
    KLumoIpcChannelPrivate *const d = KLumoIpcChannelPrivate::get(&channel);
    d->peerCheck = nullptr;
    if (!channel.connectToServer(QString::fromStdString(path)))
        std::abort();
    while (!channel.isConnected())
        QCoreApplication::processEvents();
    TMemoryBuffer send, recv;
    int replied = 0;
    quint64 replyBytes = 0;
    QElapsedTimer t;
    KLumoIpcChannelPrivate::Stats before;
    if (replies) {
        d->setLastSequenceId(0);
        for (int i = 0; i < stream.count; ++i) {
            send.write(reinterpret_cast<const uint8_t *>("q"), 1);
            channel.sendAndRecvMessage(
                [&] {
                    if (++replied == 1) {
                        before = d->stats();
                        t.start();
                    } else {
                        replyBytes += recv.available_read();
                    }
                    recv.resetBuffer();
                },
                &send, &recv);
        }
    } else {
        before = d->stats();
        t.start();
    }
    peer.go();
    while ((replies ? replied : processor->count) < stream.count)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const double secs = double(t.nsecsElapsed()) / 1e9;
    const KLumoIpcChannelPrivate::Stats after = d->stats();
    const quint64 payload = quint64(s.body.size()) * quint64(s.count);
    if ((replies ? replyBytes : processor->bytes) != payload)
        std::fprintf(stderr, "payload mismatch\n");
    *copiedPerPayload = double(after.bytesCopied - before.bytesCopied) / double(payload);
    return double(s.bytes()) / secs;
}

const char *g_only = nullptr;

// For replies, "raw" reads into a buffer of the frame's size, as the channel
// must; the read into a 256 KiB buffer, which stays in the cache, is shown
// beside it. For small frames both are the 256 KiB read.
void report(const char *name, const Stream &s, int reps)
{
    if (g_only && !std::strstr(name, g_only))
        return;
    const bool replies = s.body.size() >= 4096;
    double raw = 0, raw256k = 0, plain = 0, chan = 0, copied = 0;
    for (int r = 0; r < reps; ++r) { // best of reps: the machine is shared
        // LUMO_BENCH_CHANNEL_ONLY=1 skips the baselines, for profiling.
        if (!qEnvironmentVariableIsSet("LUMO_BENCH_CHANNEL_ONLY")) {
            raw256k = std::max(raw256k, rawRead(s));
            raw = replies ? std::max(raw, rawRead(s, true)) : raw256k;
            plain = std::max(plain, plainParser(s));
        }
        double c = 0;
        chan = std::max(chan, channelRead(s, &c));
        copied = c;
    }
    const double gib = 1024.0 * 1024 * 1024;
    std::printf("%-30s raw %5.2f GiB/s  plain %5.2f GiB/s  channel %5.2f GiB/s  "
                "channel/raw %4.2f  channel/plain %5.2f  copied/payload %4.2f",
                name, raw / gib, plain / gib, chan / gib, chan / raw, chan / plain, copied);
    if (replies)
        std::printf("  (raw into 256 KiB %5.2f GiB/s, channel/that %4.2f)", raw256k / gib,
                    chan / raw256k);
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("lumoipc*.info=false"));
    const int scale = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
    g_only = argc > 2 ? argv[2] : nullptr; // run only the cases whose name contains this
    auto body = [](int size) {
        QByteArray b(size, Qt::Uninitialized);
        for (int i = 0; i < size; ++i)
            b[i] = char(i * 7);
        return b;
    };
    report("1 MiB reply x16", Stream {body(1 << 20), 16, 0, 1}, 3 * scale);
    report("16 MiB reply x4", Stream {body(16 << 20), 4, 0, 1}, 3 * scale);
    report("64 MiB reply x4", Stream {body(64 << 20), 4, 0, 1}, 3 * scale);
    report("100000 x 64 B, bursts of 100", Stream {body(64), 100000, 0, 100}, 3 * scale);
    report("100000 x 512 B, bursts of 1000", Stream {body(512), 100000, 0, 1000}, 3 * scale);
    return 0;
}
