#pragma once

#include <QtGlobal>

namespace ofx::lumo {

/**
 * Optional second face of a socket sink: a sink that also implements this lets
 * the socket read straight into the sink's own memory instead of handing over a
 * freshly allocated chunk, which is what keeps large replies linear and free of
 * page faults. Called on the socket's thread only.
 */
class IKxLocalSocketRecvBuffer
{
public:
    // Room for the next read; @p hint is how many bytes are ready. Returns null
    // (and *room = 0) when no memory can be had. The pointer is valid until the
    // next call or onRecvCommitted.
    virtual char *recvSpace(quint32 hint, quint32 *room) = 0;
    // @p len bytes were written at the pointer last returned by recvSpace.
    virtual void onRecvCommitted(quint32 len) = 0;
    // True while a frame is only partly received. Only then does the socket
    // read on past what Qt has buffered: after whole frames the kernel is
    // almost always empty, and its notifier reports anything that arrives later.
    virtual bool expectsMore() const = 0;

protected:
    ~IKxLocalSocketRecvBuffer() = default;
};

} // namespace ofx::lumo
