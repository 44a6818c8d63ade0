#pragma once

#include <LumoIpc/Status>

#include <QString>

namespace ofx::lumo {

/**
 * How a call ended, in the words the tools print, told from the status the
 * library hands over with the result (or from the tool's own give-up time):
 * lumoctl writes "METHOD " and the text, the inspector's call console shows
 * the text, and lumoctl exits with the exit status. The one place the tools
 * decide it; lumoctl.1 and docs/inspector.md document the words.
 *
 * A value type; any thread.
 */
class KLumoCallOutcome
{
public:
    enum Kind { Pending, Answered, Failed, Expired, NotConnected };
    // lumoctl's exit status of a call (lumoctl.1, EXIT STATUS).
    enum Exit {
        ExitAnswered = 0,
        ExitOther = 1,
        ExitNoConnection = 3, // not connected, or the connection was lost
        ExitServiceException = 4,
        ExitUndecodableReply = 5,
        ExitNoReply = 6, // no reply within the call expiry, or the tool's own time
    };

    static KLumoCallOutcome of(const LumoIpc::Status &status);
    // No result within the @p seconds the tool was told to wait.
    static KLumoCallOutcome timedOut(double seconds);

    Kind kind = Pending;
    Exit exit = ExitAnswered;
    QString text; // "answered", "failed: the service answered with an exception: locked", ...
};

} // namespace ofx::lumo
