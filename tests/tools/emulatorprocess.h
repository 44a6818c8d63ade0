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
    ofx::lumo::KLumoJsonValue ctl(const QByteArray &command, int timeoutMs = 3000)
    {
        QLocalSocket s;
        s.connectToServer(serviceName() + QLatin1String(".ctl"));
        if (!s.waitForConnected(timeoutMs))
            return {};
        s.write(command + "\n");
        QElapsedTimer t;
        t.start();
        while (!s.canReadLine() && t.elapsed() < timeoutMs)
            s.waitForReadyRead(int(timeoutMs - t.elapsed()));
        return ofx::lumo::KLumoJsonValue::parse(s.readLine().toStdString(), nullptr);
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
};

} // namespace lumotest
