#include "framedpeer.h"
#include "lumotestenv.h"
#include "thriftcodec.h"
#include <sys/stat.h> // lumotestenv.h uses chmod

#include "KLumoServices.h"
#include "transport/klumoframe.h"
#include "transport/klumoipcchannel_p.h"
#include "transport/klumonotifyprocessor.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <atomic>
#include <memory>

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
    void on_notifyConnected(bool = true) { ++connected; }
    void on_notifyDisconnected(bool = true) { ++disconnected; }
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

// One outstanding raw call: its buffers and what its callback saw.
struct Call
{
    TMemoryBuffer send;
    TMemoryBuffer recv;
    int completions = 0;
    QByteArray received;
    QThread *thread = nullptr;

    std::function<void()> cob()
    {
        return [this] {
            ++completions;
            received = QByteArray::fromStdString(recv.getBufferAsString());
            thread = QThread::currentThread();
        };
    }
    void start(KLumoIpcChannel &channel, const QByteArray &body)
    {
        send.write(reinterpret_cast<const uint8_t *>(body.constData()), uint32_t(body.size()));
        channel.sendAndRecvMessage(cob(), &send, &recv);
    }
};

KLumoIpcChannelPrivate *d(KLumoIpcChannel &channel)
{
    return KLumoIpcChannelPrivate::get(&channel);
}

QByteArray pattern(int size, int seed = 0)
{
    // A 251-byte cycle: no power-of-two period, so shifted data does not match.
    QByteArray cycle(251, Qt::Uninitialized);
    for (int i = 0; i < cycle.size(); ++i)
        cycle[i] = char((i * 131 + seed) & 0xff);
    QByteArray b(size, Qt::Uninitialized);
    for (int off = 0; off < size; off += cycle.size())
        std::memcpy(b.data() + off, cycle.constData(), size_t(qMin(cycle.size(), size - off)));
    return b;
}

} // namespace

class TestKLumoIpcChannel : public QObject
{
    Q_OBJECT

private:
    QString serverName() const
    {
        return QStringLiteral("tst_channel_%1").arg(QCoreApplication::applicationPid());
    }
    // Connects m_channel to a fresh peer; every test starts from here.
    void connectPair(KLumoIpcChannel &channel, FramedPeer &peer)
    {
        QVERIFY(peer.listen(serverName()));
        QVERIFY(channel.connectToServer(serverName()));
        QVERIFY(peer.waitForClient());
        QTRY_VERIFY(channel.isConnected());
    }
    // Starts calls a and b and returns their frames as the peer saw them.
    static QList<FramedPeer::Frame> startTwo(KLumoIpcChannel &channel, FramedPeer &peer, Call &a,
                                             Call &b)
    {
        a.start(channel, "a");
        b.start(channel, "b");
        return peer.waitForFrames(2) ? peer.takeFrames() : QList<FramedPeer::Frame>();
    }

private Q_SLOTS:
    void connectsAndReportsToOwner()
    {
        Owner owner;
        KLumoIpcChannel channel(&owner, nullptr);
        QVERIFY(channel.error());
        QVERIFY(!channel.good());
        QVERIFY(!channel.connectToServer(QString()));

        QTest::ignoreMessage(QtInfoMsg, "onError ServerNotFoundError");
        QTest::ignoreMessage(QtInfoMsg, "Server is not connected");
        QVERIFY(!channel.connectToServer(QStringLiteral("tst_channel_nobody_listens")));
        QVERIFY(!channel.good());

        FramedPeer peer;
        QTest::ignoreMessage(QtInfoMsg, "Server is to close");
        QTest::ignoreMessage(QtInfoMsg, "onConnected");
        connectPair(channel, peer);
        QVERIFY(channel.good());
        QVERIFY(!channel.error());
        QVERIFY(!channel.timedOut());
        QTRY_COMPARE(owner.connected, 1);

        QTest::ignoreMessage(QtInfoMsg, "KCloudChannel::connectToServer");
        QVERIFY(channel.connectToServer(serverName())); // already connected: no reconnect

        QTest::ignoreMessage(QtInfoMsg, "onDisconnected");
        peer.disconnectClient();
        QTRY_COMPARE(owner.disconnected, 1);
        QVERIFY(!channel.isConnected());
        QVERIFY(!channel.good());
    }

    void refusesServerOfAnotherUser()
    {
        Owner owner;
        KLumoIpcChannel channel(&owner, nullptr);
        qintptr seen = -2;
        d(channel)->peerCheck = [&seen](qintptr fd, QString *why) {
            seen = fd;
            *why = QStringLiteral("simulated foreign uid");
            return false;
        };
        FramedPeer peer;
        QVERIFY(peer.listen(serverName()));
        QTest::ignoreMessage(
            QtWarningMsg, "KLumoIpcChannel::onConnected refused the server: simulated foreign uid");
        channel.connectToServer(serverName());
        QVERIFY(seen >= 0);
        QVERIFY(!channel.isConnected());
        QVERIFY(!channel.good());
        Call call;
        QTest::ignoreMessage(QtInfoMsg, "On sendAndRecvMessage");
        call.start(channel, "x");
        QCOMPARE(call.completions, 1);
        QTest::qWait(50);
        QCOMPARE(owner.connected, 0);
        QCOMPARE(peer.frameCount(), 0);
    }

    // Each row: how the reply reaches the client. The callback must run once,
    // after the last byte, with exactly the body.
    void reassembly_data()
    {
        QTest::addColumn<int>("bodySize");
        QTest::addColumn<int>("chunk");
        QTest::addColumn<int>("directThreshold");
        QTest::addRow("byte by byte") << 57 << 1 << 65536;
        QTest::addRow("odd chunks across the 8192 initial buffer") << 20000 << 997 << 65536;
        QTest::addRow("odd chunks, streamed") << 20000 << 997 << 1;
        QTest::addRow("staged large frame") << 300000 << 65536 << 0x7fffffff;
        QTest::addRow("direct large frame, header split") << 300000 << 7 << 1;
    }
    void reassembly()
    {
        QFETCH(int, bodySize);
        QFETCH(int, chunk);
        QFETCH(int, directThreshold);
        KLumoIpcChannel channel(nullptr, nullptr);
        d(channel)->reader.setDirectThreshold(quint32(directThreshold));
        FramedPeer peer;
        connectPair(channel, peer);
        Call call;
        call.start(channel, "request");
        QVERIFY(peer.waitForFrames(1));
        const quint32 id = peer.takeFrames().first().seqId;
        const QByteArray body = pattern(bodySize);
        const QByteArray bytes = frame::make(id, body);
        // Small chunks go one event-loop pass apart, so the client sees them as
        // separate reads; the last byte goes alone.
        for (int off = 0; off < bytes.size() - 1; off += chunk) {
            peer.sendRaw(bytes.mid(off, qMin(chunk, bytes.size() - 1 - off)));
            if (chunk < 64)
                QCoreApplication::processEvents();
        }
        QTest::qWait(20);
        QCOMPARE(call.completions, 0);
        peer.sendRaw(bytes.right(1));
        QTRY_COMPARE(call.completions, 1);
        QCOMPARE(call.received.size(), body.size());
        QVERIFY(call.received == body);
        QCOMPARE(d(channel)->waitingRequests(), 0);
        QCOMPARE(d(channel)->frameCount, 1u);
        QCOMPARE(d(channel)->reader.capacity() % 4096, 0u);
    }

    void severalFramesInOneRead()
    {
        auto processor = std::make_shared<Processor>();
        KLumoIpcChannel withProcessor(nullptr, processor);
        FramedPeer peer;
        connectPair(withProcessor, peer);
        Call a, b;
        const auto frames = startTwo(withProcessor, peer, a, b);
        QCOMPARE(frames.size(), 2);
        peer.sendRaw(frame::make(0, "n1") + frame::make(frames[1].seqId, "for b")
                     + frame::make(frames[0].seqId, "for a") + frame::make(0, "n2"));
        QTRY_COMPARE(processor->bodies.size(), 2);
        QCOMPARE(processor->bodies, (QList<QByteArray> {"n1", "n2"}));
        QCOMPARE(a.received, QByteArray("for a"));
        QCOMPARE(b.received, QByteArray("for b"));
        QCOMPARE(d(withProcessor)->frameCount, 4u);
    }

    // A buffer of exactly 20 bytes is a header with an empty body, and it waits.
    void twentyByteThresholdAndGoneProcessor()
    {
        auto processor = std::make_shared<Processor>();
        KLumoIpcChannel channel(nullptr, processor);
        FramedPeer peer;
        connectPair(channel, peer);
        peer.sendFrame(0, QByteArray());
        QTest::qWait(50);
        QCOMPARE(processor->bodies.size(), 0);
        peer.sendFrame(0, "x");
        QTRY_COMPARE(processor->bodies.size(), 2);
        QCOMPARE(processor->bodies, (QList<QByteArray> {QByteArray(), "x"}));
        peer.sendFrame(0, QByteArray());
        QTest::qWait(50);
        QCOMPARE(processor->bodies.size(), 2);
        QCOMPARE(d(channel)->frameCount, 2u);
        // A notification for a processor that is gone is read and dropped.
        processor.reset();
        peer.sendFrame(0, "dropped");
        QTRY_COMPARE(d(channel)->frameCount, 4u);
        QVERIFY(channel.isConnected());
    }

    void protocolViolationClosesAndDropsWaiting_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("log");
        QByteArray badMagic = frame::make(0, "body");
        badMagic.replace(0, 4, "LUMO");
        QByteArray shortTotal = frame::make(0, "body");
        const quint32 twelve = 12;
        std::memcpy(shortTotal.data() + 4, &twelve, 4);
        QTest::addRow("wrong magic") << badMagic << QStringLiteral("!!onRecvData 2LUMO");
        QTest::addRow("total below 20") << shortTotal << QStringLiteral("!!onRecvData 3");
        QTest::addRow("unknown sequence id")
            << frame::make(424242, "body") << QStringLiteral("!!onRecvData 7");
    }
    void protocolViolationClosesAndDropsWaiting()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, log);
        Owner owner;
        auto processor = std::make_shared<Processor>();
        KLumoIpcChannel channel(&owner, processor);
        FramedPeer peer;
        connectPair(channel, peer);
        Call a, b;
        const auto frames = startTwo(channel, peer, a, b);
        QCOMPARE(frames.size(), 2);
        QCOMPARE(d(channel)->waitingRequests(), 2);
        QTest::ignoreMessage(QtInfoMsg, log.toLatin1().constData());
        QTest::ignoreMessage(QtInfoMsg, "KCloudChannel::close disconnectFromServer and term");
        // The reply for a comes behind the bad bytes and must not be delivered.
        peer.sendRaw(bytes + frame::make(frames[0].seqId, "late"));
        QTRY_VERIFY(!channel.isConnected());
        QCOMPARE(d(channel)->waitingRequests(), 0);
        QTest::qWait(30);
        QCOMPARE(a.completions, 0);
        QCOMPARE(b.completions, 0);
        QCOMPARE(processor->bodies.size(), 0);
    }

    void callbackFailuresAreContained()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        int third = 0;
        const std::function<void()> cobs[] = {[] { throw std::runtime_error("boom"); },
                                              std::function<void()>(), // empty callback
                                              [&] { ++third; }};
        TMemoryBuffer send[3], recv[3];
        for (int i = 0; i < 3; ++i) {
            send[i].write(reinterpret_cast<const uint8_t *>("x"), 1);
            channel.sendAndRecvMessage(cobs[i], &send[i], &recv[i]);
        }
        QVERIFY(peer.waitForFrames(3));
        const auto frames = peer.takeFrames();
        QTest::ignoreMessage(QtInfoMsg, "!!onRecvData 9: boom");
        QTest::ignoreMessage(QtInfoMsg, "!!onRecvData 9: bad_function_call");
        peer.sendRaw(frame::make(frames[0].seqId, "r") + frame::make(frames[1].seqId, "r")
                     + frame::make(frames[2].seqId, "r"));
        QTRY_COMPARE(third, 1);
        QVERIFY(channel.isConnected());
    }

    void callbackClosingTheChannelStopsDelivery()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        Call a, b;
        const auto frames = startTwo(channel, peer, a, b);
        QCOMPARE(frames.size(), 2);
        TMemoryBuffer s, r;
        bool closed = false;
        s.write(reinterpret_cast<const uint8_t *>("c"), 1);
        channel.sendAndRecvMessage(
            [&] {
                closed = true;
                channel.close();
            },
            &s, &r);
        QVERIFY(peer.waitForFrames(1));
        const quint32 closer = peer.takeFrames().first().seqId;
        peer.sendRaw(frame::make(closer, "x") + frame::make(frames[0].seqId, "a")
                     + frame::make(frames[1].seqId, "b"));
        QTRY_VERIFY(closed);
        QTest::qWait(30);
        QCOMPARE(a.completions + b.completions, 0);
        QVERIFY(!channel.isConnected());
    }

    // Two calls of the generated client, both with Thrift sequence id 0,
    // answered in the opposite order.
    void generatedClientOutOfOrder()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        apache::thrift::protocol::TCompactProtocolFactory factory;
        std::shared_ptr<apache::thrift::async::TAsyncChannel> shared(&channel, [](auto *) {});
        KLumoServicesCobClient client(shared, &factory);
        QList<std::map<std::string, std::string>> results;
        auto cob = [&results](KLumoServicesCobClient *c) {
            std::map<std::string, std::string> out;
            c->recv_getLoginInfo(out);
            results.append(out);
        };
        client.getLoginInfo(cob);
        client.getLoginInfo(cob);
        QVERIFY(peer.waitForFrames(2));
        const auto frames = peer.takeFrames();
        QCOMPARE(lumotest::peekMessage(frames[0].body).seqId, 0);
        QCOMPARE(lumotest::peekMessage(frames[1].body).seqId, 0);
        QCOMPARE(lumotest::peekMessage(frames[0].body).name, std::string("getLoginInfo"));
        QVERIFY(frames[0].seqId != frames[1].seqId);
        auto reply = [](const std::string &who) {
            KLumoServices_getLoginInfo_result r;
            r.success["who"] = who;
            r.__isset.success = true;
            return lumotest::encodeMessage("getLoginInfo", apache::thrift::protocol::T_REPLY, r);
        };
        peer.sendFrame(frames[1].seqId, reply("second"));
        peer.sendFrame(frames[0].seqId, reply("first"));
        QTRY_COMPARE(results.size(), 2);
        QCOMPARE(results[0].at("who"), std::string("second"));
        QCOMPARE(results[1].at("who"), std::string("first"));
    }

    void callWhileDisconnected()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        apache::thrift::protocol::TCompactProtocolFactory factory;
        std::shared_ptr<apache::thrift::async::TAsyncChannel> shared(&channel, [](auto *) {});
        KLumoServicesCobClient client(shared, &factory);
        bool threw = false;
        int calls = 0;
        QTest::ignoreMessage(QtInfoMsg, "On sendAndRecvMessage");
        client.getLoginInfo([&](KLumoServicesCobClient *c) {
            ++calls;
            std::map<std::string, std::string> out;
            try {
                c->recv_getLoginInfo(out);
            } catch (const apache::thrift::TException &) {
                threw = true;
            }
        });
        QCOMPARE(calls, 1); // at once, on this thread
        QVERIFY(threw);
        QCOMPARE(d(channel)->waitingRequests(), 0);
        QCOMPARE(d(channel)->lastSequenceId(), 0u);
    }

    // Off the owner thread, an immediate failure is still completed on the
    // owner thread, where the receive buffer lives.
    void callWhileDisconnectedFromWorker()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        Call call;
        QTest::ignoreMessage(QtInfoMsg, "On sendAndRecvMessage");
        std::unique_ptr<QThread> worker(QThread::create([&] { call.start(channel, "x"); }));
        worker->start();
        QVERIFY(worker->wait(5000));
        QCOMPARE(call.completions, 0);
        QTRY_COMPARE(call.completions, 1);
        QCOMPARE(call.thread, QThread::currentThread());
        QVERIFY(call.received.isEmpty());
    }

    void writesInPiecesOf256KiB()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        QList<quint32> pieces;
        d(channel)->writer.setPieceObserver([&pieces](quint32 n) { pieces.append(n); });
        FramedPeer peer;
        connectPair(channel, peer);
        Call exact, more;
        const QByteArray body = pattern(262144 - 20);
        exact.start(channel, body);
        QCOMPARE(pieces, (QList<quint32> {262144}));
        pieces.clear();
        const QByteArray big = pattern(262144);
        more.start(channel, big);
        QCOMPARE(pieces, (QList<quint32> {262144, 20}));
        QVERIFY(peer.waitForFrames(2));
        const auto frames = peer.takeFrames();
        QVERIFY(frames[0].body == body);
        QVERIFY(frames[1].body == big);
        QCOMPARE(frames[1].seqId, frames[0].seqId + 1);
    }

    // The peer lives on this thread and cannot read while the test writes: a
    // blocking writer would hang here. The rest must go out, in order, later.
    void peerThatStopsReadingDoesNotBlock()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        Call big, small;
        const QByteArray body = pattern(8 << 20, 7);
        QElapsedTimer t;
        t.start();
        big.start(channel, body);
        small.start(channel, "after");
        QVERIFY(t.elapsed()
                < 5000); // generous for sanitizer builds; a blocking write never returns
        QVERIFY(peer.waitForFrames(2, 20000));
        const auto frames = peer.takeFrames();
        QVERIFY(frames[0].body == body);
        QCOMPARE(frames[1].body, QByteArray("after"));
    }

    void sequenceIdWrapsToOne()
    {
        KLumoIpcChannel channel(nullptr, nullptr);
        FramedPeer peer;
        connectPair(channel, peer);
        d(channel)->setLastSequenceId(4294967294u);
        Call a, b;
        const auto frames = startTwo(channel, peer, a, b);
        QCOMPARE(frames.size(), 2);
        QCOMPARE(frames[0].seqId, 4294967295u);
        QCOMPARE(frames[1].seqId, 1u);
        peer.sendFrame(1, "one");
        peer.sendFrame(4294967295u, "max");
        QTRY_COMPARE(a.completions + b.completions, 2);
        QCOMPARE(a.received, QByteArray("max"));
        QCOMPARE(b.received, QByteArray("one"));
    }

    // Thousands of calls from a second thread while replies and notifications
    // arrive; every callback runs once, on the owner thread, with its own reply.
    void stressFromWorkerThread()
    {
        auto processor = std::make_shared<Processor>();
        KLumoIpcChannel channel(nullptr, processor);
        FramedPeer peer;
        int sent = 0;
        peer.setResponder([&peer, &sent](const FramedPeer::Frame &f) {
            if (++sent % 7 == 0)
                peer.sendFrame(0, "note");
            return QByteArray("re:") + f.body;
        });
        connectPair(channel, peer);
        constexpr int N = 3000;
        std::vector<std::unique_ptr<Call>> calls;
        for (int i = 0; i < N; ++i)
            calls.emplace_back(new Call);
        std::atomic<bool> done {false};
        std::unique_ptr<QThread> worker(QThread::create([&] {
            for (int i = 0; i < N; ++i) {
                calls[size_t(i)]->start(channel, QByteArray::number(i));
                (void)channel.good();
            }
            done = true;
        }));
        worker->start();
        QTRY_VERIFY_WITH_TIMEOUT(done.load(), 30000);
        QVERIFY(worker->wait(5000));
        int completed = 0;
        QElapsedTimer t;
        t.start();
        while (t.elapsed() < 30000) {
            completed = 0;
            for (auto &c : calls)
                completed += c->completions;
            if (completed == N)
                break;
            QTest::qWait(5);
        }
        QCOMPARE(completed, N);
        for (int i = 0; i < N; ++i) {
            QCOMPARE(calls[size_t(i)]->completions, 1);
            QCOMPARE(calls[size_t(i)]->received, QByteArray("re:") + QByteArray::number(i));
            QCOMPARE(calls[size_t(i)]->thread, QThread::currentThread());
        }
        QTRY_COMPARE(processor->bodies.size(), N / 7);
        QCOMPARE(d(channel)->waitingRequests(), 0);
    }
};

LUMO_TEST_MAIN(TestKLumoIpcChannel)
#include "tst_klumoipcchannel.moc"
