#include "klumocalloutcome.h"

#include <QCoreApplication>

namespace ofx::lumo {

KLumoCallOutcome KLumoCallOutcome::classify(const Facts &f)
{
    const auto tr = [](const char *text) {
        return QCoreApplication::translate("KLumoCallOutcome", text);
    };
    if (f.ok)
        return {Answered, tr("answered")};
    if (!f.connectedAtSend || f.genericError == QLatin1String("connectError"))
        return {NotConnected, tr("not connected: the call was not sent")};
    if (!f.replyFailure.isEmpty())
        return {Failed, tr("failed: %1").arg(f.replyFailure)};
    if (f.connectionLost)
        return {Failed, tr("failed: the connection to the service was lost")};
    return {Expired, tr("expired: no reply before the library gave up on the call")};
}

} // namespace ofx::lumo
