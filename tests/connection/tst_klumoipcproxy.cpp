#include "connection/klumoipcproxy.h"
#include "connection/klumologininfo.h"
#include "dispatch/klumoipchandler.h"
#include "framedpeer.h"
#include "lockhelperclient.h"
#include "lumotestenv.h"
#include "support/klumocommonsettings.h"
#include "support/klumopaths.h"
#include "thriftcodec.h"

#include "lumo_types.h"

#include <QRegularExpression>
#include <QTest>

using namespace ofx::lumo;
using namespace lumotest;

namespace {

const char FastOn[] = "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=1";
const char FastOff[] = "KCloudProxyPrivate::setFastConnectMode m_bFastConnectMode=0";

} // namespace

// Plays the service on a real local socket: answers the generic "asynCall"
// route (the proxy's "getLoginInfo") with a configurable map.
class ServicePeer : public FramedPeer
{
public:
    QMap<QString, QString> answer;
    QStringList lastCall; // method, then parameters

    ServicePeer()
    {
        setResponder([this](const Frame &f) -> QByteArray {
            if (peekMessage(f.body).name != "asynCall")
                return QByteArray();
            const AsynCall call = decodeAsynCall(f.body);
            lastCall = QStringList {QString::fromStdString(call.method)};
            for (const std::string &p : call.params)
                lastCall << QString::fromStdString(p);
            std::map<std::string, std::string> result;
            for (auto it = answer.cbegin(); it != answer.cend(); ++it)
                result[it.key().toStdString()] = it.value().toStdString();
            return encodeResult("asynCall", result);
        });
    }
};

// A result slot for calls made through the proxy's dispatcher.
class Results : public QObject
{
    Q_OBJECT
public:
    QList<bool> oks;
public Q_SLOTS:
    void onResult(bool ok, const QString &, const KRpcResponse &) { oks << ok; }
};

// A generic reply of @p entries map entries, empty but for the first value.
QByteArray mapReply(int entries, quint32 firstValueSize)
{
    using namespace apache::thrift::protocol;
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocol proto(buf);
    proto.writeMessageBegin("asynCall", T_REPLY, 0);
    proto.writeStructBegin("result");
    proto.writeFieldBegin("success", T_MAP, 0);
    proto.writeMapBegin(T_STRING, T_STRING, uint32_t(entries));
    for (int i = 0; i < entries; ++i) {
        proto.writeString(std::string());
        proto.writeString(std::string(i ? 0 : firstValueSize, 'v'));
    }
    proto.writeMapEnd();
    proto.writeFieldEnd();
    proto.writeFieldStop();
    proto.writeStructEnd();
    proto.writeMessageEnd();
    return QByteArray::fromStdString(buf->getBufferAsString());
}

class TestKLumoIpcProxy : public QObject
{
    Q_OBJECT

    static std::unique_ptr<LockHelper> holdLock(const char *key)
    {
        auto helper = std::make_unique<LockHelper>(QStringList {"fcntl", lockPath(key)});
        return helper->firstLine() == QLatin1String("locked") ? std::move(helper) : nullptr;
    }

private Q_SLOTS:
    void init()
    {
        KLumoIpcProxy::setPollIntervals(50, 10);
        // Fast mode off, its process-wide counter at 0, whatever ran before.
        QTest::ignoreMessage(QtInfoMsg, FastOn);
        QTest::ignoreMessage(QtInfoMsg, FastOff);
        KLumoIpcProxy::setFastConnectMode(true);
        while (KLumoIpcProxy::fastConnectMode())
            KLumoIpcProxy::nextPollInterval();
        QCoreApplication::setApplicationName(QStringLiteral("tst_klumoipcproxy"));
        KLumoCommonSettings().setRestartTime(0);
        for (const char *key : {ExistLock, MainLock, LoginStatusLock, RestartLock})
            QFile::remove(lockPath(key));
    }

    // From a counter at 0, fast mode gives 21 fast polls, then switches itself
    // off (logged both ways) and the counter starts again: a second run is alike.
    void fastModeGivesTwentyOneFastPolls()
    {
        for (int run = 0; run < 2; ++run) {
            QTest::ignoreMessage(QtInfoMsg, FastOn);
            QTest::ignoreMessage(QtInfoMsg, FastOff);
            KLumoIpcProxy::setFastConnectMode(true);
            int fast = 0;
            while (KLumoIpcProxy::nextPollInterval() == 10)
                ++fast;
            QCOMPARE(fast, 21);
            QVERIFY(!KLumoIpcProxy::fastConnectMode());
            QCOMPARE(KLumoIpcProxy::nextPollInterval(), 50);
        }
    }

    // The container limit of the proxy's own client: 1,048,576 map entries pass,
    // one more fails the call cleanly (logged, then expired) and the connection
    // goes on. (A 100 MiB reply, Thrift's message cap, takes 18 s: not run.)
    void replyLimits_data()
    {
        QTest::addColumn<int>("entries");
        QTest::addRow("1048576 entries") << (1 << 20);
        QTest::addRow("1048577 entries") << (1 << 20) + 1;
    }
    void replyLimits()
    {
        QFETCH(int, entries);
        const bool passes = entries <= (1 << 20);
        QByteArray big = mapReply(entries, 1);
        FramedPeer peer;
        int answered = 0;
        peer.setResponder([&](const FramedPeer::Frame &) {
            return answered++ ? mapReply(1, 1) : std::exchange(big, QByteArray());
        });
        QVERIFY(peer.listen(KLumoPaths::localServerName()));
        KLumoIpcProxy proxy;
        QSignalSpy connected(&proxy, &KLumoIpcProxy::notifySocketConnected);
        // The reply over the limit ends at expiry; the one within it must beat
        // expiry even when decoding a million entries is slow (sanitizers).
        proxy.dispatcher()->setExpiryInterval((passes ? 20000 : 300) * timeScale());
        QVERIFY(connected.wait());
        if (!passes)
            QTest::ignoreMessage(QtInfoMsg, QRegularExpression("^Exception on asynCall"));
        Results results;
        proxy.dispatcher()->asynCall("m", {}, &results, "onResult");
        QTRY_COMPARE_WITH_TIMEOUT(results.oks.size(), 1, 60000);
        proxy.dispatcher()->asynCall("m", {}, &results, "onResult");
        QTRY_COMPARE(results.oks, QList<bool>({passes, true}));
    }

    // The service appears later: a polling tick connects; it drops the connection:
    // the channel's own notification reconnects. The name is formed apart from the
    // library: the owner of this process as Qt finds it, and its uid.
    void connectsWhenTheServiceAppearsAndReconnects()
    {
        const QString name =
            "_Thrift_Lumo_IPC_" + QFileInfo("/proc/self").owner() + QString::number(::getuid());
        QTest::ignoreMessage(QtInfoMsg, qPrintable("Fail to connectToServer: " + name));
        KLumoIpcProxy proxy;
        QSignalSpy connected(&proxy, &KLumoIpcProxy::notifySocketConnected);
        QSignalSpy disconnected(&proxy, &KLumoIpcProxy::notifySocketDisConnected);
        ServicePeer peer;
        QVERIFY(peer.listen(name));
        QVERIFY(peer.waitForClient());
        QTRY_COMPARE(connected.count(), 1);
        KLumoIpcProxy::setPollIntervals(100000, 100000); // no tick from the next one on
        QTRY_COMPARE(proxy.currentPollInterval(), 100000);
        QTest::ignoreMessage(QtInfoMsg, "KLumoIpcProxy::on_notifyDisconnected:needReconnect");
        peer.disconnectClient();
        QTRY_COMPARE(disconnected.count(), 1);
        QTRY_COMPARE(connected.count(), 2);
    }

    // The service logs in (the login-status lock), the proxy asks for the
    // login; the login goes (lock released, or the service answers an error).
    void loginThenLogout_data()
    {
        QTest::addColumn<QString>("appName");
        QTest::addColumn<bool>("existHeld");
        QTest::addColumn<bool>("errorAnswer");
        QTest::addColumn<int>("restarts");
        QTest::addRow("not the main application") << "ofxwriter" << false << false << 0;
        QTest::addRow("main application") << "ofxoffice" << false << false << 1;
        QTest::addRow("main application, service exists") << "ofxoffice" << true << false << 0;
        QTest::addRow("main application, error answer") << "ofxoffice" << false << true << 1;
    }
    void loginThenLogout()
    {
        QFETCH(QString, appName);
        QFETCH(bool, existHeld);
        QFETCH(bool, errorAnswer);
        QFETCH(int, restarts);
        QCoreApplication::setApplicationName(appName);
        ServicePeer peer;
        KLumoIpcLoginCache login;
        login.isLogined = login.isRoamingOpen = true;
        login.userId = QStringLiteral("u7");
        login.token = QStringLiteral("secret");
        KCompanyInfoCache company;
        company.companyName = QStringLiteral("Acme");
        peer.answer = KLumoLoginInfo::encode(login, company);
        QVERIFY(peer.listen(KLumoPaths::localServerName()));
        KLumoIpcProxy proxy;
        int started = 0;
        proxy.setServiceStarter([&] { ++started; });
        QSignalSpy status(&proxy, &KLumoIpcProxy::notifyLoginStatusChange);
        const auto exist = existHeld ? holdLock(ExistLock) : nullptr;
        {
            const auto service = holdLock(LoginStatusLock);
            QVERIFY(service);
            QTRY_VERIFY(proxy.loginCache().isLogined);
            QCOMPARE(peer.lastCall, QStringList({"getLoginInfo", appName}));
            QCOMPARE(proxy.loginCache(), login);
            QCOMPARE(proxy.companyCache(), company);
            QCOMPARE(proxy.responseLoginInfo(), peer.answer);
            QVERIFY(proxy.userDataPath().endsWith(QStringLiteral("/userdata/u7")));
            // The last login outlives the host, without the token.
            QCOMPARE(KLumoLoginInfo::loadLastLogin().userId, QStringLiteral("u7"));
            QFile store(KLumoCommonSettings::fileName());
            QVERIFY(store.open(QIODevice::ReadOnly));
            QVERIFY(!store.readAll().contains("secret"));
            QTest::ignoreMessage(QtInfoMsg, FastOn); // the login went: fast polling
            if (errorAnswer) {
                peer.answer = {{QStringLiteral("error"), QStringLiteral("waitReadError")}};
                QTest::ignoreMessage(QtInfoMsg, "Failure on getLoginInfo");
                proxy.on_accountUpdateInfo();
                QTRY_VERIFY(!proxy.loginCache().isLogined);
            }
        }
        const int before = status.count();
        QTRY_VERIFY(!proxy.loginCache().isLogined);
        QVERIFY(status.count() > before || errorAnswer);
        QVERIFY(proxy.userDataPath().endsWith(QStringLiteral("/userdata/AllUsers")));
        QCOMPARE(started, restarts);
        QTRY_VERIFY(!KLumoIpcProxy::fastConnectMode());
        QTRY_COMPARE(proxy.currentPollInterval(), 50);
    }
};

LUMO_TEST_MAIN(TestKLumoIpcProxy)
#include "tst_klumoipcproxy.moc"
