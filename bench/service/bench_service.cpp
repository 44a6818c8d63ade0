// What a service built with the SDK costs: calls served per second and the
// service's CPU per call, for 1 and 8 clients with 1 and 256 calls in flight,
// each beside a raw AF_UNIX echo of the same frames (a server that sends
// the service's reply bytes back for each request frame as it comes, the
// floor of any service on this machine),
// measured in the same run, alternating. Then an idle service with 100
// connected clients: its wake-ups a second and its memory beyond none.
//
// The service and the echo each run as a child process (this program with
// --serve sdk|echo), so that their CPU is theirs alone; the clients are
// threads of this process that speak the frames themselves.
//
//   bench_service [SECONDS per cell, default 1.5]
#include "lumobenchservice.h"

#include <LumoService/LumoService>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Answers from the login state it holds, as a service does: what is
// measured is the SDK's work per call, not the making of a map.
class Files : public LumoService::Handler
{
    void getLoginInfo(LumoService::Reply<std::map<std::string, std::string>> reply) override
    {
        reply.finish(m_mapLogin);
    }
    const std::map<std::string, std::string> m_mapLogin {{"isLogined", "1"}};
};

int serveSdk()
{
    LumoService::Server server;
    Files files;
    server.setHandler(&files);
    QString error;
    if (!server.listen(&error)) {
        std::fprintf(stderr, "bench_service: %s\n", qPrintable(error));
        return 1;
    }
    std::printf("%s\n", qPrintable(server.fullServerName()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}

// The service's answer to getLoginInfo, as the bench's handler gives it.
QByteArray loginReply(quint32 seq)
{
    using namespace apache::thrift;
    auto buffer = std::make_shared<transport::TMemoryBuffer>();
    protocol::TCompactProtocol out(buffer);
    out.writeMessageBegin("getLoginInfo", protocol::T_REPLY, int32_t(seq));
    out.writeStructBegin("result");
    out.writeFieldBegin("success", protocol::T_MAP, 0);
    out.writeMapBegin(protocol::T_STRING, protocol::T_STRING, 1);
    out.writeString("isLogined");
    out.writeString("1");
    out.writeMapEnd();
    out.writeFieldEnd();
    out.writeFieldStop();
    out.writeStructEnd();
    out.writeMessageEnd();
    return ofx::lumo::frame::make(seq, QByteArray::fromStdString(buffer->getBufferAsString()));
}

// Where one connection of the echo is in the stream of frames.
struct EchoPeer
{
    char head[ofx::lumo::frame::HeaderSize];
    quint32 headBytes = 0;
    quint32 bodyLeft = 0; // of the frame whose header was read
    quint32 seqId = 0;
};

// The floor: a poll() loop that reads all a client sent in one read and
// answers each complete frame with the service's reply bytes (its sequence id
// copied), all the answers to one read in one send. The clients thus read the
// same bytes from both servers; the echo only skips decoding and encoding.
int serveEcho(const QByteArray &path)
{
    namespace frame = ofx::lumo::frame;
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    ::strncpy(addr.sun_path, path.constData(), sizeof addr.sun_path - 1);
    ::unlink(addr.sun_path);
    if (::bind(listener, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0
        || ::listen(listener, 128) != 0)
        return 1;
    std::printf("%s\n", path.constData());
    std::fflush(stdout);
    const QByteArray reply = loginReply(1);
    std::vector<pollfd> fds {{listener, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    std::vector<EchoPeer> peers(2);
    std::vector<char> buffer(256 * 1024);
    std::vector<char> out;
    for (;;) {
        ::poll(fds.data(), nfds_t(fds.size()), -1);
        if (fds[1].revents)
            return 0; // the benchmark closed our input: done
        if (fds[0].revents & POLLIN) {
            fds.push_back({::accept(listener, nullptr, nullptr), POLLIN, 0});
            peers.emplace_back();
        }
        for (size_t i = 2; i < fds.size(); ++i) {
            if (!fds[i].revents)
                continue;
            const ssize_t n = ::read(fds[i].fd, buffer.data(), buffer.size());
            if (n <= 0) {
                ::close(fds[i].fd);
                fds.erase(fds.begin() + long(i));
                peers.erase(peers.begin() + long(i--));
                continue;
            }
            EchoPeer &peer = peers[i];
            out.clear();
            for (ssize_t at = 0; at < n;) {
                if (peer.bodyLeft == 0) {
                    const quint32 take =
                        std::min(quint32(n - at), frame::HeaderSize - peer.headBytes);
                    std::memcpy(peer.head + peer.headBytes, buffer.data() + at, take);
                    peer.headBytes += take;
                    at += take;
                    if (peer.headBytes < frame::HeaderSize)
                        break;
                    const frame::Header h = frame::readHeader(peer.head);
                    peer.headBytes = 0;
                    peer.bodyLeft = h.bodyLength();
                    peer.seqId = h.seqId;
                } else {
                    const quint32 take = std::min(quint32(n - at), peer.bodyLeft);
                    peer.bodyLeft -= take;
                    at += take;
                }
                if (peer.bodyLeft == 0) {
                    const size_t end = out.size();
                    out.insert(out.end(), reply.begin(), reply.end());
                    frame::writeHeader(out.data() + end, quint32(reply.size()) - frame::HeaderSize,
                                       peer.seqId);
                }
            }
            for (size_t sent = 0; sent < out.size();) {
                const ssize_t m =
                    ::send(fds[i].fd, out.data() + sent, out.size() - sent, MSG_NOSIGNAL);
                if (m <= 0)
                    break;
                sent += size_t(m);
            }
        }
    }
}

QByteArray loginCall(quint32 seq)
{
    using namespace apache::thrift;
    auto buffer = std::make_shared<transport::TMemoryBuffer>();
    protocol::TCompactProtocol out(buffer);
    out.writeMessageBegin("getLoginInfo", protocol::T_CALL, int32_t(seq));
    out.writeStructBegin("args");
    out.writeFieldStop();
    out.writeStructEnd();
    return ofx::lumo::frame::make(seq, QByteArray::fromStdString(buffer->getBufferAsString()));
}

int connectTo(const QByteArray &path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    ::strncpy(addr.sun_path, path.constData(), sizeof addr.sun_path - 1);
    return ::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 ? fd : -1;
}

// One client: keeps @p inFlight calls outstanding until @p stop, counting
// the frames that come back.
void client(const QByteArray &path, int inFlight, const std::atomic<bool> &stop,
            std::atomic<qint64> &answered)
{
    const int fd = connectTo(path);
    if (fd < 0)
        std::abort();
    const QByteArray call = loginCall(1);
    QByteArray burst;
    for (int i = 0; i < inFlight; ++i)
        burst += call;
    ::send(fd, burst.constData(), size_t(burst.size()), MSG_NOSIGNAL);
    LumoService::FrameSplitter splitter;
    char buffer[65536];
    qint64 mine = 0;
    while (!stop.load(std::memory_order_relaxed)) {
        // Waits as a host's event loop does, in poll() for input: a recv()
        // that blocks is also woken each time the server consumes this
        // client's bytes, which costs the server as much as the client.
        pollfd readable = {fd, POLLIN, 0};
        ::poll(&readable, 1, -1);
        const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0)
            break;
        splitter.append(QByteArray::fromRawData(buffer, int(n)));
        const int got = splitter.takeFrames().size();
        mine += got;
        QByteArray more;
        for (int i = 0; i < got; ++i)
            more += call;
        ::send(fd, more.constData(), size_t(more.size()), MSG_NOSIGNAL);
    }
    answered += mine;
    ::close(fd);
}

struct Cell
{
    qint64 answered = 0;
    double seconds = 0;
    qint64 cpuUs = 0;

    Cell &operator+=(const Cell &other)
    {
        answered += other.answered;
        seconds += other.seconds;
        cpuUs += other.cpuUs;
        return *this;
    }
    double callsPerSecond() const { return seconds > 0 ? answered / seconds : 0; }
    double cpuUsPerCall() const { return answered ? double(cpuUs) / double(answered) : 0; }
};

// CPU of process @p pid so far, user and system, in microseconds.
qint64 cpuOf(qint64 pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = f.readAll().split(')').value(1).trimmed().split(' ');
    const qint64 ticks = fields.value(11).toLongLong() + fields.value(12).toLongLong();
    return ticks * 1000000 / ::sysconf(_SC_CLK_TCK);
}

Cell measure(const QByteArray &path, qint64 pid, int clients, int inFlight, double seconds)
{
    std::atomic<bool> stop {false};
    std::atomic<qint64> answered {0};
    std::vector<std::thread> threads;
    const qint64 cpuBefore = cpuOf(pid);
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < clients; ++i)
        threads.emplace_back(client, path, inFlight, std::cref(stop), std::ref(answered));
    QThread::msleep(ulong(seconds * 1000));
    stop = true;
    // A blocked recv() ends when its last answers arrive; the echo and the
    // service always have some in flight.
    for (std::thread &t : threads)
        t.join();
    Cell cell;
    cell.seconds = clock.nsecsElapsed() / 1e9;
    cell.answered = answered;
    cell.cpuUs = cpuOf(pid) - cpuBefore;
    return cell;
}

struct Child
{
    QProcess process;
    QByteArray path;
    bool start(const QString &mode)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QCoreApplication::applicationFilePath(), {"--serve", mode});
        if (!process.waitForReadyRead(5000))
            return false;
        path = process.readLine().trimmed();
        return !path.isEmpty();
    }
    ~Child()
    {
        process.closeWriteChannel();
        process.terminate();
        if (!process.waitForFinished(3000))
            process.kill();
    }
};

// A "Vm...:" line of process @p pid's status, in KiB.
qint64 statusKiB(qint64 pid, const char *key)
{
    QFile f(QStringLiteral("/proc/%1/status").arg(pid));
    const QByteArray status = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    const int at = status.indexOf(key);
    return at < 0 ? -1
                  : status.mid(at + int(qstrlen(key))).trimmed().split(' ').value(0).toLongLong();
}

void idle(double seconds)
{
    Child service;
    if (!service.start(QStringLiteral("sdk")))
        return;
    QThread::msleep(300);
    const qint64 pid = service.process.processId();
    const qint64 rssNone = statusKiB(pid, "VmRSS:");
    std::vector<int> fds;
    for (int i = 0; i < 100; ++i)
        fds.push_back(connectTo(service.path));
    QThread::msleep(500); // accepted, settled
    const qint64 before = lumobench::contextSwitches(pid);
    QThread::msleep(ulong(seconds * 1000));
    const qint64 wakeups = lumobench::contextSwitches(pid) - before;
    const qint64 rssHundred = statusKiB(pid, "VmRSS:");
    std::printf("idle, 100 clients connected: %.2f wake-ups a second over %.0f s (target 1); "
                "%.2f MB resident beyond no client (target 5 MB)\n",
                wakeups / seconds, seconds, (rssHundred - rssNone) / 1024.0);
    for (int fd : fds)
        ::close(fd);
}

} // namespace

bool table(double seconds);

int main(int argc, char *argv[])
{
    if (argc == 3 && qstrcmp(argv[1], "--serve") == 0) {
        QCoreApplication app(argc, argv);
        return qstrcmp(argv[2], "sdk") == 0
            ? serveSdk()
            : serveEcho(QFile::encodeName(QDir::tempPath()) + "/bench-service-echo");
    }
    const QString root = lumobench::enterPrivateRoot("bench-service");
    QCoreApplication app(argc, argv);
    const double seconds = argc > 1 ? QByteArray(argv[1]).toDouble() : 1.5;
    if (!table(seconds))
        return 1;
    idle(3 * seconds);
    QDir(root).removeRecursively();
    return 0;
}

bool table(double seconds)
{
    Child service, echo;
    if (!service.start(QStringLiteral("sdk")) || !echo.start(QStringLiteral("echo"))) {
        std::fprintf(stderr, "bench_service: a server did not start\n");
        return false;
    }
    std::printf("%-24s %14s %14s %8s %16s %16s\n", "clients x in flight", "service/s", "echo/s",
                "ratio", "service us/call", "echo us/call");
    // Slices of a quarter second, echo and service in turn, so that the
    // load of a shared machine falls on both alike.
    const int slices = qMax(1, int(seconds / 0.25 + 0.5));
    for (const int clients : {1, 8}) {
        for (const int inFlight : {1, 256}) {
            Cell e, s;
            for (int i = 0; i < slices; ++i) {
                e += measure(echo.path, echo.process.processId(), clients, inFlight,
                             seconds / slices);
                s += measure(service.path, service.process.processId(), clients, inFlight,
                             seconds / slices);
            }
            std::printf("%-24s %14.0f %14.0f %7.2fx %16.2f %16.2f%s\n",
                        qPrintable(QStringLiteral("%1 x %2").arg(clients).arg(inFlight)),
                        s.callsPerSecond(), e.callsPerSecond(),
                        s.callsPerSecond() / e.callsPerSecond(), s.cpuUsPerCall(), e.cpuUsPerCall(),
                        inFlight == 256 ? "   (target 0.5x)" : "");
            std::fflush(stdout);
        }
    }
    return true;
}
