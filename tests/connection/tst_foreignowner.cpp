#include "lumotestenv.h"

#include "connection/klumolockfile.h"
#include "connection/klumoserviceprocess.h"
#include "transport/klumoipcchannel.h"

#include <QMutex>
#include <QTest>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

using namespace ofx::lumo;

namespace {

constexpr uid_t Nobody = 65534;

QMutex g_logMutex;
QStringList g_log;
void captureLog(QtMsgType, const QMessageLogContext &, const QString &text)
{
    QMutexLocker locker(&g_logMutex);
    g_log << text;
}
int logCount(const QString &needle)
{
    QMutexLocker locker(&g_logMutex);
    return int(std::count_if(g_log.cbegin(), g_log.cend(),
                             [&](const QString &line) { return line.contains(needle); }));
}

// Another local user: creates and holds our lock files (record lock and
// flock) and listens under a server name of ours, until @p holdFd closes.
// Only async-signal-safe calls after fork.
[[noreturn]] void squat(const std::vector<QByteArray> &locks, const QByteArray &socketPath,
                        int readyFd, int holdFd)
{
    if (::setgid(Nobody) != 0 || ::setuid(Nobody) != 0)
        ::_exit(2);
    for (const QByteArray &path : locks) {
        const int fd = ::open(path.constData(), O_CREAT | O_RDWR, 0644);
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fl.l_whence = SEEK_SET;
        if (fd < 0 || ::fcntl(fd, F_SETLK, &fl) != 0 || ::flock(fd, LOCK_EX | LOCK_NB) != 0)
            ::_exit(3);
    }
    const int server = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    ::strncpy(addr.sun_path, socketPath.constData(), sizeof addr.sun_path - 1);
    if (::bind(server, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0
        || ::listen(server, 8) != 0)
        ::_exit(4);
    (void)::write(readyFd, "r", 1);
    pollfd fds[2] = {{holdFd, POLLIN, 0}, {server, POLLIN, 0}};
    while (::poll(fds, 2, -1) >= 0 && !(fds[0].revents & (POLLIN | POLLHUP))) {
        if (fds[1].revents & POLLIN)
            (void)::accept(server, nullptr, nullptr); // kept open: a server that answers nothing
    }
    ::_exit(0);
}

struct FileState
{
    dev_t dev;
    ino_t ino;
    uid_t uid;
    off_t size;
    timespec mtime;
    bool operator==(const FileState &o) const
    {
        return dev == o.dev && ino == o.ino && uid == o.uid && size == o.size
            && mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec;
    }
};
FileState stateOf(const QString &path)
{
    struct stat st = {};
    ::lstat(QFile::encodeName(path).constData(), &st);
    return {st.st_dev, st.st_ino, st.st_uid, st.st_size, st.st_mtim};
}

} // namespace

/**
 * Another local user plants our lock files and our socket in the shared
 * temporary folder, and holds them. None of it may count: the service is not
 * running, nobody is logged in, a restart goes ahead, and the server is refused.
 */
class tst_ForeignOwner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (::geteuid() != 0)
            QSKIP("needs root to run a process under uid 65534");
        // Let the other user into our private test folder, as into /tmp.
        const QByteArray tmp = QFile::encodeName(QDir::tempPath());
        ::chmod(QFile::encodeName(QFileInfo(QDir::tempPath()).path()).constData(), 0711);
        ::chmod(tmp.constData(), 01777);

        std::vector<QByteArray> paths;
        for (const char *key : {KLumoLockFile::MainKey, KLumoLockFile::ExistKey,
                                KLumoLockFile::LoginStatusKey, KLumoLockFile::RestartKey}) {
            m_keys << QLatin1String(key);
            paths.push_back(QFile::encodeName(KLumoLockFile::path(m_keys.last())));
        }
        m_socketPath = QDir::tempPath() + QStringLiteral("/squatted");

        int ready[2], hold[2];
        QVERIFY(::pipe(ready) == 0 && ::pipe(hold) == 0);
        m_pid = ::fork();
        QVERIFY(m_pid >= 0);
        if (m_pid == 0) {
            ::close(ready[0]);
            ::close(hold[1]);
            squat(paths, QFile::encodeName(m_socketPath), ready[1], hold[0]);
        }
        ::close(ready[1]);
        ::close(hold[0]);
        m_hold = hold[1];
        char c = 0;
        QCOMPARE(::read(ready[0], &c, 1), ssize_t(1));
        ::close(ready[0]);
        for (const QString &key : m_keys)
            m_before << stateOf(KLumoLockFile::path(key));
        QCOMPARE(m_before.first().uid, Nobody);
        qInstallMessageHandler(captureLog);
    }

    void cleanupTestCase()
    {
        qInstallMessageHandler(nullptr);
        if (m_pid > 0) {
            ::close(m_hold);
            int status = 0;
            ::waitpid(m_pid, &status, 0);
            QCOMPARE(WEXITSTATUS(status), 0);
        }
    }

    void heldLockFilesOfAnotherUserCountAsAbsent()
    {
        for (int round = 0; round < 2; ++round) {
            QVERIFY(!KLumoServiceProcess::isLumoRunning());
            QVERIFY(!KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::ExistKey)));
            QVERIFY(!KLumoServiceProcess::checkLumoLogined());
        }
        bool started = false;
        QCOMPARE(KLumoServiceProcess::restartIfDue(QDateTime::currentSecsSinceEpoch(),
                                                   [&] { started = true; }),
                 KLumoServiceProcess::RestartOutcome::Started);
        QVERIFY(started);

        // Never changed, and each reported once however often it was looked at.
        for (int i = 0; i < m_keys.size(); ++i) {
            const QString path = KLumoLockFile::path(m_keys.at(i));
            QVERIFY2(stateOf(path) == m_before.at(i), qPrintable(path));
            QCOMPARE(logCount(path + QStringLiteral(" belongs to uid 65534")), 1);
        }
    }

    void serverOfAnotherUserIsRefused()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        channel.connectToServer(m_socketPath);
        QTRY_COMPARE(logCount(QStringLiteral("refused the server")), 1);
        QVERIFY(logCount(QStringLiteral("runs as uid 65534")) == 1);
        QVERIFY(!channel.isConnected());
    }

private:
    QStringList m_keys;
    QVector<FileState> m_before;
    QString m_socketPath;
    pid_t m_pid = -1;
    int m_hold = -1;
};

LUMO_TEST_MAIN(tst_ForeignOwner)
#include "tst_foreignowner.moc"
