#pragma once

#include "lumoserviceglobal.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>

namespace ofx::lumo {
class KLumoFrameSplitterPrivate;
}

namespace LumoService {

/**
 * The frames of the wire for programs that speak it themselves (tools, test
 * doubles, peers in tests): cuts a byte stream, in whatever pieces it
 * arrives, into frames with the same code the client library and the Server
 * run, and makes frames with the library's header. A Server does all of this
 * by itself; a service needs no splitter of its own.
 *
 * A frame is five unsigned 32-bit words in host byte order (the magic
 * "lumo", the total length, 0, the sequence id, 0), then the body; sequence
 * id 0 marks a notification. Belongs to the thread that uses it.
 */
class LUMOSERVICE_EXPORT FrameSplitter
{
public:
    /** The header's length in bytes. */
    static constexpr int HeaderSize = 20;

    /** One frame: its sequence id and its body. */
    struct Frame
    {
        /** The sequence id: a call's and its reply's, or 0 for a notification. */
        quint32 seqId = 0;
        /** The message the frame carries. */
        QByteArray body;
    };

    /** A splitter that refuses a frame longer than @p maxFrameSize bytes in total. */
    explicit FrameSplitter(quint32 maxFrameSize = 0xffffffffu);
    ~FrameSplitter();
    FrameSplitter(const FrameSplitter &) = delete;
    FrameSplitter &operator=(const FrameSplitter &) = delete;

    /**
     * Adds @p bytes to the stream. False once the stream broke a rule of the
     * wire (error() says which); it is then not read any further.
     */
    bool append(const QByteArray &bytes);
    /** The frames completed so far, oldest first; they are handed over once. */
    QList<Frame> takeFrames();
    /** Why the stream cannot be read, or empty while it can. */
    QString error() const;
    /** Forgets the stream (a new connection). */
    void reset();

    /** The frame of @p body under @p seqId, as it goes on the wire. */
    static QByteArray frame(quint32 seqId, const QByteArray &body);

private:
    std::unique_ptr<ofx::lumo::KLumoFrameSplitterPrivate> const d;
};

} // namespace LumoService
