// lumo-conform: tells a service team, case by case, where their service
// departs from the protocol the lumoipc library relies on.

#include "klumoconformoptions.h"
#include "klumoconformreport.h"
#include "klumoconformsuite.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

using namespace ofx::lumo;

namespace {

// The library's functions the kit calls log through Qt; stdout is the report's.
void messageHandler(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg || qEnvironmentVariableIsSet("LUMO_CONFORM_VERBOSE"))
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

int usageError(const QString &message)
{
    std::fprintf(stderr, "lumo-conform: %s\n(see lumo-conform --help)\n", qPrintable(message));
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler(messageHandler);
    std::signal(SIGPIPE, SIG_IGN);
    KLumoConformOptions options;
    if (!options.parse(app.arguments().mid(1)))
        return usageError(options.error());
    if (options.help) {
        std::fputs(KLumoConformOptions::usage(), stdout);
        return 0;
    }
    KLumoConformSuite suite(options);
    QString error;
    if (!suite.select(&error))
        return usageError(error);
    if (options.list) {
        suite.list();
        return 0;
    }
    KLumoConformReport report(options);
    if (!report.open(&error))
        return usageError(error);
    return suite.run(report);
}
