#pragma once

#include "klumojsonvalue.h"

#include "transport/kxlocalservernames.h"

#include <QElapsedTimer>
#include <QLocalSocket>
#include <QProcess>
#include <QTest>

#include <pwd.h>
#include <unistd.h>

namespace lumotest {

// The server name the library forms for this user.
inline QString serviceName()
{
    const passwd *pw = ::getpwuid(::getuid());
    return QLatin1String(ofx::lumo::servername::Ipc) + QString::fromLocal8Bit(pw ? pw->pw_name : "")
        + QString::number(::getuid());
}

/**
 * The service emulator as a real child process in the test's private TMPDIR,
 * with its control interface. Owned by the test thread.
 */
class EmulatorProcess
{
public:
    explicit EmulatorProcess(const QString &program = QStringLiteral(LUMO_SERVICE_BIN))
        : m_program(program)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    }
    ~EmulatorProcess()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished(3000))
                m_process.kill();
            m_process.waitForFinished(1000);
        }
    }

    // Starts and waits until the control interface answers.
    bool start(const QStringList &args = {}, int timeoutMs = 5000)
    {
        m_process.start(m_program, args);
        if (!m_process.waitForStarted(timeoutMs))
            return false;
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < timeoutMs) {
            if (m_process.state() == QProcess::NotRunning)
                return false;
            if (ctl(R"({"cmd":"status"})", 200).find("ok"))
                return true;
            QTest::qWait(20);
        }
        return false;
    }

    // Sends one control command; returns the answer, or null when none came.
    // One connection serves every command while the emulator lives, so a
    // stream of commands does not pay for a connection each.
    ofx::lumo::KLumoJsonValue ctl(const QByteArray &command, int timeoutMs = 3000)
    {
        // A second try on a new connection when the old one turns out to be
        // closed (an emulator restarted under the same object).
        for (int attempt = 0; attempt < 2; ++attempt) {
            if (m_control.state() != QLocalSocket::ConnectedState) {
                m_control.abort();
                m_control.connectToServer(serviceName() + QLatin1String(".ctl"));
                if (!m_control.waitForConnected(timeoutMs))
                    return {};
            }
            m_control.write(command + "\n");
            QElapsedTimer t;
            t.start();
            while (!m_control.canReadLine() && t.elapsed() < timeoutMs
                   && m_control.state() == QLocalSocket::ConnectedState)
                m_control.waitForReadyRead(int(timeoutMs - t.elapsed()));
            if (m_control.canReadLine())
                return ofx::lumo::KLumoJsonValue::parse(m_control.readLine().toStdString(),
                                                        nullptr);
            const bool closed = m_control.state() != QLocalSocket::ConnectedState;
            m_control.abort(); // a late answer must not be taken for the next command
            if (!closed)
                break;
        }
        return {};
    }
    bool ok(const QByteArray &command)
    {
        const ofx::lumo::KLumoJsonValue a = ctl(command);
        const ofx::lumo::KLumoJsonValue *v = a.find("ok");
        return v && v->toBool();
    }

    QProcess &process() { return m_process; }
    qint64 pid() const { return m_process.processId(); }

private:
    QString m_program;
    QProcess m_process;
    QLocalSocket m_control;
};

} // namespace lumotest
