#include "ipc/lumostatus.h"

namespace LumoIpcPrivate {

// Behind the pointer, so that the class may grow without changing its size:
// a host compiled against this header keeps working with a library whose
// status carries more. A default status has none and allocates nothing.
class StatusData : public QSharedData
{
public:
    LumoIpc::Status::Code m_eCode = LumoIpc::Status::Code::Ok;
    QString m_strRequestId;
    QString m_strMessage;
};

} // namespace LumoIpcPrivate

namespace LumoIpc {

Status::Status() = default;

Status::Status(Code code, const QString &requestId, const QString &message)
    : d(new LumoIpcPrivate::StatusData)
{
    d->m_eCode = code;
    d->m_strRequestId = requestId;
    d->m_strMessage = message;
}

Status::Status(const Status &other) = default;
Status::Status(Status &&other) noexcept = default;
Status &Status::operator=(const Status &other) = default;
Status &Status::operator=(Status &&other) noexcept = default;
Status::~Status() = default;

bool Status::ok() const
{
    return code() == Code::Ok;
}

Status::Code Status::code() const
{
    return d ? d->m_eCode : Code::Ok;
}

QString Status::message() const
{
    return d ? d->m_strMessage : QString();
}

QString Status::requestId() const
{
    return d ? d->m_strRequestId : QString();
}

} // namespace LumoIpc
