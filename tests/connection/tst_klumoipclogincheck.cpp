#include "connection/klumoipclogincheck.h"
#include "lockhelperclient.h"
#include "lumotestenv.h"
#include "support/klumocommonsettings.h"
#include "support/klumopaths.h"

#include <QSettings>
#include <QTest>
#include <QThreadPool>

#include <atomic>

using namespace ofx::lumo;
using namespace lumotest;
using StringMap = QMap<QString, QString>;

namespace {
std::atomic<int> g_launches {0}; // counted from the launcher's log line, on a pool thread
QtMessageHandler g_previous = nullptr;
} // namespace

// The login check and the service-process rules it applies: the start policy
// ("autologin"), the launcher, and the restart rule with its lock and spacing.
class TestKLumoIpcLoginCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // A stand-in service; how it starts is the whole-system tests' business.
        QVERIFY(QDir().mkpath(QDir::tempPath() + QStringLiteral("/suite")));
        QVERIFY(QFile::link(QStringLiteral("/bin/true"), QDir::tempPath() + "/suite/ofxcloudsvr"));
        qputenv(KLumoPaths::SuiteDirVariable, QFile::encodeName(QDir::tempPath() + "/suite"));
        g_previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                g_launches += text.startsWith(QLatin1String("KLumoIpcLauncher::run "));
                g_previous(type, context, text);
            });
    }

    void checkAutoLogin_data()
    {
        QTest::addColumn<QString>("autologin"); // null: no config.ini
        QTest::addColumn<QString>("heldLock"); // held by another process
        QTest::addColumn<QString>("outcome");
        QTest::addRow("no file") << QString() << QString() << "false";
        QTest::addRow("not configured") << "0" << QString() << "false";
        QTest::addRow("configured") << "1" << QString() << "true, started";
        QTest::addRow("any other word") << "no" << QString() << "true, started";
        QTest::addRow("configured, running") << "1" << MainLock << "true";
        QTest::addRow("logged in") << "0" << LoginStatusLock << "true";
    }
    void checkAutoLogin()
    {
        QFETCH(QString, autologin);
        QFETCH(QString, heldLock);
        QFETCH(QString, outcome);
        QFile::remove(serviceConfigPath());
        if (!autologin.isNull())
            QSettings(serviceConfigPath(), QSettings::IniFormat).setValue("autologin", autologin);
        const std::unique_ptr<LockHelper> holder(
            heldLock.isEmpty() ? nullptr
                               : new LockHelper({"fcntl", lockPath(qPrintable(heldLock))}));
        QVERIFY(!holder || holder->firstLine() == QLatin1String("locked"));
        g_launches = 0;
        QString seen = KLumoIpcLoginCheck(nullptr, nullptr).checkAutoLogin() ? "true" : "false";
        QVERIFY(QThreadPool::globalInstance()->waitForDone(5000));
        if (g_launches)
            seen += QStringLiteral(", started");
        QCOMPARE(seen, outcome);
    }

    // The socket came up but nobody logged in within the delay: the check asks.
    void asksWhenAutoLoginDidNotHappen_data()
    {
        QTest::addColumn<int>("autologin");
        QTest::addColumn<bool>("loginArrives");
        QTest::addColumn<int>("asks");
        QTest::addRow("autologin, no login") << 1 << false << 1;
        QTest::addRow("autologin, login in time") << 1 << true << 0;
        QTest::addRow("no autologin") << 0 << false << 0;
    }
    void asksWhenAutoLoginDidNotHappen()
    {
        QFETCH(int, autologin);
        QFETCH(bool, loginArrives);
        QFETCH(int, asks);
        QSettings(serviceConfigPath(), QSettings::IniFormat).setValue("autologin", autologin);
        int requests = 0;
        KLumoIpcLoginCheck check([&] { ++requests; }, nullptr);
        check.setCheckDelay(20);
        check.setSocketConnected();
        if (loginArrives)
            check.setLogined(true);
        bool past = false; // a timer started later with a longer delay fires after the check's
        QTimer::singleShot(60, this, [&] { past = true; });
        QTRY_VERIFY(past);
        QCOMPARE(requests, asks);
    }

    // Only a service that does not answer is restarted: at most once per 1800 s
    // across applications (the stored time, the restart lock), and only when
    // the settings on disk allow it. The clock is injected.
    void reportsAndRestartsOnlyWhenTheServiceIsStuck_data()
    {
        QTest::addColumn<StringMap>("answer"); // empty: no answer at all
        QTest::addColumn<bool>("turnOn");
        QTest::addColumn<QString>("expected"); // result, restarts at t0, +1, +1800, +1801
        QTest::addRow("user named") << StringMap {{"userId", "u"}} << true << "logined";
        QTest::addRow("flag as a word") << StringMap {{"isLogined", "true"}} << true << "logined";
        QTest::addRow("login refused")
            << StringMap {{"userId", "u"}, {"isLogined", "0"}} << true << "loginFailed";
        QTest::addRow("error answer")
            << StringMap {{"error", "waitReadError"}} << true << "noResponse 1001";
        QTest::addRow("no answer") << StringMap {} << true << "noResponse 1001";
        QTest::addRow("restart turned off") << StringMap {} << false << "noResponse 0000";
    }
    void reportsAndRestartsOnlyWhenTheServiceIsStuck()
    {
        QFETCH(StringMap, answer);
        QFETCH(bool, turnOn);
        QFETCH(QString, expected);
        QSettings store(KLumoCommonSettings::fileName(), QSettings::IniFormat);
        store.setValue("RestartLumoTurnOn", turnOn);
        store.setValue("RestartLumoTime", 0);
        store.sync();
        QStringList results;
        QString restarted, probe;
        KLumoIpcLoginCheck check(nullptr, [&](const QString &, const StringMap &event) {
            results << event.value(QStringLiteral("result"));
            restarted += event.value(QStringLiteral("restarted"));
        });
        check.setServiceStarter([&] {
            probe = LockHelper({"probe", lockPath(RestartLock)}).firstLine();
        });
        const qint64 t0 = 1700000000;
        for (qint64 now : {t0, t0 + 1, t0 + 1800, t0 + 1801}) {
            check.setClock([now] { return now; });
            check.on_getLoginInfo(!answer.isEmpty(), QStringLiteral("id"), KRpcResponse(answer));
        }
        QCOMPARE(results.count(results.value(0)), 4);
        QCOMPARE((QStringList {results.value(0), restarted}).join(' ').trimmed(), expected);
        const bool any = restarted.contains('1');
        QCOMPARE(probe, QLatin1String(any ? "held" : "")); // the restart lock is ours meanwhile
        store.sync();
        QCOMPARE(store.value("RestartLumoTime").toLongLong(), any ? t0 + 1801 : 0);
        store.setValue("RestartLumoTurnOn", true);
    }
};

LUMO_TEST_MAIN(TestKLumoIpcLoginCheck)
#include "tst_klumoipclogincheck.moc"
