#include <sys/stat.h> // before lumotestenv.h, which uses chmod

#include "connection/klumolockfile.h"
#include "connection/klumoserviceprocess.h"
#include "lockhelperclient.h"
#include "lumotestenv.h"
#include "support/klumocommonsettings.h"
#include "support/klumoofxcloudsettings.h"
#include "support/klumopaths.h"

#include <QSettings>
#include <QtTest>

using namespace ofx::lumo;
using lumotest::LockHelper;
using Outcome = KLumoServiceProcess::RestartOutcome;

Q_DECLARE_METATYPE(Outcome)

class TestKLumoServiceProcess : public QObject
{
    Q_OBJECT
    QString m_suiteDir;
    QString m_record;

    void writeAutoLogin(const char *value)
    {
        const QString path = KLumoOFXCloudSettings::configPath();
        QDir().mkpath(QFileInfo(path).path());
        QFile::remove(path);
        if (!value)
            return;
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        // QSettings caches a file by size and time: vary the size between rows.
        static int serial = 0;
        f.write(QByteArray(++serial, ';') + "\n[General]\n"
                + (qstrlen(value) ? QByteArray("autologin=") + value : QByteArray("other=1"))
                + "\n");
    }
    // The stand-in service was started and recorded its command line.
    QString waitForStart(int timeoutMs = 5000)
    {
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < timeoutMs) {
            QFile f(m_record);
            if (f.open(QIODevice::ReadOnly)) {
                const QByteArray line = f.readAll();
                if (line.endsWith('\n'))
                    return QString::fromUtf8(line).trimmed();
            }
            QTest::qWait(10);
        }
        return QString();
    }
    bool startedWithin(int ms)
    {
        QThreadPool::globalInstance()->waitForDone(ms);
        QTest::qWait(ms);
        return QFile::exists(m_record);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // A stand-in "ofxcloudsvr" in a suite folder with a blank in its name.
        m_suiteDir = QDir::tempPath() + QStringLiteral("/suite dir");
        m_record = QDir::tempPath() + QStringLiteral("/cmdline.txt");
        QVERIFY(QDir().mkpath(m_suiteDir));
        QFile exe(m_suiteDir + QStringLiteral("/ofxcloudsvr"));
        QVERIFY(exe.open(QIODevice::WriteOnly));
        exe.write(
            "#!/bin/sh\necho \"$0 $*\" > \"$(dirname \"$0\")/../cmdline.txt.tmp\"\n"
            "mv \"$(dirname \"$0\")/../cmdline.txt.tmp\" \"$(dirname \"$0\")/../cmdline.txt\"\n");
        exe.close();
        QVERIFY(exe.setPermissions(exe.permissions() | QFile::ExeOwner));
        qputenv(KLumoPaths::SuiteDirVariable, m_suiteDir.toLocal8Bit());
        QCOMPARE(KLumoPaths::serviceExecutablePath(), m_suiteDir + QStringLiteral("/ofxcloudsvr"));
    }
    void init()
    {
        QFile::remove(m_record);
        for (const char *key : {KLumoLockFile::MainKey, KLumoLockFile::LoginStatusKey})
            QFile::remove(KLumoLockFile::path(QLatin1String(key)));
    }

    void checkAutoLogin_data()
    {
        QTest::addColumn<QByteArray>("autologin"); // null: no file; empty: no key
        QTest::addColumn<QString>("heldKey"); // lock held by another process
        QTest::addColumn<bool>("verdict");
        QTest::addColumn<bool>("starts");
        QTest::addRow("no file") << QByteArray() << QString() << false << false;
        QTest::addRow("no key") << QByteArray("") << QString() << false << false;
        QTest::addRow("configured, not running") << QByteArray("1") << QString() << true << true;
        QTest::addRow("any other word configures")
            << QByteArray("false") << QString() << true << true;
        QTest::addRow("configured, running")
            << QByteArray("1") << QString(KLumoLockFile::MainKey) << true << false;
        QTest::addRow("not configured") << QByteArray("0") << QString() << false << false;
        QTest::addRow("logged in")
            << QByteArray("1") << QString(KLumoLockFile::LoginStatusKey) << true << false;
    }
    void checkAutoLogin()
    {
        QFETCH(QByteArray, autologin);
        QFETCH(QString, heldKey);
        QFETCH(bool, verdict);
        QFETCH(bool, starts);
        writeAutoLogin(autologin.isNull() ? nullptr : autologin.constData());
        QCOMPARE(KLumoServiceProcess::readAutoLogin(), verdict);
        std::unique_ptr<LockHelper> holder;
        if (!heldKey.isEmpty()) {
            holder.reset(new LockHelper({QStringLiteral("fcntl"), KLumoLockFile::path(heldKey)}));
            QCOMPARE(holder->firstLine(), QStringLiteral("locked"));
        }
        QCOMPARE(KLumoServiceProcess::checkAutoLogin(), verdict);
        if (starts) {
            const QString cmd = waitForStart();
            QVERIFY2(cmd.endsWith(QStringLiteral("/lumodesk /start_from=lumoipc autologin")),
                     qPrintable(cmd));
            QVERIFY(cmd.startsWith(m_suiteDir + QStringLiteral("/ofxcloudsvr ")));
        } else {
            QVERIFY(!startedWithin(300));
        }
    }

    void startWithoutExecutableFailsQuietly()
    {
        qputenv(KLumoPaths::SuiteDirVariable, QDir::tempPath().toLocal8Bit() + "/nowhere");
        QVERIFY(KLumoPaths::checkServicePlatform() != 0);
        KLumoServiceProcess::startLumoProcess(QStringLiteral("autologin"));
        QVERIFY(!startedWithin(100));
        qputenv(KLumoPaths::SuiteDirVariable, m_suiteDir.toLocal8Bit());
    }

    void restartSpacing_data()
    {
        QTest::addColumn<QList<qint64>>("clock");
        QTest::addColumn<QList<Outcome>>("outcomes");
        const qint64 t0 = 1700000000;
        QTest::addRow("1800 s apart is too soon, 1801 is not")
            << QList<qint64> {t0, t0 + 1, t0 + 1800, t0 + 1801, t0 + 1801 + 1800}
            << QList<Outcome> {Outcome::Started, Outcome::TooSoon, Outcome::TooSoon,
                               Outcome::Started, Outcome::TooSoon};
    }
    void restartSpacing()
    {
        QFETCH(QList<qint64>, clock);
        QFETCH(QList<Outcome>, outcomes);
        KLumoCommonSettings().setValue(QStringLiteral("RestartLumoTime"), 0);
        QCOMPARE(KLumoServiceProcess::restartTime(), 0);
        for (int i = 0; i < clock.size(); ++i) {
            int started = 0;
            QCOMPARE(KLumoServiceProcess::restartIfDue(clock[i], [&] { ++started; }), outcomes[i]);
            QCOMPARE(started, outcomes[i] == Outcome::Started ? 1 : 0);
        }
        QCOMPARE(KLumoCommonSettings().value(QStringLiteral("RestartLumoTime")).toString(),
                 QString::number(clock[3]));
    }

    void restartTurnedOff()
    {
        KLumoCommonSettings().setValue(QStringLiteral("RestartLumoTime"), 0);
        QVERIFY(KLumoServiceProcess::restartTurnOn()); // default
        KLumoCommonSettings().setRestartTurnOn(false);
        bool started = false;
        QCOMPARE(KLumoServiceProcess::restartIfDue(1700000000, [&] { started = true; }),
                 Outcome::TurnedOff);
        QVERIFY(!started);
        KLumoCommonSettings().setRestartTurnOn(true);
    }

    // Two applications see the login go at the same moment: exactly one restarts.
    void restartRaceBetweenProcesses()
    {
        KLumoCommonSettings().setValue(QStringLiteral("RestartLumoTime"), 0);
        LockHelper a(
            {QStringLiteral("restart"), QStringLiteral("1800000000"), QStringLiteral("400")});
        LockHelper b(
            {QStringLiteral("restart"), QStringLiteral("1800000000"), QStringLiteral("400")});
        const QStringList results {a.firstLine(), b.firstLine()};
        QCOMPARE(results.count(QStringLiteral("Started")), 1);
        const QString loser = results.at(results.at(0) == QLatin1String("Started") ? 1 : 0);
        QVERIFY2(loser == QLatin1String("AnotherProcess") || loser == QLatin1String("TooSoon"),
                 qPrintable(loser));
        QCOMPARE(KLumoServiceProcess::restartTime(), 1800000000);
    }

    void isMainApplication_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("expected");
        QTest::addRow("main") << "ofxoffice" << true;
        QTest::addRow("case differs") << "OfxOffice" << false;
        QTest::addRow("other") << "ofxwriter" << false;
    }
    void isMainApplication()
    {
        QFETCH(QString, name);
        QFETCH(bool, expected);
        const QString old = QCoreApplication::applicationName();
        QCoreApplication::setApplicationName(name);
        QCOMPARE(KLumoServiceProcess::isMainApplication(), expected);
        QCoreApplication::setApplicationName(old);
    }

    void deviceIdIsStableAndStored()
    {
        const QString id = KLumoServiceProcess::deviceId();
        QVERIFY2(
            QRegularExpression(QStringLiteral("^UUID-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"))
                .match(id)
                .hasMatch(),
            qPrintable(id));
        QCOMPARE(KLumoServiceProcess::deviceId(), id);
        QCOMPARE(QSettings(QStringLiteral("Nordvale"), QStringLiteral("roamingdevice"))
                     .value(QStringLiteral("deviceid"))
                     .toString(),
                 id);
    }
};

LUMO_TEST_MAIN(TestKLumoServiceProcess)
#include "tst_klumoserviceprocess.moc"
