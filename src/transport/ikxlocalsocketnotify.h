#pragma once

namespace ofx::lumo {

/**
 * Receives the events of one local socket. Called on the thread that owns the
 * socket. Deliberately without a virtual destructor: sinks are never owned or
 * deleted through this interface.
 */
class IKxLocalSocketNotify
{
public:
    virtual void onConnected() = 0;
    virtual void onDisconnected() = 0;
    // @p error is a QLocalSocket::LocalSocketError value.
    virtual void onError(int error) = 0;
    // @p state is a QLocalSocket::LocalSocketState value.
    virtual void onStateChanged(int state) = 0;
    // One chunk of everything that was readable at once.
    virtual void onRecvData(const char *data, unsigned int len) = 0;

protected:
    ~IKxLocalSocketNotify() = default;
};

} // namespace ofx::lumo
