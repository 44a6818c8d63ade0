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
// Protocol tokens of the service. Only the magic is used by this library; the
// others are defined for the service's side of the conversation.
inline constexpr char FrameMagic[] = "lumo"; // the four bytes, without terminator, on the wire
inline constexpr char HeartbeatToken[] = "HEARTBEAT";
inline constexpr char DisconnectToken[] = "DISCONNET_REQUEST110";
inline constexpr char ZeroText[] = "0";
} // namespace channel

/**
 * Carries Thrift messages to and from the service process, one per frame, on
 * a local socket; matches replies to requests by the frame's sequence id and
 * hands sequence id 0 frames to the notification processor (held weakly).
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

    // Decides whether the server at the other end of a fresh connection may be
    // talked to; @p fd is the connected descriptor (-1 if unknown). The default
    // accepts only a peer running under our own uid (SO_PEERCRED).
    using PeerCheck = std::function<bool(qintptr fd, QString *reason)>;
    void setPeerCheck(PeerCheck check);
    static bool samePeerUid(qintptr fd, QString *reason);

    // Test and measurement hooks.
    void setLastSequenceId(quint32 seqId); // the next request gets seqId + 1 (or 1)
    quint32 lastSequenceId() const;
    int waitingRequests() const; // registered callbacks; any thread
    quint32 frameCount() const; // owner thread
    quint32 receiveCapacity() const; // owner thread
    struct Stats
    {
        quint64 bytesReceived = 0; // bytes handed to the channel by the socket
        quint64 bytesCopied = 0; // bytes copied or moved by the channel afterwards
    };
    Stats stats() const; // owner thread
    void setPieceObserver(std::function<void(quint32)> observer);
    // Bodies at least this long stream straight into the receive buffer.
    void setDirectThreshold(quint32 bytes);

private:
    friend class KLumoIpcChannelPrivate;
    std::unique_ptr<KLumoIpcChannelPrivate> const d;
    QObject *m_pOwner;
};

} // namespace ofx::lumo
