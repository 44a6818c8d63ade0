#include "klumoserviceconnection.h"

#include "klumoreplystate.h"
#include "klumoservercore.h"
#include "klumoservicelink.h"
#include "klumoservicelog.h"
#include "lumoserviceinterceptor.h"

#include <QSocketNotifier>

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace ofx::lumo {

namespace {

using Violation = KLumoFrameReader::Violation;

QString describe(Violation violation, quint32 maxFrame)
{
    switch (violation) {
    case Violation::BadMagic:
        return QStringLiteral("a frame without the magic \"lumo\"");
    case Violation::ShortTotal:
        return QStringLiteral("a frame whose total length is below 20");
    case Violation::Oversized:
        return QStringLiteral("a frame longer than the limit of %1 bytes").arg(maxFrame);
    case Violation::None:
        return QStringLiteral("no memory for its frames");
    default:
        return QStringLiteral("a frame that breaks rule %1 of the stream").arg(int(violation));
    }
}

// Pieces of this size gather the answers to one read before they go out.
constexpr int GatherLimit = 256 * 1024;
// The most memory kept between reads for gathering answers.
constexpr int KeptOut = 64 * 1024;
// What one notification reads at most, so that one busy client cannot starve
// the others of the thread.
constexpr quint32 ReadBudget = 1024 * 1024;

} // namespace

KLumoServiceConnection::KLumoServiceConnection(KLumoServerCore *core, LumoService::ClientId id,
                                               int fd, quint32 maxFrame, QObject *parent)
    : QObject(parent)
    , m_pCore(core)
    , m_nId(id)
    , m_nFd(fd)
    , m_pLink(std::make_shared<KLumoServiceLink>(core->m_pOutbox, id, this))
    , m_pReadNotifier(new QSocketNotifier(fd, QSocketNotifier::Read, this))
    , m_oReader(this, this)
    , m_oWriter(this)
{
    m_oReader.setMaxFrameSize(maxFrame);
    // A capture records a host's traffic, not a server's in the same process.
    m_oReader.setCaptured(false);
    m_oWriter.setCaptured(false);
    m_oWriter.attach(fd);
    // Called from the writer's own notifier: the connection ends after it returns.
    m_oWriter.setDrainErrorHandler([this] {
        QMetaObject::invokeMethod(
            this, [this] { close(QString()); }, Qt::QueuedConnection);
    });
    connect(m_pReadNotifier, &QSocketNotifier::activated, this,
            &KLumoServiceConnection::onReadable);
}

KLumoServiceConnection::~KLumoServiceConnection()
{
    m_oWriter.detach();
    if (m_nFd >= 0)
        ::close(m_nFd);
}

void KLumoServiceConnection::setReading(bool reading)
{
    if (m_pReadNotifier)
        m_pReadNotifier->setEnabled(reading);
}

void KLumoServiceConnection::onReadable()
{
    m_bCorked = true;
    m_nFrameOfRead = 0;
    for (quint32 taken = 0; isOpen() && taken < ReadBudget;) {
        quint32 room = 0;
        // Small while between frames, so that an idle client holds little.
        char *dst = m_oReader.recvSpace(m_oReader.expectsMore() ? 65536 : 4096, &room);
        if (!dst)
            break; // the reader closed the connection
        const ssize_t n = ::recv(m_nFd, dst, room, MSG_DONTWAIT);
        if (n > 0) {
            taken += quint32(n);
            m_oReader.onRecvCommitted(quint32(n));
            // Less than the room: the kernel had no more, and a stream socket
            // does not fill up between two reads of one wake-up often enough
            // to pay a read that finds nothing. The notifier calls again if it did.
            if (quint32(n) < room)
                break;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            break;
        close(QString()); // the client left
    }
    m_bCorked = false;
    flush();
}

KLumoFrameReader::Violation KLumoServiceConnection::onFrame(quint32 seqId, const char *body,
                                                            quint32 length)
{
    LumoService::Interceptor *interceptor = m_pCore->m_pInterceptor;
    if (!interceptor
        || interceptor->incoming(m_nId, seqId, QByteArray::fromRawData(body, int(length)),
                                 m_nFrameOfRead++))
        m_pCore->dispatch(this, seqId, body, length);
    return Violation::None;
}

void KLumoServiceConnection::closeConnection()
{
    m_pCore->malformed(this, describe(m_oReader.lastViolation(), m_pCore->m_nMaxFrame));
}

void KLumoServiceConnection::send(const QByteArray &frame)
{
    if (!isOpen())
        return;
    m_baOut += frame;
    gathered();
}

void KLumoServiceConnection::sendReply(const KLumoReplyState &call, KLumoServiceCodec::Write write,
                                       const void *value)
{
    if (!isOpen())
        return;
    KLumoServiceCodec::appendReply(m_baOut, call.m_nFrameSeq, call.m_pMethod, call.m_nThriftSeq,
                                   write, value);
    gathered();
}

void KLumoServiceConnection::gathered()
{
    if (m_baOut.size() >= GatherLimit)
        return flush();
    // Inside a read, the read's end writes. Outside one (pushes, answers
    // given later), what this pass of the event loop sends goes out at its
    // end in one write: a burst of pushes costs one system call, not one each.
    if (m_bCorked || m_bFlushQueued)
        return;
    m_bFlushQueued = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_bFlushQueued = false;
            flush();
        },
        Qt::QueuedConnection);
}

void KLumoServiceConnection::flush()
{
    if (m_baOut.isEmpty() || !isOpen())
        return;
    QByteArray out = std::move(m_baOut);
    m_baOut = QByteArray();
    if (!m_oWriter.write(out)) {
        close(QString()); // the kernel refused: the client is gone
        return;
    }
    const qint64 unsent = m_oWriter.pendingBytes();
    if (unsent > m_pCore->m_nMaxUnsent)
        close(QStringLiteral("it stopped reading, %1 bytes wait for it").arg(unsent));
    else if (out.isDetached() && out.capacity() <= KeptOut && isOpen() && m_baOut.isEmpty())
        keepForNextAnswers(std::move(out));
}

void KLumoServiceConnection::keepForNextAnswers(QByteArray &&memory)
{
    // The kernel took it all: the next read's answers gather in the same
    // memory instead of growing a new buffer from nothing.
    m_baOut = std::move(memory);
    m_baOut.reserve(m_baOut.capacity()); // an empty buffer keeps its memory only when reserved
    m_baOut.resize(0);
}

void KLumoServiceConnection::close(const QString &why)
{
    if (m_nFd < 0)
        return;
    m_pLink->setClosed(); // its replies now answer nobody
    if (!why.isEmpty())
        log::warning(
            lcService(),
            QStringLiteral("LumoService::Server: closing client %1: %2").arg(m_nId).arg(why));
    // The notifier may be the one whose signal runs now: it goes later.
    m_pReadNotifier->setEnabled(false);
    m_pReadNotifier->deleteLater();
    m_pReadNotifier = nullptr;
    m_oReader.reset();
    m_baOut.clear();
    m_oWriter.detach();
    ::close(m_nFd);
    m_nFd = -1;
    m_pCore->forget(m_nId);
    deleteLater();
}

} // namespace ofx::lumo

#include "moc_klumoserviceconnection.cpp"
