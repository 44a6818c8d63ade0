// Typed calls through the exported functions, against a peer on the real
// socket: how a call ends for its callable, whatever happens in between.
#include "connection/klumoipcproxy.h"
#include "framedpeer.h"
#include "ipc/klumoipc_p.h"
#include "lumoipccalls.h"
#include "lumotestenv.h"
#include "thriftcodec.h"

#include "lumo_types.h"

#include <QRegularExpression>
#include <QTest>

#include <thread>

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
    CreateFolderResult result;
    result.__set_folderId("f-1");
    return lumotest::encodeResult(lumotest::peekMessage(request).name, result);
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
    // Starts the library and connects it to @p peer.
    static bool connectTo(lumotest::FramedPeer &peer)
    {
        LumoIpcInit(false);
        KLumoIpcProxy *proxy = KLumoIpcPrivate::get(LumoIpc::events())->proxy;
        QSignalSpy up(LumoIpc::events(), &KLumoIpc::SocketConnected);
        if (!peer.listen(proxy->serverName()))
            return false;
        proxy->on_delayCheckStatus(); // connects now
        return up.wait();
    }
    void onFolder(bool ok, const QString &id, const CreateFolderResult &r)
    {
        ran.append({ok, id, r.folderId, QThread::currentThread()});
    }
    void onFolderStatus(const LumoIpc::Status &status, const CreateFolderResult &r)
    {
        ran.append({status.ok(), status.requestId(), r.folderId, QThread::currentThread()});
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
             {"answered", "member function", "member function with status",
              "context in another thread", "not connected", "cancelled in flight",
              "context destroyed in flight", "freed in flight"})
            QTest::addRow("%s", ending) << QString::fromLatin1(ending);
    }
    void endings()
    {
        QFETCH(QString, ending);
        const bool connected = ending != QLatin1String("not connected");
        lumotest::FramedPeer peer;
        QVERIFY(connected ? connectTo(peer) : LumoIpcInit(false));

        QThread other;
        auto context = std::make_unique<QObject>();
        if (ending == QLatin1String("context in another thread")) {
            other.start();
            context->moveToThread(&other);
        }
        QAtomicInt callableRuns;
        CreateFolderArg arg;
        arg.__set_folderName("Reports");
        const bool member = ending.startsWith(QLatin1String("member function"));
        LumoIpc::PendingCall call = member
            ? ending.endsWith(QLatin1String("status"))
                ? LumoIpc::createFolder(arg, this, &TestKLumoTypedCalls::onFolderStatus)
                : LumoIpc::createFolder(arg, this, &TestKLumoTypedCalls::onFolder)
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

        const bool runs = ending == QLatin1String("answered") || member
            || ending == QLatin1String("context in another thread")
            || ending == QLatin1String("not connected");
        if (runs) {
            QTRY_COMPARE(ran.size(), 1);
            QCOMPARE(ran.at(0).ok, connected);
            QCOMPARE(ran.at(0).folderId, std::string(connected ? "f-1" : ""));
            QCOMPARE(ran.at(0).thread, context->thread());
            if (member)
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

    // cancel() belongs to the thread that made the call; elsewhere it is
    // refused, says so, and the call goes on to its end.
    void cancelOnAnotherThreadIsRefused()
    {
        lumotest::FramedPeer peer;
        QVERIFY(connectTo(peer));
        LumoIpc::PendingCall call =
            LumoIpc::createFolder(CreateFolderArg(), this, &TestKLumoTypedCalls::onFolder);
        lumotest::FramedPeer::Frame frame;
        QVERIFY(QTest::qWaitFor([&] { return takeCall(peer, "createFolder", &frame); }));
        QTest::ignoreMessage(QtWarningMsg,
                             qPrintable("LumoIpc::PendingCall::cancel: refused on a thread other "
                                        "than the one that made call "
                                        + call.id()));
        bool cancelled = true;
        std::thread other([&] { cancelled = call.cancel(); });
        other.join();
        QVERIFY(!cancelled);
        peer.sendFrame(frame.seqId, folderReply(frame.body));
        QTRY_COMPARE(ran.size(), 1);
        QVERIFY(ran.at(0).ok);
        QVERIFY(!call.cancel()); // ended
    }

    // A call by name at run time: the argument is checked against the method
    // before anything is sent, and the result comes as a QVariant of its type.
    void dynamicCall_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QByteArray>("argType");
        QTest::addColumn<bool>("withContext");
        QTest::addColumn<QString>("warning"); // a pattern; empty: the call is made
        QTest::addRow("answered") << "createFolder" << QByteArray("CreateFolderArg") << true
                                  << QString();
        QTest::addRow("unknown method") << "createFoldr" << QByteArray("CreateFolderArg") << true
                                        << "^LumoIpc::dynamicCall: no method \"createFoldr\"$";
        QTest::addRow("argument of another type")
            << "createFolder" << QByteArray("RemoveArg") << true
            << "^LumoIpc::dynamicCall: createFolder takes CreateFolderArg, not "
               "(ofx::lumo::)?RemoveArg$";
        QTest::addRow("no context")
            << "createFolder" << QByteArray("CreateFolderArg") << false
            << "^LumoIpc::dynamicCall: createFolder has no context to run its callable in$";
    }
    void dynamicCall()
    {
        QFETCH(QString, method);
        QFETCH(QByteArray, argType);
        QFETCH(bool, withContext);
        QFETCH(QString, warning);
        lumotest::FramedPeer peer;
        peer.setResponder([](const lumotest::FramedPeer::Frame &f) { return folderReply(f.body); });
        QVERIFY(connectTo(peer));
        const CreateFolderArg folder;
        const RemoveArg remove;
        const void *arg = argType == "RemoveArg" ? static_cast<const void *>(&remove) : &folder;
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        const QVariant variant(QMetaType::fromName(argType), arg);
#else
        const QVariant variant(QMetaType::type(argType), arg);
#endif
        if (!warning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
        LumoIpc::Status status;
        QVariant result;
        const LumoIpc::PendingCall call =
            LumoIpc::dynamicCall(method, variant, withContext ? this : nullptr,
                                 [&](const LumoIpc::Status &s, const QVariant &r) {
                                     status = s;
                                     result = r;
                                 });
        QCOMPARE(call.isValid(), warning.isEmpty());
        if (!call.isValid()) {
            QTest::qWait(100 * lumotest::timeScale());
            QVERIFY(!result.isValid()); // never runs
            return;
        }
        QTRY_VERIFY(result.isValid());
        QVERIFY(status.ok());
        QCOMPARE(status.requestId(), call.id());
        QCOMPARE(QByteArray(result.typeName()).split(':').last(), QByteArray("CreateFolderResult"));
        QCOMPARE(static_cast<const CreateFolderResult *>(result.constData())->folderId,
                 std::string("f-1"));
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
