#pragma once

#include <QString>

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

    // The local server name the library connects to and a service listens on:
    // "_Thrift_Lumo_IPC_", the login name of the real user id (empty when the
    // password database has no entry), then that id in decimal. The one place
    // it is formed: the library exports it as LumoIpcServerName(), the
    // service SDK listens on it. Any thread.
    static QString localServerName();

    // The platform check of the auto-login decision: 0 when a service could be
    // started from here, non-zero otherwise (1: no service executable).
    static int checkServicePlatform();
};

} // namespace ofx::lumo
