#pragma once

#include "lumoipc_export.h"

#include <QSharedDataPointer>
#include <QString>

/// @cond INTERNAL
namespace LumoIpcPrivate {
class StatusData;
}
/// @endcond

namespace LumoIpc {

/**
 * How a typed call ended, handed to its callable beside the result:
 * @code
 * LumoIpc::remove(arg, this, [](const LumoIpc::Status &status, const ofx::lumo::RemoveResult &r) {
 *     if (!status.ok())
 *         qWarning() << "remove failed:" << int(status.code()) << status.message();
 * });
 * @endcode
 * The result is the service's reply when ok() is true, and otherwise the
 * method's default record (the generic route: KRpcResponse::connectError()
 * when there is no connection, KRpcResponse::waitReadError() otherwise).
 *
 * A small value, implicitly shared; any thread. Registered with the
 * meta-type system as "LumoIpc::Status" while the library lives.
 */
class LUMOIPC_EXPORT Status
{
public:
    /// Why a call ended. New codes are only ever added at the end.
    enum class Code {
        /// The service answered, and the reply was read.
        Ok,
        /// The call was not sent: no connection to the service. Ends the call at once.
        NotConnected,
        /// The service answered with an exception; message() is its text. Ends the call at
        /// once.
        ServiceException,
        /// A reply came that could not be decoded; message() says why. Ends the call at once.
        UndecodableReply,
        /// The connection to the service was lost while the call waited for its reply. Ends
        /// the call at once.
        ConnectionLost,
        /// No reply came within the call expiry (16 s; LUMOIPC_CALL_EXPIRY_MS).
        Expired,
    };

    /// A status of code Code::Ok, with no request id.
    Status();
    /// A status of @p code for the call @p requestId, with @p message.
    Status(Code code, const QString &requestId, const QString &message = QString());
    /// A copy; cheap, the data is shared.
    Status(const Status &other);
    /// Takes @p other's data.
    Status(Status &&other) noexcept;
    /// Shares @p other's data.
    Status &operator=(const Status &other);
    /// Takes @p other's data.
    Status &operator=(Status &&other) noexcept;
    ~Status();

    /// Whether the call was answered: code() is Code::Ok.
    bool ok() const;
    /// Why the call ended.
    Code code() const;
    /// The service's exception text (Code::ServiceException) or the decoder's reason
    /// (Code::UndecodableReply); empty otherwise.
    QString message() const;
    /// The call's request id, as PendingCall::id() gives it.
    QString requestId() const;

private:
    QSharedDataPointer<LumoIpcPrivate::StatusData> d;
};

} // namespace LumoIpc
