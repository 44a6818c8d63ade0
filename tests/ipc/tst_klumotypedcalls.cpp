// Typed calls through the exported functions, against a peer on the real
// socket: how a call ends for its callable, whatever happens in between.
#include "connection/klumoipcproxy.h"
#include "framedpeer.h"
#include "ipc/klumoipc_p.h"
#include "lumoipccalls.h"
#include "lumotestenv.h"
#include "thriftcodec.h"

#include "KLumoServices.h"

#include <QtTest>

using namespace ofx::lumo;

namespace {

struct Ran
{
    bool ok = false;
    QString id;
    std::string folderId;
    QThread *thread = nullptr;
};

QByteArray folderReply(const QByteArray &request)
{
    KLumoServices_createFolder_result result;
    result.success.__set_folderId("f-1");
    result.__isset.success = true;
    return lumotest::encodeMessage(lumotest::peekMessage(request).name,
                                   apache::thrift::protocol::T_REPLY, result);
}

// The first frame of a call of @p method among those received so far.
bool takeCall(lumotest::FramedPeer &peer, const char *method, lumotest::FramedPeer::Frame *call)
{
    for (const lumotest::FramedPeer::Frame &frame : peer.takeFrames()) {
        if (lumotest::peekMessage(frame.body).name == method) {
            *call = frame;
            return true;
        }
    }
    return false;
}

} // namespace

class TestKLumoTypedCalls : public QObject
{
    Q_OBJECT
public:
    QList<Ran> ran;
    void onFolder(bool ok, const QString &id, const CreateFolderResult &r)
    {
        ran.append({ok, id, r.folderId, QThread::currentThread()});
    }

private Q_SLOTS:
    void initTestCase() { KLumoIpcProxy::setPollIntervals(100000, 100000); }
    void cleanup()
    {
        LumoIpcFree();
        ran.clear();
    }

    // A call ends once, in its context's thread, or never: what the peer sees,
    // what the callable sees, and what cancel() says afterwards.
    void endings_data()
    {
        QTest::addColumn<QString>("ending");
        for (const char *ending :
             {"answered", "member function", "context in another thread", "not connected",
              "cancelled in flight", "context destroyed in flight", "freed in flight"})
            QTest::addRow("%s", ending) << QString::fromLatin1(ending);
    }
    void endings()
    {
        QFETCH(QString, ending);
        const bool connected = ending != QLatin1String("not connected");
        lumotest::FramedPeer peer;
        QVERIFY(LumoIpcInit(false));
        if (connected) {
            KLumoIpcProxy *proxy = KLumoIpcPrivate::get(LumoIpc::events())->proxy;
            QSignalSpy up(LumoIpc::events(), &KLumoIpc::SocketConnected);
            QVERIFY(peer.listen(proxy->serverName()));
            proxy->on_delayCheckStatus(); // connects now
            QVERIFY(up.wait());
        }

        QThread other;
        auto context = std::make_unique<QObject>();
        if (ending == QLatin1String("context in another thread")) {
            other.start();
            context->moveToThread(&other);
        }
        QAtomicInt callableRuns;
        CreateFolderArg arg;
        arg.__set_folderName("Reports");
        LumoIpc::PendingCall call = ending == QLatin1String("member function")
            ? LumoIpc::createFolder(arg, this, &TestKLumoTypedCalls::onFolder)
            : LumoIpc::createFolder(arg, context.get(), [&](bool ok, const CreateFolderResult &r) {
                  callableRuns.ref();
                  QMetaObject::invokeMethod(this, [=, t = QThread::currentThread()] {
                      ran.append({ok, QString(), r.folderId, t});
                  });
              });
        QCOMPARE(call.id().size(), 32);

        if (connected) {
            lumotest::FramedPeer::Frame frame;
            QVERIFY(QTest::qWaitFor([&] { return takeCall(peer, "createFolder", &frame); }));
            if (ending == QLatin1String("cancelled in flight"))
                QVERIFY(call.cancel());
            if (ending == QLatin1String("context destroyed in flight"))
                context.reset();
            if (ending == QLatin1String("freed in flight"))
                LumoIpcFree();
            peer.sendFrame(frame.seqId, folderReply(frame.body));
        }

        const bool runs = ending == QLatin1String("answered")
            || ending == QLatin1String("member function")
            || ending == QLatin1String("context in another thread")
            || ending == QLatin1String("not connected");
        if (runs) {
            QTRY_COMPARE(ran.size(), 1);
            QCOMPARE(ran.at(0).ok, connected);
            QCOMPARE(ran.at(0).folderId, std::string(connected ? "f-1" : ""));
            QCOMPARE(ran.at(0).thread, context->thread());
            if (ending == QLatin1String("member function"))
                QCOMPARE(ran.at(0).id, call.id());
        }
        // Give a stray second ending, or one that should not come, its chance.
        QTest::qWait(100 * lumotest::timeScale());
        QCOMPARE(ran.size(), runs ? 1 : 0);
        QVERIFY(callableRuns <= 1);
        QVERIFY(!call.cancel()); // ended, one way or the other
        other.quit();
        other.wait();
    }

    void beforeInit()
    {
        const LumoIpc::PendingCall call =
            LumoIpc::createFolder(CreateFolderArg(), this, &TestKLumoTypedCalls::onFolder);
        QVERIFY(!call.isValid());
        QVERIFY(call.id().isEmpty());
        QVERIFY(!LumoIpc::events());
        QTest::qWait(50);
        QVERIFY(ran.isEmpty());
    }
};

LUMO_TEST_MAIN(TestKLumoTypedCalls)
#include "tst_klumotypedcalls.moc"
