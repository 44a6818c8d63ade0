#pragma once

#include <QString>

#include <functional>

namespace ofx::lumo {

/**
 * What the library knows about the service as an operating-system process:
 * its lock files, its "autologin" configuration, whether and how to start it,
 * the restart rule shared by all applications of the user, the data root and
 * the device id. Stateless apart from values computed once per process; any
 * thread unless noted.
 */
class KLumoServiceProcess
{
public:
    // The fixed head of the service's command-line tail (blank included).
    static constexpr const char *ArgumentsHead = "/lumodesk /start_from=lumoipc ";
    // Restarts are at least this far apart, across all applications of the user.
    static constexpr qint64 RestartSpacingSecs = 1800;

    static bool isLockHeld(const QString &key);
    // Whether the service runs its main loop (it holds the main lock).
    static bool isLumoRunning();
    // Whether a user is logged in to the service (the login-status test).
    static bool checkLumoLogined();

    static bool readAutoLogin();
    // The start policy; starts the service with "autologin" when configured
    // to and not running. Returns the verdict.
    static bool checkAutoLogin();
    // Queues a KLumoIpcLauncher with ArgumentsHead + @p extraArguments.
    static void startLumoProcess(const QString &extraArguments);

    // True when an application object exists and is named "ofxoffice".
    static bool isMainApplication();

    enum class RestartOutcome { Started, TooSoon, TurnedOff, AnotherProcess };
    // The cross-process part of the restart rule: under the restart lock,
    // calls @p start and records @p nowSecs when the last restart is more
    // than RestartSpacingSecs ago (or never). Host thread.
    static RestartOutcome restartIfDue(qint64 nowSecs, const std::function<void()> &start);

    static QString dataRoot();
    // "UUID-" + upper-case UUID, created once and kept in the native
    // "Nordvale"/"roamingdevice" settings.
    static QString deviceId();
};

} // namespace ofx::lumo
