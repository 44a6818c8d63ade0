// A second process for the lock-file tests. Holds or probes a lock on command
// and reports on stdout, one word per line:
//   fcntl <path>          classic record lock (F_SETLKW), held until stdin closes
//   flock <path>          flock(LOCK_EX), held until stdin closes
//   take <key>            the library's restart-style lock object: "taken"/"refused"
//   probe <path>          tries a classic F_SETLK: "free" or "held"
//   restart <now> <ms>    runs the restart rule at clock <now>, keeping the
//                         restart lock <ms> longer when it starts; prints the outcome
#include "connection/klumolockfile.h"
#include "connection/klumoserviceprocess.h"

#include <QCoreApplication>
#include <QStandardPaths>
#include <QThread>

#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace ofx::lumo;

static void say(const char *word)
{
    std::printf("%s\n", word);
    std::fflush(stdout);
}

static void waitForStdinClosed()
{
    char c;
    while (::read(0, &c, 1) > 0) { }
}

int main(int argc, char *argv[])
{
    // Same settings files as the test process, which runs in test mode.
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    if (argc < 3)
        return 2;
    const QByteArray cmd = argv[1];
    if (cmd == "fcntl" || cmd == "flock" || cmd == "probe") {
        const int fd = ::open(argv[2], O_RDWR | O_CREAT, 0644);
        if (fd == -1)
            return 3;
        struct flock fl = {};
        fl.l_type = F_WRLCK;
        fl.l_whence = SEEK_SET;
        if (cmd == "probe") {
            say(::fcntl(fd, F_SETLK, &fl) == 0 ? "free" : "held");
            return 0;
        }
        if ((cmd == "fcntl" ? ::fcntl(fd, F_SETLKW, &fl) : ::flock(fd, LOCK_EX)) != 0)
            return 4;
        say("locked");
        waitForStdinClosed();
        return 0;
    }
    if (cmd == "take") {
        KLumoLockFile lock(QString::fromLocal8Bit(argv[2]));
        say(lock.tryLock() ? "taken" : "refused");
        waitForStdinClosed();
        return 0;
    }
    if (cmd == "restart" && argc >= 4) {
        const qint64 now = QByteArray(argv[2]).toLongLong();
        const int holdMs = QByteArray(argv[3]).toInt();
        const auto outcome =
            KLumoServiceProcess::restartIfDue(now, [holdMs] { QThread::msleep(holdMs); });
        using O = KLumoServiceProcess::RestartOutcome;
        say(outcome == O::Started         ? "Started"
                : outcome == O::TooSoon   ? "TooSoon"
                : outcome == O::TurnedOff ? "TurnedOff"
                                          : "AnotherProcess");
        return 0;
    }
    return 2;
}
