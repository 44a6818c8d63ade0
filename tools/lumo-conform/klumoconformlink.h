#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QString>

namespace ofx::lumo {

/**
 * One client connection to a local socket, read and written with a deadline
 * on every operation: the kit must end each case at its budget whatever the
 * service does (says nothing, stops reading, accepts nothing). Reads go
 * through a small buffer; nothing bigger than it is ever held here.
 *
 * Owned and used by one thread.
 */
class KLumoConformLink
{
public:
    enum class Failure { None, Timeout, Closed, Error };

    KLumoConformLink() = default;
    ~KLumoConformLink();
    KLumoConformLink(const KLumoConformLink &) = delete;
    KLumoConformLink &operator=(const KLumoConformLink &) = delete;

    // A full backlog is retried until the deadline; a missing or refusing
    // socket fails at once.
    bool connectTo(const QString &path, QDeadlineTimer deadline);
    void close();
    bool isOpen() const { return m_nFd >= 0; }
    int descriptor() const { return m_nFd; }
    // The process at the other end, from the kernel's peer credentials (-1: unknown).
    qint64 peerPid() const;

    bool write(const char *data, size_t size, QDeadlineTimer deadline);
    bool write(const QByteArray &data, QDeadlineTimer deadline)
    {
        return write(data.constData(), size_t(data.size()), deadline);
    }
    // Exactly @p size bytes into @p dst, or skipped when @p dst is null.
    bool read(char *dst, size_t size, QDeadlineTimer deadline);
    // Waits until a byte can be read (or the peer closes) without taking it.
    bool waitReadable(QDeadlineTimer deadline);

    Failure failure() const { return m_eFailure; }
    // What went wrong last, in words ("no data within the budget", "closed by the service").
    const QString &error() const { return m_strError; }
    // Bytes written by the last write before it failed.
    size_t written() const { return m_nWritten; }

private:
    bool fill(QDeadlineTimer deadline);
    bool fail(Failure failure, const QString &error);

    int m_nFd = -1;
    QByteArray m_baBuffer;
    int m_nPos = 0;
    int m_nEnd = 0;
    size_t m_nWritten = 0;
    Failure m_eFailure = Failure::None;
    QString m_strError;
};

} // namespace ofx::lumo
