// The channel over a real local socket, so its socket, frame reader and frame writer all run.
#include "framedpeer.h"
#include "lumotestenv.h"

#include "transport/klumoframe.h"
#include "transport/klumoipcchannel_p.h"
#include "transport/klumonotifyprocessor.h"
#include "transport/kxqtlocalsocket.h"

#include <QRegularExpression>
#include <QTest>

#include <thrift/transport/TBufferTransports.h>

using namespace ofx::lumo;
using apache::thrift::transport::TMemoryBuffer;
using lumotest::FramedPeer;

namespace {

// Stands in for the connection proxy: the channel posts its events here.
class Owner : public QObject
{
    Q_OBJECT
public:
    int connected = 0;
    int disconnected = 0;
public Q_SLOTS:
    void on_notifyConnected() { ++connected; }
    void on_notifyDisconnected() { ++disconnected; }
};

class Processor : public KLumoNotifyProcessor
{
public:
    void onNotified(std::shared_ptr<TMemoryBuffer> buffer) override
    {
        bodies.append(QByteArray::fromStdString(buffer->getBufferAsString()));
    }
    QList<QByteArray> bodies;
};

// One raw call, with a receive buffer of its own unless told to share, and
// what its callback saw.
struct Call
{
    TMemoryBuffer send, own;
    TMemoryBuffer *recv = &own;
    int completions = 0;
    QByteArray received;
    QThread *thread = nullptr;

    void start(KLumoIpcChannel &channel, const QByteArray &body)
    {
        send.write(reinterpret_cast<const uint8_t *>(body.constData()), uint32_t(body.size()));
        channel.sendAndRecvMessage(
            [this] {
                ++completions;
                received = QByteArray::fromStdString(recv->getBufferAsString());
                thread = QThread::currentThread();
            },
            &send, recv);
    }
};

KLumoIpcChannelPrivate *d(KLumoIpcChannel &channel)
{
    return KLumoIpcChannelPrivate::get(&channel);
}

// A 251-byte cycle: no power-of-two period, so shifted data does not match.
QByteArray pattern(int size, int seed = 0)
{
    QByteArray b(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        b[i] = char(((i % 251) * 131 + seed) & 0xff);
    return b;
}

QString serverName()
{
    return QStringLiteral("tst_channel_%1").arg(QCoreApplication::applicationPid());
}

} // namespace

class TestKLumoIpcChannel : public QObject
{
    Q_OBJECT

    void connectPair(KLumoIpcChannel &channel, FramedPeer &peer)
    {
        QVERIFY(peer.listen(serverName()));
        QVERIFY(channel.connectToServer(serverName()));
        QVERIFY(peer.waitForClient());
        QTRY_VERIFY(channel.isConnected());
    }
    // Starts @p calls and returns the sequence ids the peer saw them under.
    static QList<quint32> start(KLumoIpcChannel &channel, FramedPeer &peer, QList<Call *> calls)
    {
        for (Call *c : calls)
            c->start(channel, "q");
        QList<quint32> ids;
        if (peer.waitForFrames(calls.size()))
            for (const FramedPeer::Frame &f : peer.takeFrames())
                ids << f.seqId;
        return ids;
    }

private Q_SLOTS:
    // A call from another thread cannot be written (the writer lost its
    // descriptor) while a large reply streams in: the failed call ends at once, unregistered,
    // and the reply arrives whole although both calls share one receive buffer,
    // as a generated client's calls do.
    void failedWriteLeavesAStreamingReplyWhole()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        Call a, b;
        b.recv = a.recv;
        const QList<quint32> ids = start(channel, peer, {&a});
        QCOMPARE(ids.size(), 1);
        const QByteArray body = pattern(300000);
        const QByteArray bytes = frame::make(ids[0], body);
        peer.sendRaw(bytes.left(100000));
        QTRY_COMPARE(d(channel)->stats().bytesReceived, quint64(100000));
        d(channel)->writer.detach();
        QTest::ignoreMessage(QtInfoMsg, "Fail on sendMessage");
        std::unique_ptr<QThread> worker(QThread::create([&] { b.start(channel, "x"); }));
        worker->start();
        QVERIFY(worker->wait(5000));
        QTRY_COMPARE(b.completions, 1);
        QCOMPARE(b.thread, QThread::currentThread()); // where the receive buffer lives
        QCOMPARE(d(channel)->waitingRequests(), 1);
        peer.sendRaw(bytes.mid(100000));
        QTRY_COMPARE(a.completions, 1);
        QVERIFY(b.received.isEmpty());
        QCOMPARE(a.received.size(), body.size());
        QVERIFY(a.received == body);
    }

    // Errors 7 and 9, like a disconnect, close the channel and drop the waiting
    // call, never answered; any other error (2 is ServerNotFound) leaves both.
    void connectsReportsAndDropsWaitingCalls_data()
    {
        QTest::addColumn<int>("error"); // 0: the peer disconnects
        QTest::addColumn<bool>("closes");
        QTest::addRow("peer disconnects") << 0 << true;
        QTest::addRow("7, connection error") << int(QLocalSocket::ConnectionError) << true;
        QTest::addRow("9") << 9 << true;
        QTest::addRow("1, peer closed") << int(QLocalSocket::PeerClosedError) << false;
        QTest::addRow("-1, unknown") << int(QLocalSocket::UnknownSocketError) << false;
    }
    void connectsReportsAndDropsWaitingCalls()
    {
        QFETCH(int, error);
        QFETCH(bool, closes);
        Owner owner;
        KLumoIpcChannel channel(&owner, nullptr);
        QVERIFY(channel.error() && !channel.good());
        QTest::ignoreMessage(QtInfoMsg, "onError ServerNotFoundError");
        QTest::ignoreMessage(QtInfoMsg, "Server is not connected");
        QVERIFY(!channel.connectToServer(QStringLiteral("tst_channel_nobody_listens")));
        Call early; // not connected: completes at once, with an empty reply
        QTest::ignoreMessage(QtInfoMsg, "On sendAndRecvMessage");
        early.start(channel, "x");
        QVERIFY(early.completions == 1 && early.received.isEmpty());

        FramedPeer peer;
        QTest::ignoreMessage(QtInfoMsg, "Server is to close");
        QTest::ignoreMessage(QtInfoMsg, "onConnected");
        connectPair(channel, peer);
        QVERIFY(channel.good() && !channel.error() && !channel.timedOut());
        QTRY_COMPARE(owner.connected, 1);
        QTest::ignoreMessage(QtInfoMsg, "KCloudChannel::connectToServer");
        QVERIFY(channel.connectToServer(serverName())); // already connected: no reconnect

        Call call;
        QCOMPARE(start(channel, peer, {&call}).size(), 1);
        if (error == 0) {
            QTest::ignoreMessage(QtInfoMsg, "onDisconnected");
            peer.disconnectClient();
            QTRY_COMPARE(owner.disconnected, 1);
        } else {
            if (closes)
                QTest::ignoreMessage(QtInfoMsg,
                                     "KCloudChannel::close disconnectFromServer and term");
            channel.onError(error);
        }
        QCOMPARE(channel.isConnected(), !closes);
        QCOMPARE(d(channel)->waitingRequests(), closes ? 0 : 1);
        QCoreApplication::processEvents();
        QCOMPARE(call.completions, 0);
    }

    // How the reply reaches the client: the callback runs once, after the
    // last byte, with exactly the body; so does the next one, which a streamed
    // reply receives into the memory the first one used.
    void reassembly_data()
    {
        QTest::addColumn<int>("bodySize");
        QTest::addColumn<int>("chunk");
        QTest::addColumn<int>("directThreshold");
        QTest::addColumn<bool>("throughSocket"); // else handed over as onRecvData chunks
        QTest::addRow("byte by byte") << 57 << 1 << 65536 << false;
        QTest::addRow("odd chunks across the 8192 initial buffer") << 20000 << 997 << 65536 << true;
        QTest::addRow("odd chunks, streamed") << 20000 << 997 << 1 << false;
        QTest::addRow("staged large frame") << 300000 << 65536 << 0x7fffffff << true;
        QTest::addRow("streamed large frame, header split") << 300000 << 7 << 1 << true;
    }
    void reassembly()
    {
        QFETCH(int, bodySize);
        QFETCH(int, chunk);
        QFETCH(int, directThreshold);
        QFETCH(bool, throughSocket);
        KLumoIpcChannel channel(nullptr, nullptr);
        d(channel)->reader.setDirectThreshold(quint32(directThreshold));
        FramedPeer peer;
        connectPair(channel, peer);
        quint64 before = 0;
        for (int round = 0; round < 2; ++round) {
            Call call;
            const QList<quint32> ids = start(channel, peer, {&call});
            QCOMPARE(ids.size(), 1);
            const QByteArray body = pattern(bodySize, round);
            const QByteArray bytes = frame::make(ids[0], body);
            auto feed = [&](const QByteArray &piece) {
                if (throughSocket)
                    peer.sendRaw(piece);
                else
                    channel.onRecvData(piece.constData(), unsigned(piece.size()));
            };
            // After the header, pieces of at least 997 bytes keep the rows short.
            const int last = bytes.size() - 1;
            for (int off = 0, n = 0; off < last; off += n) {
                n = qMin(off < 64 ? chunk : qMax(chunk, 997), last - off);
                feed(bytes.mid(off, n));
                if (throughSocket && n < 64) // one event-loop pass apart: separate reads
                    QCoreApplication::processEvents();
            }
            QTRY_COMPARE(d(channel)->stats().bytesReceived, before + quint64(last));
            QCOMPARE(call.completions, 0);
            feed(bytes.right(1));
            QTRY_COMPARE(call.completions, 1);
            QVERIFY(call.received == body);
            QCOMPARE(d(channel)->waitingRequests(), 0);
            QCOMPARE(d(channel)->frameCount, quint32(round + 1));
            before += quint64(bytes.size());
        }
        // Streamed bodies are not copied again once they are in.
        QCOMPARE(d(channel)->bytesDelivered == 0, bodySize >= directThreshold);
    }

    // Replies go to their own calls in any order and sequence id 0 to the
    // processor; a buffer of exactly one header (an empty body) waits for more.
    void framesOfOneReadGoToCallsAndProcessor()
    {
        auto processor = std::make_shared<Processor>();
        KLumoIpcChannel channel(nullptr, processor);
        FramedPeer peer;
        connectPair(channel, peer);
        Call a, b;
        const QList<quint32> ids = start(channel, peer, {&a, &b});
        QCOMPARE(ids.size(), 2);
        peer.sendRaw(frame::make(0, "n1") + frame::make(ids[1], "for b")
                     + frame::make(ids[0], "for a") + frame::make(0, "n2")
                     + frame::make(0, QByteArray()));
        QTRY_COMPARE(d(channel)->frameCount, 4u);
        QCOMPARE(processor->bodies, (QList<QByteArray> {"n1", "n2"}));
        QCOMPARE(a.received, QByteArray("for a"));
        QCOMPARE(b.received, QByteArray("for b"));
        peer.sendFrame(0, "x");
        QTRY_COMPARE(processor->bodies, (QList<QByteArray> {"n1", "n2", "", "x"}));
        // The channel holds the processor weakly: a notification for one that
        // is gone is read and dropped.
        const std::weak_ptr<Processor> held = processor;
        processor.reset();
        QVERIFY(held.expired());
        peer.sendFrame(0, "dropped");
        QTRY_COMPARE(d(channel)->frameCount, 7u);
        QVERIFY(channel.isConnected());
    }

    // Sequence ids are never 0: after 4294967295 comes 1.
    void sequenceIdWrapsToOne()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        d(channel)->setLastSequenceId(4294967294u);
        Call a, b;
        QCOMPARE(start(channel, peer, {&a, &b}), (QList<quint32> {4294967295u, 1u}));
        peer.sendRaw(frame::make(1, "one") + frame::make(4294967295u, "max"));
        QTRY_COMPARE(a.completions + b.completions, 2);
        QCOMPARE(a.received, QByteArray("max"));
        QCOMPARE(b.received, QByteArray("one"));
    }

    void protocolViolationClosesAndDropsWaiting_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("log");
        QByteArray badMagic = frame::make(0, "body");
        badMagic.replace(0, 4, "LUMO");
        QByteArray shortTotal = frame::make(0, "body");
        shortTotal[4] = 12;
        QTest::addRow("wrong magic")
            << badMagic
            << QStringLiteral("!!onRecvData 2") + QString::fromLatin1(badMagic.constData(), 20);
        QTest::addRow("total below 20") << shortTotal << QStringLiteral("!!onRecvData 3");
        QTest::addRow("unknown sequence id")
            << frame::make(424242, "body") << QStringLiteral("!!onRecvData 7");
        QTest::addRow("unknown sequence id, large")
            << frame::make(424242, pattern(100000)) << QStringLiteral("!!onRecvData 7");
    }
    void protocolViolationClosesAndDropsWaiting()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, log);
        auto processor = std::make_shared<Processor>();
        KLumoIpcChannel channel(nullptr, processor);
        FramedPeer peer;
        connectPair(channel, peer);
        Call a, b;
        const QList<quint32> ids = start(channel, peer, {&a, &b});
        QCOMPARE(ids.size(), 2);
        // Whole, NULs of the header included: a plain string would end at the first.
        QTest::ignoreMessage(QtInfoMsg,
                             QRegularExpression(QLatin1Char('^') + QRegularExpression::escape(log)
                                                + QLatin1Char('$')));
        QTest::ignoreMessage(QtInfoMsg, "KCloudChannel::close disconnectFromServer and term");
        // The reply for a comes behind the bad bytes and must not be delivered.
        peer.sendRaw(bytes + frame::make(ids[0], "late") + frame::make(0, "late"));
        QTRY_VERIFY(!channel.isConnected());
        QCOMPARE(d(channel)->waitingRequests(), 0);
        QCOMPARE(a.completions + b.completions, 0);
        QCOMPARE(processor->bodies.size(), 0);
    }

    // A callback may throw, be empty or close the channel; nothing behind the
    // close is delivered.
    void callbacksThatThrowOrClose()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        int ran = 0;
        const std::function<void()> cobs[] = {[] { throw std::runtime_error("boom"); },
                                              std::function<void()>(), [&] { ++ran; },
                                              [&] {
                                                  ++ran;
                                                  channel.close();
                                              },
                                              [&] { ++ran; }};
        TMemoryBuffer send[5], recv[5];
        for (int i = 0; i < 5; ++i) {
            send[i].write(reinterpret_cast<const uint8_t *>("x"), 1);
            channel.sendAndRecvMessage(cobs[i], &send[i], &recv[i]);
        }
        QVERIFY(peer.waitForFrames(5));
        QByteArray replies;
        for (const FramedPeer::Frame &f : peer.takeFrames())
            replies += frame::make(f.seqId, "r");
        QTest::ignoreMessage(QtInfoMsg, "!!onRecvData 9: boom");
        QTest::ignoreMessage(QtInfoMsg, "!!onRecvData 9: bad_function_call");
        QTest::ignoreMessage(QtInfoMsg, "KCloudChannel::close disconnectFromServer and term");
        peer.sendRaw(replies);
        QTRY_VERIFY(!channel.isConnected());
        QCOMPARE(ran, 2);
    }

    // The peer lives on this thread and cannot read while the test writes: a
    // blocking writer would hang here. Frames leave in 256 KiB pieces, in order.
    void writesInPiecesWithoutBlocking()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        QVector<quint32> pieces;
        d(channel)->writer.setPieceObserver([&pieces](quint32 n) { pieces.append(n); });
        FramedPeer peer;
        connectPair(channel, peer);
        Call big, exact;
        const QByteArray body = pattern(32 * 262144, 7);
        const QByteArray exactBody = pattern(262144 - 20);
        QElapsedTimer t;
        t.start();
        big.start(channel, body);
        exact.start(channel, exactBody);
        QVERIFY(t.elapsed() < 5000 * lumotest::timeScale());
        QCOMPARE(pieces, (QVector<quint32>(32, 262144) << 20 << 262144));
        QVERIFY(peer.waitForFrames(2, 20000));
        const QList<FramedPeer::Frame> frames = peer.takeFrames();
        QVERIFY(frames[0].body == body);
        QVERIFY(frames[1].body == exactBody);
    }

    // Hosts that look the socket up by name ask for the plain names.
    void socketAnswersItsPlainNames()
    {
        KxQtLocalSocket socket(nullptr);
        QCOMPARE(socket.qt_metacast("KxQtLocalSocket"), static_cast<void *>(&socket));
        QVERIFY(socket.qt_metacast("KxLocalSocketBase"));
    }
};

LUMO_TEST_MAIN(TestKLumoIpcChannel)
#include "tst_klumoipcchannel.moc"
