#include "lumotestenv.h"

#include "push/klocalpushmsgdispatch.h"

#include <QtTest>

using ofx::lumo::KLocalPushMsgDispatch;

class TestKLocalPushMsgDispatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void message_data()
    {
        QTest::addColumn<QByteArray>("msg");
        QTest::addColumn<QString>("emitted"); // per signal in declaration order: "name(arg)"
        const auto row = [](const char *msg, const char *emitted) {
            QTest::addRow("%s", *msg ? msg : "(empty)")
                << QByteArray(msg) << QString::fromUtf8(emitted);
        };
        // Every action word, matched and emitted as the service writes it.
        row("act=push_test&a=1", "");
        row("act=loginCance", "notify(logincancel)");
        row("act=online", "notify(online)");
        row("act=offline", "notify(offline)");
        row("act=roamingChange&roamingChangeTag=t1&roamingImportChangeTag=t2",
            "roamingChange(t1) roamingImportChange(t2) notify(roamingChange)");
        row("act=notifyOpenFileRoaming", "notify(notifyOpenFileRoaming)");
        row("act=vipinfoChange&level=3&expire=2030",
            "vipInfoChanged({expire=2030,level=3}) notify(vipInfoChanged)");
        row("act=broadcast&b=2&a=1", "broadcast(act=broadcast&b=2&a=1)");
        row("x=1&act=broadcastEx&y=2", "broadcastEx({x=1,y=2})");
        row("act=loginChange", "notify(loginChange)");
        row("act=autologinFail", "notify(autoLoginFail)");
        row("act=bindingAccountResult&bindaccountresult=17", "bindAccountFinish(17)");
        row("act=bindingAccountResult", "bindAccountFinish(0)");
        row("act=roamingTagChange", "notify(roamingTagChange)");
        row("act=importFileChange", "notify(importFileChange)");
        row("act=thumbnailChange&thumbnailLocalPath=/a=b.png", "notify(thumbnailChange)");
        // Near misses and odd shapes.
        row("act=logincancel", "");
        row("act=autoLoginFail", "");
        row("online=1&a=2", "");
        row("", "");
        row("force=true&act=online&&", "notify(online)");
        row("act=broadcast&a=1&force=true&b=2&flag", "broadcast(act=broadcast&a=1&b=2&flag=)");
        row("act=broadcast&force=false&url=?a=1=2",
            "broadcast(act=broadcast&force=false&url=?a=1=2)");
        row("act=roamingChange&roamingChangeTag=a=b",
            "roamingChange(a=b) roamingImportChange() notify(roamingChange)");
        row("act=broadcastEx&a=&b=1&b=2&n=\xe5\x90\x8d", "broadcastEx({a=,b=1,n=\xe5\x90\x8d})");
    }
    void message()
    {
        QFETCH(QByteArray, msg);
        QFETCH(QString, emitted);
        KLocalPushMsgDispatch dispatch;
        const QMetaObject &mo = KLocalPushMsgDispatch::staticMetaObject;
        std::vector<std::unique_ptr<QSignalSpy>> spies;
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            if (mo.method(i).methodType() == QMetaMethod::Signal)
                spies.push_back(std::make_unique<QSignalSpy>(&dispatch, mo.method(i)));
        }
        dispatch.on_newMessage(msg);
        QStringList out;
        for (const auto &spy : spies) {
            for (const QList<QVariant> &args : *spy) {
                QString arg = args.value(0).toString();
                if (args.value(0).userType() == QMetaType::QVariantMap) {
                    QStringList pairs;
                    const QVariantMap map = args[0].toMap();
                    for (auto it = map.cbegin(); it != map.cend(); ++it)
                        pairs << it.key() + '=' + it.value().toString();
                    arg = '{' + pairs.join(',') + '}';
                }
                out << QString::fromLatin1(spy->signal()).section('(', 0, 0).mid(7) + '(' + arg
                        + ')';
            }
        }
        QCOMPARE(out.join(' '), emitted);
    }

    // A receiver may delete the dispatcher from the first of several signals.
    void receiverMayDeleteDispatcher()
    {
        QPointer<KLocalPushMsgDispatch> dispatch = new KLocalPushMsgDispatch;
        connect(dispatch, &KLocalPushMsgDispatch::signal_roamingChange, this,
                [&] { delete dispatch; });
        dispatch->on_newMessage("act=roamingChange&roamingChangeTag=t");
        QVERIFY(!dispatch);
    }
};

LUMO_TEST_MAIN(TestKLocalPushMsgDispatch)
#include "tst_klocalpushmsgdispatch.moc"
