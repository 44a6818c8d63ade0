// Every notification, as a real frame over a local socket to the library as a host
// has it (channel, generated processor, handler, proxy, singleton), and what comes
// out: signals, values, and the fixed log lines (their order shows queueing).
#include "framedpeer.h"
#include "lumotestenv.h"
#include "notifytarget.h"
#include "thriftcodec.h"

#include "ipc/klumoipc_p.h"
#include "notify/klumonotifyhandler.h"
#include "support/klumometatypes.h"
#include "support/lumolog.h"

#include "KLumoNotifyServices.h"

#include <QSet>
#include <QTest>

using namespace ofx::lumo;
using namespace lumotest;

namespace {

// Every signal of an object, each caught by a QSignalSpy.
class SignalLog
{
public:
    using Call = QPair<QByteArray, QVariantList>; // signal name, arguments
    explicit SignalLog(QObject *object)
    {
        const QMetaObject *mo = object->metaObject();
        for (int i = mo->methodOffset(); i < mo->methodCount(); ++i) {
            if (mo->method(i).methodType() == QMetaMethod::Signal)
                m_spies.emplace_back(std::make_unique<QSignalSpy>(object, mo->method(i)));
        }
    }
    // What was caught since the last call, sorted by signal name.
    QVector<Call> take()
    {
        QVector<Call> calls;
        for (const auto &spy : m_spies) {
            const QByteArray name = spy->signal().left(spy->signal().indexOf('('));
            for (const QVariantList &args : qAsConst(*spy))
                calls.append({name, args});
            spy->clear();
        }
        std::stable_sort(calls.begin(), calls.end(),
                         [](const Call &a, const Call &b) { return a.first < b.first; });
        return calls;
    }

private:
    std::vector<std::unique_ptr<QSignalSpy>> m_spies;
};

// The lines whose texts the notification path fixes: the handler's and the
// proxy's slots'. Everything else goes on to Qt's own handler.
QStringList g_logs;
void captureLog(QtMsgType type, const QMessageLogContext &ctx, const QString &msg)
{
    const QByteArray category(ctx.category);
    if (category == "lumoipc.notify"
        || (category == "lumoipc.connection" && msg.startsWith("KLumoIpcProxy::on_")))
        g_logs << msg;
    else
        qt_message_output(type, ctx, msg);
}

// A signal of the singleton and a check of its arguments.
struct Expect
{
    QByteArray signal;
    std::function<bool(const QVariantList &)> check;
};

const QString Succeeded = QStringLiteral("On Notified succeeded");

template<class Args, class V> QByteArray bodyOf(const char *method, const V &value)
{
    Args args;
    args.arg = value;
    return encodeMessage(method, apache::thrift::protocol::T_ONEWAY, args);
}
#define BODY(method, value) bodyOf<KLumoNotifyServices_##method##_args>(#method, value)

// One argument, of the type registered as @p typeName, equal to @p value.
template<class T> Expect same(const QByteArray &signal, const char *typeName, const T &value)
{
    return {signal, [=](const QVariantList &args) {
                const int type = KLumoMetaTypes::idOf(typeName);
                return args.size() == 1 && type && args[0].userType() == type
                    && *static_cast<const T *>(args[0].constData()) == value;
            }};
}

Expect values(const QByteArray &signal, const QVariantList &expected = {})
{
    return {signal, [=](const QVariantList &args) { return args == expected; }};
}

// A record that carries @p tag, so that a value lost on the way shows.
template<class T> T tagged(const std::string &tag)
{
    T record;
    record.extraParam = {{"row", tag}, {"\xe5\x90\x8d", "\xe5\x80\xbc"}};
    return record;
}
template<> NotifyDocTeamV2Arg tagged(const std::string &tag)
{
    NotifyDocTeamV2Arg record; // the one record whose map has another name
    record.extraMap = {{"row", tag}};
    return record;
}

QString handlerLog(const char *method, const char *field, int type)
{
    return QStringLiteral("KLumoNotifyHandler::%1 %2=%3").arg(method, field).arg(type);
}

QString proxyLog(const QByteArray &slot)
{
    return QStringLiteral("KLumoIpcProxy::") + QString::fromLatin1(slot);
}

} // namespace

class TestKLumoNotifyHandler : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase()
    {
        m_ipc.reset();
        qInstallMessageHandler(nullptr);
    }
    void notification_data();
    void notification();
    void everySingletonSignalFired(); // after notification()
    void goneTargetGetsNothing();

private:
    struct Row
    {
        QByteArray body;
        QVector<Expect> expects;
        QStringList logs;
    };
    void add(const QString &name, const QByteArray &body, QVector<Expect> expects,
             QStringList logs = {Succeeded})
    {
        QTest::addRow("%s", qPrintable(name)) << m_rows.size();
        m_rows.append({body, std::move(expects), std::move(logs)});
    }

    std::unique_ptr<KLumoIpc> m_ipc;
    std::unique_ptr<SignalLog> m_signals; // of the singleton
    FramedPeer m_peer;
    QVector<Row> m_rows;
    QSet<QByteArray> m_fired; // the singleton's signals seen so far
};

void TestKLumoNotifyHandler::initTestCase()
{
    qInstallMessageHandler(captureLog);
    log::installThriftOutput(); // Thrift's complaints about bad frames go to lumoipc.thrift
    KLumoIpcProxy::setPollIntervals(20, 20);
    m_ipc = std::make_unique<KLumoIpc>();
    KLumoIpcPrivate::get(m_ipc.get())->connectProxy();
    m_signals = std::make_unique<SignalLog>(m_ipc.get());
    QVERIFY(m_peer.listen(
        KLumoIpcPrivate::get(m_ipc.get())->proxy->serverName())); // found by the proxy's polling
    QVector<SignalLog::Call> calls;
    QTRY_VERIFY(!(calls += m_signals->take()).isEmpty());
    QCOMPARE(calls.at(0).first, QByteArray("SocketConnected"));
    m_fired << "SocketConnected";
    KLumoIpcProxy::setPollIntervals(3600000, 3600000);
}

void TestKLumoNotifyHandler::notification_data()
{
    QTest::addColumn<int>("row");

    // A record passed on as it is comes out of the singleton unchanged, as
    // "signal_" and the notification's name; a silent one leaves no trace.
#define LUMO_NOTIFY(kind, method, Arg, receiver, member, typeName, QtType)                         \
    LUMO_ROW_##kind(method, Arg, member)
#define LUMO_ROW_Forward(method, Arg, member)                                                      \
    add(#method, BODY(method, tagged<Arg>(#method)),                                               \
        {same("signal_" #method, #Arg, tagged<Arg>(#method))},                                     \
        QStringList(Succeeded)                                                                     \
            + (member[0] == 'o' ? QStringList {proxyLog(member)} : QStringList()));
#define LUMO_ROW_Silent(method, Arg, member) add(#method, BODY(method, tagged<Arg>(#method)), {});
#define LUMO_ROW_Convert(method, Arg, member)
#define LUMO_ROW_Own(method, Arg, member)
#include "notify/klumonotifications.def"
#undef LUMO_NOTIFY

    const std::vector<std::string> list = {"first", "\xc3\xbcn", "", "last"};
    add("notifyNewMsgList", BODY(notifyNewMsgList, list),
        {values("signal_notifyNewMsgList", {QStringList {"first", "\u00fcn", "", "last"}})},
        {Succeeded, proxyLog("on_notifyNewMsgList")});
    const std::vector<CloudItem> items = {tagged<CloudItem>("1"), tagged<CloudItem>("2")};
    add("notifyRecentFileStateChanged", BODY(notifyRecentFileStateChanged, items),
        {same("signal_notifyRecentFileStateChanged", "QVector<ofx::lumo::CloudItem>",
              QVector<CloudItem>(items.begin(), items.end()))},
        {Succeeded, proxyLog("on_notifyRecentFileStateChanged")});

    // Local push messages reach the push message dispatcher whole, every byte;
    // every action word as the service spells it (near misses do nothing), and
    // the odd shapes the service sends. "force" is the service's, not the host's.
    const auto push = [this](const char *msg, QVector<Expect> expects) {
        add(QStringLiteral("message %1").arg(QString::fromUtf8(msg)),
            BODY(notifyBroadcastLocalMsg, std::string(msg)), std::move(expects));
    };
    const char *const notified[][2] = {
        {"act=loginCance", "logincancel"},
        {"act=online", "online"},
        {"act=offline", "offline"},
        {"act=notifyOpenFileRoaming", "notifyOpenFileRoaming"},
        {"act=loginChange", "loginChange"},
        {"act=autologinFail", "autoLoginFail"},
        {"act=roamingTagChange", "roamingTagChange"},
        {"act=importFileChange", "importFileChange"},
        {"force=true&act=online&&", "online"},
        {"act=thumbnailChange&thumbnailLocalPath=/a=b.png", "thumbnailChange"},
        {"act=logincancel", nullptr},
        {"act=autoLoginFail", nullptr},
        {"online=1&a=2", nullptr},
        {"", nullptr},
        {"act=push_test&a=1", nullptr}};
    for (const auto &n : notified)
        push(n[0], n[1] ? QVector<Expect> {values("signal_notify", {n[1]})} : QVector<Expect> {});
    for (const char *msg : {"act=broadcast&x=\xe6\x96\x87", "act=broadcast&b=2&a=1",
                            "act=broadcast&force=false&url=?a=1=2"})
        push(msg, {values("signal_broadcast", {QString::fromUtf8(msg)})});
    push("act=broadcast&a=1&force=true&b=2&flag",
         {values("signal_broadcast", {"act=broadcast&a=1&b=2&flag="})});
    push("act=roamingChange&roamingChangeTag=r1&roamingImportChangeTag=i1",
         {values("signal_roamingChange", {"r1"}), values("signal_roamingImportChange", {"i1"}),
          values("signal_notify", {"roamingChange"})});
    push("act=roamingChange&roamingChangeTag=a=b",
         {values("signal_roamingChange", {"a=b"}), values("signal_roamingImportChange", {""}),
          values("signal_notify", {"roamingChange"})});
    push("act=vipinfoChange&level=3&expire=2030",
         {values("signal_vipInfoChanged", {QVariantMap {{"level", "3"}, {"expire", "2030"}}}),
          values("signal_notify", {"vipInfoChanged"})});
    push("x=1&act=broadcastEx&y=2",
         {values("signal_broadcastEx", {QVariantMap {{"x", "1"}, {"y", "2"}}})});
    push("act=broadcastEx&a=&b=1&b=2&n=\xe5\x90\x8d",
         {values("signal_broadcastEx", {QVariantMap {{"a", ""}, {"b", "1"}, {"n", "\u540d"}}})});

    // The notifications written by hand, where a type picks the member.
    const QString noLogin = proxyLog("on_accountNoLogined()");
    const QVector<QPair<int, QStringList>> actions = {
        {1, {"LoginStatusChange", proxyLog("on_accountUpdateInfo()"), noLogin}},
        {2, {"LoginStatusChange", noLogin}},
        {4, {"signal_notifyRecentFileListChanged", proxyLog("on_notifyRecentFileListChanged")}},
        {5, {"LoginStatusChange", proxyLog("on_notifyDocumentRoamingSwitchChanged"), noLogin}},
        {6, {"signal_notifyCloudDocOpening"}},
        {7, {"signal_notifyCloudDocOpening"}},
        {8, {"signal_notifyRecycleBinClear"}},
        {3, {}},
        {-1, {}},
    };
    for (const auto &a : actions) {
        NotifyActionArg arg;
        arg.type = a.first;
        QVector<Expect> expects; // 6 and 7 tell whether the document was just left
        if (!a.second.isEmpty())
            expects << values(a.second.first().toLatin1(),
                              a.first == 6 || a.first == 7 ? QVariantList {a.first == 7}
                                                           : QVariantList());
        add(QStringLiteral("notifyAction/%1").arg(a.first), BODY(notifyAction, arg), expects,
            QStringList {handlerLog("notifyAction", "NotifyActionType", a.first), Succeeded}
                + a.second.mid(1));
    }

    NotifyActionsMapArg m;
    m.mapArgs = {{"fileId", "f-1"}, {"\xe5\x90\x8d", "\xe5\x80\xbc"}, {"empty", ""}};
    const StringMapArgs map = {{"fileId", "f-1"}, {"\u540d", "\u503c"}, {"empty", ""}};
    const QByteArray maps[] = {"ActionsMapDefault", "ActionsMapForShareFile",
                               "ActionsMapForReadMessage", "ActionsMapForCooperate",
                               "ActionsMapDefault"};
    for (m.nActionType = 0; m.nActionType <= 4; ++m.nActionType) {
        add(QStringLiteral("notifyActionsMap/%1").arg(m.nActionType), BODY(notifyActionsMap, m),
            {same("signal_notify" + maps[m.nActionType], "QMap<QString,QString>", map)},
            {handlerLog("notifyActionsMap", "NotifyActionsMapType", m.nActionType), Succeeded,
             proxyLog("on_notify" + maps[m.nActionType])});
    }
    NotifyShareDiscussionArg share;
    share.mapArgs = m.mapArgs;
    share.nActionType = 1;
    add("notifyShareDiscussion/1", BODY(notifyShareDiscussion, share),
        {same("signal_notifyShareDiscussion", "QMap<QString,QString>", map)},
        {handlerLog("notifyShareDiscussion", "NotifyShareDiscussionType", 1), Succeeded,
         proxyLog("on_notifyShareDiscussion")});
    share.nActionType = 2; // dropped after its log line
    add("notifyShareDiscussion/2", BODY(notifyShareDiscussion, share), {},
        {handlerLog("notifyShareDiscussion", "NotifyShareDiscussionType", 2), Succeeded});
    NotifyDocCollaborativeStatusArg doc;
    doc.fileId = "\xe6\x96\x87-1";
    doc.collaboratorNum = 7;
    for (doc.collaborativeStatus = 0; doc.collaborativeStatus <= 2; ++doc.collaborativeStatus) {
        add(QStringLiteral("notifyDocCollaborativeStatus/%1").arg(doc.collaborativeStatus),
            BODY(notifyDocCollaborativeStatus, doc),
            {values("signal_docCollaborativeStatus",
                    {"\u6587-1", doc.collaborativeStatus == 1, 7u})},
            {Succeeded, proxyLog("on_notifyDocCollaborativeStatus")});
    }

    // Frames the processor must survive; none may disturb the frame after it.
    const QStringList failed {QStringLiteral("On Notified failed")};
    const QByteArray action = BODY(notifyAction, tagged<NotifyActionArg>("a tag to cut"));
    // Names are matched byte for byte: the service misspells this one.
    add("corrected spelling",
        bodyOf<KLumoNotifyServices_notifyFileThumnail_args>("notifyFileThumbnail",
                                                            NotifyFileThumbnailArg()),
        {}, failed);
    add("arguments cut short", action.left(action.size() - 12), {}, failed);
    add("empty body", QByteArray(), {},
        {QStringLiteral("KLumoNotifyActualProcessor: MaxMessageSize reached")});
}

void TestKLumoNotifyHandler::notification()
{
    QFETCH(int, row);
    Row r = m_rows.at(row);
    g_logs.clear();
    m_peer.sendFrame(0, r.body);
    // A slot may queue the next step (the login state after "on_accountUpdateInfo"):
    // wait for all that is expected, then let a sentinel show that nothing follows.
    QVector<SignalLog::Call> calls;
    QTRY_VERIFY((calls += m_signals->take()).size() >= r.expects.size());
    NotifyActionsMapArg sentinel;
    sentinel.nActionType = 4;
    sentinel.mapArgs = {{"sentinel", std::to_string(row)}};
    m_peer.sendFrame(0, BODY(notifyActionsMap, sentinel));
    const auto isSentinel = [row](const SignalLog::Call &call) {
        return call.second.value(0).value<StringMapArgs>().value("sentinel")
            == QString::number(row);
    };
    QTRY_VERIFY([&] {
        calls += m_signals->take();
        return std::any_of(calls.cbegin(), calls.cend(), isSentinel);
    }());
    calls.erase(std::find_if(calls.begin(), calls.end(), isSentinel));
    QCOMPARE(g_logs.mid(0, g_logs.size() - 3).join('\n'), r.logs.join('\n')); // less the sentinel's
    std::stable_sort(r.expects.begin(), r.expects.end(),
                     [](const Expect &a, const Expect &b) { return a.signal < b.signal; });
    QCOMPARE(calls.size(), r.expects.size());
    for (int i = 0; i < calls.size(); ++i) {
        QCOMPARE(calls.at(i).first, r.expects.at(i).signal);
        QVERIFY2(r.expects.at(i).check(calls.at(i).second), "value differs");
        m_fired << calls.at(i).first;
    }
}

void TestKLumoNotifyHandler::everySingletonSignalFired()
{
    QCOMPARE(m_peer.frameCount(), 0); // nothing is ever answered
    // The socket going down is the one event the rows leave out.
    m_peer.disconnectClient();
    QTRY_VERIFY([this] {
        for (const auto &call : m_signals->take())
            m_fired << call.first;
        return m_fired.contains("SocketDisConnected");
    }());
    QStringList missing;
    const QMetaObject &mo = KLumoIpc::staticMetaObject;
    for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
        if (mo.method(i).methodType() == QMetaMethod::Signal
            && !m_fired.contains(mo.method(i).name()))
            missing << QString::fromLatin1(mo.method(i).name());
    }
    QCOMPARE(missing, QStringList());
}

// Once the target is gone, or when there is none, the log line stays, nothing
// is invoked, and the service's call is still completed. (A processor that is
// gone: tst_klumoipcchannel.)
void TestKLumoNotifyHandler::goneTargetGetsNothing()
{
    auto target = std::make_unique<NotifyTarget>();
    auto handler = std::make_shared<KLumoNotifyHandler>(target.get());
    target.reset();
    KLumoNotifyHandler none(nullptr);
    NotifyActionArg action;
    action.type = 1;
    int completed = 0;
    const auto cob = [&] { ++completed; };
    g_logs.clear();
    handler->notifyAction(cob, action);
    none.notifyAction(cob, action);
    handler->notifyNewMsgList(cob, {"a"});
    QCOMPARE(completed, 3);
    const QString log = handlerLog("notifyAction", "NotifyActionType", 1);
    QCOMPARE(g_logs, QStringList({log, log}));
}

LUMO_TEST_MAIN(TestKLumoNotifyHandler)
#include "tst_klumonotifyhandler.moc"
#include "moc_notifytarget.cpp"
