#include "lumotestenv.h"

#include "dispatch/klumopendingcalls.h"

#include <QAtomicInt>

#include <thread>
#include <vector>

using ofx::lumoipc::KLumoPendingCall;
using ofx::lumoipc::KLumoPendingCalls;

class TestKLumoPendingCalls : public QObject
{
    Q_OBJECT

    static KLumoPendingCall startedAt(qint64 t)
    {
        KLumoPendingCall call;
        call.startTime = t;
        return call;
    }

private Q_SLOTS:
    void expiryAndOldest()
    {
        KLumoPendingCalls calls;
        QCOMPARE(calls.oldestStartTime(), qint64(-1));
        QCOMPARE(calls.add(QStringLiteral("a"), startedAt(1000)), 1);
        QCOMPARE(calls.add(QStringLiteral("b"), startedAt(500)), 2);
        QCOMPARE(calls.add(QStringLiteral("c"), startedAt(900)), 3);
        QCOMPARE(calls.add(QStringLiteral("c"), startedAt(2000)), 3); // re-registration replaces
        QCOMPARE(calls.oldestStartTime(), qint64(500));
        // Strictly older than the limit: "a" at exactly the limit stays.
        const auto expired = calls.expired(17000, 16000);
        QCOMPARE(expired.size(), 1);
        QCOMPARE(expired.first().first, QStringLiteral("b"));
        QCOMPARE(calls.count(), 3); // looking does not remove
        QVERIFY(calls.take(QStringLiteral("b")));
        QVERIFY(!calls.take(QStringLiteral("b")));
        QCOMPARE(calls.oldestStartTime(), qint64(1000));
        calls.clear();
        QVERIFY(calls.isEmpty());
    }

    // Reply, expiry and cancellation may race for one call; exactly one wins.
    void concurrentTakesEndEachCallOnce()
    {
        KLumoPendingCalls calls;
        const int ids = 2000;
        for (int i = 0; i < ids; ++i)
            calls.add(QString::number(i), startedAt(i));
        QAtomicInt wins;
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&calls, &wins, ids] {
                for (int i = 0; i < ids; ++i) {
                    if (calls.take(QString::number(i)))
                        wins.fetchAndAddRelaxed(1);
                }
            });
        }
        for (auto &t : threads)
            t.join();
        QCOMPARE(wins.loadRelaxed(), ids);
        QVERIFY(calls.isEmpty());
    }
};

LUMO_TEST_MAIN(TestKLumoPendingCalls)
#include "tst_klumopendingcalls.moc"
