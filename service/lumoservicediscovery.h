#pragma once

#include "lumoserviceglobal.h"

#include <QMap>
#include <QString>

namespace LumoService {

/**
 * How a client finds the service and decides to trust it, with the client
 * library's own code: the server name, the per-user lock files and their
 * tests, the peer check and the login rule. A Server uses them; a program
 * that checks a service from outside (the conformance kit) asks the same
 * questions with them. Any thread.
 */
class LUMOSERVICE_EXPORT Discovery
{
public:
    /** The lock files of the service. */
    enum class Lock {
        Exist, ///< held by every running service process
        Main, ///< held by the one service that serves
        LoginStatus, ///< held while a user is logged in
    };

    /** The local server name the client library connects to for this user. */
    static QString serverName();
    /** The path of lock file @p lock for this user (in the temporary folder). */
    static QString lockPath(Lock lock);
    /** Whether a process holds @p lock with a record lock, as the library tests it. */
    static bool isHeld(Lock lock);
    /** The library's login test: a record lock or a flock() on the login-status file. */
    static bool isLoginStatusHeld();
    /** Whether a getLoginInfo answer says a user is logged in, as the library reads it. */
    static bool reportsLoggedIn(const QMap<QString, QString> &loginInfo);
    /**
     * Whether the process at the other end of the connected descriptor @p fd
     * runs under this user's uid (SO_PEERCRED); if not, @p reason says why.
     */
    static bool isSameUser(qintptr fd, QString *reason);
    /**
     * How long a host waits for an answer before its call fails: an answer
     * later than this reaches nobody.
     */
    static int clientExpiryMs();
};

} // namespace LumoService
