#include "klumocalloutcome.h"

#include <QCoreApplication>

namespace ofx::lumo {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("KLumoCallOutcome", text);
}

} // namespace

KLumoCallOutcome KLumoCallOutcome::of(const LumoIpc::Status &status)
{
    using Code = LumoIpc::Status::Code;
    switch (status.code()) {
    case Code::Ok:
        return {Answered, ExitAnswered, tr("answered")};
    case Code::NotConnected:
        return {NotConnected, ExitNoConnection, tr("not connected: the call was not sent")};
    case Code::ServiceException:
        return {Failed, ExitServiceException,
                tr("failed: the service answered with an exception: %1").arg(status.message())};
    case Code::UndecodableReply:
        return {Failed, ExitUndecodableReply,
                tr("failed: the reply could not be decoded: %1").arg(status.message())};
    case Code::ConnectionLost:
        return {Failed, ExitNoConnection, tr("failed: the connection to the service was lost")};
    case Code::Expired:
        return {Expired, ExitNoReply, tr("expired: no reply within the call expiry")};
    }
    return {Failed, ExitOther, tr("failed")}; // a code newer than this tool
}

KLumoCallOutcome KLumoCallOutcome::timedOut(double seconds)
{
    return {Expired, ExitNoReply, tr("expired: no result within %1 s").arg(seconds)};
}

} // namespace ofx::lumo
