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
 * run. <LumoService/Frame> makes frames. A Server does all of this by
 * itself; a service needs no splitter of its own. Belongs to the thread that
 * uses it.
 */
class LUMOSERVICE_EXPORT FrameSplitter
{
public:
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

private:
    std::unique_ptr<ofx::lumo::KLumoFrameSplitterPrivate> const d;
};

} // namespace LumoService
