#pragma once

#include "klumoemulatorcontrolname.h"
#include "klumojsonvalue.h"

#include <LumoIpc/LumoIpc>

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QProcess>

namespace lumotest {

// A field of a JSON record (an answer, a line of a log) as text, "<none>" when absent.
inline std::string field(const ofx::lumo::KLumoJsonValue &v, const char *key)
{
    const ofx::lumo::KLumoJsonValue *m = v.find(key);
    return m ? (m->isString() ? m->toString() : m->serialize()) : std::string("<none>");
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
        m_process.setReadChannel(QProcess::StandardError);
    }
    ~EmulatorProcess()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(3000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }

    // Starts and waits until the emulator says it serves, which it does once
    // its control interface listens too.
    bool start(const QStringList &args = {}, int timeoutMs = 5000)
    {
        m_process.start(m_program, args);
        const QDeadlineTimer deadline(timeoutMs);
        QByteArray said;
        while (!said.contains("lumo-service: serving")
               && m_process.waitForReadyRead(int(deadline.remainingTime())))
            said += m_process.readAllStandardError();
        return said.contains("lumo-service: serving");
    }

    // Sends one control command; returns the answer, or null when none came.
    // One connection serves every command while the emulator lives; a closed
    // one (an emulator restarted under the same object) is opened again once.
    ofx::lumo::KLumoJsonValue ctl(const QByteArray &command, int timeoutMs = 3000)
    {
        for (int attempt = 0; attempt < 2; ++attempt) {
            if (m_control.state() != QLocalSocket::ConnectedState) {
                m_control.abort();
                m_control.connectToServer(ofx::lumo::emulatorControlName(LumoIpcServerName()));
                if (!m_control.waitForConnected(timeoutMs))
                    return {};
            }
            m_control.write(command + "\n");
            const QDeadlineTimer deadline(timeoutMs);
            while (!m_control.canReadLine()
                   && m_control.waitForReadyRead(int(deadline.remainingTime()))) { }
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
        const ofx::lumo::KLumoJsonValue answer = ctl(command);
        const ofx::lumo::KLumoJsonValue *v = answer.find("ok");
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
