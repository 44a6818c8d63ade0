#pragma once

#include <QDir>
#include <QProcess>

#include <unistd.h>

namespace lumotest {

// The lock files as other processes find them: "%1/%2%3.lock", the temporary
// folder, the key and the real user id. Spelled out here, not taken from the library.
constexpr char ExistLock[] = "__#_LUMO_EXIST_MUTEX_KEY_#__";
constexpr char MainLock[] = "__#_LUMO_MUTEX_KEY_#__";
constexpr char LoginStatusLock[] = "__#_LUMO LOGIN STATUS KEY_#__";
constexpr char RestartLock[] = "__#_LUMO_PROCESSING_RESTART_MUTEX_KEY_#__";
inline QString lockPath(const char *key)
{
    return QStringLiteral("%1/%2%3.lock").arg(QDir::tempPath(), key).arg(::getuid());
}

// The lock helper as a real second process (see lumolockhelper.cpp). A lock it
// takes lives until the object is destroyed: its stdin is closed and it is waited for.
class LockHelper : public QProcess
{
public:
    explicit LockHelper(const QStringList &args) { start(QStringLiteral(LUMO_LOCKHELPER), args); }
    ~LockHelper() override
    {
        closeWriteChannel();
        waitForFinished();
    }
    QString firstLine() // "locked", "free", "held"
    {
        while (!canReadLine() && waitForReadyRead(5000)) { }
        return QString::fromLocal8Bit(readLine()).trimmed();
    }
};

} // namespace lumotest
