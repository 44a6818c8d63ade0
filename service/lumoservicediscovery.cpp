#include "lumoservicediscovery.h"

#include "connection/klumolockfile.h"
#include "connection/klumologinflags.h"
#include "dispatch/klumoipchandler.h"
#include "support/klumopaths.h"
#include "transport/klumopeercheck.h"

namespace LumoService {

using ofx::lumo::KLumoLockFile;

namespace {

QLatin1String keyOf(Discovery::Lock lock)
{
    switch (lock) {
    case Discovery::Lock::Exist:
        return QLatin1String(KLumoLockFile::ExistKey);
    case Discovery::Lock::Main:
        return QLatin1String(KLumoLockFile::MainKey);
    case Discovery::Lock::LoginStatus:
        break;
    }
    return QLatin1String(KLumoLockFile::LoginStatusKey);
}

} // namespace

QString Discovery::serverName()
{
    return ofx::lumo::KLumoPaths::localServerName();
}

QString Discovery::lockPath(Lock lock)
{
    return KLumoLockFile::path(keyOf(lock));
}

bool Discovery::isHeld(Lock lock)
{
    return KLumoLockFile::isHeld(keyOf(lock));
}

bool Discovery::isLoginStatusHeld()
{
    return KLumoLockFile::isLoginStatusHeld();
}

bool Discovery::reportsLoggedIn(const QMap<QString, QString> &loginInfo)
{
    return ofx::lumo::KLumoLoginFlags::isLoggedIn(loginInfo);
}

bool Discovery::isSameUser(qintptr fd, QString *reason)
{
    return ofx::lumo::samePeerUid(fd, reason);
}

int Discovery::clientExpiryMs()
{
    return ofx::lumoipc::KLumoIpcHandler::DefaultExpiryMs;
}

} // namespace LumoService
