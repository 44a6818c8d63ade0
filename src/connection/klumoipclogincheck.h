#pragma once

#include "dispatch/krpcresponse.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

namespace ofx::lumo {

/**
 * The login health check: notices a login that failed after the socket came
 * up (the service was expected to log in by itself, "autologin", and did not
 * within a delay), asks the service for its login information, reports what it
 * found through the host's event sink, and restarts the service when it does
 * not answer (subject to the same restart lock and 1800 s spacing as the
 * proxy). A service that answers "not logged in" is not restarted: a restart
 * does not mend refused credentials.
 *
 * Created by LumoIpcInit right after the proxy, owned by the library
 * singleton, lives on the host thread.
 */
class KLumoIpcLoginCheck : public QObject
{
    Q_OBJECT
public:
    static constexpr int DefaultCheckDelayMs = 30000;
    // Event names handed to the event sink.
    static constexpr const char *EventName = "lumoipc_login_check";

    using Requester = std::function<void()>; // asks "getLoginInfo" for on_getLoginInfo
    using EventSink = std::function<void(const QString &, const QMap<QString, QString> &)>;

    KLumoIpcLoginCheck(Requester requester, EventSink sink, QObject *parent = nullptr);
    ~KLumoIpcLoginCheck() override;

    // First flag: the proxy's logged-in state, handed over on every change.
    void setLogined(bool logined);
    bool isLogined() const { return m_bLogined; }
    // Second flag: the socket connected while nobody was logged in; arms the check.
    void setSocketConnected();
    bool isSocketConnected() const { return m_bSocketConnected; }

    // The start policy of the service (may start it with "autologin").
    bool checkAutoLogin();
    // A user logged in on this machine before (the persisted last login).
    static bool hasStoredCredential();

    void setCheckDelay(int ms);
    void setServiceStarter(std::function<void()> start);
    void setClock(std::function<qint64()> secsSinceEpoch);

public Q_SLOTS:
    void on_getLoginInfo(bool bOk, const QString &requestId, const KRpcResponse &res);

private:
    void onCheckTimeout();

    bool m_bLogined = false;
    bool m_bSocketConnected = false;
    QTimer m_oCheckTimer;
    Requester m_fnRequester;
    EventSink m_fnSink;
    std::function<void()> m_fnServiceStarter;
    std::function<qint64()> m_fnClock;
};

} // namespace ofx::lumo
