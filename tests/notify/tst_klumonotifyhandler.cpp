// Every notification of the service, sent as a real frame over a local socket
// to the channel, and what reaches the target: member, value, thread, order.
#include "callrecorder.h"
#include "framedpeer.h"
#include "lumotestenv.h"
#include "notifylogcapture.h"
#include "notifytarget.h"
#include "thriftcodec.h"

#include "notify/klumonotifyactualprocessor.h"
#include "notify/klumonotifyhandler.h"
#include "transport/klumoipcchannel.h"

#include "KLumoNotifyServices.h"

#include <QThread>
#include <QtTest>

#include <functional>

using namespace ofx::lumo;
using namespace lumotest;

namespace {

// What one notification must produce at the target.
struct Expect
{
    QByteArray member;
    std::function<bool(const QVariantList &)> check;
};

struct Case
{
    QByteArray body;
    QVector<Expect> expects;
    QStringList logs; // lines of lumoipc.notify, in order
};

const QString Succeeded = QStringLiteral("On Notified succeeded");

template<class Args, class V> QByteArray bodyOf(const char *method, const V &value)
{
    Args args;
    args.arg = value;
    return encodeMessage(method, apache::thrift::protocol::T_ONEWAY, args);
}
#define BODY(method, value) bodyOf<KLumoNotifyServices_##method##_args>(#method, value)

template<class T> Expect same(const char *member, const char *typeName, const T &value)
{
    return {member, [typeName, value](const QVariantList &args) {
                return args.size() == 1 && unbox<T>(args.at(0), typeName) == value;
            }};
}

Expect noArgs(const char *member)
{
    return {member, [](const QVariantList &args) { return args.isEmpty(); }};
}

Expect values(const char *member, const QVariantList &expected)
{
    return {member, [expected](const QVariantList &args) { return args == expected; }};
}

CloudItem item(int i)
{
    CloudItem c;
    c.groupId = "g" + std::to_string(i);
    c.parentId = "p" + std::to_string(i);
    c.id = "id" + std::to_string(i);
    c.size = 1000 + i;
    c.name = "\xe6\x8a\xa5\xe5\x91\x8a-" + std::to_string(i) + ".docx"; // "报告-i.docx"
    c.mtime = 1700000000000LL + i;
    c.deleted = i % 2;
    c.fileState = i;
    c.averageSpeed = 1.5 * i;
    c.userAcl.bRead = true;
    c.userAcl.bShare = i % 2;
    c.category = {"a" + std::to_string(i), "b"};
    c.extraParam = {{"k", "v" + std::to_string(i)}};
    return c;
}

// A record tagged with @p tag, so that rows do not compare equal by accident.
template<class T, class = void> struct HasExtraParam : std::false_type
{
};
template<class T> struct HasExtraParam<T, std::void_t<decltype(T::extraParam)>> : std::true_type
{
};
template<class T> T tagged(const std::string &tag)
{
    T record;
    if constexpr (HasExtraParam<T>::value)
        record.extraParam = {{"row", tag}, {"\xe5\x90\x8d", "\xe5\x80\xbc"}};
    return record;
}

FileActionArgEntry entry(int i)
{
    FileActionArgEntry e;
    e.action = i;
    e.fileId = "f" + std::to_string(i);
    e.fileName = "n" + std::to_string(i);
    return e;
}

std::map<std::string, std::string> utf8Map()
{
    return {{"fileId", "f-1"}, {"\xe5\x90\x8d", "\xe5\x80\xbc"}, {"empty", ""}};
}

StringMapArgs utf8StringMap()
{
    return {{QStringLiteral("fileId"), QStringLiteral("f-1")},
            {QString::fromUtf8("\xe5\x90\x8d"), QString::fromUtf8("\xe5\x80\xbc")},
            {QStringLiteral("empty"), QString()}};
}

QString actionLog(int type)
{
    return QStringLiteral("KLumoNotifyHandler::notifyAction NotifyActionType=%1").arg(type);
}

} // namespace

class TestKLumoNotifyHandler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void notification_data();
    void notification();
    void invocationsAreQueued();
    void pushTargetReceivesLocalMessages();
    void goneTargetGetsNothing();

public Q_SLOTS:
    // The channel's owner is told about the connection.
    void on_notifyConnected(bool = true) { ++m_connected; }
    void on_notifyDisconnected(bool = false) { }

private:
    void buildCases();
    void add(const QString &name, const QByteArray &body, QVector<Expect> expects,
             QStringList logs = {Succeeded})
    {
        m_names.append(name);
        m_cases.append({body, std::move(expects), std::move(logs)});
    }
    // Sends @p body, then a sentinel, and returns what reached the target before
    // the sentinel did. Frames are handled in order and the target's queue is
    // FIFO, so nothing of @p body can arrive after the sentinel.
    bool deliver(const QByteArray &body, QVector<CallRecorder::Call> *calls, QStringList *logs);

    QThread m_targetThread;
    CallRecorder m_recorder;
    NotifyTarget *m_target = nullptr;
    std::shared_ptr<KLumoNotifyHandler> m_handler;
    std::shared_ptr<KLumoNotifyActualProcessor> m_processor;
    FramedPeer m_peer;
    std::unique_ptr<KLumoIpcChannel> m_channel;
    int m_connected = 0;
    int m_sentinel = 0;
    QStringList m_logs;
    NotifyLogCapture m_capture;

    QStringList m_names;
    QVector<Case> m_cases;
};

void TestKLumoNotifyHandler::initTestCase()
{
    m_capture.start(&m_logs);

    // The target lives on a thread of its own, so "in the target's thread" means
    // something: the channel and the handler run on this one.
    m_target = new NotifyTarget(&m_recorder);
    m_target->moveToThread(&m_targetThread);
    m_targetThread.start();

    m_handler = std::make_shared<KLumoNotifyHandler>(m_target);
    m_processor = std::make_shared<KLumoNotifyActualProcessor>(m_handler);

    const QString name =
        QStringLiteral("lumo-notify-test-%1").arg(QCoreApplication::applicationPid());
    QVERIFY(m_peer.listen(name));
    m_channel = std::make_unique<KLumoIpcChannel>(this, m_processor);
    QVERIFY(m_channel->connectToServer(name));
    QVERIFY(m_peer.waitForClient());
    QTRY_VERIFY(m_channel->isConnected());
    buildCases();
}

void TestKLumoNotifyHandler::cleanupTestCase()
{
    m_channel.reset();
    m_targetThread.quit();
    m_targetThread.wait();
    delete m_target;
    m_capture.stop();
}

bool TestKLumoNotifyHandler::deliver(const QByteArray &body, QVector<CallRecorder::Call> *calls,
                                     QStringList *logs)
{
    m_recorder.take();
    m_logs.clear();
    NotifyActionsMapArg sentinel;
    sentinel.nActionType = 4;
    const QString mark = QString::number(++m_sentinel);
    sentinel.mapArgs = {{"sentinel", mark.toStdString()}};
    m_peer.sendFrame(0, body);
    m_peer.sendFrame(0, BODY(notifyActionsMap, sentinel));

    const auto arrived = [&] {
        const auto calls = m_recorder.calls();
        return !calls.isEmpty() && calls.last().args.size() == 1
            && calls.last().args.first().value<StringMapArgs>().value("sentinel") == mark;
    };
    if (!QTest::qWaitFor(arrived, 5000))
        return false;
    *calls = m_recorder.take();
    calls->removeLast();
    *logs = m_logs.mid(0, m_logs.size() - 2); // the sentinel's own two lines
    return true;
}

void TestKLumoNotifyHandler::notification_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < m_names.size(); ++i)
        QTest::addRow("%s", qPrintable(m_names.at(i))) << i;
}

void TestKLumoNotifyHandler::notification()
{
    QFETCH(int, index);
    const Case &c = m_cases.at(index);

    QStringList logs;
    QVector<CallRecorder::Call> calls;
    QVERIFY2(deliver(c.body, &calls, &logs), "the sentinel frame never reached the target");
    QCOMPARE(logs, c.logs);
    QCOMPARE(calls.size(), c.expects.size());
    for (int i = 0; i < calls.size(); ++i) {
        QCOMPARE(calls.at(i).member, c.expects.at(i).member);
        QCOMPARE(calls.at(i).thread, &m_targetThread);
        QVERIFY2(c.expects.at(i).check(calls.at(i).args), "value differs");
    }
}

void TestKLumoNotifyHandler::buildCases()
{
    // notifyAction: one row per type that means something, and some that do not.
    const QVector<QPair<int, Expect>> actions = {
        {1, noArgs("on_accountUpdateInfo")},
        {2, noArgs("on_accountNoLogined")},
        {4, noArgs("on_notifyRecentFileListChanged")},
        {5, noArgs("on_notifyDocumentRoamingSwitchChanged")},
        {6, values("signal_notifyCloudDocOpening", {false})},
        {7, values("signal_notifyCloudDocOpening", {true})},
        {8, noArgs("signal_notifyRecycleBinClear")},
    };
    for (const auto &a : actions) {
        NotifyActionArg arg;
        arg.type = a.first;
        add(QStringLiteral("notifyAction/%1").arg(a.first), BODY(notifyAction, arg), {a.second},
            {actionLog(a.first), Succeeded});
    }
    for (int type : {0, 3, 9, -1}) {
        NotifyActionArg arg;
        arg.type = type;
        add(QStringLiteral("notifyAction/%1").arg(type), BODY(notifyAction, arg), {},
            {actionLog(type), Succeeded});
    }

    // Records passed on as they are. Two with nested lists and optional fields;
    // the others carry a tag of their own (a record copied under another
    // type's name would not compare equal).
#define FORWARD(prefix, method, Arg)                                                               \
    add(#method, BODY(method, tagged<Arg>(#method)),                                               \
        {same(#prefix #method, #Arg, tagged<Arg>(#method))})
    {
        NotifyFileActionArg a = tagged<NotifyFileActionArg>("notifyFileAction");
        a.action = 3;
        a.fileName = "\xe6\x96\x87\xe4\xbb\xb6.docx";
        a.__set_entries({entry(1), entry(2)});
        a.starList = {entry(3)};
        add("notifyFileAction", BODY(notifyFileAction, a),
            {same("signal_notifyFileAction", "NotifyFileActionArg", a)});
    }
    {
        NotifyFileCreationArg a;
        a.itemInfo = item(1);
        a.__set_itemList({item(2), item(3)});
        a.linkFolderList = {item(4)};
        CloudItemPathInfo star;
        star.itemInfo = item(5);
        star.pathInfos = {item(6), item(7)};
        star.path = "/a/b";
        a.starList = {star};
        add("notifyFileCreation", BODY(notifyFileCreation, a),
            {same("signal_notifyFileCreation", "NotifyFileCreationArg", a)});
    }
    FORWARD(signal_, notifyFileBatchAction, NotifyFileBatchActionArg);
    FORWARD(signal_, notifyFileStateChanged, NotifyFileStateListArg);
    FORWARD(signal_, notifyLoadFavoriteItemsChanged, NotifyLoadFavoriteArg);
    FORWARD(signal_, notifyFilePropertyChanged, NotifyFilePropertyArg);
    FORWARD(signal_, notifyGroupCreation, NotifyGroupCreationArg);
    FORWARD(signal_, notifyGroupPropertyChanged, NotifyGroupPropertyArg);
    FORWARD(signal_, notifyGroupDeletion, NotifyGroupDeletionArg);
    FORWARD(signal_, notifyCompanyCreation, NotifyCompanyCreationArg);
    FORWARD(signal_, notifyCompanyPropertyChanged, NotifyCompanyPropertyArg);
    FORWARD(signal_, notifyCompanyDeletion, NotifyCompanyDeletionArg);
    FORWARD(signal_, notifyUserThumbnail, NotifyUserThumbnailArg);
    FORWARD(on_, notifyMsgStatusChanged, NotifyMsgStatusChangedArg);
    FORWARD(on_, notifyClearMsgNotification, NotifyClearMsgNotificationArg);
    FORWARD(signal_, notifyRecentFileItemsChanged, NotifyRecentFileChangeArg);
    FORWARD(signal_, notifyRecentFileItemsFetched, NotifyRecentFileFetchArg);
    FORWARD(signal_, notifyRecycleBinChanged, NotifyRecycleBinArg);
    FORWARD(signal_, notifyCloudEventsChanged, NotifyCloudEventsArg);
    FORWARD(signal_, notifyGetCloudEventsPath, NotifyGetCloudEventsPathArg);
    FORWARD(signal_, notifyItemReminderChanged, NotifyItemReminderChangedArg);
    FORWARD(signal_, notifyBrowserFolder, NotifyBroswerFolderArg);
    FORWARD(signal_, notifyRoamingFileTransferFinished, NotifyFileTransferArg);
    FORWARD(signal_, notifyRecommendUpdate, NotifyRecommendUpdateArg);
#undef FORWARD
    {
        NotifyDocTeamV2Arg a; // the one record whose map is called extraMap
        a.eventType = "join";
        DocteamUserV2 u;
        u.userId = "u1";
        u.subscribeTypes = {"s1", "s2"};
        a.user = u;
        a.members = {u, u};
        a.extraMap = {{"k", "v"}};
        add("notifyDocTeamV2", BODY(notifyDocTeamV2, a),
            {same("signal_notifyDocTeamV2", "NotifyDocTeamV2Arg", a)});
    }

    // The thirteen that are accepted and leave no trace.
#define SILENT(method, Arg) add(#method, BODY(method, tagged<Arg>(#method)), {})
    SILENT(notifyUserInfoChanged, NotifyUserInfoArg);
    SILENT(notifyFileThumnail, NotifyFileThumbnailArg);
    SILENT(notifyDrag2ImInfo, NotifyDrag2ImInfoArg);
    SILENT(notifySmartUpdateChanged, NotifySmartUpdateArg);
    SILENT(notifySmartSyncChanged, NotifySmartSyncArg);
    SILENT(notifyAutoUpdateFoldersChanged, NotifyAutoUpdateFoldersChangedArg);
    SILENT(notifyAutoUpdateStatus, NotifyAutoUpdateStatusArg);
    SILENT(notifyMsgList, NotifyMsgListArg);
    SILENT(notifyUserGenericInfoChanged, NotifyUserGenericInfoArg);
    SILENT(notifyCloseOfficialTemplateWindow, NotifyCloseOfficialTemplateWindowArg);
    SILENT(notifySmartSyncFolderAutoCreated, NotifySmartSyncFolderAutoCreatedArg);
    SILENT(notifyCloseSyncLocalFolderWindow, NotifyCloseSyncLocalFolderWindowArg);
    SILENT(notifyFileIndexRecordsChanged, NotifyFileIndexRecordsChangedArg);
#undef SILENT

    // Converted values.
    {
        // All bytes, embedded NUL and invalid UTF-8 included.
        const std::string msg("act=broadcast&x=1\0tail\xff", 24);
        add("notifyBroadcastLocalMsg", BODY(notifyBroadcastLocalMsg, msg),
            {values("on_newMessage", {QByteArray(msg.data(), int(msg.size()))})});
    }
    {
        const std::vector<std::string> list = {"first", "\xc3\xbcn\xc3\xaf", "", "last"};
        const QStringList expected = {"first", QString::fromUtf8("\xc3\xbcn\xc3\xaf"), "", "last"};
        add("notifyNewMsgList", BODY(notifyNewMsgList, list),
            {values("on_notifyNewMsgList", {expected})});
    }
    {
        const std::vector<CloudItem> list = {item(1), item(2), item(3)};
        add("notifyRecentFileStateChanged", BODY(notifyRecentFileStateChanged, list),
            {same("on_notifyRecentFileStateChanged", "QVector<CloudItem>",
                  QVector<CloudItem>(list.begin(), list.end()))});
    }
    for (int status : {1, 2, 0}) {
        NotifyDocCollaborativeStatusArg a;
        a.fileId = "\xe6\x96\x87-1";
        a.collaborativeStatus = status;
        a.collaboratorNum = 7;
        add(QStringLiteral("notifyDocCollaborativeStatus/%1").arg(status),
            BODY(notifyDocCollaborativeStatus, a),
            {values("on_notifyDocCollaborativeStatus",
                    {QString::fromUtf8("\xe6\x96\x87-1"), status == 1, 7u})});
    }
    const char *maps[] = {"on_notifyActionsMapDefault", "on_notifyActionsMapForShareFile",
                          "on_notifyActionsMapForReadMessage", "on_notifyActionsMapForCooperate",
                          "on_notifyActionsMapDefault"};
    for (int type = 0; type <= 4; ++type) {
        NotifyActionsMapArg a;
        a.nActionType = type;
        a.mapArgs = utf8Map();
        add(QStringLiteral("notifyActionsMap/%1").arg(type), BODY(notifyActionsMap, a),
            {same(maps[type], "StringMapArgs", utf8StringMap())},
            {QStringLiteral("KLumoNotifyHandler::notifyActionsMap NotifyActionsMapType=%1")
                 .arg(type),
             Succeeded});
    }
    for (int type : {1, 2}) {
        NotifyShareDiscussionArg a;
        a.nActionType = type;
        a.mapArgs = utf8Map();
        QVector<Expect> expects;
        if (type == 1)
            expects.append(same("on_notifyShareDiscussion", "StringMapArgs", utf8StringMap()));
        add(QStringLiteral("notifyShareDiscussion/%1").arg(type), BODY(notifyShareDiscussion, a),
            expects,
            {QStringLiteral(
                 "KLumoNotifyHandler::notifyShareDiscussion NotifyShareDiscussionType=%1")
                 .arg(type),
             Succeeded});
    }
}

void TestKLumoNotifyHandler::invocationsAreQueued()
{
    // Target on the handler's own thread: nothing may run before the current
    // event is over, even though the handler is called synchronously.
    CallRecorder recorder;
    NotifyTarget target(&recorder);
    auto handler = std::make_shared<KLumoNotifyHandler>(&target);
    KLumoNotifyActualProcessor processor(handler);

    NotifyActionArg action;
    action.type = 7;
    NotifyDocCollaborativeStatusArg collab;
    collab.fileId = "f";
    collab.collaborativeStatus = 1;
    collab.collaboratorNum = 2;
    const QByteArray bodies[] = {BODY(notifyAction, action),
                                 BODY(notifyNewMsgList, std::vector<std::string> {"a"}),
                                 BODY(notifyDocCollaborativeStatus, collab)};
    for (const QByteArray &body : bodies) {
        auto buffer = std::make_shared<apache::thrift::transport::TMemoryBuffer>(
            reinterpret_cast<uint8_t *>(const_cast<char *>(body.constData())),
            uint32_t(body.size()), apache::thrift::transport::TMemoryBuffer::COPY);
        processor.onNotified(buffer);
    }
    QCOMPARE(recorder.count(), 0);
    QTRY_COMPARE(recorder.count(), 3);
    const auto calls = recorder.calls();
    QCOMPARE(calls.at(0).member, QByteArray("signal_notifyCloudDocOpening"));
    QCOMPARE(calls.at(1).member, QByteArray("on_notifyNewMsgList"));
    QCOMPARE(calls.at(2).member, QByteArray("on_notifyDocCollaborativeStatus"));
}

void TestKLumoNotifyHandler::pushTargetReceivesLocalMessages()
{
    CallRecorder recorder, pushRecorder;
    NotifyTarget target(&recorder);
    NotifyTarget pushTarget(&pushRecorder);
    KLumoNotifyHandler handler(&target, &pushTarget);
    handler.notifyBroadcastLocalMsg([] {}, "act=online");
    NotifyActionArg action;
    action.type = 1;
    handler.notifyAction([] {}, action);
    QTRY_COMPARE(recorder.count(), 1);
    QTRY_COMPARE(pushRecorder.count(), 1);
    QCOMPARE(pushRecorder.calls().at(0).member, QByteArray("on_newMessage"));
    QCOMPARE(recorder.calls().at(0).member, QByteArray("on_accountUpdateInfo"));
}

void TestKLumoNotifyHandler::goneTargetGetsNothing()
{
    // A null or destroyed target: the log line stays, nothing is invoked, the
    // service's call is still completed.
    CallRecorder recorder;
    auto *target = new NotifyTarget(&recorder);
    KLumoNotifyHandler handler(target);
    KLumoNotifyHandler none(nullptr);
    delete target;
    NotifyActionArg action;
    action.type = 1;
    int completed = 0;
    m_logs.clear();
    handler.notifyAction([&] { ++completed; }, action);
    none.notifyAction([&] { ++completed; }, action);
    handler.notifyNewMsgList([&] { ++completed; }, {"a"});
    QCOMPARE(completed, 3);
    QCOMPARE(m_logs, QStringList({actionLog(1), actionLog(1)}));
    QTest::qWait(20);
    QCOMPARE(recorder.count(), 0);
}

LUMO_TEST_MAIN(TestKLumoNotifyHandler)
#include "tst_klumonotifyhandler.moc"
