#include <sys/stat.h> // before lumotestenv.h, which uses chmod

#include "connection/klumolockfile.h"
#include "connection/klumoserviceprocess.h"
#include "lockhelperclient.h"
#include "lumotestenv.h"

#include <QFile>
#include <QtTest>

using namespace ofx::lumo;
using lumotest::LockHelper;

class TestKLumoLockFile : public QObject
{
    Q_OBJECT
private:
    static QString loginPath()
    {
        return KLumoLockFile::path(QLatin1String(KLumoLockFile::LoginStatusKey));
    }
    static QString restartPath()
    {
        return KLumoLockFile::path(QLatin1String(KLumoLockFile::RestartKey));
    }

private Q_SLOTS:
    void init()
    {
        for (const char *key : {KLumoLockFile::ExistKey, KLumoLockFile::MainKey,
                                KLumoLockFile::LoginStatusKey, KLumoLockFile::RestartKey})
            QFile::remove(KLumoLockFile::path(QLatin1String(key)));
    }

    void loginStatusWithoutFileCreatesItEmpty()
    {
        QVERIFY(!QFile::exists(loginPath()));
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
        QVERIFY(QFile::exists(loginPath()));
        QCOMPARE(QFileInfo(loginPath()).size(), 0);
        // Our own momentary flock is gone: a second test still reads free.
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
    }

    void heldByAnotherProcess_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("loginStatus"); // what the login-status test says
        QTest::addColumn<bool>("heldTest"); // what the record-lock held test says
        QTest::addRow("record lock") << "fcntl" << true << true;
        QTest::addRow("flock") << "flock" << true << false;
    }
    void heldByAnotherProcess()
    {
        QFETCH(QString, how);
        QFETCH(bool, loginStatus);
        QFETCH(bool, heldTest);
        {
            LockHelper helper({how, loginPath()});
            QCOMPARE(helper.firstLine(), QStringLiteral("locked"));
            QCOMPARE(KLumoServiceProcess::checkLumoLogined(), loginStatus);
            QCOMPARE(KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::LoginStatusKey)), heldTest);
        }
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
    }

    void heldTestOnMainLock()
    {
        const QString key = QLatin1String(KLumoLockFile::MainKey);
        QVERIFY(!KLumoServiceProcess::isLumoRunning());
        QVERIFY(!QFile::exists(KLumoLockFile::path(key))); // the held test never creates
        {
            LockHelper helper({QStringLiteral("fcntl"), KLumoLockFile::path(key)});
            QCOMPARE(helper.firstLine(), QStringLiteral("locked"));
            QVERIFY(KLumoServiceProcess::isLumoRunning());
            QVERIFY(KLumoServiceProcess::isLockHeld(key));
        }
        QVERIFY(!KLumoServiceProcess::isLumoRunning());
    }

    void restartLockBetweenProcesses()
    {
        const QString key = QLatin1String(KLumoLockFile::RestartKey);
        {
            LockHelper other({QStringLiteral("take"), key});
            QCOMPARE(other.firstLine(), QStringLiteral("taken"));
            KLumoLockFile mine(key);
            QVERIFY(!mine.tryLock());
            QVERIFY(mine.anotherHolds());
            QVERIFY(!mine.isLocked());
        }
        KLumoLockFile mine(key);
        QVERIFY(mine.tryLock());
        QVERIFY(!mine.anotherHolds());
        {
            LockHelper other({QStringLiteral("take"), key});
            QCOMPARE(other.firstLine(), QStringLiteral("refused"));
        }
        mine.release();
        LockHelper probe({QStringLiteral("probe"), restartPath()});
        QCOMPARE(probe.firstLine(), QStringLiteral("free"));
    }

    // Closing other descriptors of the file in this process (a second lock
    // object, a held test) must neither drop our lock nor hide it.
    void twoLockObjectsInOneProcess()
    {
        const QString key = QLatin1String(KLumoLockFile::RestartKey);
        KLumoLockFile first(key);
        QVERIFY(first.tryLock());
        {
            KLumoLockFile second(key);
            QVERIFY(!second.tryLock());
            QVERIFY(second.anotherHolds());
        }
        QVERIFY(KLumoLockFile::isHeld(key));
        LockHelper probe({QStringLiteral("probe"), restartPath()});
        QCOMPARE(probe.firstLine(), QStringLiteral("held"));
        first.release();
        QVERIFY(!KLumoLockFile::isHeld(key));
    }

    void plantedFilesAreNeverFollowedNorTruncated_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addRow("login status") << QString::fromLatin1(KLumoLockFile::LoginStatusKey);
        QTest::addRow("restart") << QString::fromLatin1(KLumoLockFile::RestartKey);
        QTest::addRow("main") << QString::fromLatin1(KLumoLockFile::MainKey);
    }
    void plantedFilesAreNeverFollowedNorTruncated()
    {
        QFETCH(QString, key);
        const QString victim = QDir::tempPath() + QStringLiteral("/victim.txt");
        QFile::remove(victim);
        {
            QFile f(victim);
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("precious");
        }
        QVERIFY(QFile::link(victim, KLumoLockFile::path(key)));
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
        QVERIFY(!KLumoLockFile::isHeld(key));
        KLumoLockFile lock(key);
        QVERIFY(!lock.tryLock());
        QVERIFY(lock.anotherHolds()); // cautious: no restart through a planted link
        QFile f(victim);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("precious"));
        LockHelper probe({QStringLiteral("probe"), victim});
        QCOMPARE(probe.firstLine(), QStringLiteral("free"));
    }

    void existingContentSurvivesLoginStatusTest()
    {
        {
            QFile f(loginPath());
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("pid 42");
        }
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
        QCOMPARE(QFileInfo(loginPath()).size(), 6);
    }

    void plantedFifoDoesNotBlock()
    {
        QVERIFY(::mkfifo(QFile::encodeName(loginPath()).constData(), 0600) == 0);
        QElapsedTimer t;
        t.start();
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
        QVERIFY(t.elapsed() < 1000);
    }
};

LUMO_TEST_MAIN(TestKLumoLockFile)
#include "tst_klumolockfile.moc"
