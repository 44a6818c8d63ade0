// The capture of a channel's traffic over a real local socket: what the file
// holds is read back block by block.
#include "framedpeer.h"
#include "lumotestenv.h"

#include "transport/klumocapturewriter.h"
#include "transport/klumoipcchannel_p.h"

#include <QtEndian>
#include <QtTest>

#include <thrift/transport/TBufferTransports.h>

#include <ctime>

using namespace ofx::lumo;
using apache::thrift::transport::TMemoryBuffer;
using lumotest::FramedPeer;

namespace {

struct Packet
{
    quint64 ns;
    quint32 flags;
    QByteArray frame;
};

struct Capture
{
    QMap<int, QByteArray> sectionOptions, interfaceOptions;
    quint16 linkType = 0;
    QList<Packet> packets;
    bool whole = false; // every block read, none cut short
};

// Option code -> value, from @p at to the end of options.
QMap<int, QByteArray> options(const char *at)
{
    QMap<int, QByteArray> out;
    for (;;) {
        const quint16 code = qFromLittleEndian<quint16>(at),
                      len = qFromLittleEndian<quint16>(at + 2);
        if (code == 0)
            return out;
        out[code] = QByteArray(at + 4, len);
        at += 4 + ((len + 3) & ~3);
    }
}

Capture readCapture(const QString &path)
{
    QFile f(path);
    Capture c;
    if (!f.open(QIODevice::ReadOnly))
        return c;
    const QByteArray all = f.readAll();
    auto word = [&](int at) { return qFromLittleEndian<quint32>(all.constData() + at); };
    int at = 0;
    for (; at + 12 <= all.size() && int(word(at + 4)) <= all.size() - at; at += int(word(at + 4))) {
        const char *b = all.constData() + at;
        if (word(at) == 0x0A0D0D0A && word(at + 8) == 0x1A2B3C4D)
            c.sectionOptions = options(b + 24);
        else if (word(at) == 1)
            c.linkType = qFromLittleEndian<quint16>(b + 8), c.interfaceOptions = options(b + 16);
        else if (word(at) == 6 && word(at + 8) == 0)
            c.packets.append({quint64(word(at + 12)) << 32 | word(at + 16),
                              qFromLittleEndian<quint32>(b + 32 + ((word(at + 20) + 3) & ~3)),
                              QByteArray(b + 28, int(word(at + 20)))});
        else
            return c;
    }
    c.whole = at == all.size() && !c.sectionOptions.isEmpty();
    return c;
}

quint64 nowNs()
{
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return quint64(ts.tv_sec) * 1000000000ull + quint64(ts.tv_nsec);
}

QByteArray pattern(int size, char seed)
{
    QByteArray b(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        b[i] = char(i % 251 + seed);
    return b;
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
                                  << "KLumoCaptureWriter::record capture: size limit reached, "
                                     "capture stops";
        QTest::addRow("cannot create") << "/missing/cap.pcapng" << QByteArray() << -1
                                       << "KLumoCaptureWriter::start cannot write the capture "
                                          "file .*: No such file or directory";
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
        const quint64 begin = nowNs();
        KLumoCaptureWriter::startFromEnvironment(QStringLiteral("tst_server"));
        QCOMPARE(KLumoCaptureWriter::isActive(), frames >= 0);

        FramedPeer peer;
        KLumoIpcChannel channel(nullptr, nullptr);
        const QString server = QStringLiteral("tst_capture_%1").arg(::getpid());
        QVERIFY(peer.listen(server) && channel.connectToServer(server) && peer.waitForClient());
        QTRY_VERIFY(channel.isConnected());
        const QByteArray big = pattern(300000, 'r');
        TMemoryBuffer send, recv;
        auto call = [&](const QByteArray &body) {
            send.write(reinterpret_cast<const uint8_t *>(body.constData()), uint32_t(body.size()));
            channel.sendAndRecvMessage([] {}, &send, &recv);
            return peer.waitForFrames(1) ? peer.takeFrames().value(0).seqId : 0;
        };
        peer.sendFrame(call("q1"), "re:q1");
        QTRY_COMPARE(recv.available_read(), 5u);
        peer.sendFrame(0, pattern(200000, 'a'));
        peer.sendFrame(0, pattern(200000, 'b'));
        KLumoIpcChannelPrivate *d = KLumoIpcChannelPrivate::get(&channel);
        QTRY_COMPARE(d->frameCount, 3u);
        // The reply's header and first bytes first: the rest is read straight into recv.
        const QByteArray reply = frame::make(call("q2"), big);
        const quint64 seen = d->reader.bytesReceived();
        peer.sendRaw(reply.left(1000));
        QTRY_VERIFY(d->reader.bytesReceived() > seen);
        if (!message.isEmpty() && frames >= 0)
            QTest::ignoreMessage(QtWarningMsg, qPrintable(message));
        peer.sendRaw(reply.mid(1000));
        QTRY_COMPARE(recv.available_read(), uint32_t(big.size()));
        peer.sendFrame(call("q3"), "re:q3");
        QTRY_COMPARE(recv.available_read(), 5u);
        KLumoCaptureWriter::stop();
        QVERIFY(!KLumoCaptureWriter::isActive());
        const quint64 end = nowNs();

        if (frames < 0) {
            QVERIFY(!QFile::exists(file));
            return;
        }
        const Capture c = readCapture(file);
        QVERIFY(c.whole);
        QVERIFY(c.sectionOptions.value(4).startsWith("lumoipc "));
        QVERIFY(!c.sectionOptions.value(3).isEmpty());
        QCOMPARE(c.linkType, quint16(147));
        QCOMPARE(c.interfaceOptions.value(2), QByteArray("tst_server"));
        QCOMPARE(c.interfaceOptions.value(3),
                 QCoreApplication::applicationName().toUtf8() + " (pid "
                     + QByteArray::number(::getpid()) + ")");
        QCOMPARE(c.interfaceOptions.value(9), QByteArray(1, 9));
        const QList<Packet> expected = {{0, 2, frame::make(1, "q1")},
                                        {0, 1, frame::make(1, "re:q1")},
                                        {0, 1, frame::make(0, pattern(200000, 'a'))},
                                        {0, 1, frame::make(0, pattern(200000, 'b'))},
                                        {0, 2, frame::make(2, "q2")},
                                        {0, 1, reply},
                                        {0, 2, frame::make(3, "q3")},
                                        {0, 1, frame::make(3, "re:q3")}};
        QCOMPARE(c.packets.size(), frames);
        quint64 last = begin;
        for (int i = 0; i < frames; ++i) {
            QCOMPARE(c.packets[i].flags, expected[i].flags);
            QVERIFY2(c.packets[i].frame == expected[i].frame, qPrintable(QString::number(i)));
            QVERIFY(c.packets[i].ns >= last && c.packets[i].ns <= end);
            last = c.packets[i].ns;
        }
        if (!maxMb.isEmpty())
            QVERIFY(QFileInfo(file).size() <= maxMb.toDouble() * 1048576);
    }
};

LUMO_TEST_MAIN(TestKLumoCaptureWriter)
#include "tst_klumocapturewriter.moc"
