#include "klumoconformoptions.h"

#include <LumoService/Discovery>

#include <QDir>

namespace ofx::lumo {

const char *KLumoConformOptions::usage()
{
    return "Usage: lumo-conform [OPTIONS]\n"
           "\n"
           "Checks, case by case, that the service process speaks the protocol the lumoipc\n"
           "library relies on. Exit status: 0 every selected case passed, 1 some case\n"
           "failed, 2 usage error.\n"
           "\n"
           "Options:\n"
           "  --server-name NAME   the service's local server name or socket path\n"
           "                       (default: the name the library forms)\n"
           "  --only GROUPS        run only these groups or case ids (comma-separated)\n"
           "  --skip GROUPS        leave these groups or case ids out\n"
           "  --timeout MS         budget of each call (default: the library's call expiry)\n"
           "  --push-command CMD   a command that makes the service push a notification;\n"
           "                       run with its name and an example argument (JSON) added\n"
           "  --json               print one JSON object per case\n"
           "  --junit FILE         also write a JUnit XML report to FILE\n"
           "  --list               print the cases and exit\n"
           "  -h, --help           show this help\n"
           "Groups: discovery, framing, methods, generic, robustness, notifications.\n";
}

bool KLumoConformOptions::parse(const QStringList &argsIn)
{
    timeoutMs = LumoService::Discovery::clientExpiryMs();
    serverName = LumoService::Discovery::serverName();
    for (int i = 0; i < argsIn.size(); ++i) {
        const QString &a = argsIn.at(i);
        auto value = [&](QString *out) {
            if (i + 1 >= argsIn.size()) {
                m_strError = a + QStringLiteral(" needs a value");
                return false;
            }
            *out = argsIn.at(++i);
            return true;
        };
        QString text;
        if (a == QLatin1String("-h") || a == QLatin1String("--help")) {
            help = true;
        } else if (a == QLatin1String("--json")) {
            json = true;
        } else if (a == QLatin1String("--list")) {
            list = true;
        } else if (a == QLatin1String("--server-name")) {
            if (!value(&serverName))
                return false;
            serverNameGiven = true;
        } else if (a == QLatin1String("--only") || a == QLatin1String("--skip")) {
            if (!value(&text))
                return false;
            (a == QLatin1String("--only") ? only : skip) +=
                text.split(QLatin1Char(','), Qt::SkipEmptyParts);
        } else if (a == QLatin1String("--timeout")) {
            bool ok = false;
            if (!value(&text))
                return false;
            timeoutMs = text.toInt(&ok);
            if (!ok || timeoutMs <= 0) {
                m_strError = QStringLiteral("--timeout needs a positive number of milliseconds");
                return false;
            }
        } else if (a == QLatin1String("--junit")) {
            if (!value(&junitPath))
                return false;
        } else if (a == QLatin1String("--push-command")) {
            if (!value(&pushCommand))
                return false;
        } else {
            m_strError = QStringLiteral("unknown argument \"%1\"").arg(a);
            return false;
        }
    }
    if (serverName.isEmpty()) {
        m_strError = QStringLiteral("--server-name needs a name");
        return false;
    }
    // Where a local server of that name listens (a path is taken as it is).
    serverPath = serverName.startsWith(QLatin1Char('/'))
        ? serverName
        : QDir::tempPath() + QLatin1Char('/') + serverName;
    return true;
}

} // namespace ofx::lumo
