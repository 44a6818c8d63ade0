#include "klumoconformlink.h"

#include <QThread>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace ofx::lumo {

namespace {

constexpr int BufferSize = 64 << 10;

QString systemError(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

int pollFor(int fd, short events, QDeadlineTimer deadline)
{
    pollfd p = {fd, events, 0};
    for (;;) {
        const qint64 left = deadline.remainingTime();
        const int rc = ::poll(&p, 1, left < 0 ? -1 : int(qMin<qint64>(left, 1 << 30)));
        if (rc >= 0 || errno != EINTR)
            return rc < 0 ? -1 : rc == 0 ? 0 : p.revents;
    }
}

} // namespace

KLumoConformLink::~KLumoConformLink()
{
    close();
}

bool KLumoConformLink::connectTo(const QString &path, QDeadlineTimer deadline)
{
    close();
    const QByteArray native = path.toLocal8Bit();
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    if (size_t(native.size()) >= sizeof addr.sun_path)
        return fail(Failure::Error, QStringLiteral("the socket path is too long for AF_UNIX"));
    std::memcpy(addr.sun_path, native.constData(), size_t(native.size()));
    for (;;) {
        m_nFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (m_nFd < 0)
            return fail(Failure::Error, systemError(errno));
        if (::connect(m_nFd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0)
            break;
        const int error = errno;
        ::close(m_nFd);
        m_nFd = -1;
        // EAGAIN: the listen backlog is full; a stream socket cannot wait for it.
        if (error != EAGAIN && error != EINTR)
            return fail(Failure::Error, systemError(error));
        if (deadline.hasExpired())
            return fail(Failure::Timeout,
                        QStringLiteral("the service accepted no connection within the budget"));
        QThread::msleep(5);
    }
    m_baBuffer.resize(BufferSize);
    m_nPos = m_nEnd = 0;
    m_eFailure = Failure::None;
    m_strError.clear();
    return true;
}

void KLumoConformLink::close()
{
    if (m_nFd >= 0)
        ::close(m_nFd);
    m_nFd = -1;
    m_nPos = m_nEnd = 0;
}

qint64 KLumoConformLink::peerPid() const
{
    ucred cred = {};
    socklen_t len = sizeof cred;
    if (m_nFd < 0 || ::getsockopt(m_nFd, SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0)
        return -1;
    return cred.pid;
}

bool KLumoConformLink::fail(Failure failure, const QString &error)
{
    m_eFailure = failure;
    m_strError = error;
    return false;
}

bool KLumoConformLink::write(const char *data, size_t size, QDeadlineTimer deadline)
{
    m_nWritten = 0;
    if (m_nFd < 0)
        return fail(Failure::Closed, QStringLiteral("not connected"));
    while (m_nWritten < size) {
        const ssize_t n =
            ::send(m_nFd, data + m_nWritten, size - m_nWritten, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            m_nWritten += size_t(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno != EAGAIN)
            return fail(errno == EPIPE || errno == ECONNRESET ? Failure::Closed : Failure::Error,
                        QStringLiteral("sending failed: %1").arg(systemError(errno)));
        const int ready = pollFor(m_nFd, POLLOUT, deadline);
        if (ready == 0)
            return fail(Failure::Timeout,
                        QStringLiteral("the service stopped reading: %1 of %2 bytes sent "
                                       "within the budget")
                            .arg(m_nWritten)
                            .arg(size));
        if (ready < 0)
            return fail(Failure::Error, systemError(errno));
    }
    return true;
}

bool KLumoConformLink::fill(QDeadlineTimer deadline)
{
    if (m_nFd < 0)
        return fail(Failure::Closed, QStringLiteral("not connected"));
    m_nPos = m_nEnd = 0;
    for (;;) {
        const ssize_t n = ::recv(m_nFd, m_baBuffer.data(), size_t(m_baBuffer.size()), MSG_DONTWAIT);
        if (n > 0) {
            m_nEnd = int(n);
            return true;
        }
        if (n == 0)
            return fail(Failure::Closed, QStringLiteral("the service closed the connection"));
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN)
            return fail(errno == ECONNRESET ? Failure::Closed : Failure::Error,
                        QStringLiteral("reading failed: %1").arg(systemError(errno)));
        const int ready = pollFor(m_nFd, POLLIN, deadline);
        if (ready == 0)
            return fail(Failure::Timeout, QStringLiteral("nothing arrived within the budget"));
        if (ready < 0)
            return fail(Failure::Error, systemError(errno));
    }
}

bool KLumoConformLink::read(char *dst, size_t size, QDeadlineTimer deadline)
{
    while (size > 0) {
        if (m_nPos == m_nEnd && !fill(deadline))
            return false;
        const size_t n = qMin(size, size_t(m_nEnd - m_nPos));
        if (dst) {
            std::memcpy(dst, m_baBuffer.constData() + m_nPos, n);
            dst += n;
        }
        m_nPos += int(n);
        size -= n;
    }
    return true;
}

bool KLumoConformLink::waitReadable(QDeadlineTimer deadline)
{
    if (m_nPos < m_nEnd)
        return true;
    if (m_nFd < 0)
        return false;
    const int ready = pollFor(m_nFd, POLLIN, deadline);
    return ready > 0;
}

} // namespace ofx::lumo
