#include "klumocapturereader.h"
#include "lumotestenv.h"

#include <QtEndian>
#include <QtTest>

using ofx::lumo::KLumoCaptureReader;
using Next = KLumoCaptureReader::Next;

namespace {

// pcapng blocks in either byte order, as other writers may produce them.
struct Writer
{
    bool big = false;
    QByteArray out;

    QByteArray u16(quint16 v) const
    {
        v = big ? qToBigEndian(v) : qToLittleEndian(v);
        return QByteArray(reinterpret_cast<const char *>(&v), 2);
    }
    QByteArray u32(quint32 v) const
    {
        return u16(quint16(big ? v >> 16 : v)) + u16(quint16(big ? v : v >> 16));
    }
    QByteArray option(quint16 code, const QByteArray &value) const
    {
        return u16(code) + u16(quint16(value.size())) + value
            + QByteArray((4 - value.size() % 4) % 4, '\0');
    }
    void block(quint32 type, const QByteArray &body)
    {
        out += u32(type) + u32(quint32(body.size() + 12)) + body + u32(quint32(body.size() + 12));
    }
    void section() { block(0x0A0D0D0A, u32(0x1A2B3C4D) + u16(1) + u16(0) + u32(~0u) + u32(~0u)); }
    void interface(const QByteArray &description, char resolution)
    {
        block(1,
              u16(147) + u16(0) + u32(0) + option(3, description)
                  + option(9, QByteArray(1, resolution)) + option(0, {}));
    }
    void packet(quint32 id, quint64 ts, const QByteArray &data, quint32 flags)
    {
        block(6,
              u32(id) + u32(quint32(ts >> 32)) + u32(quint32(ts)) + u32(quint32(data.size()))
                  + u32(quint32(data.size())) + data + QByteArray((4 - data.size() % 4) % 4, '\0')
                  + option(2, u32(flags)) + option(0, {}));
    }
};

QStringList readAll(KLumoCaptureReader &reader)
{
    QStringList out;
    KLumoCaptureReader::Packet p;
    while (reader.next(&p) == Next::Packet) {
        out << QStringLiteral("%1 %2 %3 %4 %5")
                   .arg(reader.interfaces().at(p.interfaceId).description)
                   .arg(p.timeNs)
                   .arg(int(p.direction))
                   .arg(QString::fromLatin1(p.data))
                   .arg(p.offset);
    }
    return out;
}

} // namespace

class TestKLumoCaptureReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsOtherWritersFiles_data();
    void readsOtherWritersFiles();
    void waitsForAPartialBlock();
};

// Files the library never writes but the format allows: the other byte order,
// microsecond and binary timestamps, blocks of unknown types, several sections.
void TestKLumoCaptureReader::readsOtherWritersFiles_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QStringList>("packets");
    Writer be;
    be.big = true;
    be.section();
    be.interface("a (pid 1)", 6);
    be.block(0x0BAD, be.u32(1));
    be.packet(0, 1700000000000001, "call", 2);
    QTest::addRow("big-endian, microseconds, unknown block")
        << be.out << QStringList {"a (pid 1) 1700000000000001000 2 call 92"};
    Writer two;
    two.section();
    two.interface("a (pid 1)", 9);
    two.packet(0, 5, "x", 1);
    two.section();
    two.interface("b (pid 2)", 9);
    two.interface("c (pid 3)", char(0x80 | 1));
    two.packet(1, 7, "yy", 2);
    QTest::addRow("second section, binary resolution")
        << two.out << QStringList {"a (pid 1) 5 1 x 76", "c (pid 3) 3500000000 2 yy 248"};
}

void TestKLumoCaptureReader::readsOtherWritersFiles()
{
    QFETCH(QByteArray, file);
    QFETCH(QStringList, packets);
    KLumoCaptureReader reader;
    reader.append(file);
    QCOMPARE(readAll(reader), packets);
    QVERIFY2(reader.finish(), qPrintable(reader.error()));
}

// Tailing: bytes arrive one at a time; each packet comes out with its block's
// last byte, and until then the file is only truncated, not corrupt.
void TestKLumoCaptureReader::waitsForAPartialBlock()
{
    Writer w;
    w.section();
    w.interface("h (pid 9)", 9);
    const int first = w.out.size();
    w.packet(0, 1, "first", 2);
    const int second = w.out.size();
    w.packet(0, 2, "second", 1);
    KLumoCaptureReader reader;
    QStringList seen;
    for (int i = 0; i < w.out.size(); ++i) {
        reader.append(w.out.mid(i, 1));
        seen << readAll(reader);
        QCOMPARE(seen.size(), int(i + 1 >= second) + int(i + 1 == w.out.size()));
        if (i == first + 10) {
            KLumoCaptureReader cut = reader;
            QVERIFY(!cut.finish());
            QVERIFY2(
                cut.error().startsWith(QStringLiteral("truncated at byte offset %1: ").arg(first)),
                qPrintable(cut.error()));
        }
    }
    QCOMPARE(seen.last(), QStringLiteral("h (pid 9) 2 1 second %1").arg(second));
    QVERIFY(reader.finish());
}

LUMO_TEST_MAIN(TestKLumoCaptureReader)
#include "tst_klumocapturereader.moc"
