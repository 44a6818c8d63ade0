#pragma once

#include "klumoctloptions.h"
#include "klumojsoncall.h"

#include <QObject>
#include <QStringList>

#include <functional>

namespace ofx::lumo {

/**
 * The commands of lumoctl that talk to the service, each on the library's
 * exported functions only. Every command returns the process exit code (Exit,
 * or a call's KLumoCallOutcome::Exit). Why a call failed is what the library
 * says with its result: the call's status.
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
    // How a command ended; a call that failed ends with its cause's
    // KLumoCallOutcome::Exit (3 to 6).
    enum Exit {
        Success = 0,
        Failure = 1,
        UsageError = 2,
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

    // The course `call` and `generic` share: connect, make the call @p send
    // makes, wait for its end and print the result, or say why there is none.
    int runCall(const QString &name, const KLumoCtlOptions::Call &opts,
                const std::function<LumoIpc::PendingCall(KLumoJsonCall::Done)> &send);

    // Initialises the library and waits up to @p waitMs for the connection.
    bool connectService(int waitMs);
    // Runs the event loop until @p done is true or @p timeoutMs (< 0: no
    // limit) passes; done() is asked again on each recheckWait().
    bool waitUntil(const std::function<bool()> &done, int timeoutMs);

    std::function<void()> m_fnRecheck; // set while a wait runs
    bool m_bConnected = false;
};

} // namespace ofx::lumo
