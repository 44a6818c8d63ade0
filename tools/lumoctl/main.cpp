// lumoctl: calls the cloud service by method name and watches its
// notifications, through the library's exported functions only.

#include "klumoctl.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

bool g_verbose = false;

// The library logs through Qt's handler; a command-line tool keeps stdout for
// its JSON and stderr for its own messages unless asked for more.
void messageHandler(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (g_verbose || type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    g_verbose = args.removeAll(QStringLiteral("--verbose")) > 0
        || qEnvironmentVariableIsSet("LUMOCTL_VERBOSE");
    qInstallMessageHandler(messageHandler);
    int rc;
    {
        ofx::lumo::KLumoCtl ctl;
        rc = ctl.run(args);
    }
    return rc;
}
