#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstring>

namespace ofx::lumo::frame {

// Every message in either direction is one frame: five unsigned 32-bit words in
// host byte order (magic "lumo", total length, 0, sequence id, 0), then the body.
// Sequence id 0 marks a notification; requests and their replies carry the same
// non-zero id.
constexpr quint32 HeaderSize = 20;
// What a body may claim when it is decoded, replies and notifications alike:
// the compact decoder allocates what a length claims before it looks for the
// bytes, and multiplies a container's count into a byte count, so both stay
// well above anything the service sends and far below an overflow.
constexpr int MaxStringBytes = 128 << 20;
constexpr int MaxContainerElements = 1 << 20;
constexpr char Magic[4] = {'l', 'u', 'm', 'o'};

struct Header
{
    char magic[4];
    quint32 total;
    quint32 reserved0;
    quint32 seqId;
    quint32 reserved1;

    bool hasMagic() const { return std::memcmp(magic, Magic, sizeof magic) == 0; }
    quint32 bodyLength() const { return total - HeaderSize; }
};
static_assert(sizeof(Header) == HeaderSize, "the frame header is five packed 32-bit words");

inline void writeHeader(char *dst, quint32 bodyLength, quint32 seqId)
{
    Header h;
    std::memcpy(h.magic, Magic, sizeof Magic);
    h.total = bodyLength + HeaderSize;
    h.reserved0 = 0;
    h.seqId = seqId;
    h.reserved1 = 0;
    std::memcpy(dst, &h, sizeof h);
}

inline Header readHeader(const char *src)
{
    Header h;
    std::memcpy(&h, src, sizeof h);
    return h;
}

inline QByteArray make(quint32 seqId, const char *body, quint32 length)
{
    QByteArray out(int(HeaderSize + length), Qt::Uninitialized);
    writeHeader(out.data(), length, seqId);
    if (length)
        std::memcpy(out.data() + HeaderSize, body, length);
    return out;
}

inline QByteArray make(quint32 seqId, const QByteArray &body)
{
    return make(seqId, body.constData(), quint32(body.size()));
}

} // namespace ofx::lumo::frame
