#pragma once

#include "transport/ikxlocalsocketnotify.h"
#include "transport/ikxlocalsocketrecvbuffer.h"

#include <QObject>
#include <QString>

#include <thrift/async/TAsyncChannel.h>

#include <functional>
#include <memory>

namespace ofx::lumo {

class KLumoNotifyProcessor;
class KLumoIpcChannelPrivate;

namespace channel {
// Protocol tokens of the service's side of the conversation. This library
// never sends nor reads them; they stay so that the protocol's constants are
// written down in one place with the framing, spelled as the service spells
// them. The frame magic is frame::Magic (klumoframe.h).
inline constexpr char HeartbeatToken[] = "HEARTBEAT";
inline constexpr char DisconnectToken[] = "DISCONNET_REQUEST110";
inline constexpr char ZeroText[] = "0";
} // namespace channel

/**
 * Carries Thrift messages to and from the service process, one per frame, on
 * a local socket; matches replies to requests by the frame's sequence id and
 * hands sequence id 0 frames to the notification processor (held weakly).
 * Incoming bytes become frames in a KLumoFrameReader; outgoing frames leave
 * through a KLumoFrameWriter. Tests and benchmarks reach the internals through
 * KLumoIpcChannelPrivate (klumoipcchannel_p.h).
 *
 * Threads: created on, and owned by, the host thread; the socket, the receive
 * side, connectToServer() and close() belong to that thread, and every
 * completion callback and notification runs there. sendAndRecvMessage(),
 * sendMessage(), good(), error(), timedOut() and isConnected() may be called
 * from any thread: the sequence counter and the callback/receive-buffer maps
 * are guarded by one mutex, the connection state is atomic, and frames reach
 * the kernel from the calling thread through the channel's frame writer.
 * No QObject base is listed first, so there is no Q_OBJECT: queued work uses
 * functor invocations on this object.
 */
class KLumoIpcChannel : public IKxLocalSocketNotify,
                        public apache::thrift::async::TAsyncChannel,
                        public QObject,
                        public IKxLocalSocketRecvBuffer
{
public:
    KLumoIpcChannel(QObject *owner, std::shared_ptr<KLumoNotifyProcessor> processor);
    ~KLumoIpcChannel() override;

    bool connectToServer(const QString &name);
    void close();
    // Called, on the owner thread, each time a reset of the connection drops
    // requests that were waiting for their replies; their completion
    // callbacks are destroyed uncalled. The dispatcher ends such calls by it.
    void setRequestsDroppedHandler(std::function<void()> handler);
    // True while the socket is connected (and its peer accepted); any thread.
    virtual bool isConnected() const;

    // IKxLocalSocketNotify, owner thread.
    void onConnected() override;
    void onDisconnected() override;
    void onError(int error) override;
    void onStateChanged(int state) override;
    void onRecvData(const char *data, unsigned int len) override;

    // TAsyncChannel.
    bool good() const override;
    bool error() const override;
    bool timedOut() const override;
    void sendMessage(const VoidCallback &cob,
                     apache::thrift::transport::TMemoryBuffer *message) override;
    void recvMessage(const VoidCallback &cob,
                     apache::thrift::transport::TMemoryBuffer *message) override;
    void sendAndRecvMessage(const VoidCallback &cob,
                            apache::thrift::transport::TMemoryBuffer *sendBuf,
                            apache::thrift::transport::TMemoryBuffer *recvBuf) override;

    // IKxLocalSocketRecvBuffer: lets the socket read straight into our memory.
    char *recvSpace(quint32 hint, quint32 *room) override;
    void onRecvCommitted(quint32 len) override;
    bool expectsMore() const override;

private:
    friend class KLumoIpcChannelPrivate;
    std::unique_ptr<KLumoIpcChannelPrivate> const d;
    QObject *m_pOwner;
};

} // namespace ofx::lumo
