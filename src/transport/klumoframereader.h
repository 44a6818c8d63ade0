#pragma once

#include "transport/klumoframe.h"
#include "transport/klumorecvbuffer.h"
#include "transport/klumoreplybuffer.h"

#include <QPointer>
#include <QString>

#include <memory>

namespace ofx::lumo {

/**
 * The receive side of a channel: reassembles frames (the 20-byte header, then
 * the body) from whatever pieces the socket reads, streams the body of a large
 * reply into a buffer of its own as it arrives, and enforces the rules of the stream. A violation
 * is logged as "!!onRecvData <n>" and ends the connection through the sink; nothing is repaired in
 * place.
 *
 * Owned by the channel and used on its owner thread only. Any call into the
 * sink may reset() the reader (the connection was closed) or destroy the
 * lifetime owner given to the constructor, and with it the reader: the reader
 * notices both and then stops touching the old stream.
 */
class KLumoFrameReader
{
public:
    // The rules of the stream a frame breaks, numbered as the log line
    // "!!onRecvData <n>" prints them. All but the last end the connection.
    enum class Violation {
        None = 0,
        ShortHeader = 1, // fewer than a header's bytes left to parse
        BadMagic = 2,
        ShortTotal = 3, // a total length below the header's own
        ShortBody = 5, // a body longer than the bytes buffered
        NoCallback = 7, // a reply to a call nothing waits for
        NoReceiveBuffer = 8, // a reply to a call without a buffer for it
        // A reply's callback or the notification processor threw: logged by
        // the sink with the exception's text, and the stream goes on.
        CallbackFailed = 9,
        Oversized = 10, // a total length above the reader's limit (setMaxFrameSize)
    };
    // The log line's head for @p which: "!!onRecvData <n>".
    static QString logText(Violation which);

    // Where frames go; implemented by the channel.
    class Sink
    {
    public:
        // Whether a call waits for @p seqId: only then is its reply streamed.
        virtual bool awaitsReply(quint32 seqId) = 0;
        // One complete frame. @p body stays valid until the sink runs a
        // callback. Returns the violation the frame commits (an unknown
        // sequence id), if any.
        virtual Violation onFrame(quint32 seqId, const char *body, quint32 length) = 0;
        // A streamed reply, complete in @p body, whose contents the sink may
        // take. Returns as onFrame().
        virtual Violation onStreamedReply(quint32 seqId, KLumoReplyBuffer &body) = 0;
        // The stream cannot be read any further: drop the connection.
        virtual void closeConnection() = 0;

    protected:
        ~Sink() = default;
    };

    static constexpr quint32 DefaultDirectThreshold = 64 * 1024;

    // @p lifetime owns the reader (directly or not).
    KLumoFrameReader(Sink *sink, QObject *lifetime);

    // IKxLocalSocketRecvBuffer of the channel: the socket reads straight into
    // the staging buffer, or into the body of a streamed reply.
    char *recvSpace(quint32 hint, quint32 *room);
    void onRecvCommitted(quint32 len);
    bool expectsMore() const { return m_oDirect.active || m_oBuffer.size() > 0; }
    // A chunk the socket read into memory of its own.
    void append(const char *data, quint32 len);
    // Forgets the stream: the bytes staged and any reply being streamed.
    void reset();

    // Bodies of replies at least this long are read straight into a buffer of
    // their own, handed over whole, instead of being staged and copied.
    void setDirectThreshold(quint32 bytes) { m_nDirectThreshold = bytes; }
    // A frame whose header claims more than @p bytes in total is a violation,
    // found before its body is buffered. No limit by default.
    void setMaxFrameSize(quint32 bytes) { m_nMaxFrame = bytes; }
    // Whether frames are recorded while a capture runs (LUMOIPC_CAPTURE): the
    // host's channel, yes; a service's or a test peer's reader in the same
    // process, no.
    void setCaptured(bool captured) { m_bCaptured = captured; }
    // The rule the stream broke last (None while it broke none), for the sink
    // to say why it closes.
    Violation lastViolation() const { return m_eLastViolation; }

    // Measurements.
    quint32 capacity() const { return m_oBuffer.capacity(); }
    quint64 bytesReceived() const { return m_nReceived; }
    // Reads into memory, plus the copies and moves made after them.
    quint64 bytesCopied() const { return m_nCopied + m_oBuffer.bytesMoved(); }

private:
    void parse();
    // Logs "!!onRecvData <n>", then @p detail, and ends the connection.
    void violation(Violation which, const QString &detail = QString());
    void startDirect(const frame::Header &h);
    void finishDirect();

    Sink *const m_pSink;
    QObject *const m_pLifetime;
    KLumoRecvBuffer m_oBuffer;
    quint64 m_nGeneration = 0; // bumped by every reset, so a loop notices one made under it
    bool m_bParsing = false;
    quint32 m_nDirectThreshold = DefaultDirectThreshold;
    quint32 m_nMaxFrame = 0xffffffffu;
    Violation m_eLastViolation = Violation::None;
    bool m_bCaptured = true;
    quint64 m_nReceived = 0;
    quint64 m_nCopied = 0;
    // A large reply being read straight into its own buffer.
    struct Direct
    {
        bool active = false;
        quint32 seqId = 0;
        std::unique_ptr<KLumoReplyBuffer> body;
        quint32 remaining = 0;
        quint32 length = 0;
        frame::Header header {}; // as received, for the capture
    } m_oDirect;
    // The memory of the last large reply, for the next one.
    std::unique_ptr<KLumoReplyBuffer> m_pSpare;
};

} // namespace ofx::lumo
