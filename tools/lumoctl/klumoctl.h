#pragma once

#include "klumoctloptions.h"

#include <QMap>
#include <QObject>
#include <QSet>
#include <QStringList>

#include <functional>
#include <memory>

namespace ofx::lumo {

class KLumoCtlReceiver;
class KLumoReplyFailureWatch;

/**
 * The commands of lumoctl that talk to the service, each on the library's
 * exported functions only. Every command returns the process exit code (Exit).
 * Why a call failed is learnt from what the library reports: the result slot,
 * the connection signals, and its log line on a reply that failed.
 *
 * Waits run the event loop and look at their condition again only when
 * something happens that may meet it (a connection, a login, a result, a
 * watched signal, a file appearing) or when their timeout fires: an idle
 * lumoctl sleeps. Main thread only.
 */
class KLumoCtl : public QObject
{
    Q_OBJECT
public:
    // How a command ended; a failed call says which way it failed.
    enum Exit {
        Success = 0,
        Failure = 1,
        UsageError = 2,
        NoConnection = 3, // no service answers, or the connection was lost
        ServiceException = 4, // the service answered with an exception
        UndecodableReply = 5, // a reply that could not be decoded
        NoReply = 6, // no reply within the call expiry (or --timeout)
    };

    KLumoCtl();
    ~KLumoCtl() override;

    int run(const QStringList &args);

private Q_SLOTS:
    void onSocketConnected();
    void onSocketDisConnected();
    // Ends the current wait if its condition now holds.
    void recheckWait();

private:
    int status(const QStringList &args);
    int call(const QStringList &args);
    int generic(const QStringList &args);
    int monitor(const QStringList &args);
    int start(const QStringList &args);
    int help(const QString &command);

    // The course `call` and `generic` share: connect, send what @p send sends,
    // wait for the result and print it, or say why there is none.
    int runCall(const QString &name, const KLumoCtlOptions::Call &opts,
                const std::function<QString()> &send);

    // Initialises the library and waits up to @p waitMs for the connection.
    bool connectService(int waitMs);
    // connectService, with the reason on stderr when no service answers.
    bool requireService(double waitSeconds);
    // Runs the event loop until @p done is true or @p timeoutMs (< 0: no
    // limit) passes; done() is asked again on each recheckWait().
    bool waitUntil(const std::function<bool()> &done, int timeoutMs);

    std::unique_ptr<KLumoCtlReceiver> m_receiver;
    std::function<void()> m_recheck; // set while a wait runs
    bool m_connected = false;
    bool m_disconnected = false;
    KLumoReplyFailureWatch *m_failureWatch;
    QMap<QString, QString> m_replyFailures; // request id -> the library's words
    QSet<QString> m_exceptions; // request ids the service answered with an exception
};

} // namespace ofx::lumo
