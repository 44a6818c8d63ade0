#include "dispatchreceiver.h"
#include "dispatchtable.h"
#include "framedpeer.h"
#include "lumotestenv.h"

#include "dispatch/klumoipchandler.h"
#include "dispatch/klumoipchandlerprivate.h"
#include "support/klumometatypes.h"
#include "transport/klumoipcchannel_p.h"

#include <QElapsedTimer>
#include <QHash>
#include <QRegularExpression>

#include <thrift/protocol/TCompactProtocol.h>

using namespace lumotest;
using ofx::lumo::KLumoIpcChannel;
using ofx::lumo::KLumoMetaTypes;

namespace {

constexpr int ShortExpiryMs = 300;

QString serverName()
{
    return QStringLiteral("tst_dispatch_%1").arg(QCoreApplication::applicationPid());
}

const Row *rowForMethod(const std::string &method)
{
    static const QHash<QString, const Row *> byMethod = [] {
        QHash<QString, const Row *> h;
        for (const Row &row : rows())
            h.insert(QLatin1String(row.method), &row);
        return h;
    }();
    return byMethod.value(QString::fromStdString(method));
}

const Row &rowForSlot(const char *slot)
{
    for (const Row &row : rows()) {
        if (qstrcmp(row.slot, slot) == 0)
            return row;
    }
    qFatal("no row %s", slot);
}

// The peer's answers: a table row's stamped result (the row's index), the
// generic route's echo of method and parameters, lumoIpcCall's stamp.
constexpr int LumoIpcCallStamp = 7777;
QByteArray answerAny(const FramedPeer::Frame &frame)
{
    const std::string name = peekMessage(frame.body).name;
    if (name == "asynCall") {
        KLumoServices_asynCall_args args;
        decodeMessage(frame.body, args);
        std::string joined;
        for (const std::string &p : args.params)
            joined += (joined.empty() ? "" : ",") + p;
        KLumoServices_asynCall_result result;
        result.success = {{"method", args.method}, {"params", joined}};
        result.__isset.success = true;
        return encodeMessage(name, apache::thrift::protocol::T_REPLY, result);
    }
    if (name == "lumoIpcCall") {
        KLumoServices_lumoIpcCall_args args;
        decodeMessage(frame.body, args);
        KLumoServices_lumoIpcCall_result result;
        result.success = stamped<LumoIpcResult>(LumoIpcCallStamp);
        result.__isset.success = true;
        return encodeMessage(name, apache::thrift::protocol::T_REPLY, result);
    }
    const Row *row = rowForMethod(name);
    return row ? row->answer(name, frame.body, int(row - rows().constData())) : QByteArray();
}

// Peer, channel, client and dispatcher on one local socket. Members are
// destroyed bottom-up: the dispatcher first.
struct Rig
{
    FramedPeer peer;
    std::shared_ptr<KLumoIpcChannel> channel = std::make_shared<KLumoIpcChannel>(nullptr, nullptr);
    apache::thrift::protocol::TCompactProtocolFactory factory;
    std::shared_ptr<Client> client = std::make_shared<Client>(channel, &factory);
    std::unique_ptr<KLumoIpcHandler> handler =
        std::make_unique<KLumoIpcHandler>(nullptr, client, channel);
    DispatchReceiver receiver;

    bool connect()
    {
        if (!peer.listen(serverName()) || !channel->connectToServer(serverName())
            || !peer.waitForClient())
            return false;
        QElapsedTimer t;
        t.start();
        while (!channel->good() && t.elapsed() < 5000)
            QTest::qWait(2);
        return channel->good();
    }
    int pending() const
    {
        return static_cast<KLumoIpcHandlerPrivate *>(handler->privateObject())->pendingCount();
    }
};

// Counts the "lumoipc" lines that start with a prefix, passing every message on.
class LineCounter
{
public:
    explicit LineCounter(const QString &prefix)
    {
        s_prefix = prefix;
        s_count = 0;
        s_previous = qInstallMessageHandler(&LineCounter::handle);
    }
    ~LineCounter() { qInstallMessageHandler(s_previous); }
    int count() const { return s_count; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (qstrcmp(context.category, "lumoipc") == 0 && text.startsWith(s_prefix))
            ++s_count;
        s_previous(type, context, text);
    }
    static inline QString s_prefix;
    static inline int s_count = 0;
    static inline QtMessageHandler s_previous = nullptr;
};

const QRegularExpression NoSuchMethod(QStringLiteral("^QMetaObject::invokeMethod: No such method"));

} // namespace

class TestKLumoIpcHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Names and texts that look like slips are what hosts call and what the
    // service's log readers search for; they must not be "corrected".
    void tableKeepsItsQuirks()
    {
        QCOMPARE(rows().size(), 193);
        QCOMPARE(QLatin1String(rowForSlot("canDrapDropToSystem").method),
                 QLatin1String("canDragDropToSystem"));
        QCOMPARE(QLatin1String(rowForSlot("delayRemoveFile").resultType),
                 QLatin1String("RemoveResult"));
        const char *const texts[][2] = {
            {"clearRecycleBinV5", "Exception on getRecycleBinListV5"},
            {"querySyncFolderFreeLimitPrivilege",
             "Exception on QuerySyncFolderFreeLimitPrivilegeResult"},
            {"cloudItemsMoveTo", "Exception on CloudItemsMoveToResult"},
            {"cloudItemsDuplicate", "Exception on CloudItemsMoveToResult"},
            {"cloudItemsSaveAs", "Exception on CloudItemsSaveAsResult"},
            {"folioSearchWidget", "Exception on folioSearchRecommend"},
            {"delayRemoveFile", "Exception on delayRemoveFile: "},
            {"canShareFolder", "Exception on delayRemoveFile: "},
            {"openCloudDisk", "Exception on openCloudDisk: "},
            {"queryBatchFileOpTask", "Exception on openCloudDisk: "},
            {"batchMoveChildTo", "Exception on openCloudDisk: "},
            {"getUsers", "Exception on openCloudDisk: "},
            {"getOfficialDoc", "Exception on getOfficialDoc: "},
            {"commitRenameOpAfterSaveAs", "Exception on commitRenameOpAfterSaveAs: "},
            {"canDrapDropToSystem", "Exception on canDrapDropToSystem"},
        };
        for (const auto &t : texts)
            QCOMPARE(QString::fromLatin1(rowForSlot(t[0]).exceptionText), QLatin1String(t[1]));
    }

    // Every method by name, plus the generic route and lumoIpcCall, all in
    // flight at once; each must end exactly once, as the scenario says.
    void everyCallEndsOnce_data()
    {
        QTest::addColumn<bool>("connected");
        QTest::addColumn<bool>("answering");
        QTest::addRow("answered") << true << true;
        QTest::addRow("unanswered, expires") << true << false;
        QTest::addRow("channel closed, fails at once") << false << false;
    }
    void everyCallEndsOnce()
    {
        QFETCH(bool, connected);
        QFETCH(bool, answering);
        Rig rig;
        rig.handler->setExpiryInterval(connected ? ShortExpiryMs : 60000);
        if (connected)
            QVERIFY(rig.connect());
        if (answering)
            rig.peer.setResponder(answerAny);

        QHash<QString, const Row *> calls;
        for (const Row &row : rows())
            calls.insert(row.callOn(*rig.handler, &rig.receiver), &row);
        const QString generic =
            rig.handler->asynCall(QStringLiteral("getLoginInfo"), {QStringLiteral("tst")},
                                  &rig.receiver, QStringLiteral("onResult_KRpcResponse"));
        LumoIpcArg ipcArg;
        ipcArg.__set_method("m");
        const QString ipc =
            rig.handler->asynCallEx(QStringLiteral("lumoIpcCall"), Q_ARG(LumoIpcArg, ipcArg),
                                    &rig.receiver, QStringLiteral("onResult_LumoIpcResult"));
        const int total = calls.size() + 2;
        QCOMPARE(calls.size(), rows().size());

        QElapsedTimer clock;
        clock.start();
        QTRY_COMPARE_WITH_TIMEOUT(rig.receiver.deliveries.size(), total, 10000);
        if (!connected)
            QVERIFY2(clock.elapsed() < 5000, "closed channel: calls must not wait for expiry");
        if (connected && !answering)
            QVERIFY(clock.elapsed() >= ShortExpiryMs);
        QTest::qWait(answering ? 50 : ShortExpiryMs); // nothing ends twice
        QCOMPARE(rig.receiver.deliveries.size(), total);
        QCOMPARE(rig.pending(), 0);
        if (connected)
            QCOMPARE(rig.peer.frameCount(), total);

        const QRegularExpression idForm(QStringLiteral("^[0-9A-F]{32}$"));
        QSet<QString> seen;
        for (const DispatchReceiver::Delivery &d : qAsConst(rig.receiver.deliveries)) {
            QVERIFY2(idForm.match(d.requestId).hasMatch(), qPrintable(d.requestId));
            QVERIFY2(!seen.contains(d.requestId), qPrintable(d.requestId));
            seen.insert(d.requestId);
            QCOMPARE(d.success, answering);
            if (d.requestId == generic) {
                QCOMPARE(d.type, QByteArray("KRpcResponse"));
                const KRpcResponse &r = rig.receiver.valueOf<KRpcResponse>(d);
                if (answering)
                    QCOMPARE(r.values(),
                             (stringMap {{"method", "getLoginInfo"}, {"params", "tst"}}));
                else
                    QCOMPARE(r.error(),
                             connected ? QStringLiteral("waitReadError")
                                       : QStringLiteral("connectError"));
                continue;
            }
            if (d.requestId == ipc) {
                QCOMPARE(d.type, QByteArray("LumoIpcResult"));
                QCOMPARE(rig.receiver.valueOf<LumoIpcResult>(d),
                         answering ? stamped<LumoIpcResult>(LumoIpcCallStamp) : LumoIpcResult());
                continue;
            }
            const Row *row = calls.value(d.requestId);
            QVERIFY2(row, qPrintable(d.requestId));
            QCOMPARE(d.type, QByteArray(row->resultType));
            const bool valueOk = answering
                ? row->isStamped(d.value.get(), int(row - rows().constData()))
                : row->isDefault(d.value.get());
            QVERIFY2(valueOk, row->slot);
        }
    }

    void callsThatCannotBeQueued_data()
    {
        QTest::addColumn<QString>("method");
        QTest::addColumn<bool>("wrongArgument");
        QTest::addRow("unknown method") << "noSuchMethod" << false;
        QTest::addRow("service method without a slot") << "getLoginInfo" << false;
        QTest::addRow("argument of another method") << "remove" << true;
    }
    void callsThatCannotBeQueued()
    {
        QFETCH(QString, method);
        QFETCH(bool, wrongArgument);
        Rig rig;
        QVERIFY(rig.connect());
        const RemoveArg removeArg;
        const CreateFolderArg folderArg;
        QTest::ignoreMessage(QtWarningMsg, NoSuchMethod);
        QTest::ignoreMessage(
            QtInfoMsg,
            qPrintable(
                QStringLiteral("KLumoIpcHandler::call method: %1 Fail to invoke").arg(method)));
        const QGenericArgument arg = wrongArgument ? QGenericArgument("CreateFolderArg", &folderArg)
                                                   : QGenericArgument("RemoveArg", &removeArg);
        const QString id = rig.handler->asynCallEx(method, arg, &rig.receiver,
                                                   QStringLiteral("onResult_RemoveResult"));
        QCOMPARE(id.size(), 32);
        QTest::qWait(50);
        QCOMPARE(rig.peer.frameCount(), 0);
        QCOMPARE(rig.pending(), 0);
        QVERIFY(rig.receiver.deliveries.isEmpty());
    }

    // A call whose result cannot reach a slot: sent and answered, then dropped
    // at delivery with the line that says why.
    void undeliverableResults_data()
    {
        QTest::addColumn<int>("receiver"); // 0: none, 1: deleted before the reply, 2: alive
        QTest::addColumn<QString>("slot");
        QTest::addColumn<QString>("line");
        const QString gone = QStringLiteral("KLumoIpcHandlerPrivate::onResultEx method: "
                                            "onResult_RemoveResult Caller has been destructed");
        QTest::addRow("null receiver") << 0 << "onResult_RemoveResult" << gone;
        QTest::addRow("receiver deleted before the reply") << 1 << "onResult_RemoveResult" << gone;
        QTest::addRow("slot with other parameters")
            << 2 << "onResult_CreateFolderResult"
            << "KLumoIpcHandlerPrivate::onResultEx method: onResult_CreateFolderResult Failed to "
               "invoke";
        QTest::addRow("no slot name") << 2 << ""
                                      << "";
    }
    void undeliverableResults()
    {
        QFETCH(int, receiver);
        QFETCH(QString, slot);
        QFETCH(QString, line);
        Rig rig;
        QVERIFY(rig.connect());
        auto doomed = std::make_unique<DispatchReceiver>();
        QObject *target = receiver == 0 ? nullptr : receiver == 1 ? doomed.get() : &rig.receiver;
        const RemoveArg arg;
        rig.handler->asynCallEx(QStringLiteral("remove"), Q_ARG(RemoveArg, arg), target, slot);
        QVERIFY(rig.peer.waitForFrames(1));
        doomed.reset();
        if (!line.isEmpty())
            QTest::ignoreMessage(QtInfoMsg, qPrintable(line));
        if (line.endsWith(QLatin1String("Failed to invoke")))
            QTest::ignoreMessage(QtWarningMsg, NoSuchMethod);
        const FramedPeer::Frame frame = rig.peer.takeFrames().first();
        rig.peer.sendFrame(frame.seqId, answerAny(frame));
        QTRY_COMPARE(rig.pending(), 0);
        QTest::qWait(20);
        QVERIFY(rig.receiver.deliveries.isEmpty());
    }

    void cancel()
    {
        Rig rig;
        QVERIFY(rig.connect());
        const RemoveArg arg;
        const QString slot = QStringLiteral("onResult_RemoveResult");
        const QString cancelled = rig.handler->asynCallEx(
            QStringLiteral("remove"), Q_ARG(RemoveArg, arg), &rig.receiver, slot);
        const QString kept = rig.handler->asynCallEx(QStringLiteral("remove"),
                                                     Q_ARG(RemoveArg, arg), &rig.receiver, slot);
        QVERIFY(rig.peer.waitForFrames(2));
        QTRY_COMPARE(rig.pending(), 2);

        QVERIFY(rig.handler->cancelRequest(cancelled));
        QVERIFY(
            rig.handler->cancelRequest(KLumoIpcHandler::createRequestId())); // unknown: no effect
        QTRY_COMPARE(rig.pending(), 1);
        // The cancelled call's reply still comes, and is dropped.
        for (const FramedPeer::Frame &frame : rig.peer.takeFrames())
            rig.peer.sendFrame(frame.seqId, answerAny(frame));
        QTRY_COMPARE(rig.receiver.deliveries.size(), 1);
        QTest::qWait(50);
        QCOMPARE(rig.receiver.deliveries.size(), 1);
        QCOMPARE(rig.receiver.deliveries.first().requestId, kept);
        QVERIFY(rig.receiver.deliveries.first().success);
        QCOMPARE(rig.pending(), 0);
    }

    // A reply that does not decode: one exception line with the adapter's own
    // text, no slot call, and the call ends later by expiry.
    void undecodableReply_data()
    {
        QTest::addColumn<QByteArray>("slot");
        QTest::addRow("remove") << QByteArray("remove");
        QTest::addRow("text naming another method") << QByteArray("clearRecycleBinV5");
        QTest::addRow("text with colon") << QByteArray("getPersonalSpace");
        QTest::addRow("void result") << QByteArray("clearUserCache");
    }
    void undecodableReply()
    {
        QFETCH(QByteArray, slot);
        const Row &row = rowForSlot(slot.constData());
        Rig rig;
        rig.handler->setExpiryInterval(ShortExpiryMs);
        QVERIFY(rig.connect());
        const QString id = row.callOn(*rig.handler, &rig.receiver);
        QVERIFY(rig.peer.waitForFrames(1));
        LineCounter exceptionLines(QStringLiteral("Exception on"));
        QTest::ignoreMessage(QtInfoMsg,
                             QRegularExpression(QStringLiteral("^%1\\S").arg(
                                 QRegularExpression::escape(QLatin1String(row.exceptionText)))));
        rig.peer.sendFrame(rig.peer.takeFrames().first().seqId,
                           QByteArray("\x82\x21\x00garbage", 10));
        QTest::qWait(ShortExpiryMs / 2);
        QVERIFY(rig.receiver.deliveries.isEmpty());
        QTRY_COMPARE(rig.receiver.deliveries.size(), 1);
        QCOMPARE(rig.receiver.deliveries.first().requestId, id);
        QVERIFY(!rig.receiver.deliveries.first().success);
        QCOMPARE(exceptionLines.count(), 1);
    }

    // The channel drops calls when the connection goes; they end by expiry.
    void disconnectWhilePending()
    {
        Rig rig;
        rig.handler->setExpiryInterval(ShortExpiryMs);
        QVERIFY(rig.connect());
        const QString id = rig.handler->asynCall(QStringLiteral("getLoginInfo"), {}, &rig.receiver,
                                                 QStringLiteral("onResult_KRpcResponse"));
        QVERIFY(rig.peer.waitForFrames(1));
        rig.peer.disconnectClient();
        QTRY_COMPARE(rig.receiver.deliveries.size(), 1);
        QCOMPARE(rig.receiver.deliveries.first().requestId, id);
        QCOMPARE(rig.receiver.valueOf<KRpcResponse>(rig.receiver.deliveries.first()),
                 KRpcResponse::waitReadError());
    }

    // Replies that arrive after the dispatcher is gone find nothing to deliver to.
    void replyAfterTeardown()
    {
        Rig rig;
        QVERIFY(rig.connect());
        const RemoveArg arg;
        rig.handler->asynCallEx(QStringLiteral("remove"), Q_ARG(RemoveArg, arg), &rig.receiver,
                                QStringLiteral("onResult_RemoveResult"));
        QVERIFY(rig.peer.waitForFrames(1));
        rig.handler.reset();
        const FramedPeer::Frame frame = rig.peer.takeFrames().first();
        rig.peer.sendFrame(frame.seqId, answerAny(frame));
        QTRY_COMPARE(ofx::lumo::KLumoIpcChannelPrivate::get(rig.channel.get())->waitingRequests(), 0);
        QTest::qWait(20);
        QVERIFY(rig.receiver.deliveries.isEmpty());
    }

    // The library may be freed (its meta types unregistered) and initialised again.
    void worksAgainAfterUnregister()
    {
        for (int round = 0; round < 2; ++round) {
            Rig rig;
            QVERIFY(rig.connect());
            rig.peer.setResponder(answerAny);
            const Row &row = rowForSlot("delayRemoveFile");
            const QString id = row.callOn(*rig.handler, &rig.receiver);
            const QString generic =
                rig.handler->asynCall(QStringLiteral("getLoginInfo"), {QStringLiteral("x")},
                                      &rig.receiver, QStringLiteral("onResult_KRpcResponse"));
            QTRY_COMPARE(rig.receiver.deliveries.size(), 2);
            for (const auto &d : qAsConst(rig.receiver.deliveries)) {
                QVERIFY(d.success);
                QVERIFY(d.requestId == id || d.requestId == generic);
            }
            QVERIFY(QMetaType::type("RemoveResult") != QMetaType::UnknownType);
            rig.handler.reset();
            KLumoMetaTypes::unregisterAll();
            QCOMPARE(QMetaType::type("RemoveResult"), int(QMetaType::UnknownType));
            QCOMPARE(QMetaType::type("KRpcResponse"), int(QMetaType::UnknownType));
        }
    }
};

LUMO_TEST_MAIN(TestKLumoIpcHandler)
#include "tst_klumoipchandler.moc"
