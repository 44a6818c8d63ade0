#pragma once

#include <QObject>

namespace ofx::lumo {

/**
 * Why a call's reply failed, as the library says it: the dispatcher logs
 * "KLumoIpcHandlerPrivate: METHOD (request ID): the service answered with an
 * exception: MESSAGE" or "...: the reply could not be decoded: REASON" (category
 * "lumoipc", info) and ends the call only at its expiry. The watch chains a Qt
 * message handler, keeps those lines enabled whatever QT_LOGGING_RULES says,
 * and hands each one to its own thread by a queued signal, keyed by request id.
 *
 * One watch at a time, created and destroyed on one thread. The handler runs
 * on whichever thread logs and only posts to the watch, under a lock.
 */
class KLumoReplyFailureWatch : public QObject
{
    Q_OBJECT
public:
    enum Kind { ServiceException, UndecodableReply };

    explicit KLumoReplyFailureWatch(QObject *parent = nullptr);
    ~KLumoReplyFailureWatch() override;

Q_SIGNALS:
    // @p why: "the service answered with an exception: MESSAGE", or "the reply
    // could not be decoded: REASON"; @p detail: MESSAGE or REASON alone.
    void replyFailed(const QString &requestId, ofx::lumo::KLumoReplyFailureWatch::Kind kind,
                     const QString &why, const QString &detail);
};

} // namespace ofx::lumo
