#pragma once

#include "transport/kxlocalservernames.h"

#include <QByteArray>
#include <QString>

#include <pwd.h>
#include <unistd.h>

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

    // The local server name the library connects to: "_Thrift_Lumo_IPC_", the
    // login name of the real user id (empty when the password database has no
    // entry), then that id in decimal. Any thread. Inline, so that the tools,
    // tests and benchmarks that link only the shared library form the same name.
    static QString localServerName();

    // The platform check of the auto-login decision: 0 when a service could be
    // started from here, non-zero otherwise (1: no service executable).
    static int checkServicePlatform();
};

inline QString KLumoPaths::localServerName()
{
    const uid_t uid = ::getuid();
    const long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    QByteArray buf(size > 0 ? int(size) : 16384, Qt::Uninitialized);
    struct passwd pw;
    struct passwd *result = nullptr;
    QString login;
    if (::getpwuid_r(uid, &pw, buf.data(), size_t(buf.size()), &result) == 0 && result)
        login = QString::fromLocal8Bit(result->pw_name);
    return QLatin1String(servername::Ipc) + login + QString::number(uid);
}

} // namespace ofx::lumo
