#pragma once

#include <QObject>
#include <QRunnable>
#include <QString>

namespace ofx::lumo {

/**
 * Starts the service process detached, once, on a thread of the global pool,
 * which deletes it after run(). Touches nothing but its own two strings.
 */
class KLumoIpcLauncher : public QObject, public QRunnable
{
    Q_OBJECT
public:
    // @p program in native separators, empty when the executable is missing.
    KLumoIpcLauncher(const QString &arguments, const QString &program);

    void run() override;

    QString arguments() const { return m_strArguments; }
    QString program() const { return m_strProgram; }

private:
    const QString m_strArguments;
    const QString m_strProgram;
};

} // namespace ofx::lumo
