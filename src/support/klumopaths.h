#pragma once

#include "lumoipc_export.h"

#include <QString>

// Declared with the library's other exported functions (lumoipc.h).
LUMOIPC_EXPORT QString LumoIpcServerName();

namespace ofx::lumo {

/**
 * Where things are: the suite's program folder and the service executable in
 * it, the service's data root and the per-user data folders. Any thread.
 */
class KLumoPaths
{
public:
    // The environment variable that overrides the suite's program folder
    // (tests and the emulator stand in for the service through it).
    static constexpr const char *SuiteDirVariable = "LUMO_SUITE_DIR";

    // $LUMO_SUITE_DIR when set, else the host application's folder (empty
    // when there is no application object).
    static QString suiteDir();
    // suiteDir() + "/ofxcloudsvr".
    static QString serviceExecutablePath();
    // Home + "/.local/share/Nordvale/OFX Cloud Files"; computed once per process.
    static QString dataRoot();
    // dataRoot()/userdata/<userId or "AllUsers">, created with its parents.
    static QString userDataPath(const QString &userId);

    // The local server name the library connects to: LumoIpcServerName(),
    // under the name the library's own code and the tools linking its core use.
    static QString localServerName() { return LumoIpcServerName(); }

    // The platform check of the auto-login decision: 0 when a service could be
    // started from here, non-zero otherwise (1: no service executable).
    static int checkServicePlatform();
};

} // namespace ofx::lumo
