#pragma once

#include "klumoemulatorfaults.h"
#include "klumoemulatorlog.h"
#include "klumoemulatorscenario.h"

#include <LumoService/Interceptor>
#include <LumoService/RawHandler>
#include <LumoService/Server>

#include <QObject>

#include <map>

namespace ofx::lumo {

/**
 * A stand-in for the cloud-service process, built on the service SDK: the
 * SDK's server holds the lock files, listens and frames; the emulator answers
 * every request of KLumoServices by name from its scenario (default results,
 * or what the scenario says), pushes notifications of KLumoNotifyServices
 * from JSON, and departs from the protocol on purpose when asked (--fault):
 * through the SDK's interceptor, the hook meant for test doubles, or by doing
 * the departure itself.
 *
 * Lives on the main thread of the lumo-service process; single-threaded.
 */
class KLumoServiceEmulator : public QObject,
                             private LumoService::RawHandler,
                             private LumoService::Interceptor
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

    KLumoEmulatorScenario &scenario() { return m_oScenario; }
    // Set before start().
    KLumoEmulatorFaults &faults() { return m_oFaults; }

    // Takes the exist and main locks, then listens. Fails (with @p error) when
    // another service holds the main lock or the name cannot be listened on.
    bool start(const QString &serverName, QString *error);
    QString serverName() const { return m_oServer.serverName(); }
    QString fullServerName() const { return m_oServer.fullServerName(); }
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

    // Sends notification @p name with argument @p arg @p times to every
    // client; returns how many clients got it, or -1 (with @p error) when @p
    // arg does not fit.
    int push(const std::string &name, const KLumoJsonValue &arg, int64_t times, std::string *error);

    // Sends @p bytes as they are (no framing) to every client: garbage for tests.
    int sendRaw(const QByteArray &bytes);
    // A service dying mid-write: every client gets the start of a large reply
    // to its latest request (the part a streaming reader takes straight into
    // the call's buffer), then its connection closes. Returns how many.
    int cutClients();
    // While stalled, nothing is read from clients, so their writes back up:
    // a peer that stops reading.
    void setStalled(bool stalled);

    int clientCount() const { return m_oServer.clients().size(); }
    quint64 requestCount() const { return m_nRequests; }

    // Drops every client, stops listening and releases the locks; emits stopped().
    void stop();

Q_SIGNALS:
    void stopped();

private:
    using ClientId = LumoService::ClientId;

    // LumoService::RawHandler: every call, answered from the scenario.
    void call(const LumoService::RawCall &call, LumoService::Reply<QByteArray> reply) override;
    // LumoService::Interceptor: the faults that live in frames.
    bool incoming(ClientId client, quint32 seqId, const QByteArray &body, int index) override;
    void outgoing(Outgoing &frame) override;
    void malformed(ClientId client, const QString &why) override;
    bool takesMainLock() const override;

    // The reply message for a call, or empty when none is to be sent.
    std::string answer(const std::string &method, const KLumoJsonValue &args, int32_t seqId,
                       int *delayMs);
    // A client broke the protocol: its connection is closed (or, under the
    // exit-on-malformed fault, the process ends).
    void drop(ClientId client, const QString &why);

    LumoService::Server m_oServer;
    KLumoEmulatorScenario m_oScenario;
    KLumoEmulatorFaults m_oFaults;
    KLumoEmulatorLog m_oLog;
    std::map<ClientId, quint32> m_mapLastSeq; // each client's latest request id
    // Calls the scenario leaves unanswered, kept while their client stays.
    std::multimap<ClientId, LumoService::Reply<QByteArray>> m_mapUnanswered;
    ClientId m_nNewest = 0; // the client that connected last
    bool m_bUnlockedLogin = false; // logged in under the login-unlocked fault
    quint64 m_nRequests = 0;
    bool m_bStopped = false;
};

} // namespace ofx::lumo
