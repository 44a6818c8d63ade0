// Frames the notification processor must survive: unknown names, broken
// bodies, a processor that is gone. None may disturb the frame after it.
#include "callrecorder.h"
#include "framedpeer.h"
#include "notifylogcapture.h"
#include "lumotestenv.h"
#include "notifytarget.h"
#include "thriftcodec.h"

#include "notify/klumonotifyactualprocessor.h"
#include "notify/klumonotifyhandler.h"
#include "support/lumolog.h"
#include "transport/klumoipcchannel_p.h"

#include "KLumoNotifyServices.h"

#include <QtTest>

using namespace ofx::lumo;
using namespace lumotest;
using apache::thrift::protocol::T_ONEWAY;
using apache::thrift::protocol::T_REPLY;

namespace {

QByteArray actionBody(int type)
{
    KLumoNotifyServices_notifyAction_args args;
    args.arg.type = type;
    args.arg.extraParam = {{"key", "a value long enough to be cut"}};
    return encodeMessage("notifyAction", T_ONEWAY, args);
}

} // namespace

class TestKLumoNotifyActualProcessor : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void badFrameIsDropped_data();
    void badFrameIsDropped();
    void goneProcessorIsNotCalled();

public Q_SLOTS:
    void on_notifyConnected(bool = true) { }
    void on_notifyDisconnected(bool = false) { }

private:
    CallRecorder m_recorder;
    NotifyTarget m_target {&m_recorder};
    std::shared_ptr<KLumoNotifyActualProcessor> m_processor;
    FramedPeer m_peer;
    std::unique_ptr<KLumoIpcChannel> m_channel;
    QStringList m_logs;
    NotifyLogCapture m_capture;
};

void TestKLumoNotifyActualProcessor::initTestCase()
{
    m_capture.start(&m_logs);
    log::installThriftOutput(); // Thrift's own complaints go to lumoipc.thrift
    m_processor = std::make_shared<KLumoNotifyActualProcessor>(
        std::make_shared<KLumoNotifyHandler>(&m_target));
    const QString name =
        QStringLiteral("lumo-proc-test-%1").arg(QCoreApplication::applicationPid());
    QVERIFY(m_peer.listen(name));
    m_channel = std::make_unique<KLumoIpcChannel>(this, m_processor);
    QVERIFY(m_channel->connectToServer(name));
    QVERIFY(m_peer.waitForClient());
    QTRY_VERIFY(m_channel->isConnected());
}

void TestKLumoNotifyActualProcessor::cleanupTestCase()
{
    m_channel.reset();
    m_capture.stop();
}

void TestKLumoNotifyActualProcessor::init()
{
    m_recorder.take();
    m_logs.clear();
}

void TestKLumoNotifyActualProcessor::badFrameIsDropped_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("log"); // what the bad frame leaves in the log

    const QString failed = QStringLiteral("On Notified failed");
    const QString exception = QStringLiteral("KLumoNotifyActualProcessor: ");
    KLumoNotifyServices_notifyAction_args args;
    args.arg.type = 1;
    QTest::addRow("unknown method") << encodeMessage("notifyNoSuchEvent", T_ONEWAY, args) << failed;
    // Names are matched byte for byte: the service misspells this one.
    KLumoNotifyServices_notifyFileThumnail_args thumb;
    QTest::addRow("corrected spelling")
        << encodeMessage("notifyFileThumbnail", T_ONEWAY, thumb) << failed;
    QTest::addRow("not a call") << encodeMessage("notifyAction", T_REPLY, args) << failed;
    const QByteArray whole = actionBody(1);
    QTest::addRow("arguments cut short") << whole.left(whole.size() - 12) << failed;
    QTest::addRow("no header") << QByteArray("\x01\x02garbage", 9) << exception;
    QTest::addRow("empty body") << QByteArray() << exception;
}

void TestKLumoNotifyActualProcessor::badFrameIsDropped()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, log);

    m_peer.sendFrame(0, body);
    m_peer.sendFrame(0, actionBody(2));
    QTRY_COMPARE(m_recorder.count(), 1);
    QCOMPARE(m_recorder.calls().at(0).member, QByteArray("on_accountNoLogined"));
    QCOMPARE(m_logs.size(), 3);
    QVERIFY2(m_logs.at(0).startsWith(log), qPrintable(m_logs.at(0)));
    QCOMPARE(m_logs.mid(1),
             QStringList(
                 {"KLumoNotifyHandler::notifyAction NotifyActionType=2", "On Notified succeeded"}));
    // Nothing is ever answered.
    QTest::qWait(20);
    QCOMPARE(m_peer.frameCount(), 0);
}

void TestKLumoNotifyActualProcessor::goneProcessorIsNotCalled()
{
    const quint32 before = KLumoIpcChannelPrivate::get(m_channel.get())->frameCount;
    std::weak_ptr<KLumoNotifyActualProcessor> watch = m_processor;
    m_processor.reset();
    QVERIFY(watch.expired());
    m_peer.sendFrame(0, actionBody(1));
    QTRY_COMPARE(KLumoIpcChannelPrivate::get(m_channel.get())->frameCount, before + 1);
    QTest::qWait(20);
    QCOMPARE(m_recorder.count(), 0);
    QCOMPARE(m_logs, QStringList());
}

LUMO_TEST_MAIN(TestKLumoNotifyActualProcessor)
#include "tst_klumonotifyactualprocessor.moc"
