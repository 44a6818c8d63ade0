#pragma once

#include "klumoemulatorfaults.h"
#include "klumoemulatorlog.h"
#include "klumoemulatorscenario.h"

#include <QLocalServer>
#include <QObject>
#include <QPointer>

#include <map>
#include <memory>

class QLocalSocket;

namespace ofx::lumo {

class KLumoLockFile;

/**
 * A stand-in for the cloud-service process: holds the per-user lock files as
 * the real service does, listens on the server name the library forms, answers
 * every request of KLumoServices (default results, or what the scenario says)
 * and pushes notifications of KLumoNotifyServices to every connected client.
 *
 * Lives on the main thread of the lumo-service process; single-threaded.
 */
class KLumoServiceEmulator : public QObject
{
    Q_OBJECT
public:
    // The interface's two services: the one it serves and the one it pushes.
    static constexpr const char *RequestService = "KLumoServices";
    static constexpr const char *NotifyService = "KLumoNotifyServices";

    explicit KLumoServiceEmulator(QObject *parent = nullptr);
    ~KLumoServiceEmulator() override;

    // "_Thrift_Lumo_IPC_" + login name + uid, as the library forms it.
    static QString defaultServerName();

    KLumoEmulatorScenario &scenario() { return m_scenario; }
    // Set before start().
    KLumoEmulatorFaults &faults() { return m_faults; }

    // Takes the exist and main locks, then listens. Fails (with @p error) when
    // another service holds the main lock or the name cannot be listened on.
    bool start(const QString &serverName, QString *error);
    QString serverName() const { return m_server.serverName(); }
    QString fullServerName() const { return m_server.fullServerName(); }
    // Appends every request received as a JSON line to @p path.
    bool setRequestLog(const QString &path, QString *error);
    // Appends every frame received and sent as a JSON line to @p path: what
    // crossed the socket, in order each way, for comparing with a capture.
    bool setFrameLog(const QString &path, QString *error);

    // Takes the login-status lock; @p profile (a string map) replaces the
    // scenario's when given.
    bool login(const KLumoJsonValue *profile, std::string *error);
    void logout();
    bool isLoggedIn() const;

    // Sends notification @p name with argument @p arg to every client; returns
    // how many got it, or -1 (with @p error) when @p arg does not fit.
    int push(const std::string &name, const KLumoJsonValue &arg, std::string *error);

    // Sends @p bytes as they are (no framing) to every client: garbage for tests.
    int sendRaw(const QByteArray &bytes);
    // A service dying mid-write: every client gets the start of a large reply
    // to its latest request (the part a streaming reader takes straight into
    // the call's buffer), then its connection closes. Returns how many.
    int cutClients();
    // While stalled, nothing is read from clients, so their writes back up:
    // a peer that stops reading.
    void setStalled(bool stalled);

    int clientCount() const { return int(m_clients.size()); }
    quint64 requestCount() const { return m_requests; }

    // Drops every client, stops listening and releases the locks; emits stopped().
    void stop();

Q_SIGNALS:
    void stopped();

private:
    struct Client
    {
        QByteArray buffer;
        quint32 lastSeqId = 0;
    };
    void onNewConnection();
    void onReadyRead(QLocalSocket *socket);
    void onDisconnected(QLocalSocket *socket);
    void handleFrame(QLocalSocket *socket, quint32 seqId, const std::string &body);
    // The reply message for a call, or empty when none is to be sent.
    std::string answer(const std::string &method, const KLumoJsonValue &args, int32_t seqId,
                       int *delayMs);
    void send(QLocalSocket *socket, quint32 seqId, const std::string &body);
    // A client broke the protocol: its connection is closed (or, under the
    // exit-on-malformed fault, the process ends).
    void drop(QLocalSocket *socket, const QString &why);

    QLocalServer m_server;
    std::map<QLocalSocket *, Client> m_clients;
    KLumoEmulatorScenario m_scenario;
    KLumoEmulatorFaults m_faults;
    QLocalSocket *m_newest = nullptr; // the client that connected last
    bool m_unlockedLogin = false; // logged in under the login-unlocked fault
    std::unique_ptr<KLumoLockFile> m_existLock;
    std::unique_ptr<KLumoLockFile> m_mainLock;
    std::unique_ptr<KLumoLockFile> m_loginLock;
    KLumoEmulatorLog m_log;
    quint64 m_requests = 0;
    bool m_stopped = false;
    bool m_stalled = false;
};

} // namespace ofx::lumo
