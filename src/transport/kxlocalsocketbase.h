#pragma once

#include "transport/ikxlocalsocket.h"
#include "transport/ikxlocalsocketnotify.h"

namespace ofx::lumo {

/**
 * Forwards socket events to one sink (not owned; may be null, in which case
 * events are dropped). Same thread as the socket.
 */
class KxLocalSocketBase : public IKxLocalSocket, public IKxLocalSocketNotify
{
public:
    explicit KxLocalSocketBase(IKxLocalSocketNotify *sink = nullptr)
        : m_pSink(sink)
    { }

    void onConnected() override;
    void onDisconnected() override;
    void onError(int error) override;
    void onStateChanged(int state) override;
    void onRecvData(const char *data, unsigned int len) override;

    IKxLocalSocketNotify *sink() const { return m_pSink; }
    void setSink(IKxLocalSocketNotify *sink) { m_pSink = sink; }

private:
    IKxLocalSocketNotify *m_pSink;
};

} // namespace ofx::lumo
