#include "connection/klumoipcproxy.h"

#include "transport/klumoframe.h"

#include "connection/klumolockfile.h"
#include "connection/klumologininfo.h"
#include "connection/klumoserviceprocess.h"
#include "dispatch/klumoipchandler.h"
#include "ipc/lumoipc.h"
#include "notify/klumonotifyactualprocessor.h"
#include "notify/klumonotifyhandler.h"
#include "push/klocalpushmsgdispatch.h"
#include "support/klumometatypes.h"
#include "support/klumopaths.h"
#include "support/lumolog.h"
#include "transport/klumoipcchannel.h"

#include "KLumoServices.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QPointer>
#include <QTimer>

#include <thrift/protocol/TCompactProtocol.h>

namespace ofx::lumo {

using ofx::lumoipc::KLumoIpcHandler;

namespace {

// Process-wide, host thread only (every proxy lives there).
bool g_fastConnectMode = false;
quint32 g_fastConnectTicks = 0;
int g_pollIntervalMs = KLumoIpcProxy::DefaultPollIntervalMs;
int g_fastPollIntervalMs = KLumoIpcProxy::DefaultFastPollIntervalMs;
std::function<qint64()> g_clock;

void info(const QString &text)
{
    log::info(lcConnection(), text);
}

qint64 nowSecs()
{
    return g_clock ? g_clock() : QDateTime::currentSecsSinceEpoch();
}

} // namespace

class KLumoIpcProxyPrivate
{
public:
    // Kept alive as long as the client that was built with it.
    apache::thrift::protocol::TCompactProtocolFactoryT<apache::thrift::transport::TMemoryBuffer>
        protocolFactory {frame::MaxStringBytes, frame::MaxContainerElements};
    std::shared_ptr<KLumoIpcChannel> channel;
    std::shared_ptr<KLumoNotifyHandler> notifyHandler;
    std::shared_ptr<KLumoNotifyActualProcessor> notifyProcessor;
    std::shared_ptr<KLumoServicesCobClient> client;
    KLumoIpcHandler *dispatcher = nullptr; // QObject child of the proxy, deleted first
    KLocalPushMsgDispatch *pushDispatch = nullptr; // QObject child of the proxy

    KLumoIpcLoginCache loginCache;
    KLumoIpcLoginCache lastLoginCache;
    KCompanyInfoCache companyCache;
    QMap<QString, QString> responseLoginInfo;
    QString userDataPath;
    QString serverName;
    QTimer delayCheckTimer;
    QMap<QString, QString> actionMap;
    std::function<void()> serviceStarter;
};

KLumoIpcProxy::KLumoIpcProxy(QObject *parent)
    : QObject(parent)
    , d(new KLumoIpcProxyPrivate)
{
    info(QStringLiteral("KLumoIpcProxy()"));
    KLumoMetaTypes::registerAll();

    d->pushDispatch = new KLocalPushMsgDispatch(this);
    d->notifyHandler = std::make_shared<KLumoNotifyHandler>(this, d->pushDispatch);
    d->notifyProcessor = std::make_shared<KLumoNotifyActualProcessor>(d->notifyHandler);
    d->channel = std::make_shared<KLumoIpcChannel>(this, d->notifyProcessor);
    d->client = std::make_shared<KLumoServicesCobClient>(d->channel, &d->protocolFactory);
    d->dispatcher = new KLumoIpcHandler(this, d->client, d->channel);
    // Both live on this thread; the dispatcher goes first at teardown.
    d->channel->setRequestsDroppedHandler([dispatcher = QPointer<KLumoIpcHandler>(d->dispatcher)] {
        if (dispatcher)
            dispatcher->onRequestsDropped();
    });

    connectPushSignals(d->pushDispatch);

    d->serverName = LumoIpcServerName();
    d->lastLoginCache = KLumoLoginInfo::loadLastLogin();

    connect(&d->delayCheckTimer, SIGNAL(timeout()), this, SLOT(on_delayCheckStatus()));
    if (!d->channel->connectToServer(d->serverName))
        info(QStringLiteral("Fail to connectToServer: ") + d->serverName);
    armTimer();
    d->userDataPath = KLumoPaths::userDataPath(d->loginCache.userId);
}

KLumoIpcProxy::~KLumoIpcProxy()
{
    info(QStringLiteral("~KLumoIpcProxy()"));
    d->delayCheckTimer.stop();
    // The dispatcher's thread uses the client and the channel: stop it first.
    delete d->dispatcher;
    d->dispatcher = nullptr;
    d->client.reset();
    d->channel.reset();
    d->notifyProcessor.reset();
    d->notifyHandler.reset();
    delete d->pushDispatch;
    d->pushDispatch = nullptr;
}

const KLumoIpcLoginCache &KLumoIpcProxy::loginCache() const
{
    return d->loginCache;
}
KLumoIpcLoginCache &KLumoIpcProxy::loginCache()
{
    return d->loginCache;
}
KLumoIpcLoginCache &KLumoIpcProxy::lastLoginCache()
{
    return d->lastLoginCache;
}
KCompanyInfoCache &KLumoIpcProxy::companyCache()
{
    return d->companyCache;
}
QMap<QString, QString> &KLumoIpcProxy::responseLoginInfo()
{
    return d->responseLoginInfo;
}
QString KLumoIpcProxy::userDataPath() const
{
    return d->userDataPath;
}
QString KLumoIpcProxy::serverName() const
{
    return d->serverName;
}
KLumoIpcHandler *KLumoIpcProxy::dispatcher() const
{
    return d->dispatcher;
}
bool KLumoIpcProxy::isConnected() const
{
    return d->channel && d->channel->isConnected();
}
void KLumoIpcProxy::setServiceStarter(std::function<void()> start)
{
    d->serviceStarter = std::move(start);
}
int KLumoIpcProxy::currentPollInterval() const
{
    return d->delayCheckTimer.interval();
}

void KLumoIpcProxy::setFastConnectMode(bool on)
{
    g_fastConnectMode = on;
    info(QStringLiteral("KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=%1")
             .arg(on ? 1 : 0));
}
bool KLumoIpcProxy::fastConnectMode()
{
    return g_fastConnectMode;
}
quint32 KLumoIpcProxy::fastConnectTicks()
{
    return g_fastConnectTicks;
}

int KLumoIpcProxy::nextPollInterval()
{
    if (!g_fastConnectMode)
        return g_pollIntervalMs;
    const quint32 taken = g_fastConnectTicks++;
    if (taken >= FastConnectTicks) {
        setFastConnectMode(false);
        g_fastConnectTicks = 0;
        return g_pollIntervalMs;
    }
    return g_fastPollIntervalMs;
}

void KLumoIpcProxy::setPollIntervals(int normalMs, int fastMs)
{
    g_pollIntervalMs = normalMs;
    g_fastPollIntervalMs = fastMs;
}

void KLumoIpcProxy::setClock(std::function<qint64()> secsSinceEpoch)
{
    g_clock = std::move(secsSinceEpoch);
}

void KLumoIpcProxy::logSlot(const char *slot)
{
    info(QStringLiteral("KLumoIpcProxy::") + QLatin1String(slot));
}

void KLumoIpcProxy::armTimer()
{
    d->delayCheckTimer.start(nextPollInterval());
}

void KLumoIpcProxy::queueNoLogined()
{
    QMetaObject::invokeMethod(this, "on_accountNoLogined", Qt::QueuedConnection);
}

void KLumoIpcProxy::on_delayCheckStatus()
{
    armTimer();
    if (!d->channel->isConnected()) {
        on_notifyDisconnected(false);
        return;
    }
    if (KLumoServiceProcess::checkLumoLogined() == d->loginCache.isLogined)
        return;
    // Both tests again, as the service's clients have always made them: the
    // connection or the login file may have changed in between. Not redundant.
    if (!d->channel->isConnected()) {
        on_notifyDisconnected(false);
        return;
    }
    if (KLumoServiceProcess::checkLumoLogined() == d->loginCache.isLogined)
        return;
    updateLoginInfo();
}

void KLumoIpcProxy::on_notifyConnected(bool bSocketConnect)
{
    if (!d->channel->isConnected()) {
        on_notifyDisconnected(false);
        return;
    }
    if (KLumoServiceProcess::checkLumoLogined() != d->loginCache.isLogined)
        updateLoginInfo();
    if (bSocketConnect)
        Q_EMIT notifySocketConnected();
}

void KLumoIpcProxy::on_notifyDisconnected(bool bSocketDisConnect)
{
    if (d->channel->isConnected())
        return;
    if (!KLumoServiceProcess::isLumoRunning() && d->loginCache.isLogined)
        queueNoLogined(); // a vanished service means the login is gone
    info(QStringLiteral("KLumoIpcProxy::on_notifyDisconnected:") + QStringLiteral("needReconnect"));
    d->channel->connectToServer(d->serverName);
    if (bSocketDisConnect)
        Q_EMIT notifySocketDisConnected();
}

void KLumoIpcProxy::updateLoginInfo()
{
    info(QStringLiteral("KLumoIpcProxy::updateLoginInfo"));
    setFastConnectMode(false);
    if (!KLumoServiceProcess::checkLumoLogined()) {
        info(QStringLiteral("KLumoIpcProxy::updateLoginInfo checkLumoLogined NoLogined"));
        queueNoLogined();
        return;
    }
    QStringList args;
    QString appName;
    if (QCoreApplication::instance()) {
        appName = QCoreApplication::applicationName();
        args << appName;
    }
    info(QStringLiteral("KLumoIpcProxy::updateLoginInfo getLoginInfo appName=%1").arg(appName));
    d->dispatcher->asynCall(QStringLiteral("getLoginInfo"), args, this,
                            QStringLiteral("on_getLoginInfo"));
}

void KLumoIpcProxy::on_getLoginInfo(bool bOk, const QString &requestId, const KRpcResponse &res)
{
    KLumoIpcLoginCache login;
    KCompanyInfoCache company;
    if (!bOk || !KLumoLoginInfo::decode(res.values(), login, company)) {
        info(QStringLiteral("Failure on getLoginInfo"));
        queueNoLogined();
        return;
    }
    d->responseLoginInfo = res.values();
    info(QStringLiteral("getLoginInfo Done"));
    info(QStringLiteral("getLoginInfo userId:%1 cachePath:%2 syncFileRoot: %3 localSyncFolder: %4")
             .arg(login.userId, login.cachePath, login.syncFileRoot, login.localSyncFolder));
    QMetaObject::invokeMethod(this, "on_accountLogined", Qt::QueuedConnection,
                              Q_ARG(KLumoIpcLoginCache, login), Q_ARG(KCompanyInfoCache, company));
}

void KLumoIpcProxy::on_accountLogined(const KLumoIpcLoginCache &loginCache,
                                      const KCompanyInfoCache &companyCache)
{
    info(QStringLiteral("KLumoIpcProxy::on_accountLogined()"));
    applyLoginState(loginCache, companyCache);
}

void KLumoIpcProxy::on_accountUpdateInfo()
{
    info(QStringLiteral("KLumoIpcProxy::on_accountUpdateInfo()"));
    updateLoginInfo();
}

void KLumoIpcProxy::on_accountNoLogined()
{
    info(QStringLiteral("KLumoIpcProxy::on_accountNoLogined()"));
    if (d->loginCache.isLogined)
        setFastConnectMode(true);
    applyLoginState(KLumoIpcLoginCache(), KCompanyInfoCache());
    d->actionMap.clear();
}

void KLumoIpcProxy::applyLoginState(const KLumoIpcLoginCache &newLogin,
                                    const KCompanyInfoCache &newCompany)
{
    if (d->loginCache.isLogined && !newLogin.isLogined
        && !KLumoServiceProcess::isLockHeld(QLatin1String(KLumoLockFile::ExistKey))
        && KLumoServiceProcess::isMainApplication()) {
        KLumoServiceProcess::restartIfDue(nowSecs(), d->serviceStarter);
    }
    d->loginCache = newLogin;
    d->userDataPath = KLumoPaths::userDataPath(newLogin.userId);
    d->companyCache = newCompany;
    if (newLogin.isLogined) {
        d->lastLoginCache = newLogin;
        d->lastLoginCache.token.clear();
        KLumoLoginInfo::saveLastLogin(newLogin);
    }
    Q_EMIT notifyLoginStatusChange();
}

void KLumoIpcProxy::on_notifyDocumentRoamingSwitchChanged()
{
    info(QStringLiteral("KLumoIpcProxy::on_notifyDocumentRoamingSwitchChanged"));
    updateLoginInfo();
}

} // namespace ofx::lumo

#include "connection/moc_klumoipcproxy.cpp"
