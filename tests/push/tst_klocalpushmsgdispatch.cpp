// Local push messages: every action word, the "force=true" pair wherever it
// stands, and the odd shapes a message can take.
#include "lumotestenv.h"

#include "push/klocalpushmsgdispatch.h"

#include <QtTest>

using ofx::lumo::KLocalPushMsgDispatch;

namespace {

// One emitted signal, written as "name(arg)" with maps as "{k=v,...}".
QString text(const QVariant &v)
{
    if (v.userType() == QMetaType::QVariantMap) {
        QStringList pairs;
        const QVariantMap map = v.toMap();
        for (auto it = map.begin(); it != map.end(); ++it)
            pairs << it.key() + '=' + it.value().toString();
        return '{' + pairs.join(',') + '}';
    }
    return v.toString();
}

} // namespace

class TestKLocalPushMsgDispatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void message_data();
    void message();
    void receiverMayDeleteDispatcher();

private:
    void record(const char *signal, const QVariant &arg = QVariant())
    {
        m_emitted << QString::fromLatin1(signal) + '(' + (arg.isValid() ? text(arg) : QString())
                + ')';
    }
    void watch(KLocalPushMsgDispatch *d)
    {
        using D = KLocalPushMsgDispatch;
        connect(d, &D::signal_online, this, [this] { record("online"); });
        connect(d, &D::signal_offline, this, [this] { record("offline"); });
        connect(d, &D::signal_roamingChange, this,
                [this](const QString &s) { record("roamingChange", s); });
        connect(d, &D::signal_roamingImportChange, this,
                [this](const QString &s) { record("roamingImportChange", s); });
        connect(d, &D::signal_vipInfoChanged, this,
                [this](const QVariant &v) { record("vipInfoChanged", v); });
        connect(d, &D::signal_bindAccountFinish, this,
                [this](int code) { record("bindAccountFinish", code); });
        connect(d, &D::signal_broadcast, this,
                [this](const QString &s) { record("broadcast", s); });
        connect(d, &D::signal_broadcastEx, this,
                [this](const QVariant &v) { record("broadcastEx", v); });
        connect(d, &D::signal_notify, this, [this](const QString &s) { record("notify", s); });
    }

    QStringList m_emitted;
};

void TestKLocalPushMsgDispatch::init()
{
    m_emitted.clear();
}

void TestKLocalPushMsgDispatch::message_data()
{
    QTest::addColumn<QByteArray>("msg");
    QTest::addColumn<QStringList>("emitted");

    // Every action word of the table, in its order.
    QTest::addRow("push_test") << QByteArray("act=push_test&a=1") << QStringList();
    QTest::addRow("loginCance") << QByteArray("act=loginCance")
                                << QStringList {"notify(logincancel)"};
    QTest::addRow("online") << QByteArray("act=online") << QStringList {"notify(online)"};
    QTest::addRow("offline") << QByteArray("act=offline") << QStringList {"notify(offline)"};
    QTest::addRow("roamingChange")
        << QByteArray("act=roamingChange&roamingChangeTag=t1&roamingImportChangeTag=t2")
        << QStringList {"roamingChange(t1)", "roamingImportChange(t2)", "notify(roamingChange)"};
    QTest::addRow("roamingChange without tags")
        << QByteArray("act=roamingChange")
        << QStringList {"roamingChange()", "roamingImportChange()", "notify(roamingChange)"};
    QTest::addRow("notifyOpenFileRoaming")
        << QByteArray("act=notifyOpenFileRoaming") << QStringList {"notify(notifyOpenFileRoaming)"};
    QTest::addRow("vipinfoChange")
        << QByteArray("act=vipinfoChange&level=3&expire=2030")
        << QStringList {"vipInfoChanged({expire=2030,level=3})", "notify(vipInfoChanged)"};
    QTest::addRow("broadcast") << QByteArray("act=broadcast&b=2&a=1")
                               << QStringList {"broadcast(act=broadcast&b=2&a=1)"};
    QTest::addRow("broadcastEx") << QByteArray("x=1&act=broadcastEx&y=2")
                                 << QStringList {"broadcastEx({x=1,y=2})"};
    QTest::addRow("loginChange") << QByteArray("act=loginChange")
                                 << QStringList {"notify(loginChange)"};
    QTest::addRow("autologinFail")
        << QByteArray("act=autologinFail") << QStringList {"notify(autoLoginFail)"};
    QTest::addRow("bindingAccountResult")
        << QByteArray("act=bindingAccountResult&bindaccountresult=17")
        << QStringList {"bindAccountFinish(17)"};
    QTest::addRow("bindingAccountResult without result")
        << QByteArray("act=bindingAccountResult") << QStringList {"bindAccountFinish(0)"};
    QTest::addRow("roamingTagChange")
        << QByteArray("act=roamingTagChange") << QStringList {"notify(roamingTagChange)"};
    QTest::addRow("importFileChange")
        << QByteArray("act=importFileChange") << QStringList {"notify(importFileChange)"};
    QTest::addRow("thumbnailChange")
        << QByteArray("act=thumbnailChange&thumbnailLocalPath=/a=b.png")
        << QStringList {"notify(thumbnailChange)"};

    // Words are matched as the service writes them, and only those.
    QTest::addRow("logincancel is not a word") << QByteArray("act=logincancel") << QStringList();
    QTest::addRow("autoLoginFail is not a word")
        << QByteArray("act=autoLoginFail") << QStringList();
    QTest::addRow("unknown word") << QByteArray("act=somethingNew&a=1") << QStringList();
    QTest::addRow("no act") << QByteArray("online=1&a=2") << QStringList();
    QTest::addRow("empty message") << QByteArray() << QStringList();
    QTest::addRow("empty act") << QByteArray("act=&a=1") << QStringList();

    // "force=true" is dropped wherever it stands; nothing else is.
    QTest::addRow("force first") << QByteArray("force=true&act=online")
                                 << QStringList {"notify(online)"};
    QTest::addRow("force last") << QByteArray("act=online&force=true")
                                << QStringList {"notify(online)"};
    QTest::addRow("force in broadcast") << QByteArray("act=broadcast&a=1&force=true&b=2")
                                        << QStringList {"broadcast(act=broadcast&a=1&b=2)"};
    QTest::addRow("force in broadcastEx")
        << QByteArray("force=true&act=broadcastEx&a=1") << QStringList {"broadcastEx({a=1})"};
    QTest::addRow("force=false is data") << QByteArray("act=broadcast&force=false")
                                         << QStringList {"broadcast(act=broadcast&force=false)"};

    // Values: empty, containing "=", non-ASCII; keys without a value.
    QTest::addRow("empty values") << QByteArray("act=broadcastEx&a=&b=")
                                  << QStringList {"broadcastEx({a=,b=})"};
    QTest::addRow("value with =") << QByteArray("act=broadcast&url=http://x/?a=1=2")
                                  << QStringList {"broadcast(act=broadcast&url=http://x/?a=1=2)"};
    QTest::addRow("tag with =") << QByteArray("act=roamingChange&roamingChangeTag=a=b")
                                << QStringList {"roamingChange(a=b)", "roamingImportChange()",
                                                "notify(roamingChange)"};
    QTest::addRow("utf-8 value") << QByteArray("act=broadcastEx&name=\xe5\x90\x8d")
                                 << QStringList {
                                        QString::fromUtf8("broadcastEx({name=\xe5\x90\x8d})")};
    QTest::addRow("empty pairs") << QByteArray("&&act=online&&") << QStringList {"notify(online)"};
    QTest::addRow("bare key") << QByteArray("act=broadcast&flag")
                              << QStringList {"broadcast(act=broadcast&flag=)"};
    QTest::addRow("repeated key: first wins")
        << QByteArray("act=broadcastEx&a=1&a=2") << QStringList {"broadcastEx({a=1})"};
    QTest::addRow("non-numeric result")
        << QByteArray("act=bindingAccountResult&bindaccountresult=x")
        << QStringList {"bindAccountFinish(0)"};
}

void TestKLocalPushMsgDispatch::message()
{
    QFETCH(QByteArray, msg);
    QFETCH(QStringList, emitted);

    KLocalPushMsgDispatch dispatch;
    watch(&dispatch);
    // Invoked the way the notification handler reaches it: queued, by name.
    QVERIFY(QMetaObject::invokeMethod(&dispatch, "on_newMessage", Qt::QueuedConnection,
                                      QGenericArgument("const QByteArray&", &msg)));
    QCOMPARE(m_emitted, QStringList());
    QTRY_COMPARE(m_emitted, emitted);
    QTest::qWait(5);
    QCOMPARE(m_emitted, emitted);
}

void TestKLocalPushMsgDispatch::receiverMayDeleteDispatcher()
{
    auto *dispatch = new KLocalPushMsgDispatch;
    watch(dispatch);
    connect(dispatch, &KLocalPushMsgDispatch::signal_roamingChange, dispatch,
            [dispatch] { delete dispatch; });
    dispatch->on_newMessage("act=roamingChange&roamingChangeTag=t");
    QCOMPARE(m_emitted, QStringList {"roamingChange(t)"});
}

LUMO_TEST_MAIN(TestKLocalPushMsgDispatch)
#include "tst_klocalpushmsgdispatch.moc"
