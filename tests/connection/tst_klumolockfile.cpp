#include "connection/klumolockfile.h"
#include "connection/klumoserviceprocess.h"
#include "lockhelperclient.h"
#include "lumotestenv.h"
#include "support/klumopaths.h"

#include <QFile>
#include <QTest>

using namespace ofx::lumo;
using namespace lumotest;

// The lock files against real second processes that hold them the way the
// service does (classic record locks, or flock()).
class TestKLumoLockFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void heldByAnotherProcess_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("seen");
        QTest::addRow("login status, record lock") << "fcntl" << LoginStatusLock << "1 0 1";
        QTest::addRow("login status, flock") << "flock" << LoginStatusLock << "1 0 0";
        QTest::addRow("main lock") << "fcntl" << MainLock << "0 1 1";
        QTest::addRow("restart lock") << "fcntl" << RestartLock << "0 0 1";
    }
    void heldByAnotherProcess()
    {
        QFETCH(QString, how);
        QFETCH(QString, key);
        QFETCH(QString, seen); // logged in, service running, record lock held
        const auto state = [&] {
            return QStringLiteral("%1 %2 %3")
                .arg(KLumoServiceProcess::checkLumoLogined())
                .arg(KLumoServiceProcess::isLumoRunning())
                .arg(KLumoLockFile::isHeld(key));
        };
        {
            LockHelper helper({how, lockPath(qPrintable(key))});
            QCOMPARE(helper.firstLine(), QStringLiteral("locked"));
            QCOMPARE(state(), seen);
        }
        QCOMPARE(state(), QStringLiteral("0 0 0"));
    }

    // The restart lock excludes other processes and other lock objects of this
    // one; closing another descriptor of the file neither drops nor hides it.
    // (Held by another process: the fault test's restart race.)
    void restartLockBetweenProcesses()
    {
        const QString key = QLatin1String(RestartLock);
        KLumoLockFile mine(key);
        QVERIFY(mine.tryLock());
        QVERIFY(!KLumoLockFile(key).tryLock());
        QVERIFY(KLumoLockFile::isHeld(key));
        QCOMPARE(LockHelper({"probe", lockPath(RestartLock)}).firstLine(), QStringLiteral("held"));
        mine.release();
        QCOMPARE(LockHelper({"probe", lockPath(RestartLock)}).firstLine(), QStringLiteral("free"));
    }

    // The folder other programs look for, spelled out, against the one the
    // library makes in this test's private HOME (the lock files' names: the
    // cases above, through lockPath(); the settings keys: tst_klumoipclogincheck).
    void namesOnDisk()
    {
        KLumoPaths::userDataPath(QString());
        QVERIFY(
            QFileInfo(QDir::homePath() + "/.local/share/Nordvale/OFX Cloud Files/userdata/AllUsers")
                .isDir());
    }

    // The folder is everybody's: what sits under a lock name may not be ours.
    // It is never truncated, followed (a link) or waited on (a FIFO).
    void foreignFiles_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("kind");
        QTest::addRow("login status with content") << LoginStatusLock << "file";
        QTest::addRow("login status as a link") << LoginStatusLock << "link";
        QTest::addRow("restart lock as a link") << RestartLock << "link";
        QTest::addRow("login status as a FIFO") << LoginStatusLock << "fifo";
    }
    void foreignFiles()
    {
        QFETCH(QString, key);
        QFETCH(QString, kind);
        const QString path = lockPath(qPrintable(key));
        QFile::remove(path);
        QFile file(kind == "file" ? path : QDir::tempPath() + QStringLiteral("/victim.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("precious");
        file.close();
        if (kind != "file")
            QVERIFY(kind == "link" ? QFile::link(file.fileName(), path)
                                   : ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0);
        QVERIFY(!KLumoServiceProcess::checkLumoLogined());
        QVERIFY(!KLumoLockFile::isHeld(key));
        KLumoLockFile lock(key);
        QCOMPARE(lock.tryLock(), kind == "file");
        QCOMPARE(lock.anotherHolds(), kind != "file"); // cautious: no restart through it
        lock.release();
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("precious"));
        QCOMPARE(LockHelper({"probe", file.fileName()}).firstLine(), QStringLiteral("free"));
    }
};

LUMO_TEST_MAIN(TestKLumoLockFile)
#include "tst_klumolockfile.moc"
