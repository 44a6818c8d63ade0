#include "connection/klumolockfile.h"

#include "support/lumolog.h"

#include <QDir>
#include <QMutex>
#include <QSet>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace ofx::lumo {

namespace {

// Says once per file that a lock file of somebody else is ignored.
void reportForeign(const QString &path, uid_t owner)
{
    static QMutex mutex;
    static QSet<QString> reported;
    QMutexLocker locker(&mutex);
    if (reported.contains(path))
        return;
    reported.insert(path);
    log::warning(lcConnection(),
                 QStringLiteral("KLumoLockFile: %1 belongs to uid %2, not to us; ignored")
                     .arg(path)
                     .arg(owner));
}

// O_NONBLOCK keeps a FIFO planted under a lock name from blocking the open.
// A file owned by another uid counts as absent (@p foreign tells it apart from
// a missing or unsafe one): every local user can write the folder, so such a
// file says nothing about our service and must never be locked or changed.
int openLockFile(const QString &path, int extraFlags, bool *foreign = nullptr)
{
    if (foreign)
        *foreign = false;
    const QByteArray native = QFile::encodeName(path);
    int fd;
    do {
        fd = ::open(native.constData(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | extraFlags,
                    0644);
    } while (fd == -1 && errno == EINTR);
    if (fd == -1)
        return -1;
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -1;
    }
    if (st.st_uid != ::geteuid()) {
        ::close(fd);
        reportForeign(path, st.st_uid);
        if (foreign)
            *foreign = true;
        return -1;
    }
    return fd;
}

struct flock wholeFile(short type)
{
    struct flock fl = {};
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = 0;
    fl.l_len = 0;
    fl.l_pid = 0; // required by the OFD commands
    return fl;
}

// A query through a fresh open file description sees every other holder,
// our own lock objects included.
bool recordLockHeld(int fd)
{
    struct flock fl = wholeFile(F_WRLCK);
    if (::fcntl(fd, F_OFD_GETLK, &fl) != 0)
        return false;
    return fl.l_type != F_UNLCK;
}

// flock() on a new description conflicts with our own momentary flock from
// another thread; serialise the login-status test within the process.
QMutex &loginStatusMutex()
{
    static QMutex m;
    return m;
}

} // namespace

QString KLumoLockFile::path(const QString &key)
{
    return QStringLiteral("%1/%2%3.lock").arg(QDir::tempPath(), key).arg(::getuid());
}

bool KLumoLockFile::isHeld(const QString &key)
{
    const int fd = openLockFile(path(key), 0);
    if (fd == -1)
        return false;
    const bool held = recordLockHeld(fd);
    ::close(fd);
    return held;
}

bool KLumoLockFile::isLoginStatusHeld()
{
    const QString file = path(QLatin1String(LoginStatusKey));
    if (isHeld(QLatin1String(LoginStatusKey)))
        return true;

    QMutexLocker locker(&loginStatusMutex());
    // Created when missing, never truncated: the file may not be ours.
    const int fd = openLockFile(file, O_CREAT);
    if (fd == -1)
        return false;
    int rc;
    do {
        rc = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (rc != 0 && errno == EINTR);
    const bool held = rc != 0;
    ::close(fd); // drops our flock, if we got it
    return held;
}

KLumoLockFile::KLumoLockFile(const QString &key)
    : m_strPath(path(key))
{ }

KLumoLockFile::~KLumoLockFile()
{
    release();
}

bool KLumoLockFile::tryLock()
{
    if (m_nFd != -1)
        return true;
    m_bAnotherHolds = false;
    bool foreign = false;
    const int fd = openLockFile(m_strPath, O_CREAT, &foreign);
    if (foreign) {
        // Nobody of ours can hold a file we do not own, so there is nobody to
        // wait for; we go on without a lock rather than let the squatter
        // block us for ever.
        return true;
    }
    if (fd == -1) {
        // Something we must not touch sits under the name: do as if another
        // client were restarting, which is the cautious answer.
        m_bAnotherHolds = true;
        return false;
    }
    struct flock fl = wholeFile(F_WRLCK);
    if (::fcntl(fd, F_OFD_SETLK, &fl) != 0) {
        ::close(fd);
        m_bAnotherHolds = true;
        return false;
    }
    m_nFd = fd;
    return true;
}

void KLumoLockFile::release()
{
    if (m_nFd != -1) {
        ::close(m_nFd);
        m_nFd = -1;
    }
}

} // namespace ofx::lumo
