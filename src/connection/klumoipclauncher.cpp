#include "connection/klumoipclauncher.h"

#include "support/lumolog.h"

#include <QProcess>

namespace ofx::lumo {

KLumoIpcLauncher::KLumoIpcLauncher(const QString &arguments, const QString &program)
    : m_strArguments(arguments)
    , m_strProgram(program)
{
    setAutoDelete(true);
}

void KLumoIpcLauncher::run()
{
    // The command line is "<program> <arguments>". The program is taken whole
    // so that a folder with blanks in its name still starts; the arguments
    // are split as a shell-like command would be.
    if (m_strProgram.isEmpty()) {
        log::warning(lcConnection(),
                     QStringLiteral("KLumoIpcLauncher::run no service executable for: %1")
                         .arg(m_strArguments));
        return;
    }
    const QStringList args = QProcess::splitCommand(m_strArguments);
    log::info(lcConnection(),
              QStringLiteral("KLumoIpcLauncher::run %1 %2").arg(m_strProgram, m_strArguments));
    QProcess::startDetached(m_strProgram, args);
}

} // namespace ofx::lumo

#include "moc_klumoipclauncher.cpp"
