#pragma once

#include "klumojsonvalue.h"

#include <QString>

namespace ofx::lumo {

/**
 * Where lumoctl's words go: JSON results on stdout, one value per line (or
 * indented), everything else on stderr prefixed with "lumoctl: ". Main thread.
 */
class KLumoCtlConsole
{
public:
    // Reports a mistake on the command line; returns the usage exit code (2).
    static int usageError(const QString &message);
    static void fail(const QString &message);
    static void print(const KLumoJsonValue &value, bool pretty);
};

} // namespace ofx::lumo
