#include "transport/klumoframewriter.h"

#include "transport/klumocapturewriter.h"

#include <QSocketNotifier>
#include <QThread>

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ofx::lumo {

namespace {

enum class SendResult { Complete, Partial, Failed };

// Sends as much of [data, data+len) as the kernel takes now; *sent tells how much.
SendResult sendSome(int fd, const char *data, qint64 len, qint64 *sent)
{
    *sent = 0;
    while (*sent < len) {
        const ssize_t n =
            ::send(fd, data + *sent, size_t(len - *sent), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (n > 0) {
            *sent += n;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return SendResult::Partial;
        return SendResult::Failed;
    }
    return SendResult::Complete;
}

} // namespace

KLumoFrameWriter::KLumoFrameWriter(QObject *parent)
    : QObject(parent)
{ }

KLumoFrameWriter::~KLumoFrameWriter()
{
    std::lock_guard<std::mutex> guard(m_oLock);
    closeLocked();
}

bool KLumoFrameWriter::attach(qintptr fd)
{
    detach();
    if (fd < 0)
        return false;
    const int own = ::fcntl(int(fd), F_DUPFD_CLOEXEC, 0);
    if (own < 0)
        return false;
    m_pNotifier = new QSocketNotifier(own, QSocketNotifier::Write, this);
    m_pNotifier->setEnabled(false);
    connect(m_pNotifier, &QSocketNotifier::activated, this, &KLumoFrameWriter::drain);
    std::lock_guard<std::mutex> guard(m_oLock);
    m_nFd = own;
    return true;
}

void KLumoFrameWriter::detach()
{
    // The notifier must go before the descriptor it watches is closed.
    delete m_pNotifier;
    m_pNotifier = nullptr;
    std::lock_guard<std::mutex> guard(m_oLock);
    closeLocked();
}

void KLumoFrameWriter::closeLocked()
{
    if (m_nFd >= 0)
        ::close(m_nFd);
    m_nFd = -1;
    m_lstPending.clear();
    m_nPendingOffset = 0;
    m_nPendingBytes = 0;
}

bool KLumoFrameWriter::isAttached() const
{
    std::lock_guard<std::mutex> guard(m_oLock);
    return m_nFd >= 0;
}

qint64 KLumoFrameWriter::pendingBytes() const
{
    std::lock_guard<std::mutex> guard(m_oLock);
    return m_nPendingBytes - m_nPendingOffset;
}

bool KLumoFrameWriter::write(const QByteArray &frame)
{
    const qint64 total = frame.size();
    if (m_fnPieceObserver) {
        for (qint64 off = 0; off < total; off += PieceSize)
            m_fnPieceObserver(quint32(qMin<qint64>(PieceSize, total - off)));
    }
    // Recorded before the first byte leaves, so the capture never shows the
    // answer ahead of its request; and outside m_oLock, which the capture's
    // one log line must not be written under.
    if (m_bCaptured && KLumoCaptureWriter::isActive())
        KLumoCaptureWriter::record(capture::Outbound, frame.constData(), quint32(total));
    bool needArm = false;
    {
        std::lock_guard<std::mutex> guard(m_oLock);
        if (m_nFd < 0)
            return false;
        if (!m_lstPending.empty()) {
            // Earlier bytes are still waiting: keep the order.
            m_lstPending.push_back(frame);
            m_nPendingBytes += total;
            return true;
        }
        for (qint64 off = 0; off < total; off += PieceSize) {
            const qint64 piece = qMin<qint64>(PieceSize, total - off);
            qint64 sent = 0;
            const SendResult r = sendSome(m_nFd, frame.constData() + off, piece, &sent);
            if (r == SendResult::Complete)
                continue;
            if (r == SendResult::Failed)
                return false;
            m_lstPending.push_back(frame);
            m_nPendingBytes += total;
            m_nPendingOffset = off + sent;
            needArm = !m_bArmPosted;
            m_bArmPosted = true;
            break;
        }
    }
    if (needArm) {
        if (QThread::currentThread() == thread())
            arm();
        else
            QMetaObject::invokeMethod(
                this, [this] { arm(); }, Qt::QueuedConnection);
    }
    return true;
}

void KLumoFrameWriter::arm()
{
    bool enable;
    {
        std::lock_guard<std::mutex> guard(m_oLock);
        m_bArmPosted = false;
        enable = !m_lstPending.empty();
    }
    if (enable && m_pNotifier)
        m_pNotifier->setEnabled(true);
}

void KLumoFrameWriter::drain()
{
    bool failed = false;
    bool done = false;
    {
        std::lock_guard<std::mutex> guard(m_oLock);
        while (m_nFd >= 0 && !m_lstPending.empty()) {
            const QByteArray &front = m_lstPending.front();
            const qint64 piece = qMin<qint64>(PieceSize, front.size() - m_nPendingOffset);
            qint64 sent = 0;
            const SendResult r =
                sendSome(m_nFd, front.constData() + m_nPendingOffset, piece, &sent);
            m_nPendingOffset += sent;
            if (r == SendResult::Failed) {
                failed = true;
                break;
            }
            if (m_nPendingOffset == front.size()) {
                m_nPendingBytes -= front.size();
                m_lstPending.pop_front();
                m_nPendingOffset = 0;
            }
            if (r == SendResult::Partial)
                break;
        }
        done = m_lstPending.empty();
    }
    if ((done || failed) && m_pNotifier)
        m_pNotifier->setEnabled(false);
    if (failed && m_fnDrainError)
        m_fnDrainError();
}

} // namespace ofx::lumo

#include "moc_klumoframewriter.cpp"
