#include "klumocapturereader.h"

#include <LumoIpc/KLumoCapture>

#include <QtEndian>

#include <cstring>
#include <limits>

namespace ofx::lumo {

namespace {

using namespace capture;

// No frame the library sends comes near this; a larger length is damage, and
// tailing a file must not wait for a gigabyte that will never come.
constexpr qint64 MaxBlock = qint64(1) << 30;

} // namespace

quint16 KLumoCaptureReader::u16(int at) const
{
    quint16 v;
    std::memcpy(&v, m_baBuffer.constData() + at, sizeof v);
    return m_bSwap ? qbswap(v) : v;
}

quint32 KLumoCaptureReader::u32(int at) const
{
    quint32 v;
    std::memcpy(&v, m_baBuffer.constData() + at, sizeof v);
    return m_bSwap ? qbswap(v) : v;
}

KLumoCaptureReader::Next KLumoCaptureReader::fail(qint64 offset, const QString &what)
{
    m_bFailed = true;
    m_strError = QStringLiteral("corrupt at byte offset %1: %2").arg(offset).arg(what);
    return Next::Error;
}

void KLumoCaptureReader::append(const QByteArray &bytes)
{
    if (m_nPos > 0) {
        m_baBuffer.remove(0, m_nPos);
        m_nBase += m_nPos;
        m_nPos = 0;
    }
    m_baBuffer.append(bytes);
}

bool KLumoCaptureReader::finish()
{
    if (m_bFailed)
        return false;
    const qint64 left = m_baBuffer.size() - m_nPos;
    if (left > 0) {
        // What the block claims, if its length made it in.
        const QString needs = left >= 8
            ? QStringLiteral("a block of %1 bytes, of which").arg(u32(m_nPos + BlockLengthAt))
            : QStringLiteral("a block header of 8 bytes, of which");
        m_strError =
            QStringLiteral("truncated at byte offset %1: the file ends inside %2 %3 are there")
                .arg(m_nBase + m_nPos)
                .arg(needs)
                .arg(left);
        return false;
    }
    if (m_nSection < 0) {
        m_strError = QStringLiteral("truncated at byte offset 0: the file is empty");
        return false;
    }
    return true;
}

KLumoCaptureReader::Next KLumoCaptureReader::next(Packet *packet)
{
    while (!m_bFailed) {
        const int left = m_baBuffer.size() - m_nPos;
        const qint64 offset = m_nBase + m_nPos;
        if (left < 4)
            return Next::NeedMore;
        quint32 type;
        std::memcpy(&type, m_baBuffer.constData() + m_nPos, 4);
        if (type == SectionHeaderBlock) {
            // Its byte-order magic decides how its own length is read.
            if (left < 12)
                return Next::NeedMore;
            quint32 magic;
            std::memcpy(&magic, m_baBuffer.constData() + m_nPos + 8, 4);
            if (magic != ByteOrderMagic && magic != qbswap(ByteOrderMagic))
                return fail(offset + 8,
                            QStringLiteral("a section header without the byte-order "
                                           "magic: not a pcapng capture"));
            m_bSwap = magic != ByteOrderMagic;
        } else if (m_nSection < 0) {
            return fail(offset, QStringLiteral("no section header block: not a pcapng capture"));
        }
        if (left < 8)
            return Next::NeedMore;
        type = u32(m_nPos);
        const quint32 length = u32(m_nPos + BlockLengthAt);
        if (length < 12 || length % 4 != 0 || length > MaxBlock)
            return fail(offset + BlockLengthAt,
                        QStringLiteral("block length %1 is not a multiple of 4 between 12 and %2")
                            .arg(length)
                            .arg(MaxBlock));
        if (quint32(left) < length)
            return Next::NeedMore;
        if (u32(m_nPos + int(length) - 4) != length)
            return fail(offset + length - 4,
                        QStringLiteral("the block's trailing length %1 differs from its leading "
                                       "length %2")
                            .arg(u32(m_nPos + int(length) - 4))
                            .arg(length));
        Next result = Next::NeedMore;
        if (type == SectionHeaderBlock)
            result = readSectionHeader(int(length));
        else if (type == InterfaceBlock)
            result = readInterface(int(length));
        else if (type == EnhancedPacketBlock)
            result = readPacket(int(length), packet);
        // Other block types are skipped. NeedMore from the readers above means
        // "read, no packet".
        if (result == Next::Error)
            return result;
        m_nPos += int(length);
        if (result == Next::Packet)
            return result;
    }
    return Next::Error;
}

template<class F> bool KLumoCaptureReader::readOptions(int at, int end, F take)
{
    while (at + 4 <= end) {
        const quint16 code = u16(at), length = u16(at + 2);
        if (code == OptEnd)
            return true;
        if (at + 4 + padded<qint64>(length) > end) {
            fail(m_nBase + at,
                 QStringLiteral("option %1 of %2 bytes overruns its block").arg(code).arg(length));
            return false;
        }
        if (!take(code, at + 4, int(length)))
            return false;
        at += 4 + int(padded<qint64>(length));
    }
    return true;
}

KLumoCaptureReader::Next KLumoCaptureReader::readSectionHeader(int length)
{
    if (length < 28)
        return fail(m_nBase + m_nPos + BlockLengthAt,
                    QStringLiteral("a section header of %1 bytes").arg(length));
    if (u16(m_nPos + 12) != 1)
        return fail(m_nBase + m_nPos + 12,
                    QStringLiteral("pcapng version %1 is not supported").arg(u16(m_nPos + 12)));
    ++m_nSection;
    m_lstInterfaces.clear();
    m_strApplication.clear();
    return readOptions(m_nPos + 24, m_nPos + length - 4,
                       [this](quint16 code, int at, int n) {
                           if (code == OptShbUserAppl)
                               m_strApplication = QString::fromUtf8(m_baBuffer.constData() + at, n);
                           return true;
                       })
        ? Next::NeedMore
        : Next::Error;
}

KLumoCaptureReader::Next KLumoCaptureReader::readInterface(int length)
{
    if (length < 20)
        return fail(m_nBase + m_nPos + BlockLengthAt,
                    QStringLiteral("an interface description of %1 bytes").arg(length));
    Interface i;
    i.linkType = u16(m_nPos + 8);
    const bool ok = readOptions(m_nPos + 16, m_nPos + length - 4, [&](quint16 code, int at, int n) {
        const auto text = [&] {
            return QString::fromUtf8(m_baBuffer.constData() + at, n).remove(QChar(0));
        };
        if (code == OptIfName) {
            i.name = text();
        } else if (code == OptIfDescription) {
            i.description = text();
        } else if (code == OptIfTsResol && n == 1) {
            const quint8 v = quint8(m_baBuffer.at(at));
            const int exponent = v & 0x7f;
            if ((v & 0x80) ? exponent > 62 : exponent > 18) {
                fail(m_nBase + at, QStringLiteral("timestamp resolution %1 out of range").arg(v));
                return false;
            }
            i.unitsPerSecond = 1;
            for (int k = 0; k < exponent; ++k)
                i.unitsPerSecond *= (v & 0x80) ? 2 : 10;
        } else if (code == OptIfTsOffset && n == 8) {
            quint64 v;
            std::memcpy(&v, m_baBuffer.constData() + at, sizeof v);
            i.offsetSeconds = qint64(m_bSwap ? qbswap(v) : v);
        }
        return true;
    });
    if (!ok)
        return Next::Error;
    m_lstInterfaces.append(i);
    return Next::NeedMore;
}

KLumoCaptureReader::Next KLumoCaptureReader::readPacket(int length, Packet *packet)
{
    const qint64 offset = m_nBase + m_nPos;
    if (length < 32)
        return fail(offset + BlockLengthAt,
                    QStringLiteral("a packet block of %1 bytes").arg(length));
    const quint32 id = u32(m_nPos + PacketInterfaceAt);
    if (id >= quint32(m_lstInterfaces.size()))
        return fail(offset + PacketInterfaceAt,
                    QStringLiteral("a packet of interface %1, but %2 are described")
                        .arg(id)
                        .arg(m_lstInterfaces.size()));
    const quint32 captured = u32(m_nPos + 20);
    const int dataAt = m_nPos + PacketDataAt;
    const int end = m_nPos + length - 4;
    if (dataAt + padded<qint64>(captured) > end)
        return fail(offset + 20,
                    QStringLiteral("captured length %1 overruns its block").arg(captured));
    Packet p;
    if (!readOptions(dataAt + int(padded<qint64>(captured)), end, [&](quint16 code, int at, int n) {
            if (code == OptEpbFlags && n == 4)
                p.direction = Direction(u32(at) & 3);
            return true;
        }))
        return Next::Error;
    const Interface &i = m_lstInterfaces.at(int(id));
    const quint64 ts = quint64(u32(m_nPos + 12)) << 32 | u32(m_nPos + 16);
    const long double ns = static_cast<long double>(ts) * 1e9L / i.unitsPerSecond
        + static_cast<long double>(i.offsetSeconds) * 1e9L;
    constexpr qint64 max = std::numeric_limits<qint64>::max();
    p.timeNs = i.unitsPerSecond == 1000000000 && i.offsetSeconds == 0
        ? qint64(qMin(ts, quint64(max)))
        : ns >= max  ? max
        : ns <= -max ? -max
                     : qint64(ns);
    p.section = m_nSection;
    p.interfaceId = int(id);
    p.originalLength = u32(m_nPos + 24);
    p.data = m_baBuffer.mid(dataAt, int(captured));
    p.offset = offset;
    *packet = std::move(p);
    return Next::Packet;
}

} // namespace ofx::lumo
