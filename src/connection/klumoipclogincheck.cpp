#include "connection/klumoipclogincheck.h"

#include "connection/klumologininfo.h"
#include "connection/klumoserviceprocess.h"
#include "support/lumolog.h"

#include <QDateTime>

namespace ofx::lumo {

KLumoIpcLoginCheck::KLumoIpcLoginCheck(Requester requester, EventSink sink, QObject *parent)
    : QObject(parent)
    , m_fnRequester(std::move(requester))
    , m_fnSink(std::move(sink))
{
    m_oCheckTimer.setSingleShot(true);
    m_oCheckTimer.setInterval(DefaultCheckDelayMs);
    connect(&m_oCheckTimer, &QTimer::timeout, this, &KLumoIpcLoginCheck::onCheckTimeout);
}

KLumoIpcLoginCheck::~KLumoIpcLoginCheck() = default;

void KLumoIpcLoginCheck::setLogined(bool logined)
{
    m_bLogined = logined;
    if (logined)
        m_oCheckTimer.stop();
}

void KLumoIpcLoginCheck::setSocketConnected()
{
    m_bSocketConnected = true;
    if (!m_bLogined)
        m_oCheckTimer.start();
}

bool KLumoIpcLoginCheck::checkAutoLogin()
{
    return KLumoServiceProcess::checkAutoLogin();
}

bool KLumoIpcLoginCheck::hasStoredCredential()
{
    return !KLumoLoginInfo::loadLastLogin().userId.isEmpty();
}

void KLumoIpcLoginCheck::setCheckDelay(int ms)
{
    m_oCheckTimer.setInterval(ms);
}

void KLumoIpcLoginCheck::setServiceStarter(std::function<void()> start)
{
    m_fnServiceStarter = std::move(start);
}

void KLumoIpcLoginCheck::setClock(std::function<qint64()> secsSinceEpoch)
{
    m_fnClock = std::move(secsSinceEpoch);
}

void KLumoIpcLoginCheck::onCheckTimeout()
{
    // Only a service configured to log in by itself is expected to be logged in by now.
    if (m_bLogined || !KLumoServiceProcess::readAutoLogin())
        return;
    log::info(lcConnection(), QStringLiteral("KLumoIpcLoginCheck::onCheckTimeout getLoginInfo"));
    if (m_fnRequester)
        m_fnRequester();
}

void KLumoIpcLoginCheck::on_getLoginInfo(bool bOk, const QString &requestId,
                                         const KRpcResponse &res)
{
    Q_UNUSED(requestId)
    KLumoIpcLoginCache login;
    KCompanyInfoCache company;
    const bool answered = bOk && KLumoLoginInfo::decode(res.values(), login, company);
    QMap<QString, QString> event;
    if (answered && login.isLogined) {
        // The proxy learns it through the status lock on its next tick.
        event.insert(QStringLiteral("result"), QStringLiteral("logined"));
    } else if (answered) {
        event.insert(QStringLiteral("result"), QStringLiteral("loginFailed"));
    } else {
        // No usable answer: the service is stuck; restarting it is the remedy.
        event.insert(QStringLiteral("result"), QStringLiteral("noResponse"));
        event.insert(QStringLiteral("error"), res.error());
        const qint64 now = m_fnClock ? m_fnClock() : QDateTime::currentSecsSinceEpoch();
        const auto outcome = KLumoServiceProcess::restartIfDue(now, m_fnServiceStarter);
        event.insert(QStringLiteral("restarted"),
                     outcome == KLumoServiceProcess::RestartOutcome::Started ? QStringLiteral("1")
                                                                             : QStringLiteral("0"));
    }
    log::info(lcConnection(),
              QStringLiteral("KLumoIpcLoginCheck::on_getLoginInfo result=%1")
                  .arg(event.value(QStringLiteral("result"))));
    if (m_fnSink)
        m_fnSink(QLatin1String(EventName), event);
}

} // namespace ofx::lumo

#include "moc_klumoipclogincheck.cpp"
