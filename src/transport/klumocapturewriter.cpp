#include "transport/klumocapturewriter.h"

#include "support/kfileversioninfo.h"
#include "support/lumolog.h"
#include "transport/klumocapture.h"
#include "transport/klumoframe.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/utsname.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace ofx::lumo {

std::atomic<bool> KLumoCaptureWriter::s_active {false};

namespace {

using namespace capture;

// The writer sleeps until a frame comes, then gathers for this long (or this
// many bytes) before it writes: one write per batch, and a reader following
// the file is never far behind.
constexpr auto GatherTime = std::chrono::milliseconds(50);
constexpr quint64 BatchBytes = 1 << 20;

// The fixed words and the data, the flags option, end of options, length again.
quint64 packetBlockSize(quint32 frameLength)
{
    return PacketDataAt + padded(frameLength) + 8 + 4 + 4;
}

template<typename Out, typename T> void put(Out &out, T value)
{
    out.append(reinterpret_cast<const char *>(&value), sizeof value);
}

void putOption(QByteArray &out, quint16 code, const QByteArray &value)
{
    put(out, code);
    put(out, quint16(value.size()));
    out.append(value);
    out.append(int(padded(quint32(value.size())) - quint32(value.size())), '\0');
}

// Wraps @p body (everything between the two length words) into a block.
void putBlock(QByteArray &out, quint32 type, const QByteArray &body)
{
    const quint32 total = quint32(body.size()) + 12;
    put(out, type);
    put(out, total);
    out.append(body);
    put(out, total);
}

QByteArray fileHeader(const KLumoCaptureWriter::Options &options)
{
    QByteArray out;
    QByteArray section;
    put(section, ByteOrderMagic);
    put(section, quint16(1)); // version 1.0
    put(section, quint16(0));
    put(section, qint64(-1)); // section length not known in advance
    struct utsname uts = {};
    ::uname(&uts);
    putOption(section, OptShbOs, QByteArray(uts.sysname) + ' ' + QByteArray(uts.release));
    putOption(section, OptShbUserAppl,
              "lumoipc " + KFileVersionInfo::libraryVersion().toString().toUtf8());
    put(section, quint32(OptEnd));
    putBlock(out, SectionHeaderBlock, section);

    QByteArray iface;
    put(iface, LinkTypeUser0);
    put(iface, quint16(0));
    put(iface, quint32(0)); // no snap length: frames are whole
    putOption(iface, OptIfName, options.interfaceName.toUtf8());
    putOption(iface, OptIfDescription, options.description.toUtf8());
    putOption(iface, OptIfTsResol, QByteArray(1, char(9))); // nanoseconds
    put(iface, quint32(OptEnd));
    putBlock(out, InterfaceBlock, iface);
    return out;
}

quint64 nowNs()
{
    timespec ts;
    ::clock_gettime(CLOCK_REALTIME, &ts);
    return quint64(ts.tv_sec) * 1000000000ull + quint64(ts.tv_nsec);
}

// Appends the block of one frame, stamped now, given as up to two pieces.
void putPacket(std::string &out, quint32 direction, const char *a, quint32 aLen, const char *b,
               quint32 bLen)
{
    const quint32 len = aLen + bLen;
    const quint32 total = quint32(packetBlockSize(len));
    const quint64 ns = nowNs();
    put(out, EnhancedPacketBlock);
    put(out, total);
    put(out, quint32(0)); // interface 0
    put(out, quint32(ns >> 32));
    put(out, quint32(ns));
    put(out, len); // captured
    put(out, len); // on the wire
    out.append(a, aLen);
    out.append(b, bLen);
    out.append(padded(len) - len, '\0');
    put(out, OptEpbFlags);
    put(out, quint16(4));
    put(out, direction);
    put(out, quint32(OptEnd));
    put(out, total);
}

bool writeAll(int fd, const char *data, qint64 len)
{
    while (len > 0) {
        const ssize_t n = ::write(fd, data, size_t(len));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        len -= n;
    }
    return true;
}

QString applicationName()
{
    const QString name = QCoreApplication::applicationName();
    return name.isEmpty()
        ? QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).fileName()
        : name;
}

// The capture's state. start() and stop() hold control for their whole run;
// everything record() and the writer thread share is guarded by lock. fd and
// written belong to the writer thread while it runs, to control otherwise.
struct State
{
    std::mutex control;
    std::mutex lock;
    std::condition_variable wake;
    std::string pending; // encoded blocks, in order; requires lock
    quint64 accepted = 0; // bytes the file will hold; requires lock
    quint64 maxBytes = 0; // requires lock
    bool running = false; // requires lock
    bool stopping = false; // requires lock
    bool full = false; // no more frames are taken; requires lock
    int fd = -1;
    quint64 written = 0;
    std::thread thread;
};

State &state()
{
    // Never destroyed: threads that outlive main() may still look.
    static State *s = new State;
    return *s;
}

} // namespace

void KLumoCaptureWriter::startFromEnvironment(const QString &serverName)
{
    const QString path = qEnvironmentVariable("LUMOIPC_CAPTURE");
    if (path.isEmpty())
        return;
    Options options;
    options.path = path;
    options.interfaceName = serverName;
    options.description = QStringLiteral("%1 (pid %2)").arg(applicationName()).arg(::getpid());
    bool ok = false;
    const double mib = qEnvironmentVariable("LUMOIPC_CAPTURE_MAX_MB").toDouble(&ok);
    if (ok && mib > 0)
        options.maxBytes = quint64(mib * 1048576.0);
    start(options);
}

bool KLumoCaptureWriter::start(const Options &options)
{
    State &s = state();
    stop();
    std::lock_guard<std::mutex> control(s.control);
    const QString path =
        QString(options.path).replace(QLatin1String("%p"), QString::number(::getpid()));
    const QByteArray header = fileHeader(options);
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600); // it holds user data
    if (fd < 0 || !writeAll(fd, header.constData(), header.size())) {
        const QString reason = QString::fromLocal8Bit(std::strerror(errno));
        log::warning(
            lcCapture(),
            QStringLiteral("KLumoCaptureWriter::start cannot write the capture file %1: %2")
                .arg(path, reason));
        if (fd >= 0)
            ::close(fd);
        return false;
    }
    s.fd = fd;
    s.written = quint64(header.size());
    {
        std::lock_guard<std::mutex> guard(s.lock);
        s.pending.clear();
        s.accepted = s.written;
        s.maxBytes = options.maxBytes;
        s.running = true;
        s.stopping = false;
        s.full = false;
    }
    s.thread = std::thread(&KLumoCaptureWriter::run);
    // A host that never calls LumoIpcFree still leaves a whole file; as a static
    // of the library, this also runs when the library is unloaded.
    static struct AtExit
    {
        ~AtExit() { KLumoCaptureWriter::stop(); }
    } atExit;
    s_active.store(true, std::memory_order_relaxed);
    log::info(lcCapture(), QStringLiteral("KLumoCaptureWriter::start capturing to ") + path);
    return true;
}

void KLumoCaptureWriter::stop()
{
    State &s = state();
    std::lock_guard<std::mutex> control(s.control);
    {
        std::lock_guard<std::mutex> guard(s.lock);
        if (!s.running)
            return;
        s.stopping = true;
    }
    s_active.store(false, std::memory_order_relaxed);
    s.wake.notify_one();
    s.thread.join();
    ::close(s.fd);
    s.fd = -1;
    std::lock_guard<std::mutex> guard(s.lock);
    s.running = false;
}

void KLumoCaptureWriter::record(capture::Direction direction, const char *header, const char *body,
                                quint32 bodyLen)
{
    State &s = state();
    bool wake = false;
    bool limitReached = false;
    {
        std::lock_guard<std::mutex> guard(s.lock);
        if (!s.running || s.stopping || s.full)
            return;
        const quint64 size = packetBlockSize(frame::HeaderSize + bodyLen);
        if (s.accepted + size > s.maxBytes) {
            // This frame and every later one stay out; the file stays whole.
            s.full = true;
            s_active.store(false, std::memory_order_relaxed);
            limitReached = true;
        } else {
            // Encoded in place: no allocation per frame once the buffer has grown.
            wake = s.pending.empty();
            s.accepted += size;
            putPacket(s.pending, direction, header, frame::HeaderSize, body, bodyLen);
            wake = wake || s.pending.size() >= BatchBytes;
        }
    }
    if (wake)
        s.wake.notify_one();
    if (limitReached)
        log::warning(lcCapture(),
                     QStringLiteral("KLumoCaptureWriter::record capture: size limit reached, "
                                    "capture stops"));
}

// The writer thread: sleeps until a frame is queued, gathers a batch, writes
// it outside the lock.
void KLumoCaptureWriter::run()
{
    State &s = state();
    std::string out;
    bool failed = false;
    std::unique_lock<std::mutex> lk(s.lock);
    for (;;) {
        s.wake.wait(lk, [&] { return s.stopping || !s.pending.empty(); });
        s.wake.wait_for(lk, GatherTime,
                        [&] { return s.stopping || s.pending.size() >= BatchBytes; });
        out.swap(s.pending); // both keep their capacity
        const bool last = s.stopping; // nothing is queued once stopping is set
        lk.unlock();
        if (!failed && !out.empty()) {
            if (writeAll(s.fd, out.data(), qint64(out.size()))) {
                s.written += quint64(out.size());
            } else {
                // Disk full or gone: cut back to the last whole block and stop taking frames.
                const int error = errno;
                failed = true;
                if (::ftruncate(s.fd, off_t(s.written)) != 0) { }
                {
                    std::lock_guard<std::mutex> guard(s.lock);
                    s.full = true;
                }
                s_active.store(false, std::memory_order_relaxed);
                log::warning(lcCapture(),
                             QStringLiteral("KLumoCaptureWriter::run capture stops: ")
                                 + QString::fromLocal8Bit(std::strerror(error)));
            }
        }
        out.clear();
        if (out.capacity() > 4 * BatchBytes)
            std::string().swap(out); // a huge reply went by: give its memory back
        lk.lock();
        if (last)
            return;
    }
}

} // namespace ofx::lumo
