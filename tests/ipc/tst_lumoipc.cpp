#include "connection/klumoipclogincheck.h"
#include "connection/klumoipcproxy.h"
#include "connection/klumologininfo.h"
#include "dispatch/klumoipchandler_p.h"
#include "framedpeer.h"
#include "ipc/klumoipc_p.h"
#include "ipc/lumoipc.h"
#include "lumotestenv.h"
#include "support/kfileversioninfo.h"
#include "support/klumocommonsettings.h"
#include "support/klumometatypes.h"
#include "support/klumopaths.h"
#include "support/klumoqueuedcall.h"

#include <QSettings>
#include <QTest>

#include <thrift/TOutput.h>

using namespace ofx::lumo;

// The host's side: its event sink (found through an application property) and a result slot.
class Host : public QObject
{
    Q_OBJECT
public:
    QStringList events;
    int results = 0;
    QStringList ids; // of every result, in order
    KRpcResponse last;
    Q_INVOKABLE void postEventMethod(const QString &name, const QVariantMap &map)
    {
        events << name + ' ' + map.value(QStringLiteral("result")).toString();
    }
public Q_SLOTS:
    void onResult(bool ok, const QString &id, const KRpcResponse &res)
    {
        ++results;
        ids << id;
        last = ok ? KRpcResponse() : res;
    }
};

class TestLumoIpc : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        // A stand-in service that records how it was started.
        QVERIFY(QDir().mkpath(QDir::tempPath() + QStringLiteral("/suite")));
        const QString exe = QDir::tempPath() + QStringLiteral("/suite/ofxcloudsvr");
        QVERIFY(lumotest::writeFile(exe, "#!/bin/sh\necho \"$*\" >> \"$0.log\"\n"));
        QVERIFY(QFile::setPermissions(exe, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        qputenv(KLumoPaths::SuiteDirVariable, QFile::encodeName(QDir::tempPath() + "/suite"));
    }
    void cleanup() { LumoIpcFree(); }

    // Every exported function is safe without the library object and then
    // gives its neutral value; init makes one object, free ends it.
    void neutralBeforeInitAndAfterFree()
    {
        for (int life = 0; life < 2; ++life) {
            QVERIFY(!LumoIpcEventObject());
            QVERIFY(LumoIpcAsynCall("getLoginInfo", {}, this, "onResult").isEmpty());
            QVERIFY(LumoIpcAsynCallEx("remove", QGenericArgument(), this, "onResult").isEmpty());
            QVERIFY(!LumoIpcCancelCall(QString(32, '0')));
            QVERIFY(!LumoIpcCheckAutoLogin());
            QVERIFY(!LumoIpcLoginCache().isLogined);
            QVERIFY(LumoIpcLastLoginCache().userId.isEmpty());
            QVERIFY(LumoIpcCompanyCache().companyName.isEmpty());
            QVERIFY(LumoIpcResponseLoginInfo().isEmpty());
            QVERIFY(!LumoIpcCheckLumoLogined());
            LumoIpcStartLumoProcess("neutral"); // starts nothing (see startLumoProcess)
            QVERIFY(LumoIpcInit(life));
            QObject *ipc = LumoIpcEventObject();
            QVERIFY(qobject_cast<KLumoIpc *>(ipc));
            QVERIFY(LumoIpcInit(!life));
            QCOMPARE(LumoIpcEventObject(), ipc);
            QVERIFY(LumoIpcCancelCall(QString(32, '0'))); // queued
            LumoIpcFree();
            LumoIpcFree();
        }
    }

    // Teardown unregisters the meta types; the next life registers them again
    // and queued deliveries of the records still work.
    void initCallFreeManyTimes()
    {
        Host host;
        for (int i = 0; i < 100; ++i) {
            QVERIFY(LumoIpcInit(false));
            QCOMPARE(LumoIpcAsynCall("getLoginInfo", {}, &host, "onResult").size(), 32);
            QTRY_COMPARE(host.results, i + 1);
            QCOMPARE(host.last.error(), QStringLiteral("connectError")); // no service
            KLumoIpcLoginCache login;
            login.isLogined = true;
            QVERIFY(QMetaObject::invokeMethod(
                KLumoIpcPrivate::get(KLumoIpcPrivate::instance())->proxy, "on_accountLogined",
                Qt::QueuedConnection, Q_ARG(KLumoIpcLoginCache, login),
                Q_ARG(KCompanyInfoCache, KCompanyInfoCache())));
            QTRY_VERIFY(LumoIpcCheckLumoLogined());
            if (i == 0) { // Thrift's own complaints reach the library's log
                QTest::ignoreMessage(QtWarningMsg, "thrift probe");
                apache::thrift::GlobalOutput("thrift probe");
            }
            LumoIpcFree();
            QVERIFY(KLumoMetaTypes::ids().isEmpty());
        }
    }

    // Freed with 2,000 calls queued (behind a slot that runs until the worker is
    // told to stop, when a service listens): no queued call leaves; what has not
    // reached the host by then never does, also after the next init; none ends twice.
    void freeWithCallsQueued_data()
    {
        QTest::addColumn<bool>("service");
        QTest::addRow("no service: each call fails at once") << false;
        QTest::addRow("a service, the worker busy") << true;
    }
    void freeWithCallsQueued()
    {
        QFETCH(bool, service);
        Host host;
        auto peer = std::make_unique<lumotest::FramedPeer>();
        QVERIFY(LumoIpcInit(false));
        KLumoIpcProxy *proxy = KLumoIpcPrivate::get(KLumoIpcPrivate::instance())->proxy;
        if (service) {
            QSignalSpy up(LumoIpcEventObject(), SIGNAL(SocketConnected()));
            QVERIFY(peer->listen(proxy->serverName()));
            proxy->on_delayCheckStatus(); // connects now
            QVERIFY(up.wait());
            KLumoQueuedCall::post(ofx::lumoipc::KLumoIpcHandlerPrivate::get(proxy->dispatcher()),
                                  [] {
                                      while (!QThread::currentThread()->isInterruptionRequested())
                                          QThread::msleep(1);
                                  });
        }
        QStringList sent;
        for (int i = 0; i < 2000; ++i)
            sent << LumoIpcAsynCall("getLoginInfo", {}, &host, "onResult");
        QTRY_VERIFY(service || host.results > 0);
        LumoIpcFree();
        const QStringList beforeFree = host.ids;
        QTRY_VERIFY(!service || peer->client()->state() == QLocalSocket::UnconnectedState);
        QCOMPARE(peer->frameCount(), 0);
        peer.reset();
        QVERIFY(LumoIpcInit(false));
        const QString probe = LumoIpcAsynCall("getLoginInfo", {}, &host, "onResult");
        QTRY_VERIFY(host.ids.contains(probe)); // behind anything queued before it
        QCOMPARE(host.ids, beforeFree + QStringList {probe});
        QCOMPARE(QSet<QString>(beforeFree.begin(), beforeFree.end()).size(), beforeFree.size());
        QVERIFY(sent.mid(0, beforeFree.size()) == beforeFree);
    }

    // The login check reports to the host's event sink; the login state reaches
    // the check, and the last login outlives the library object.
    void eventSinkAndLoginCheck()
    {
        Host host;
        QCoreApplication::instance()->setProperty("__nvolite_kdcinfoc__",
                                                  QVariant::fromValue<QObject *>(&host));
        QVERIFY(LumoIpcInit(false));
        KLumoIpcPrivate *ipc = KLumoIpcPrivate::get(KLumoIpcPrivate::instance());
        KLumoCommonSettings().setRestartTurnOn(false);
        ipc->requestLoginInfoForCheck(); // no service: "connectError" at once
        QTRY_COMPARE(host.events, QStringList {"lumoipc_login_check noResponse"});
        KLumoCommonSettings().setRestartTurnOn(true);
        KLumoIpcLoginCache login;
        login.isLogined = true;
        login.userId = QStringLiteral("u9");
        ipc->proxy->on_accountLogined(login, KCompanyInfoCache());
        QVERIFY(ipc->loginCheck->isLogined());
        QVERIFY(LumoIpcCheckLumoLogined());
        QCOMPARE(LumoIpcLoginCache().userId, QStringLiteral("u9"));
        LumoIpcFree();
        QVERIFY(LumoIpcInit(false));
        QCOMPARE(LumoIpcLastLoginCache().userId, QStringLiteral("u9"));
        QCoreApplication::instance()->setProperty("__nvolite_kdcinfoc__", QVariant());
    }

    void isNeedAutoLogin()
    {
        QFile::remove(lumotest::serviceConfigPath());
        KLumoLoginInfo::saveLastLogin(KLumoIpcLoginCache());
        QVERIFY(!LumoIpcIsNeedAutoLogin());
        KLumoIpcLoginCache last;
        last.userId = QStringLiteral("u1");
        KLumoLoginInfo::saveLastLogin(last);
        QVERIFY(LumoIpcIsNeedAutoLogin()); // no config.ini: a stored login decides
        QSettings(lumotest::serviceConfigPath(), QSettings::IniFormat).setValue("autologin", 0);
        QVERIFY(!LumoIpcIsNeedAutoLogin()); // config.ini decides when it exists
    }

    // Nothing was started before (the neutral test); now the service starts
    // with the fixed head and "autologin" or the given words.
    void startLumoProcess()
    {
        const auto record = [] {
            return QString::fromLocal8Bit(
                lumotest::readFile(QDir::tempPath() + "/suite/ofxcloudsvr.log"));
        };
        QVERIFY(LumoIpcInit(false));
        LumoIpcStartLumoProcess(QString());
        const QString head = QStringLiteral("/lumodesk /start_from=lumoipc ");
        QTRY_COMPARE(record(), head + "autologin\n");
        LumoIpcStartLumoProcess(QStringLiteral("restart now"));
        QTRY_COMPARE(record(), head + "autologin\n" + head + "restart now\n");
    }

    void fileVersionOfTheSharedLibrary()
    {
        const KFileVersionInfo info(QStringLiteral(LUMOIPC_SO));
        QVERIFY(info.isValid());
        QCOMPARE(info.version(), KFileVersionInfo::libraryVersion());
    }
};

LUMO_TEST_MAIN(TestLumoIpc)
#include "tst_lumoipc.moc"
