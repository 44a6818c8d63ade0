// The dispatcher over a real local socket, against a peer that reads every
// request and answers it with a result that only the method it names produces.
#include "dispatchreceiver.h"
#include "framedpeer.h"
#include "lumotestenv.h"
#include "thriftcodec.h"

#include "dispatch/klumoipchandler.h"
#include "dispatch/klumoipchandler_p.h"
#include "ipc/klumotypedcalls.h"
#include "lumoipccalls.h"
#include "support/klumometatypes.h"
#include "transport/klumoipcchannel_p.h"

#include "KLumoServices.h"

#include <QRegularExpression>

#include <thrift/protocol/TCompactProtocol.h>

using namespace lumotest;
using namespace ofx::lumo;
using namespace ofx::lumoipc;
using Holds = std::function<bool(const void *)>;

namespace {

template<class T, class = void> constexpr bool hasState = false;
template<class T>
constexpr bool hasState<T, std::void_t<decltype(std::declval<T &>().__set_state(0))>> = true;

// A result that only @p stamp produces, the default one for 0. Every result
// record has an i32 "state" or "httpCode".
template<class Result> Result stamped(int stamp)
{
    Result r {};
    if constexpr (std::is_same_v<Result, LumoStringMap>) {
        if (stamp)
            r["stamp"] = std::to_string(stamp);
    } else if constexpr (hasState<Result>) {
        r.__set_state(stamp);
    } else if constexpr (!std::is_same_v<Result, KLumoVoidResult>) {
        r.__set_httpCode(stamp);
    }
    return r;
}

template<class T> Holds equals(const T &expected)
{
    return [expected](const void *value) { return *static_cast<const T *>(value) == expected; };
}

// A plain function per result type: a closure per method would instantiate
// std::function's machinery two hundred times over.
template<class Result> bool holdsStamp(const void *value, int stamp)
{
    return *static_cast<const Result *>(value) == stamped<Result>(stamp);
}

// The peer's reply to a call whose result is a @p Result: the stamped result
// (the request's argument record is read whole, which throws if it is malformed).
template<class Result> QByteArray answer(const QByteArray &request, int stamp)
{
    FieldRecord args;
    const MessageHead head = decodeMessage(request, args);
    if constexpr (std::is_same_v<Result, KLumoVoidResult>)
        return encodeMessage(head.name, apache::thrift::protocol::T_REPLY, FieldRecord());
    else
        return encodeResult(head.name, stamped<Result>(stamp));
}

// A method called by name or by its typed call; the peer answers it with stamp().
struct Row
{
    const char *slot, *method, *argType, *resultType, *exceptionText;
    QByteArray (*answer)(const QByteArray &request, int stamp);
    bool (*holds)(const void *value, int stamp);
    // The typed call with a default-constructed argument, delivering to the
    // receiver's slot of the result type.
    QString (*typed)(DispatchReceiver *receiver);

    int stamp() const;
    // With a default-constructed argument.
    QString call(KLumoIpcHandler &handler, QObject *receiver) const
    {
        const QMetaType type(KLumoMetaTypes::idOf(argType));
        void *arg = type.create();
        const QString id =
            handler.asynCallEx(QLatin1String(slot), QGenericArgument(argType, arg), receiver,
                               QStringLiteral("onResult_") + QLatin1String(resultType));
        type.destroy(arg);
        return id;
    }
};

// The dispatch table, and lumoIpcCall, which is not in it but is called alike.
const QVector<Row> &rows()
{
    // clang-format off
#define LUMO_DISPATCH(slot, method, Arg, Result, text)                                             \
    {#slot, #method, registeredName<Arg>(#Arg), #Result, text,                                     \
     &answer<Result>,                                                                              \
     &holdsStamp<Result>, [](DispatchReceiver *r) {                                                \
         return LumoIpc::slot(Arg(), r, &DispatchReceiver::onResult_##Result).id();                \
     }},
    static const QVector<Row> table {
#include "dispatch/klumodispatchtable.def"
        LUMO_DISPATCH(lumoIpcCall, lumoIpcCall, LumoIpcArg, LumoIpcResult, "Exception on lumoIpcCall")
    };
#undef LUMO_DISPATCH
    // clang-format on
    return table;
}

int Row::stamp() const
{
    return int(this - rows().constData()) + 1;
}

// Rows answer with their stamps, the generic route echoes method and parameter.
QByteArray answerAny(const FramedPeer::Frame &frame)
{
    const std::string name = peekMessage(frame.body).name;
    if (name == "asynCall") {
        const AsynCall call = decodeAsynCall(frame.body);
        return encodeResult(name,
                            LumoStringMap {{"method", call.method}, {"params", call.params.at(0)}});
    }
    for (const Row &r : rows()) {
        if (name == r.method)
            return r.answer(frame.body, r.stamp());
    }
    return QByteArray();
}

// Peer, channel, client and dispatcher on one local socket; the dispatcher goes first.
struct Rig
{
    FramedPeer peer;
    std::shared_ptr<KLumoIpcChannel> channel = std::make_shared<KLumoIpcChannel>(nullptr, nullptr);
    apache::thrift::protocol::TCompactProtocolFactory factory;
    std::shared_ptr<KLumoServicesCobClient> client =
        std::make_shared<KLumoServicesCobClient>(channel, &factory);
    std::unique_ptr<KLumoIpcHandler> handler =
        std::make_unique<KLumoIpcHandler>(nullptr, client, channel);
    DispatchReceiver receiver;

    bool connect()
    {
        const QString name =
            QStringLiteral("tst_dispatch_%1").arg(QCoreApplication::applicationPid());
        return peer.listen(name) && channel->connectToServer(name) && peer.waitForClient()
            && QTest::qWaitFor([this] { return channel->good(); }, 5000);
    }
    int pending() const { return KLumoIpcHandlerPrivate::get(handler.get())->pendingCount(); }
};

} // namespace

// One result slot per spelling of its record type; records each success flag.
class SpellingReceiver : public QObject
{
    Q_OBJECT
public:
    QList<bool> got;
public Q_SLOTS:
    void plain(bool ok, const QString &, const CreateFolderResult &) { got << ok; }
    void qualified(bool ok, const QString &, const ofx::lumo::CreateFolderResult &) { got << ok; }
    void global(bool ok, const QString &, const ::ofx::lumo::CreateFolderResult &) { got << ok; }
    void generic(bool ok, const QString &, const KRpcResponse &) { got << ok; }
    void genericGlobal(bool ok, const QString &, const ::KRpcResponse &) { got << ok; }
};

class TestKLumoIpcHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Every method and the generic route, all in flight at once, by name or by
    // their typed calls: each ends exactly once, with its result type.
    void everyCallEndsOnce_data()
    {
        QTest::addColumn<bool>("typed");
        QTest::addColumn<bool>("connected");
        QTest::addColumn<QString>("reply");
        for (const bool typed : {false, true}) {
            const char *route = typed ? "typed" : "by name";
            QTest::addRow("%s, answered", route) << typed << true << "stamped";
            QTest::addRow("%s, unanswered, expires", route) << typed << true << "none";
            // A typed call hears of the exception at once; a call by name waits for its expiry.
            QTest::addRow("%s, exception reply, logged, %s", route,
                          typed ? "ends at once" : "expires")
                << typed << true << "exception";
            QTest::addRow("%s, not connected, fails at once", route) << typed << false << "none";
        }
    }
    void everyCallEndsOnce()
    {
        QFETCH(bool, typed);
        QFETCH(bool, connected);
        QFETCH(QString, reply);
        const bool answered = reply == QLatin1String("stamped");
        const int expiryMs = connected && !answered ? 300 * timeScale() : 600000;
        Rig rig;
        KLumoTypedCalls typedCalls(rig.handler.get());
        KLumoTypedCalls::setInstance(&typedCalls);
        rig.handler->setExpiryInterval(expiryMs);
        QVERIFY(!connected || rig.connect());
        if (answered)
            rig.peer.setResponder(answerAny);
        if (reply == QLatin1String("exception")) { // logged with the method's text, as it reads
            rig.peer.setResponder([](const FramedPeer::Frame &frame) {
                const apache::thrift::TApplicationException refusal("refused");
                return encodeMessage(peekMessage(frame.body).name,
                                     apache::thrift::protocol::T_EXCEPTION, refusal);
            });
            QTest::ignoreMessage(QtInfoMsg, "Exception on asynCallrefused");
            for (const Row &r : rows())
                QTest::ignoreMessage(QtInfoMsg, qPrintable(r.exceptionText + QString("refused")));
        }

        QElapsedTimer clock;
        clock.start();
        QHash<QString, QPair<QByteArray, Holds>> expected; // request id -> slot type, value
        for (const Row &r : rows())
            expected.insert(typed ? r.typed(&rig.receiver) : r.call(*rig.handler, &rig.receiver),
                            {r.resultType, [&r, stamp = answered ? r.stamp() : 0](const void *value) {
                                 return r.holds(value, stamp);
                             }});
        const KRpcResponse echo({{"method", "getLoginInfo"}, {"params", "tst"}});
        expected.insert(typed ? LumoIpc::call("getLoginInfo", {"tst"}, &rig.receiver,
                                              &DispatchReceiver::onResult_KRpcResponse)
                                    .id()
                              : rig.handler->asynCall("getLoginInfo", {"tst"}, &rig.receiver,
                                                      "onResult_KRpcResponse"),
                        {"KRpcResponse",
                         equals(answered        ? echo
                                    : connected ? KRpcResponse::waitReadError()
                                                : KRpcResponse::connectError())});
        const int total = expected.size();
        QTRY_COMPARE_WITH_TIMEOUT(rig.receiver.deliveries.size(), total, 10000 * timeScale());
        QCoreApplication::sendPostedEvents(); // nothing is left that could end twice
        QCOMPARE(rig.receiver.deliveries.size(), total);
        QCOMPARE(rig.pending(), 0);
        QCOMPARE(rig.peer.frameCount(), connected ? total : 0);
        const bool atOnce = typed && reply == QLatin1String("exception");
        QVERIFY(answered || !connected || (clock.elapsed() >= expiryMs) != atOnce);
        for (const DispatchReceiver::Delivery &d : qAsConst(rig.receiver.deliveries)) {
            QVERIFY2(QRegularExpression("^[0-9A-F]{32}$").match(d.requestId).hasMatch(),
                     qPrintable(d.requestId));
            QVERIFY2(expected.contains(d.requestId), "an unknown id, or delivered twice");
            const auto [type, holds] = expected.take(d.requestId);
            QCOMPARE(d.type, type);
            QCOMPARE(d.success, answered);
            QVERIFY2(holds(d.value.get()), type.constData());
        }
    }

    // A result slot is found by its parameter types however the host spells
    // them, and so is the dispatcher's slot for a qualified Q_ARG type name.
    void resultSlotSpellings_data()
    {
        QTest::addColumn<QByteArray>("argType"); // empty: the generic route
        QTest::addColumn<QString>("slot");
        QTest::addRow("plain, after using") << QByteArray("CreateFolderArg") << "plain";
        QTest::addRow("namespace-qualified, qualified argument")
            << QByteArray("ofx::lumo::CreateFolderArg") << "qualified";
        QTest::addRow("globally qualified") << QByteArray("CreateFolderArg") << "global";
        QTest::addRow("generic, plain") << QByteArray() << "generic";
        QTest::addRow("generic, globally qualified") << QByteArray() << "genericGlobal";
    }
    void resultSlotSpellings()
    {
        QFETCH(QByteArray, argType);
        QFETCH(QString, slot);
        Rig rig;
        QVERIFY(rig.connect());
        rig.peer.setResponder(answerAny);
        SpellingReceiver receiver;
        const CreateFolderArg arg;
        for (int i = 0; i < 2; ++i) // the second from the look-up cache
            argType.isEmpty() ? rig.handler->asynCall("getLoginInfo", {"tst"}, &receiver, slot)
                              : rig.handler->asynCallEx(
                                  "createFolder", QGenericArgument(argType, &arg), &receiver, slot);
        QTRY_COMPARE(receiver.got, QList<bool>({true, true}));
    }

    // Calls and results that cannot be queued: the library's warning, once, for
    // a member that takes other types (Qt's where nothing has that name: see
    // tst_klumoqueuedcall), the dispatcher's line for each call, nothing
    // delivered, and no call left.
    void undeliverable_data()
    {
        QTest::addColumn<QByteArray>("argType");
        QTest::addColumn<QByteArray>("resultType");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("warning");
        const QString result = QStringLiteral("KLumoIpcHandlerPrivate::onResultEx method: %1 %2");
        const QString unfit = QStringLiteral(
            "KLumoQueuedCall::invoke: %1 does not take these arguments; expected %2");
        QTest::addRow("argument of another method")
            << QByteArray("CreateFolderArg") << QByteArray("RemoveResult")
            << "KLumoIpcHandler::call method: remove Fail to invoke"
            << unfit.arg("ofx::lumoipc::KLumoIpcHandlerPrivate::remove(QString,RemoveArg,"
                         "QPointer<QObject>,QString)",
                         "remove(QString,CreateFolderArg,QPointer<QObject>,QString)");
        QTest::addRow("result slot of another type")
            << QByteArray("RemoveArg") << QByteArray("CreateFolderResult")
            << result.arg("onResult_CreateFolderResult", "Failed to invoke")
            << unfit.arg("lumotest::DispatchReceiver::onResult_CreateFolderResult(bool,QString,"
                         "CreateFolderResult)",
                         "onResult_CreateFolderResult(bool,QString,RemoveResult)");
        QTest::addRow("receiver deleted before the reply")
            << QByteArray("RemoveArg") << QByteArray("RemoveResult")
            << result.arg("onResult_RemoveResult", "Caller has been destructed") << QString();
    }
    void undeliverable()
    {
        QFETCH(QByteArray, argType);
        QFETCH(QByteArray, resultType);
        QFETCH(QString, line);
        QFETCH(QString, warning);
        const bool receiverDeleted = warning.isEmpty();
        const int calls = receiverDeleted ? 1 : 2;
        Rig rig;
        QVERIFY(rig.connect());
        auto doomed = std::make_unique<DispatchReceiver>();
        static QAtomicInt warnings;
        static QtMessageHandler qtTest;
        warnings = 0;
        qtTest = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
                warnings.fetchAndAddRelaxed(type == QtWarningMsg);
                qtTest(type, context, text);
            });
        for (int i = 0; i < calls; ++i) {
            if (!receiverDeleted && i == 0)
                QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
            QTest::ignoreMessage(QtInfoMsg, qPrintable(line));
        }
        Row remove = rows().first();
        remove.argType = argType.constData();
        remove.resultType = resultType.constData();
        for (int i = 0; i < calls; ++i)
            remove.call(*rig.handler, receiverDeleted ? doomed.get() : &rig.receiver);
        if (line.startsWith(QLatin1String("KLumoIpcHandlerPrivate"))) {
            QVERIFY(rig.peer.waitForFrames(calls));
            doomed.reset();
            for (const FramedPeer::Frame &frame : rig.peer.takeFrames())
                rig.peer.sendFrame(frame.seqId, answerAny(frame));
        }
        QTRY_COMPARE(rig.pending(), 0);
        QCoreApplication::sendPostedEvents();
        qInstallMessageHandler(qtTest);
        QVERIFY(rig.receiver.deliveries.isEmpty());
        QCOMPARE(int(warnings), receiverDeleted ? 0 : 1);
    }

    // Of three calls in flight, the first is cancelled in the same burst (so
    // after it was sent): its reply still comes, first, and is dropped. The library is freed before
    // the third's reply, which then finds nothing to deliver to. Started again it works, with other
    // meta-type ids: nothing looked up before may be used after.
    void cancelTeardownRestart()
    {
        struct Shift // takes the first id that unregistering frees
        {
            int x = 0;
        };
        for (int round = 0; round < 2; ++round) {
            Rig rig;
            QVERIFY(rig.connect());
            const Row &r = rows().first();
            const QString cancelled = r.call(*rig.handler, &rig.receiver);
            const QString kept = r.call(*rig.handler, &rig.receiver);
            r.call(*rig.handler, &rig.receiver);
            QVERIFY(rig.handler->cancelRequest(cancelled));
            QVERIFY(rig.peer.waitForFrames(3));
            QTRY_COMPARE(rig.pending(), 2);
            QList<FramedPeer::Frame> frames = rig.peer.takeFrames();
            const FramedPeer::Frame last = frames.takeLast();
            for (const FramedPeer::Frame &frame : frames)
                rig.peer.sendFrame(frame.seqId, answerAny(frame));
            QTRY_VERIFY(!rig.receiver.deliveries.isEmpty());
            QCOMPARE(rig.receiver.deliveries.first().requestId, kept);
            QVERIFY(r.holds(rig.receiver.deliveries.first().value.get(), r.stamp()));

            rig.handler.reset();
            rig.peer.sendFrame(last.seqId, answerAny(last));
            QTRY_COMPARE(
                ofx::lumo::KLumoIpcChannelPrivate::get(rig.channel.get())->waitingRequests(), 0);
            QCoreApplication::sendPostedEvents();
            QCOMPARE(rig.receiver.deliveries.size(), 1);
            KLumoMetaTypes::unregisterAll();
            qRegisterMetaType<Shift>("tst_shift");
        }
    }
};

LUMO_TEST_MAIN(TestKLumoIpcHandler)
#include "tst_klumoipchandler.moc"
#include "moc_dispatchreceiver.cpp"
