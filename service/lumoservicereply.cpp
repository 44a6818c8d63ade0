#include "lumoservicereply.h"

#include "klumoreplystate.h"
#include "klumoservicecodec.h"
#include "klumoservicelog.h"
#include "klumoserviceoutbox.h"

#include <thrift/TApplicationException.h>
#include <thrift/TBase.h>
#include <thrift/protocol/TProtocol.h>

namespace LumoService {

using apache::thrift::TApplicationException;
using apache::thrift::protocol::TProtocol;
using ofx::lumo::KLumoServiceCodec;
namespace log = ofx::lumo::log;

namespace {

// Whether @p state may answer now; says why not when it was answered already.
bool claim(ofx::lumo::KLumoReplyState *state, const char *how)
{
    if (!state) {
        log::warning(lcService(),
                     QStringLiteral("LumoService::Reply::%1: the reply answers no call")
                         .arg(QLatin1String(how)));
        return false;
    }
    if (state->claim())
        return true;
    log::warning(lcService(),
                 QStringLiteral("LumoService::Reply::%1: %2 (client %3, seq %4) was answered "
                                "already; this answer is not sent")
                     .arg(QLatin1String(how), QLatin1String(state->m_pMethod))
                     .arg(state->client())
                     .arg(state->m_nFrameSeq));
    return false;
}

void sendException(const ofx::lumo::KLumoReplyState &state, int type, const std::string &message)
{
    if (!state.isClientOpen())
        return;
    state.outbox().post(state.client(),
                        KLumoServiceCodec::exception(state.m_nFrameSeq, state.m_pMethod,
                                                     state.m_nThriftSeq, type, message));
}

void sendResult(const ofx::lumo::KLumoReplyState &state, KLumoServiceCodec::Write write,
                const void *value)
{
    if (!state.isClientOpen())
        return; // nobody to encode it for
    state.outbox().postReply(state, write, value);
}

} // namespace

ReplyBase::ReplyBase() noexcept = default;

ReplyBase::ReplyBase(std::shared_ptr<ofx::lumo::KLumoReplyState> &&state) noexcept
    : d(std::move(state))
{ }

ReplyBase::ReplyBase(ReplyBase &&other) noexcept = default;

ReplyBase &ReplyBase::operator=(ReplyBase &&other) noexcept
{
    if (this != &other) {
        ReplyBase dropped(std::move(*this));
        d = std::move(other.d);
    }
    return *this;
}

ReplyBase::~ReplyBase()
{
    // A client that left waits for nothing. Most replies were answered: a
    // load sees it without the exchange's cost.
    if (!d || d->isAnswered() || !d->claim() || !d->isClientOpen())
        return;
    // A call nobody will answer: its client learns it now, not at its expiry.
    log::warning(lcService(),
                 QStringLiteral("LumoService::Reply: %1 (client %2, seq %3) was dropped "
                                "unanswered; the client gets an exception")
                     .arg(QLatin1String(d->m_pMethod))
                     .arg(d->client())
                     .arg(d->m_nFrameSeq));
    sendException(*d, TApplicationException::INTERNAL_ERROR,
                  std::string(d->m_pMethod) + ": the service dropped the call unanswered");
}

void ReplyBase::fail(const QString &message)
{
    if (claim(d.get(), "fail"))
        sendException(*d, TApplicationException::INTERNAL_ERROR, message.toStdString());
}

void ReplyBase::failUnknownMethod()
{
    if (claim(d.get(), "finish"))
        sendException(*d, TApplicationException::UNKNOWN_METHOD,
                      "Invalid method name: '" + std::string(d->m_pMethod) + "'");
}

ClientId ReplyBase::client() const
{
    return d ? d->client() : 0;
}

QString ReplyBase::method() const
{
    return d ? QString::fromLatin1(d->m_pMethod) : QString();
}

bool ReplyBase::isAnswered() const
{
    return d && d->isAnswered();
}

void ReplyBase::finishValue(const apache::thrift::TBase &result)
{
    if (!claim(d.get(), "finish"))
        return;
    sendResult(
        *d,
        [](const void *value, TProtocol *out) {
            out->writeFieldBegin("success", apache::thrift::protocol::T_STRUCT, 0);
            static_cast<const apache::thrift::TBase *>(value)->write(out);
            out->writeFieldEnd();
        },
        &result);
}

void ReplyBase::finishValue(const std::map<std::string, std::string> &result)
{
    if (!claim(d.get(), "finish"))
        return;
    sendResult(*d, &KLumoServiceCodec::writeStringMap, &result);
}

void ReplyBase::finishVoid()
{
    if (claim(d.get(), "finish"))
        sendResult(*d, nullptr, nullptr);
}

void ReplyBase::finishValue(const QByteArray &message)
{
    if (claim(d.get(), "finish") && d->isClientOpen())
        d->outbox().post(d->client(), KLumoServiceCodec::message(d->m_nFrameSeq, message));
}

} // namespace LumoService
