#include <sys/stat.h> // before lumotestenv.h, which uses chmod

#include "connection/klumoipclogincheck.h"
#include "connection/klumoipcproxy.h"
#include "connection/klumologininfo.h"
#include "ipc/klumoipc.h"
#include "ipc/lumoipc.h"
#include "lumotestenv.h"
#include "support/kfileversioninfo.h"
#include "support/klumocommonsettings.h"
#include "support/klumometatypes.h"
#include "support/klumopaths.h"

#include <QtTest>

using namespace ofx::lumo;

namespace {

// The host's event sink, found through the application property.
class EventSink : public QObject
{
    Q_OBJECT
public:
    QStringList names;
    QList<QVariantMap> maps;
    Q_INVOKABLE void postEventMethod(const QString &name, const QVariantMap &map)
    {
        names << name;
        maps << map;
    }
};

class Receiver : public QObject
{
    Q_OBJECT
public:
    int calls = 0;
    bool ok = true;
    KRpcResponse last;
public Q_SLOTS:
    void onResult(bool bOk, const QString &, const KRpcResponse &res)
    {
        ++calls;
        ok = bOk;
        last = res;
    }
};

} // namespace

class TestLumoIpc : public QObject
{
    Q_OBJECT

    void checkNeutral()
    {
        QVERIFY(!LumoIpcEventObject());
        QVERIFY(LumoIpcAsynCall(QStringLiteral("getLoginInfo"), {}, this, QStringLiteral("x"))
                    .isEmpty());
        QVERIFY(LumoIpcAsynCallEx(QStringLiteral("remove"), QGenericArgument(), this,
                                  QStringLiteral("x"))
                    .isEmpty());
        QVERIFY(!LumoIpcCancelCall(QStringLiteral("0123")));
        QVERIFY(!LumoIpcCheckAutoLogin());
        QVERIFY(!LumoIpcLoginCache().isLogined);
        QVERIFY(LumoIpcLastLoginCache().userId.isEmpty());
        QVERIFY(LumoIpcCompanyCache().companyName.isEmpty());
        QVERIFY(LumoIpcResponseLoginInfo().isEmpty());
        QVERIFY(!LumoIpcCheckLumoLogined());
        QVERIFY(!LumoIpcCheckLumoRunning());
        // The static records are the same object each time.
        QCOMPARE(&LumoIpcLoginCache(), &LumoIpcLoginCache());
        LumoIpcStartLumoProcess(QStringLiteral("x")); // nothing: no library object
        QThreadPool::globalInstance()->waitForDone(1000);
        QVERIFY(!QFile::exists(QDir::tempPath() + QStringLiteral("/cmdline.txt")));
    }

private Q_SLOTS:
    void initTestCase()
    {
        KLumoIpcProxy::setPollIntervals(100000, 100000);
        // A stand-in service that records how it was started.
        const QString suite = QDir::tempPath() + QStringLiteral("/suite");
        QVERIFY(QDir().mkpath(suite));
        QFile exe(suite + QStringLiteral("/ofxcloudsvr"));
        QVERIFY(exe.open(QIODevice::WriteOnly));
        exe.write("#!/bin/sh\necho \"$*\" > \"$(dirname \"$0\")/../cmdline.tmp\"\n"
                  "mv \"$(dirname \"$0\")/../cmdline.tmp\" \"$(dirname \"$0\")/../cmdline.txt\"\n");
        exe.close();
        QVERIFY(exe.setPermissions(exe.permissions() | QFile::ExeOwner));
        qputenv(KLumoPaths::SuiteDirVariable, suite.toLocal8Bit());
    }
    void cleanup()
    {
        LumoIpcFree();
        QFile::remove(QDir::tempPath() + QStringLiteral("/cmdline.txt"));
    }

    void neutralBeforeInitAndAfterFree()
    {
        checkNeutral();
        QVERIFY(LumoIpcInit(false));
        QVERIFY(LumoIpcEventObject());
        QVERIFY(LumoIpcCancelCall(QStringLiteral("00000000000000000000000000000000"))); // queued
        LumoIpcFree();
        checkNeutral();
        LumoIpcFree(); // twice is harmless
        checkNeutral();
    }

    void initTwiceMakesOneObject_data()
    {
        QTest::addColumn<bool>("flag");
        QTest::addRow("false") << false;
        QTest::addRow("true") << true;
    }
    void initTwiceMakesOneObject()
    {
        QFETCH(bool, flag);
        QVERIFY(LumoIpcInit(flag));
        QObject *first = LumoIpcEventObject();
        QVERIFY(qobject_cast<KLumoIpc *>(first));
        QVERIFY(LumoIpcInit(!flag));
        QCOMPARE(LumoIpcEventObject(), first);
        auto *ipc = KLumoIpc::instance();
        QVERIFY(ipc->loginCheck()); // created by init
        QCOMPARE(&LumoIpcLoginCache(), &ipc->proxy()->loginCache());
        QCOMPARE(&LumoIpcCompanyCache(), &ipc->proxy()->companyCache());
        QCOMPARE(&LumoIpcLastLoginCache(), &ipc->proxy()->lastLoginCache());
        QCOMPARE(&LumoIpcResponseLoginInfo(), &ipc->proxy()->responseLoginInfo());
    }

    void signalsOfTheSingleton()
    {
        // What a host connects to, in this order, and nothing else.
        const QStringList expected {
            "LoginStatusChange()",
            "SocketConnected()",
            "SocketDisConnected()",
            "signal_roamingChange(QString)",
            "signal_roamingImportChange(QString)",
            "signal_vipInfoChanged(QVariant)",
            "signal_broadcast(QString)",
            "signal_broadcastEx(QVariant)",
            "signal_notify(QString)",
            "signal_notifyRecentFileListChanged()",
            "signal_notifyRecentFileStateChanged(QVector<ofx::lumo::CloudItem>)",
            "signal_notifyRecentFileItemsChanged(NotifyRecentFileChangeArg)",
            "signal_notifyRecentFileItemsFetched(NotifyRecentFileFetchArg)",
            "signal_notifyNewMsgList(QStringList)",
            "signal_notifyMsgStatusChanged(NotifyMsgStatusChangedArg)",
            "signal_notifyClearMsgNotification(NotifyClearMsgNotificationArg)",
            "signal_notifyActionsMapDefault(QMap<QString,QString>)",
            "signal_notifyActionsMapForShareFile(QMap<QString,QString>)",
            "signal_notifyFileAction(NotifyFileActionArg)",
            "signal_notifyFileCreation(NotifyFileCreationArg)",
            "signal_notifyFileStateChanged(NotifyFileStateListArg)",
            "signal_notifyLoadFavoriteItemsChanged(NotifyLoadFavoriteArg)",
            "signal_notifyFilePropertyChanged(NotifyFilePropertyArg)",
            "signal_notifyActionsMapForReadMessage(QMap<QString,QString>)",
            "signal_notifyActionsMapForCooperate(QMap<QString,QString>)",
            "signal_notifyShareDiscussion(QMap<QString,QString>)",
            "signal_docCollaborativeStatus(QString,bool,uint)",
            "signal_notifyCloudDocOpening(bool)",
            "signal_notifyRecycleBinClear()",
            "signal_notifyGroupCreation(NotifyGroupCreationArg)",
            "signal_notifyGroupPropertyChanged(NotifyGroupPropertyArg)",
            "signal_notifyGroupDeletion(NotifyGroupDeletionArg)",
            "signal_notifyCompanyCreation(NotifyCompanyCreationArg)",
            "signal_notifyCompanyPropertyChanged(NotifyCompanyPropertyArg)",
            "signal_notifyCompanyDeletion(NotifyCompanyDeletionArg)",
            "signal_notifyRecycleBinChanged(NotifyRecycleBinArg)",
            "signal_notifyUserThumbnail(NotifyUserThumbnailArg)",
            "signal_notifyCloudEventsChanged(NotifyCloudEventsArg)",
            "signal_notifyItemReminderChanged(NotifyItemReminderChangedArg)",
            "signal_notifyBrowserFolder(NotifyBroswerFolderArg)",
            "signal_notifyGetCloudEventsPath(NotifyGetCloudEventsPathArg)",
            "signal_notifyRoamingFileTransferFinished(NotifyFileTransferArg)",
            "signal_notifyDocTeamV2(NotifyDocTeamV2Arg)",
            "signal_notifyFileBatchAction(NotifyFileBatchActionArg)",
            "signal_notifyRecommendUpdate(NotifyRecommendUpdateArg)"};
        const QMetaObject &mo = KLumoIpc::staticMetaObject;
        QStringList actual;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            if (mo.method(i).methodType() == QMetaMethod::Signal)
                actual << QString::fromLatin1(mo.method(i).methodSignature());
        }
        QCOMPARE(actual, expected);
    }

    // Each proxy signal comes out of the singleton, renamed where the names differ.
    void proxySignalsComeOutOfTheSingleton_data()
    {
        QTest::addColumn<QByteArray>("proxySignal");
        QTest::addColumn<QByteArray>("ipcSignal");
        QTest::addRow("recent list") << QByteArray("signal_recentFileListChanged()")
                                     << QByteArray("signal_notifyRecentFileListChanged()");
        QTest::addRow("new messages") << QByteArray("signal_newMsgList(QStringList)")
                                      << QByteArray("signal_notifyNewMsgList(QStringList)");
        QTest::addRow("socket down")
            << QByteArray("notifySocketDisConnected()") << QByteArray("SocketDisConnected()");
        QTest::addRow("login status")
            << QByteArray("notifyLoginStatusChange()") << QByteArray("LoginStatusChange()");
        QTest::addRow("socket up")
            << QByteArray("notifySocketConnected()") << QByteArray("SocketConnected()");
        QTest::addRow("broadcastEx") << QByteArray("signal_broadcastEx(QVariant)")
                                     << QByteArray("signal_broadcastEx(QVariant)");
        QTest::addRow("doc team") << QByteArray("signal_notifyDocTeamV2(NotifyDocTeamV2Arg)")
                                  << QByteArray("signal_notifyDocTeamV2(NotifyDocTeamV2Arg)");
    }
    void proxySignalsComeOutOfTheSingleton()
    {
        QFETCH(QByteArray, proxySignal);
        QFETCH(QByteArray, ipcSignal);
        QVERIFY(LumoIpcInit(false));
        KLumoIpc *ipc = KLumoIpc::instance();
        QSignalSpy spy(ipc, QByteArray("2" + ipcSignal).constData());
        QVERIFY(spy.isValid());
        const QMetaObject &mo = KLumoIpcProxy::staticMetaObject;
        const QMetaMethod method = mo.method(mo.indexOfSignal(proxySignal.constData()));
        QVERIFY(method.isValid());
        // Emit with default-constructed arguments.
        QVector<QVariant> values;
        QGenericArgument args[3];
        for (int i = 0; i < method.parameterCount(); ++i)
            values << QVariant(method.parameterType(i), nullptr);
        for (int i = 0; i < values.size(); ++i)
            args[i] = QGenericArgument(values[i].typeName(), values[i].constData());
        QVERIFY(method.invoke(ipc->proxy(), Qt::DirectConnection, args[0], args[1], args[2]));
        QCOMPARE(spy.count(), 1);
    }

    void requestAndPostEventGoThroughTheLoginCheck()
    {
        EventSink sink;
        QCoreApplication::instance()->setProperty("__nvolite_kdcinfoc__",
                                                  QVariant::fromValue<QObject *>(&sink));
        QVERIFY(LumoIpcInit(false));
        KLumoIpc *ipc = KLumoIpc::instance();
        KLumoIpcLoginCheck *check = ipc->loginCheck();
        // No service: the generic route fails at once ("connectError") and the
        // check reports it (the restart is not due: turned off for the test).
        KLumoCommonSettings().setRestartTurnOn(false);
        ipc->requestLoginInfoForCheck();
        QTRY_COMPARE(sink.names.size(), 1);
        QCOMPARE(sink.names.at(0), QString::fromLatin1(KLumoIpcLoginCheck::EventName));
        QCOMPARE(sink.maps.at(0).value(QStringLiteral("result")).toString(),
                 QStringLiteral("noResponse"));
        QCOMPARE(sink.maps.at(0).value(QStringLiteral("error")).toString(),
                 QStringLiteral("connectError"));
        QCOMPARE(sink.maps.at(0).value(QStringLiteral("restarted")).type(), QVariant::String);
        KLumoCommonSettings().setRestartTurnOn(true);
        // The login state reaches the check through the singleton.
        KLumoIpcLoginCache login;
        login.isLogined = true;
        login.userId = QStringLiteral("u9");
        ipc->proxy()->on_accountLogined(login, KCompanyInfoCache());
        QVERIFY(check->isLogined());
        QVERIFY(LumoIpcCheckLumoLogined());
        QCOMPARE(LumoIpcLoginCache().userId, QStringLiteral("u9"));
        LumoIpcFree();
        // The last login outlives the library object.
        QVERIFY(LumoIpcInit(false));
        QCOMPARE(LumoIpcLastLoginCache().userId, QStringLiteral("u9"));
        QVERIFY(!LumoIpcLoginCache().isLogined);
        QCoreApplication::instance()->setProperty("__nvolite_kdcinfoc__", QVariant());
    }

    void isNeedAutoLogin()
    {
        const QString config = QDir::homePath()
            + QStringLiteral("/.local/share/nordvale/OFX Cloud Files/userdata/lumo/config.ini");
        QFile::remove(config);
        KLumoLoginInfo::saveLastLogin(KLumoIpcLoginCache());
        QVERIFY(!LumoIpcIsNeedAutoLogin());
        KLumoIpcLoginCache last;
        last.userId = QStringLiteral("u1");
        KLumoLoginInfo::saveLastLogin(last);
        QVERIFY(LumoIpcIsNeedAutoLogin()); // the stored credential decides
        QVERIFY(QDir().mkpath(QFileInfo(config).path()));
        QFile f(config);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("[General]\nautologin=0\n");
        f.close();
        QVERIFY(!LumoIpcIsNeedAutoLogin()); // the file decides when it exists
    }

    void startLumoProcess_data()
    {
        QTest::addColumn<QString>("param");
        QTest::addColumn<QString>("received");
        QTest::addRow("empty") << QString() << "/lumodesk /start_from=lumoipc autologin";
        QTest::addRow("given") << "restart"
                               << "/lumodesk /start_from=lumoipc restart";
    }
    void startLumoProcess()
    {
        QFETCH(QString, param);
        QFETCH(QString, received);
        QVERIFY(LumoIpcInit(false));
        LumoIpcStartLumoProcess(param);
        QFile f(QDir::tempPath() + QStringLiteral("/cmdline.txt"));
        QTRY_VERIFY(f.exists());
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(f.readAll()).trimmed(), received);
    }

    void fileVersionOfTheSharedLibrary()
    {
        const KFileVersionInfo info(QStringLiteral(LUMOIPC_SO));
        QVERIFY(info.isValid());
        QCOMPARE(info.version(), KFileVersionInfo::libraryVersion());
        QVERIFY(!KFileVersionInfo(QDir::tempPath()).isValid());
        QVERIFY(KFileVersionInfo::libraryPath().isEmpty()); // linked statically here
    }

    // Teardown unregisters the meta types; a second life registers them again
    // and queued deliveries of the records still work.
    void initCallFreeManyTimes()
    {
        Receiver receiver;
        for (int i = 0; i < 100; ++i) {
            QVERIFY(LumoIpcInit(false));
            QVERIFY(QMetaType::type("KLumoIpcLoginCache") != QMetaType::UnknownType);
            QVERIFY(QMetaType::type("KRpcResponse") != QMetaType::UnknownType);
            const QString id = LumoIpcAsynCall(QStringLiteral("getLoginInfo"), {}, &receiver,
                                               QStringLiteral("onResult"));
            QCOMPARE(id.size(), 32);
            QTRY_COMPARE(receiver.calls, i + 1);
            QVERIFY(!receiver.ok);
            QCOMPARE(receiver.last.error(), QStringLiteral("connectError"));
            KLumoIpcLoginCache login;
            login.isLogined = true;
            QVERIFY(QMetaObject::invokeMethod(
                KLumoIpc::instance()->proxy(), "on_accountLogined", Qt::QueuedConnection,
                Q_ARG(KLumoIpcLoginCache, login), Q_ARG(KCompanyInfoCache, KCompanyInfoCache())));
            QTRY_VERIFY(LumoIpcCheckLumoLogined());
            LumoIpcFree();
            QVERIFY(KLumoMetaTypes::ids().isEmpty());
        }
    }
};

LUMO_TEST_MAIN(TestLumoIpc)
#include "tst_lumoipc.moc"
