#include "klumoctlconsole.h"

#include <cstdio>

namespace ofx::lumo {

int KLumoCtlConsole::usageError(const QString &message)
{
    std::fprintf(stderr, "lumoctl: %s\n(see lumoctl --help)\n", qPrintable(message));
    return 2;
}

void KLumoCtlConsole::fail(const QString &message)
{
    std::fprintf(stderr, "lumoctl: %s\n", qPrintable(message));
}

void KLumoCtlConsole::print(const KLumoJsonValue &value, bool pretty)
{
    std::printf("%s\n", value.serialize(pretty ? 2 : 0).c_str());
    std::fflush(stdout);
}

} // namespace ofx::lumo
