// The capture of a channel's traffic over a real local socket: what the file
// holds is read back by the tools' capture reader.
#include "framedpeer.h"
#include "klumocapturereader.h"
#include "lumotestenv.h"

#include "transport/klumocapturewriter.h"
#include "transport/klumoipcchannel_p.h"

#include <QRegularExpression>
#include <QTest>

#include <thrift/transport/TBufferTransports.h>

using namespace ofx::lumo;
using apache::thrift::transport::TMemoryBuffer;
using lumotest::FramedPeer;

namespace {

// The packets of a capture as "<direction flags> <frame>" and their
// timestamps; returns the interface's name, or nothing when the file is
// damaged or cut short.
QString readCapture(const QString &path, QList<QByteArray> *packets, QList<qint64> *times)
{
    KLumoCaptureReader reader;
    reader.append(lumotest::readFile(path));
    KLumoCaptureReader::Packet p;
    while (reader.next(&p) == KLumoCaptureReader::Next::Packet) {
        *packets << QByteArray::number(p.direction) + ' ' + p.data;
        *times << p.timeNs;
    }
    return reader.finish() ? reader.interfaces().value(0).name : QString();
}

} // namespace

class TestKLumoCaptureWriter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void recordsWhatCrossesTheSocket_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("maxMb");
        QTest::addColumn<int>("frames");
        QTest::addColumn<QString>("message");
        QTest::addRow("whole session") << "/cap-%p.pcapng" << QByteArray() << 8 << QString();
        // Two 200 KB notifications fit half a MiB, the 300 KB reply does not.
        QTest::addRow("size cap") << "/cap-%p.pcapng" << QByteArray("0.5") << 5
                                  << "capture: size limit reached";
        QTest::addRow("cannot create") << "/missing/cap.pcapng" << QByteArray() << -1
                                       << "cannot write the capture file .*: No such file";
    }
    // A call, two notifications, a reply streamed into its call's buffer and
    // one more call, all recorded whole and in order, or as far as the cap allows.
    void recordsWhatCrossesTheSocket()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, maxMb);
        QFETCH(int, frames);
        QFETCH(QString, message);
        path = QDir::tempPath() + path;
        const QString file = QString(path).replace("%p", QString::number(::getpid()));
        qputenv("LUMOIPC_CAPTURE", path.toLocal8Bit());
        qputenv("LUMOIPC_CAPTURE_MAX_MB", maxMb);
        if (frames < 0)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(message));
        const qint64 begin = QDateTime::currentMSecsSinceEpoch() * 1000000;
        KLumoCaptureWriter::startFromEnvironment(QStringLiteral("tst_server"));
        QCOMPARE(KLumoCaptureWriter::isActive(), frames >= 0);

        FramedPeer peer;
        KLumoIpcChannel channel(nullptr, nullptr);
        KLumoIpcChannelPrivate *d = KLumoIpcChannelPrivate::get(&channel);
        const QString server = QStringLiteral("tst_capture_%1").arg(::getpid());
        QVERIFY(peer.listen(server) && channel.connectToServer(server) && peer.waitForClient());
        QTRY_VERIFY(channel.isConnected());
        TMemoryBuffer send, recv;
        QList<QByteArray> expected; // "<direction flags> <frame>", as they cross
        auto call = [&](const QByteArray &body) {
            send.write(reinterpret_cast<const uint8_t *>(body.constData()), uint32_t(body.size()));
            channel.sendAndRecvMessage([] {}, &send, &recv);
            const quint32 id = peer.waitForFrames(1) ? peer.takeFrames().value(0).seqId : 0;
            expected << "2 " + frame::make(id, body);
            return id;
        };
        auto answer = [&](quint32 id, const QByteArray &body) {
            peer.sendFrame(id, body);
            expected << "1 " + frame::make(id, body);
        };
        answer(call("q1"), "re:q1");
        QTRY_COMPARE(recv.available_read(), 5u);
        answer(0, QByteArray(200000, 'a'));
        answer(0, QByteArray(200000, 'b'));
        QTRY_COMPARE(d->frameCount, 3u);
        // The reply's header and first bytes first: the rest is read straight into recv.
        const QByteArray reply = frame::make(call("q2"), QByteArray(300000, 'r'));
        expected << "1 " + reply;
        const quint64 seen = d->reader.bytesReceived();
        peer.sendRaw(reply.left(1000));
        QTRY_VERIFY(d->reader.bytesReceived() > seen);
        if (!message.isEmpty() && frames >= 0)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(message));
        peer.sendRaw(reply.mid(1000));
        QTRY_COMPARE(recv.available_read(), 300000u);
        answer(call("q3"), "re:q3");
        QTRY_COMPARE(recv.available_read(), 5u);
        KLumoCaptureWriter::stop();
        const qint64 end = (QDateTime::currentMSecsSinceEpoch() + 1) * 1000000;

        QList<QByteArray> packets;
        QList<qint64> times;
        QCOMPARE(readCapture(file, &packets, &times), frames >= 0 ? "tst_server" : QString());
        QVERIFY(packets == expected.mid(0, qMax(frames, 0))); // whole, in order, and no more
        for (int i = 0; i < packets.size(); ++i)
            QVERIFY(times[i] >= (i ? times[i - 1] : begin) && times[i] <= end);
    }
};

LUMO_TEST_MAIN(TestKLumoCaptureWriter)
#include "tst_klumocapturewriter.moc"
