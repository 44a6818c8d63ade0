#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <cstring>

/**
 * The frame layout of the wire, shared by the client library and the service
 * SDK (installed as <LumoService/Frame>). Every message in either direction is
 * one frame: five unsigned 32-bit words in host byte order (magic "lumo",
 * total length, 0, sequence id, 0), then the body. Sequence id 0 marks a
 * notification; requests and their replies carry the same non-zero id.
 */
namespace ofx::lumo::frame {

/** The header's length in bytes. */
constexpr quint32 HeaderSize = 20;
/**
 * What a body may claim when it is decoded, replies and notifications alike:
 * the compact decoder allocates what a length claims before it looks for the
 * bytes, and multiplies a container's count into a byte count, so both stay
 * well above anything the service sends and far below an overflow.
 */
constexpr int MaxStringBytes = 128 << 20;
/** The most elements a decoded container may claim (see MaxStringBytes). */
constexpr int MaxContainerElements = 1 << 20;
/** The four bytes every frame starts with. */
constexpr char Magic[4] = {'l', 'u', 'm', 'o'};

/** A frame's header as it is on the wire. */
struct Header
{
    char magic[4]; ///< "lumo"
    quint32 total; ///< the frame's length, header included
    quint32 reserved0; ///< 0
    quint32 seqId; ///< the call's id, or 0 for a notification
    quint32 reserved1; ///< 0

    /** Whether the frame starts with the magic "lumo". */
    bool hasMagic() const { return std::memcmp(magic, Magic, sizeof magic) == 0; }
    /** The body's length (total less the header). */
    quint32 bodyLength() const { return total - HeaderSize; }
};
static_assert(sizeof(Header) == HeaderSize, "the frame header is five packed 32-bit words");

/** Writes the header of a frame of @p bodyLength bytes under @p seqId at @p dst. */
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

/** Reads the header at @p src (HeaderSize bytes). */
inline Header readHeader(const char *src)
{
    Header h;
    std::memcpy(&h, src, sizeof h);
    return h;
}

/** The frame of the @p length bytes at @p body under @p seqId. */
inline QByteArray make(quint32 seqId, const char *body, quint32 length)
{
    QByteArray out(int(HeaderSize + length), Qt::Uninitialized);
    writeHeader(out.data(), length, seqId);
    if (length)
        std::memcpy(out.data() + HeaderSize, body, length);
    return out;
}

/** The frame of @p body under @p seqId. */
inline QByteArray make(quint32 seqId, const QByteArray &body)
{
    return make(seqId, body.constData(), quint32(body.size()));
}

} // namespace ofx::lumo::frame
