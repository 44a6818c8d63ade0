#pragma once

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

namespace ofx::lumo {

class KLumoCtlReceiver;
struct KLumoCtlMethod;

/**
 * The commands of lumoctl, each on the library's exported functions only.
 * Every command returns the process exit code: 0 success, 1 failure, 2 usage.
 * Main thread only.
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

private:
    int status(const QStringList &args);
    int call(const QStringList &args);
    int generic(const QStringList &args);
    int monitor(const QStringList &args);
    int methods(const QStringList &args);
    int describe(const QStringList &args);
    int start(const QStringList &args);
    int help(const QString &command);

    // Initialises the library and waits up to @p waitMs for the connection.
    bool connectService(int waitMs);
    // connectService, with the reason on stderr when no service answers.
    bool requireService(double waitSeconds);
    // Runs the event loop until @p done is true or @p timeoutMs passes.
    bool waitUntil(const std::function<bool()> &done, int timeoutMs);
    static const KLumoCtlMethod *findMethod(const QString &name);

    std::unique_ptr<KLumoCtlReceiver> m_receiver;
    bool m_connected = false;
    bool m_disconnected = false;
};

} // namespace ofx::lumo
