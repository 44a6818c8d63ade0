#pragma once

#include "klumoctloptions.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

namespace ofx::lumo {

class KLumoCtlReceiver;

/**
 * The commands of lumoctl that talk to the service, each on the library's
 * exported functions only. Every command returns the process exit code:
 * 0 success, 1 failure, 2 usage.
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
    // wait for the result and print it. @p failure words what follows
    // "NAME failed" when the result's success flag is false.
    int runCall(const QString &name, const KLumoCtlOptions::Call &opts,
                const std::function<QString()> &send,
                const std::function<QString(qint64 elapsedMs)> &failure);

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
};

} // namespace ofx::lumo
