#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

namespace lumotest {

// Runs the lock helper as a real second process. The lock it takes lives until
// the object is destroyed (its stdin is closed and it is waited for).
class LockHelper
{
public:
    explicit LockHelper(const QStringList &args)
    {
        m_process.setProgram(QStringLiteral(LUMO_LOCKHELPER));
        m_process.setArguments(args);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start();
        m_process.waitForStarted(5000);
    }
    ~LockHelper()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }
    // The first line the helper printed ("locked", "taken", "Started", ...).
    QString firstLine(int timeoutMs = 5000)
    {
        while (!m_process.canReadLine() && m_process.state() != QProcess::NotRunning)
            if (!m_process.waitForReadyRead(timeoutMs))
                break;
        return QString::fromLocal8Bit(m_process.readLine()).trimmed();
    }
    QProcess &process() { return m_process; }

private:
    QProcess m_process;
};

} // namespace lumotest
