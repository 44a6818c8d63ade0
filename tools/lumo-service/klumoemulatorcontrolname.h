#pragma once

#include <QString>

namespace ofx::lumo {

// The emulator's control socket: the name the service listens under, with
// ".ctl" appended. The one place the suffix is formed; the emulator, the
// tests and the benchmarks that drive it all ask here.
inline QString emulatorControlName(const QString &serverName)
{
    return serverName + QLatin1String(".ctl");
}

} // namespace ofx::lumo
