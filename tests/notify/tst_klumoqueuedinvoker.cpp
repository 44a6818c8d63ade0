// The queued invoker must behave as a queued QMetaObject::invokeMethod by name:
// later, in the receiver's thread, with copies; Qt's own warning when the
// member or a type does not resolve; nothing once the receiver is gone.
#include "lumotestenv.h"

#include "notify/klumoqueuedinvoker.h"

#include <QThread>
#include <QtTest>

#include <future>

using ofx::lumo::KLumoQueuedInvoker;

namespace {
struct Opaque // never registered as a meta type
{
    int x = 0;
};
} // namespace

class Receiver : public QObject
{
    Q_OBJECT
public:
    QStringList calls;
    QThread *thread = nullptr;
public Q_SLOTS:
    void none() { record(QStringLiteral("none")); }
    void take(const QString &s, bool b, quint32 n)
    {
        record(QStringLiteral("take %1 %2 %3").arg(s).arg(b).arg(n));
    }
    void opaque(const Opaque &) { record(QStringLiteral("opaque")); }
Q_SIGNALS:
    void fired(const QStringList &list);

private:
    void record(const QString &call)
    {
        calls << call;
        thread = QThread::currentThread();
    }
};

class TestKLumoQueuedInvoker : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void queuedWithCopies();
    void unresolvedIsQtsWarning_data();
    void unresolvedIsQtsWarning();
    void otherThreadAndGoneReceiver();
};

void TestKLumoQueuedInvoker::queuedWithCopies()
{
    KLumoQueuedInvoker invoker;
    Receiver r;
    QStringList fired;
    connect(&r, &Receiver::fired, this, [&](const QStringList &l) { fired = l; });
    for (int round = 0; round < 2; ++round) { // the second round uses the resolved members
        r.calls.clear();
        QString s = QStringLiteral("abc");
        QStringList list {"x", "y"};
        invoker.invoke(&r, "take", {"const QString &", "bool", "quint32"}, s, true, 7u);
        invoker.invoke(&r, "none", {});
        invoker.invoke(&r, "fired", {"const QStringList &"}, list);
        s = QStringLiteral("changed");
        list.clear();
        QVERIFY(r.calls.isEmpty());
        QTRY_COMPARE(r.calls, QStringList({"take abc 1 7", "none"}));
        QCOMPARE(fired, QStringList({"x", "y"}));
    }
}

void TestKLumoQueuedInvoker::unresolvedIsQtsWarning_data()
{
    QTest::addColumn<QByteArray>("member");
    QTest::addColumn<QByteArray>("typeName");
    QTest::addColumn<QString>("warning");
    QTest::addRow("no such member") << QByteArray("missing") << QByteArray("const QString &")
                                    << "QMetaObject::invokeMethod: No such method";
    QTest::addRow("wrong argument type")
        << QByteArray("none") << QByteArray("int") << "QMetaObject::invokeMethod: No such method";
    QTest::addRow("unregistered type")
        << QByteArray("opaque") << QByteArray("Opaque")
        << "QMetaMethod::invoke: Unable to handle unregistered datatype";
}

void TestKLumoQueuedInvoker::unresolvedIsQtsWarning()
{
    QFETCH(QByteArray, member);
    QFETCH(QByteArray, typeName);
    QFETCH(QString, warning);

    KLumoQueuedInvoker invoker;
    Receiver r;
    const Opaque value;
    for (int round = 0; round < 2; ++round) { // reported every time, not only the first
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("^" + QRegularExpression::escape(warning)));
        invoker.invoke(&r, member.constData(), {typeName.constData()}, value);
    }
    QTest::qWait(10);
    QCOMPARE(r.calls, QStringList());

    // A member already resolved with other types is not reused for these.
    invoker.invoke(&r, "take", {"const QString &", "bool", "quint32"}, QString("a"), true, 1u);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^QMetaObject::invokeMethod: No such method"));
    invoker.invoke(&r, "take", {typeName.constData()}, value);
    QTRY_COMPARE(r.calls, QStringList({"take a 1 1"}));
}

void TestKLumoQueuedInvoker::otherThreadAndGoneReceiver()
{
    KLumoQueuedInvoker invoker;
    QThread worker;
    worker.start();
    auto *r = new Receiver;
    r->moveToThread(&worker);
    invoker.invoke(r, "none", {});
    // Posted after the call, so it runs after it; a std::promise rather than a
    // blocking queued call, so that ThreadSanitizer sees the hand-back.
    std::promise<QPair<QStringList, QThread *>> seen;
    QMetaObject::invokeMethod(
        r,
        [&] {
            seen.set_value({r->calls, r->thread});
        },
        Qt::QueuedConnection);
    const auto result = seen.get_future().get();
    QCOMPARE(result.first, QStringList({"none"}));
    QCOMPARE(result.second, &worker);
    r->deleteLater(); // run by the worker as it finishes
    worker.quit();
    worker.wait();

    // Posted, then the receiver goes before the call runs: nothing runs.
    int fired = 0;
    auto *gone = new Receiver;
    connect(gone, &Receiver::fired, this, [&] { ++fired; });
    invoker.invoke(gone, "fired", {"const QStringList &"}, QStringList {"x"});
    delete gone;
    QTest::qWait(10);
    QCOMPARE(fired, 0);
}

LUMO_TEST_MAIN(TestKLumoQueuedInvoker)
#include "tst_klumoqueuedinvoker.moc"
