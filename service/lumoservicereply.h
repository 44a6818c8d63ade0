#pragma once

#include "lumoserviceglobal.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <memory>
#include <string>

namespace apache::thrift {
class TBase;
}
namespace ofx::lumo {
class KLumoReplyState;
}

namespace LumoService {

class Handler;

/**
 * What every Reply shares: the call it answers and the rule that it is
 * answered exactly once.
 *
 * A reply is move-only. The first answer (Reply::finish() or fail()) is sent;
 * any later one sends nothing and logs a warning. A reply destroyed without an
 * answer sends a Thrift application exception at once, so that no client waits
 * for its call's expiry. Answering is allowed from any thread and at any time:
 * the frame is written on the server's thread, and once the client has left
 * (or the server is gone) an answer goes nowhere.
 */
class LUMOSERVICE_EXPORT ReplyBase
{
public:
    /** Takes the call over; @p other then answers nothing. */
    ReplyBase(ReplyBase &&other) noexcept;
    /** The reply held until now, if unanswered, is dropped: it sends the exception. */
    ReplyBase &operator=(ReplyBase &&other) noexcept;
    ReplyBase(const ReplyBase &) = delete;
    ReplyBase &operator=(const ReplyBase &) = delete;
    /** Sends the "dropped" exception if nothing answered the call. */
    ~ReplyBase();

    /**
     * Answers with a Thrift application exception (INTERNAL_ERROR) carrying
     * @p message, which a client reads as the call's failure.
     */
    void fail(const QString &message);

    /** The connection the call came from (0 for a reply that answers nothing). */
    ClientId client() const;
    /** The method as named on the wire (empty for a reply that answers nothing). */
    QString method() const;
    /** Whether an answer was given (by this or an earlier holder of the call). */
    bool isAnswered() const;

protected:
    /** A reply that answers nothing, until a reply is moved into it. */
    ReplyBase() noexcept;
    /**
     * The server's constructor: the reply of one call. Out of line, so that
     * the generated rows, compiled without optimisation, only call it.
     */
    explicit ReplyBase(std::shared_ptr<ofx::lumo::KLumoReplyState> &&state) noexcept;

    /** Sends @p result, a record, as the call's result. */
    void finishValue(const apache::thrift::TBase &result);
    /** Sends @p result, a string map, as the call's result. */
    void finishValue(const std::map<std::string, std::string> &result);
    /** Sends the empty result of a method that returns nothing. */
    void finishVoid();
    /**
     * Sends @p message, a complete encoded Thrift reply message, as it is
     * (Reply<QByteArray>, a RawHandler's: the server frames it under the
     * call's frame sequence id).
     */
    void finishValue(const QByteArray &message);

private:
    friend class Handler;
    void failUnknownMethod();

    std::shared_ptr<ofx::lumo::KLumoReplyState> d;
};

/**
 * The answer to one two-way call whose result is a @p T: a record of the
 * interface or a string map (or, for a RawHandler, a whole encoded message,
 * QByteArray). See ReplyBase for the rules.
 */
template<typename T> class Reply : public ReplyBase
{
public:
    /** A reply that answers nothing, until a reply is moved into it. */
    Reply() noexcept = default;
    /** The server's constructor: the reply of one call. */
    explicit Reply(std::shared_ptr<ofx::lumo::KLumoReplyState> &&state) noexcept
        : ReplyBase(static_cast<std::shared_ptr<ofx::lumo::KLumoReplyState> &&>(state))
    { }
    /** Takes the call over; @p other then answers nothing. */
    Reply(Reply &&other) noexcept = default;
    /** Takes the call over; an unanswered call held until now is dropped. */
    Reply &operator=(Reply &&other) noexcept = default;

    /** Answers the call with @p result. */
    void finish(const T &result) { finishValue(result); }
};

/** The answer to a two-way call of a method that returns nothing. */
template<> class Reply<void> : public ReplyBase
{
public:
    /** A reply that answers nothing, until a reply is moved into it. */
    Reply() noexcept = default;
    /** The server's constructor: the reply of one call. */
    explicit Reply(std::shared_ptr<ofx::lumo::KLumoReplyState> &&state) noexcept
        : ReplyBase(static_cast<std::shared_ptr<ofx::lumo::KLumoReplyState> &&>(state))
    { }
    /** Takes the call over; @p other then answers nothing. */
    Reply(Reply &&other) noexcept = default;
    /** Takes the call over; an unanswered call held until now is dropped. */
    Reply &operator=(Reply &&other) noexcept = default;

    /** Answers the call. */
    void finish() { finishVoid(); }
};

} // namespace LumoService
