#pragma once

// What the end-to-end benchmarks share: a private runtime folder, the service
// emulator started in it and driven through its control socket, and the
// context switches of a process, counted from /proc.

#include "klumoemulatorcontrolname.h"

#include <LumoIpc/LumoIpc>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QProcess>
#include <QString>
#include <QThread>

#include <cstdlib>
#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

namespace lumobench {

// Sends one command line to the emulator's control socket; true when it answers "ok".
inline bool control(const QByteArray &command)
{
    QLocalSocket s;
    s.connectToServer(ofx::lumo::emulatorControlName(LumoIpcServerName()));
    if (!s.waitForConnected(3000))
        return false;
    s.write(command + "\n");
    while (!s.canReadLine())
        if (!s.waitForReadyRead(30000))
            return false;
    return s.readLine().contains("\"ok\":true");
}

// A private TMPDIR, HOME and XDG_CONFIG_HOME for this process and everything it
// starts, so the emulator never meets a real service or the user's lock files.
// Returns the folder to remove at the end. Call before QCoreApplication.
inline QString enterPrivateRoot(const char *prefix)
{
    QByteArray tmpl = QDir::tempPath().toLocal8Bit() + '/' + prefix + "-XXXXXX";
    const QString root = QString::fromLocal8Bit(::mkdtemp(tmpl.data()));
    for (const char *sub : {"/tmp", "/home"})
        QDir().mkpath(root + sub);
    qputenv("TMPDIR", (root + "/tmp").toLocal8Bit());
    qputenv("HOME", (root + "/home").toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (root + "/home/.config").toLocal8Bit());
    qputenv("QT_LOGGING_RULES", "lumoipc*=false");
    return root;
}

// Starts @p binary with a user logged in and waits until it answers on its
// control socket (up to 2 s).
inline bool startService(QProcess &service, const QString &binary)
{
    service.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    service.start(binary, {QStringLiteral("autologin")});
    for (int i = 0; i < 100; ++i) {
        if (control(R"({"cmd":"status"})"))
            return true;
        QThread::msleep(20);
    }
    return false;
}

inline void stopService(QProcess &service)
{
    control(R"({"cmd":"stop"})");
    if (!service.waitForFinished(5000))
        service.kill();
}

// Voluntary plus involuntary context switches of every thread that process
// @p pid (0: this one) has now: each is one time a thread went to sleep or was
// put off a core, which is as many wake-ups as the thread had. Threads that
// ended are not counted.
inline qint64 contextSwitches(qint64 pid = 0)
{
    const QString base = pid ? QStringLiteral("/proc/%1/task").arg(pid) : "/proc/self/task";
    qint64 sum = 0;
    for (const QString &tid : QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile f(base + '/' + tid + "/status");
        if (!f.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &line : f.readAll().split('\n'))
            if (line.contains("ctxt_switches:"))
                sum += line.mid(line.indexOf(':') + 1).trimmed().toLongLong();
    }
    return sum;
}

// CPU time this process has used, user and system, all threads, in microseconds.
inline qint64 cpuMicroseconds()
{
    rusage u {};
    ::getrusage(RUSAGE_SELF, &u);
    return qint64(u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1000000 + u.ru_utime.tv_usec
        + u.ru_stime.tv_usec;
}

// A "Vm...:" line of /proc/self/status, in KiB.
inline qint64 statusKiB(const char *key)
{
    QFile f(QStringLiteral("/proc/self/status"));
    const QByteArray status = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    const int at = status.indexOf(key);
    return at < 0 ? -1
                  : status.mid(at + int(qstrlen(key))).trimmed().split(' ').value(0).toLongLong();
}

} // namespace lumobench
