#include <sys/stat.h> // before lumotestenv.h, which uses chmod

#include "connection/klumoipcproxy.h"
#include "connection/klumolockfile.h"
#include "connection/klumologininfo.h"
#include "framedpeer.h"
#include "lockhelperclient.h"
#include "lumotestenv.h"
#include "support/klumocommonsettings.h"
#include "thriftcodec.h"

#include "KLumoNotifyServices.h"
#include "KLumoServices.h"

#include <QtTest>

#include <pwd.h>

using namespace ofx::lumo;
using lumotest::FramedPeer;
using lumotest::LockHelper;

namespace {

QString expectedServerName()
{
    const struct passwd *pw = ::getpwuid(::getuid());
    return QStringLiteral("_Thrift_Lumo_IPC_") + QString::fromLocal8Bit(pw ? pw->pw_name : "")
        + QString::number(::getuid());
}

QString lockPath(const char *key)
{
    return KLumoLockFile::path(QLatin1String(key));
}

// A login the service would report.
QMap<QString, QString> loginAnswer(const QString &userId)
{
    KLumoIpcLoginCache login;
    login.isLogined = true;
    login.userId = userId;
    login.userName = QStringLiteral("Ana");
    login.token = QStringLiteral("secret");
    login.cachePath = QStringLiteral("/c");
    login.syncFileRoot = QStringLiteral("/s");
    login.localSyncFolder = QStringLiteral("/l");
    login.isRoamingOpen = true;
    KCompanyInfoCache company;
    company.companyId = QStringLiteral("c1");
    company.companyName = QStringLiteral("Acme");
    company.departmentName = QStringLiteral("R&D");
    return KLumoLoginInfo::encode(login, company);
}

} // namespace

/**
 * Plays the service on a real local socket: answers the generic "asynCall"
 * route (the proxy's "getLoginInfo") with a configurable map.
 */
class ServicePeer : public FramedPeer
{
public:
    QMap<QString, QString> answer;
    QStringList lastParams;
    QString lastMethod;
    int loginInfoRequests = 0;

    ServicePeer()
    {
        setResponder([this](const Frame &f) -> QByteArray {
            if (lumotest::peekMessage(f.body).name != "asynCall")
                return QByteArray();
            KLumoServices_asynCall_args args;
            lumotest::decodeMessage(f.body, args);
            lastMethod = QString::fromStdString(args.method);
            lastParams.clear();
            for (const std::string &p : args.params)
                lastParams << QString::fromStdString(p);
            ++loginInfoRequests;
            KLumoServices_asynCall_result r;
            for (auto it = answer.cbegin(); it != answer.cend(); ++it)
                r.success[it.key().toStdString()] = it.value().toStdString();
            r.__isset.success = true;
            return lumotest::encodeMessage("asynCall", apache::thrift::protocol::T_REPLY, r);
        });
    }
};

class TestKLumoIpcProxy : public QObject
{
    Q_OBJECT
    qint64 m_now = 1700000000;

    static void logIn(KLumoIpcProxy &proxy, const QString &userId)
    {
        KLumoIpcLoginCache login;
        KCompanyInfoCache company;
        KLumoLoginInfo::decode(loginAnswer(userId), login, company);
        proxy.on_accountLogined(login, company);
    }

private Q_SLOTS:
    void initTestCase()
    {
        KLumoIpcProxy::setClock([this] { return m_now; });
    }
    void init()
    {
        KLumoIpcProxy::setPollIntervals(50, 10);
        if (KLumoIpcProxy::fastConnectMode()) {
            QTest::ignoreMessage(QtInfoMsg,
                                 "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=0");
            KLumoIpcProxy::setFastConnectMode(false);
        }
        while (KLumoIpcProxy::fastConnectTicks() != 0) // drain a counter left by a previous test
            KLumoIpcProxy::nextPollInterval();
        QCoreApplication::setApplicationName(QStringLiteral("tst_klumoipcproxy"));
        KLumoCommonSettings().setRestartTime(0);
        for (const char *key : {KLumoLockFile::ExistKey, KLumoLockFile::MainKey,
                                KLumoLockFile::LoginStatusKey, KLumoLockFile::RestartKey})
            QFile::remove(lockPath(key));
    }

    void fastIntervalRule()
    {
        KLumoIpcProxy::setPollIntervals(5000, 100);
        QTest::ignoreMessage(QtInfoMsg,
                             "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=1");
        KLumoIpcProxy::setFastConnectMode(true);
        for (quint32 i = 0; i < KLumoIpcProxy::FastConnectTicks; ++i)
            QCOMPARE(KLumoIpcProxy::nextPollInterval(), 100);
        QTest::ignoreMessage(QtInfoMsg,
                             "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=0");
        QCOMPARE(KLumoIpcProxy::nextPollInterval(), 5000);
        QVERIFY(!KLumoIpcProxy::fastConnectMode());
        QCOMPARE(KLumoIpcProxy::fastConnectTicks(), 0u);
        QCOMPARE(KLumoIpcProxy::nextPollInterval(), 5000);
    }

    void connectDisconnectReconnect()
    {
        // Only the channel's own notification reconnects here: a polling tick
        // could reconnect first, and then the late notification rightly does
        // nothing (the channel reports connected again).
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        ServicePeer peer;
        QVERIFY(peer.listen(expectedServerName()));
        KLumoIpcProxy proxy;
        QSignalSpy connected(&proxy, &KLumoIpcProxy::notifySocketConnected);
        QSignalSpy disconnected(&proxy, &KLumoIpcProxy::notifySocketDisConnected);
        QVERIFY(peer.waitForClient());
        QTRY_COMPARE(connected.count(), 1);
        QVERIFY(proxy.isConnected());

        QTest::ignoreMessage(QtInfoMsg, "KLumoIpcProxy::on_notifyDisconnected:needReconnect");
        peer.disconnectClient();
        QTRY_COMPARE(disconnected.count(), 1);
        QTRY_COMPARE(connected.count(), 2);
        QVERIFY(proxy.isConnected());
    }

    void serviceStartsLater()
    {
        QTest::ignoreMessage(
            QtInfoMsg,
            qPrintable(QStringLiteral("Fail to connectToServer: ") + expectedServerName()));
        KLumoIpcProxy proxy;
        QSignalSpy connected(&proxy, &KLumoIpcProxy::notifySocketConnected);
        QVERIFY(!proxy.isConnected());
        ServicePeer peer;
        QVERIFY(peer.listen(expectedServerName()));
        QVERIFY(peer.waitForClient()); // the next tick reconnects
        QTRY_VERIFY(proxy.isConnected());
    }

    void loginThenLogout_data()
    {
        QTest::addColumn<QString>("appName");
        QTest::addColumn<bool>("existHeld");
        QTest::addColumn<int>("restarts");
        QTest::addRow("not the main application") << "ofxwriter" << false << 0;
        QTest::addRow("main application") << "ofxoffice" << false << 1;
        QTest::addRow("main application, service still exists") << "ofxoffice" << true << 0;
    }
    void loginThenLogout()
    {
        QFETCH(QString, appName);
        QFETCH(bool, existHeld);
        QFETCH(int, restarts);
        QCoreApplication::setApplicationName(appName);
        ServicePeer peer;
        peer.answer = loginAnswer(QStringLiteral("u7"));
        QVERIFY(peer.listen(expectedServerName()));
        KLumoIpcProxy proxy;
        int started = 0;
        proxy.setServiceStarter([&] { ++started; });
        QSignalSpy status(&proxy, &KLumoIpcProxy::notifyLoginStatusChange);
        QVERIFY(peer.waitForClient());

        std::unique_ptr<LockHelper> exist;
        if (existHeld) {
            exist.reset(
                new LockHelper({QStringLiteral("fcntl"), lockPath(KLumoLockFile::ExistKey)}));
            QCOMPARE(exist->firstLine(), QStringLiteral("locked"));
        }
        {
            LockHelper service({QStringLiteral("fcntl"), lockPath(KLumoLockFile::LoginStatusKey)});
            QCOMPARE(service.firstLine(), QStringLiteral("locked"));
            // A slow answer may be asked for twice (a tick comes while it is
            // on its way): each answer is applied and announced.
            QTRY_VERIFY(proxy.loginCache().isLogined);
            QVERIFY(status.count() >= 1);
            QCOMPARE(peer.lastMethod, QStringLiteral("getLoginInfo"));
            QCOMPARE(peer.lastParams, QStringList {appName});
            const KLumoIpcLoginCache &login = proxy.loginCache();
            QVERIFY(login.isLogined);
            QCOMPARE(login.userId, QStringLiteral("u7"));
            QCOMPARE(login.token, QStringLiteral("secret"));
            QVERIFY(login.isRoamingOpen);
            QCOMPARE(proxy.companyCache().companyName, QStringLiteral("Acme"));
            QCOMPARE(proxy.companyCache().departmentName, QStringLiteral("R&D"));
            QCOMPARE(proxy.responseLoginInfo().value(QStringLiteral("userId")),
                     QStringLiteral("u7"));
            QVERIFY(proxy.userDataPath().endsWith(QStringLiteral("/userdata/u7")));
            QVERIFY(QFileInfo(proxy.userDataPath()).isDir());
            // The last login survives the host: it is in the store, without the token.
            const KLumoIpcLoginCache last = KLumoLoginInfo::loadLastLogin();
            QCOMPARE(last.userId, QStringLiteral("u7"));
            QVERIFY(last.token.isEmpty());
            const int requests = peer.loginInfoRequests;
            QTest::qWait(200);
            QCOMPARE(peer.loginInfoRequests, requests); // unchanged status: no further request
        }
        // The service drops the login: the next tick notices, fast polling starts.
        const int before = status.count();
        QTRY_VERIFY(!proxy.loginCache().isLogined);
        QCOMPARE(status.count(), before + 1);
        QVERIFY(!proxy.loginCache().isLogined);
        QVERIFY(proxy.loginCache().userId.isEmpty());
        QVERIFY(proxy.companyCache().companyId.isEmpty());
        QVERIFY(proxy.userDataPath().endsWith(QStringLiteral("/userdata/AllUsers")));
        QVERIFY(KLumoIpcProxy::fastConnectMode());
        QCOMPARE(started, restarts);
        // 21 intervals of 10 ms, then back to the normal interval.
        QTRY_VERIFY(!KLumoIpcProxy::fastConnectMode());
        QTRY_COMPARE(proxy.currentPollInterval(), 50);
        QCOMPARE(KLumoIpcProxy::fastConnectTicks(), 0u);
    }

    void failedLoginInfoMeansLoggedOut()
    {
        ServicePeer peer;
        peer.answer = {{QStringLiteral("error"), QStringLiteral("connectError")}};
        QVERIFY(peer.listen(expectedServerName()));
        KLumoIpcProxy::setPollIntervals(100000, 10);
        KLumoIpcProxy proxy;
        QVERIFY(peer.waitForClient());
        QTRY_VERIFY(proxy.isConnected());
        logIn(proxy, QStringLiteral("u1"));
        LockHelper service({QStringLiteral("fcntl"), lockPath(KLumoLockFile::LoginStatusKey)});
        QCOMPARE(service.firstLine(), QStringLiteral("locked"));
        QSignalSpy status(&proxy, &KLumoIpcProxy::notifyLoginStatusChange);
        QTest::ignoreMessage(QtInfoMsg, "Failure on getLoginInfo");
        proxy.on_accountUpdateInfo();
        QTRY_COMPARE(status.count(), 1);
        QVERIFY(!proxy.loginCache().isLogined);
    }

    void socketLoss_data()
    {
        QTest::addColumn<bool>("loggedIn");
        QTest::addColumn<bool>("mainHeld");
        QTest::addRow("logged in, service gone") << true << false;
        QTest::addRow("logged in, service main loop still running") << true << true;
        QTest::addRow("logged out") << false << false;
    }
    void socketLoss()
    {
        QFETCH(bool, loggedIn);
        QFETCH(bool, mainHeld);
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        std::unique_ptr<LockHelper> main;
        if (mainHeld) {
            main.reset(new LockHelper({QStringLiteral("fcntl"), lockPath(KLumoLockFile::MainKey)}));
            QCOMPARE(main->firstLine(), QStringLiteral("locked"));
        }
        auto peer = std::make_unique<ServicePeer>();
        QVERIFY(peer->listen(expectedServerName()));
        KLumoIpcProxy proxy;
        QVERIFY(peer->waitForClient());
        QTRY_VERIFY(proxy.isConnected());
        if (loggedIn)
            logIn(proxy, QStringLiteral("u2"));
        QSignalSpy status(&proxy, &KLumoIpcProxy::notifyLoginStatusChange);
        QSignalSpy disconnected(&proxy, &KLumoIpcProxy::notifySocketDisConnected);
        peer.reset();
        QTRY_COMPARE(disconnected.count(), 1);
        QTest::qWait(50); // let a queued on_accountNoLogined run
        QCOMPARE(proxy.loginCache().isLogined, loggedIn && mainHeld);
        if (!loggedIn)
            QCOMPARE(status.count(), 0);
    }

    void updateLoginInfoAlwaysEndsFastMode()
    {
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        KLumoIpcProxy proxy;
        QTest::ignoreMessage(QtInfoMsg,
                             "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=1");
        KLumoIpcProxy::setFastConnectMode(true);
        QTest::ignoreMessage(QtInfoMsg, "KLumoIpcProxy::updateLoginInfo");
        QTest::ignoreMessage(QtInfoMsg,
                             "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=0");
        QTest::ignoreMessage(QtInfoMsg,
                             "KLumoIpcProxy::updateLoginInfo checkLumoLogined NoLogined");
        proxy.updateLoginInfo();
        QVERIFY(!KLumoIpcProxy::fastConnectMode());
    }

    // Two applications (here: two proxies of one process) lose the login at
    // once; the restart lock and the stored time allow one restart per 1800 s.
    void restartSpacingAcrossProxies()
    {
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        QCoreApplication::setApplicationName(QStringLiteral("ofxoffice"));
        KLumoIpcProxy a, b;
        int started = 0;
        a.setServiceStarter([&] { ++started; });
        b.setServiceStarter([&] { ++started; });
        const auto loseLogin = [&](qint64 now) {
            m_now = now;
            logIn(a, QStringLiteral("u3"));
            logIn(b, QStringLiteral("u3"));
            a.on_accountNoLogined();
            b.on_accountNoLogined();
        };
        loseLogin(1700000000);
        QCOMPARE(started, 1);
        loseLogin(1700000000 + 1800);
        QCOMPARE(started, 1);
        loseLogin(1700000000 + 1801);
        QCOMPARE(started, 2);
        QCOMPARE(KLumoCommonSettings().value(QStringLiteral("RestartLumoTime")).toString(),
                 QStringLiteral("1700001801"));
    }

    // While one proxy holds the restart lock, another lock user in the process
    // (a held test, a second lock object) must not drop it.
    void restartLockHeldDuringStartIsNotDropped()
    {
        QCoreApplication::setApplicationName(QStringLiteral("ofxoffice"));
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        KLumoIpcProxy a;
        QString probeResult;
        a.setServiceStarter([&] {
            QVERIFY(KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::RestartKey)));
            KLumoLockFile other(QLatin1String(KLumoLockFile::RestartKey));
            QVERIFY(!other.tryLock());
            LockHelper probe({QStringLiteral("probe"), lockPath(KLumoLockFile::RestartKey)});
            probeResult = probe.firstLine();
        });
        logIn(a, QStringLiteral("u4"));
        a.on_accountNoLogined();
        QCOMPARE(probeResult, QStringLiteral("held"));
    }

    // A local push message reaches the proxy's own push dispatcher.
    void pushMessageComesOutAsSignal()
    {
        ServicePeer peer;
        QVERIFY(peer.listen(expectedServerName()));
        KLumoIpcProxy proxy;
        QVERIFY(peer.waitForClient());
        QTRY_VERIFY(proxy.isConnected());
        QSignalSpy broadcast(&proxy, &KLumoIpcProxy::signal_broadcast);
        KLumoNotifyServices_notifyBroadcastLocalMsg_args push;
        push.arg = "act=broadcast&msg=hello";
        peer.sendFrame(0,
                       lumotest::encodeMessage("notifyBroadcastLocalMsg",
                                               apache::thrift::protocol::T_ONEWAY, push));
        QTRY_COMPARE(broadcast.count(), 1);
        QCOMPARE(broadcast.at(0).at(0).toString(), QStringLiteral("act=broadcast&msg=hello"));
    }
};

LUMO_TEST_MAIN(TestKLumoIpcProxy)
#include "tst_klumoipcproxy.moc"
