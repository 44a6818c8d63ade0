// KLumoQueuedCall must do what a queued QMetaObject::invokeMethod by name does.
#include "lumotestenv.h"

#include "support/klumoqueuedcall.h"

#include <condition_variable>
#include <mutex>
#include <optional>

using ofx::lumo::KLumoQueuedCall;

struct Opaque // never registered
{
};

class Receiver : public QObject
{
    Q_OBJECT
public:
    QStringList calls;
public Q_SLOTS:
    void take(const QString &s, int n)
    {
        calls << s + QString::number(n) + (QThread::currentThread() == thread() ? "" : "?");
    }
    void opaque(const Opaque &) { }
};

class TestKLumoQueuedCall : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Later, in the receiver's thread, with the values as they were when queued.
    void copiesInTheReceiversThread()
    {
        QThread worker;
        worker.start();
        Receiver r;
        r.moveToThread(&worker);
        QString text = QStringLiteral("a");
        for (int n = 1; n <= 2; ++n) // the second from the cache
            QVERIFY(KLumoQueuedCall::invoke(&r, "take", {"const QString &", "int"}, text, n));
        QVERIFY(KLumoQueuedCall::invoke(&r, "take", {"QString", "int"},
                                        KLumoQueuedCall::Untyped {&text}, 3));
        text = QStringLiteral("changed");
        // Handed back under a mutex that ThreadSanitizer sees (Qt's it does not).
        std::mutex lock;
        std::condition_variable handedBack;
        std::optional<QStringList> seen;
        KLumoQueuedCall::post(&r, [&] {
            const std::lock_guard<std::mutex> guard(lock);
            seen = r.calls;
            handedBack.notify_one();
        });
        std::unique_lock<std::mutex> guard(lock);
        handedBack.wait(guard, [&] { return seen.has_value(); });
        QCOMPARE(*seen, QStringList({"a1", "a2", "a3"}));
        worker.quit();
        worker.wait();
    }

    // Qt's own refusal when no member has that name or a type is not
    // registered; nothing once the receiver is gone.
    void unresolvedOrGone()
    {
        Receiver r;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("unregistered datatype 'Opaque'$"));
        QVERIFY(!KLumoQueuedCall::invoke(&r, "opaque", {"Opaque"}, Opaque()));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("^QMetaObject::invokeMethod: No "
                                                "such method Receiver::missing\\(int\\)"));
        QVERIFY(!KLumoQueuedCall::invoke(&r, "missing", {"int"}, 1));
        auto *gone = new Receiver;
        QVERIFY(KLumoQueuedCall::invoke(gone, "take", {"QString", "int"}, QString(), 1));
        delete gone; // would crash below if the call were still queued
        QCoreApplication::sendPostedEvents();
    }
};

LUMO_TEST_MAIN(TestKLumoQueuedCall)
#include "tst_klumoqueuedcall.moc"
