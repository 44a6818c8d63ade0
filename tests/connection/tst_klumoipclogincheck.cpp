#include <sys/stat.h> // before lumotestenv.h, which uses chmod

#include "connection/klumoipclogincheck.h"
#include "connection/klumologininfo.h"
#include "lumotestenv.h"
#include "support/klumocommonsettings.h"
#include "support/klumoofxcloudsettings.h"

#include <QtTest>

using namespace ofx::lumo;
using StringMap = QMap<QString, QString>;

// The login records and their one key table, and the login health check.
class TestKLumoIpcLoginCheck : public QObject
{
    Q_OBJECT

    static void writeAutoLogin(bool on)
    {
        const QString path = KLumoOFXCloudSettings::configPath();
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(on ? "[General]\nautologin=1\n" : "[General]\nautologin=0\n;\n");
    }

private Q_SLOTS:
    void decode_data()
    {
        QTest::addColumn<StringMap>("map");
        QTest::addColumn<bool>("answered");
        QTest::addColumn<bool>("logined");
        QTest::addColumn<QString>("userId");
        QTest::addRow("error answer")
            << StringMap {{"error", "waitReadError"}, {"userId", "u"}} << false << false << "";
        QTest::addRow("empty answer") << StringMap {} << true << false << "";
        QTest::addRow("user without flag") << StringMap {{"userId", "u1"}} << true << true << "u1";
        QTest::addRow("flag says no")
            << StringMap {{"userId", "u1"}, {"isLogined", "0"}} << true << false << "u1";
        QTest::addRow("flag as word") << StringMap {{"isLogined", "true"}} << true << true << "";
    }
    void decode()
    {
        QFETCH(StringMap, map);
        QFETCH(bool, answered);
        QFETCH(bool, logined);
        QFETCH(QString, userId);
        KLumoIpcLoginCache login;
        login.userName = QStringLiteral("stale");
        KCompanyInfoCache company;
        company.plan = QStringLiteral("stale");
        QCOMPARE(KLumoLoginInfo::decode(map, login, company), answered);
        QCOMPARE(login.isLogined, logined);
        QCOMPARE(login.userId, userId);
        QVERIFY(login.userName.isEmpty());
        QVERIFY(company.plan.isEmpty());
    }

    void encodeDecodeRoundTrip()
    {
        KLumoIpcLoginCache login;
        login.isLogined = true;
        login.isVip = true;
        login.userId = QStringLiteral("u1");
        login.localSyncFolder = QStringLiteral("/home/u/OFX Cloud");
        login.token = QStringLiteral("t");
        KCompanyInfoCache company;
        company.companyId = QStringLiteral("c");
        company.departmentName = QStringLiteral("d");
        const StringMap map = KLumoLoginInfo::encode(login, company);
        QCOMPARE(map.value(QStringLiteral("companyDepartmentName")), QStringLiteral("d"));
        KLumoIpcLoginCache login2;
        KCompanyInfoCache company2;
        QVERIFY(KLumoLoginInfo::decode(map, login2, company2));
        QCOMPARE(login2, login);
        QCOMPARE(company2, company);
    }

    void lastLoginPersistsWithoutToken()
    {
        KLumoIpcLoginCache login;
        login.isLogined = true;
        login.userId = QStringLiteral("u5");
        login.isRoamingOpen = true;
        login.token = QStringLiteral("secret");
        KLumoLoginInfo::saveLastLogin(login);
        const KLumoIpcLoginCache last = KLumoLoginInfo::loadLastLogin();
        QCOMPARE(last.userId, QStringLiteral("u5"));
        QVERIFY(last.isRoamingOpen);
        QVERIFY(last.token.isEmpty());
        QFile f(KLumoCommonSettings::fileName());
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(!f.readAll().contains("secret"));
        QVERIFY(KLumoIpcLoginCheck::hasStoredCredential());
    }

    // The socket came up but nobody logged in within the delay: the check asks.
    void asksWhenAutoLoginDidNotHappen_data()
    {
        QTest::addColumn<bool>("autologin");
        QTest::addColumn<bool>("loginArrives");
        QTest::addColumn<bool>("asks");
        QTest::addRow("autologin, no login") << true << false << true;
        QTest::addRow("autologin, login in time") << true << true << false;
        QTest::addRow("no autologin") << false << false << false;
    }
    void asksWhenAutoLoginDidNotHappen()
    {
        QFETCH(bool, autologin);
        QFETCH(bool, loginArrives);
        QFETCH(bool, asks);
        writeAutoLogin(autologin);
        int requests = 0;
        KLumoIpcLoginCheck check([&] { ++requests; }, nullptr);
        check.setCheckDelay(50);
        check.setSocketConnected();
        QVERIFY(check.isSocketConnected());
        if (loginArrives)
            check.setLogined(true);
        QTest::qWait(150);
        QCOMPARE(requests, asks ? 1 : 0);
    }

    void reportsAndRestartsOnlyWhenTheServiceIsStuck_data()
    {
        QTest::addColumn<bool>("ok");
        QTest::addColumn<StringMap>("answer");
        QTest::addColumn<QString>("result");
        QTest::addColumn<int>("restarts");
        QTest::addRow("logged in after all")
            << true << StringMap {{"userId", "u"}} << "logined" << 0;
        QTest::addRow("login refused")
            << true << StringMap {{"isLogined", "0"}} << "loginFailed" << 0;
        QTest::addRow("no answer")
            << false << StringMap {{"error", "waitReadError"}} << "noResponse" << 1;
    }
    void reportsAndRestartsOnlyWhenTheServiceIsStuck()
    {
        QFETCH(bool, ok);
        QFETCH(StringMap, answer);
        QFETCH(QString, result);
        QFETCH(int, restarts);
        KLumoCommonSettings().setRestartTime(0);
        QStringList events;
        StringMap last;
        KLumoIpcLoginCheck check(nullptr, [&](const QString &name, const StringMap &v) {
            events << name;
            last = v;
        });
        int started = 0;
        check.setServiceStarter([&] { ++started; });
        check.setClock([] { return qint64(1700000000); });
        check.on_getLoginInfo(ok, QStringLiteral("id"), KRpcResponse(answer));
        QCOMPARE(events, QStringList {QString::fromLatin1(KLumoIpcLoginCheck::EventName)});
        QCOMPARE(last.value(QStringLiteral("result")), result);
        QCOMPARE(started, restarts);
        // A second stuck answer right after does not restart again (1800 s spacing).
        check.on_getLoginInfo(ok, QStringLiteral("id"), KRpcResponse(answer));
        QCOMPARE(started, restarts);
    }
};

LUMO_TEST_MAIN(TestKLumoIpcLoginCheck)
#include "tst_klumoipclogincheck.moc"
