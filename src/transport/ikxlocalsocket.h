#pragma once

#include <QtGlobal>

namespace ofx::lumo {

/**
 * A connection to a local server, replaceable for tests. Owned and used on one
 * thread (the owner's event-loop thread); events go to an IKxLocalSocketNotify.
 */
class IKxLocalSocket
{
public:
    virtual ~IKxLocalSocket() = default;

    // @p name is UCS-4; @p openMode a QIODevice::OpenMode value. Does not wait.
    virtual void connectToServer(const wchar_t *name, int openMode) = 0;
    virtual void disconnectFromServer() = 0;
    // Wires the underlying socket's signals to the sink.
    virtual void init() = 0;
    // Closes the device and drops every signal connection of the socket.
    virtual void close() = 0;
    // A QLocalSocket::LocalSocketState value.
    virtual int state() = 0;
    virtual bool flush() = 0;
    // Bytes written, or -1.
    virtual qint64 write(const char *data, unsigned int len) = 0;
    // Waits at most 30000 ms.
    virtual bool waitForBytesWritten() = 0;

    // The connected native descriptor, or -1 when there is none (or the
    // implementation has no descriptor at all). Borrowed: the socket closes it.
    virtual qintptr socketDescriptor() const { return -1; }
};

} // namespace ofx::lumo
