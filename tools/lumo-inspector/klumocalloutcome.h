#pragma once

#include <QString>

namespace ofx::lumo {

/**
 * How a call ended, told from what a host can see: the result's success
 * flag, the connection signals around the call, the generic route's error
 * value, and the library's log line on a reply that failed (an exception the
 * service answered with, or a reply that could not be decoded). The one place the call console
 * decides it.
 *
 * A value type; any thread.
 */
class KLumoCallOutcome
{
public:
    enum Kind { Pending, Answered, Failed, Expired, NotConnected };
    struct Facts
    {
        bool ok = false;
        bool connectedAtSend = false;
        bool connectionLost = false; // between sending and the end
        QString replyFailure; // why the reply failed, as the library logged it
        QString genericError; // the generic route's "error": connectError, waitReadError
    };

    static KLumoCallOutcome classify(const Facts &facts);

    Kind kind = Pending;
    QString text; // "answered", "failed: locked", ...
};

} // namespace ofx::lumo
