#pragma once

// Private to the library, its tests and benchmarks; never installed.

#include "transport/ikxlocalsocket.h"
#include "transport/klumoframereader.h"
#include "transport/klumoframewriter.h"
#include "transport/klumoipcchannel.h"
#include "transport/klumopeercheck.h"

#include <QLocalSocket>
#include <QThread>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace ofx::lumo {

/**
 * The channel's state. KLumoIpcChannelPrivate::get() gives tests and
 * measurements the members they set or read (peerCheck, reader, writer,
 * frameCount) and the hooks below.
 */
class KLumoIpcChannelPrivate final : public KLumoFrameReader::Sink
{
public:
    using TMemoryBuffer = apache::thrift::transport::TMemoryBuffer;
    using VoidCallback = apache::thrift::async::TAsyncChannel::VoidCallback;

    explicit KLumoIpcChannelPrivate(KLumoIpcChannel *q);
    static KLumoIpcChannelPrivate *get(KLumoIpcChannel *channel) { return channel->d.get(); }

    bool onOwnerThread() const { return QThread::currentThread() == q->thread(); }
    void reset();
    void syncState();
    void send(const VoidCallback &cob, TMemoryBuffer *message, quint32 seqId);
    void completeNow(const VoidCallback &cob, TMemoryBuffer *recvBuf);
    using Violation = KLumoFrameReader::Violation;

    // Removes whatever is registered for call @p id; returns the violation
    // when its callback or its receive buffer is missing.
    Violation takeCall(quint32 id, VoidCallback *cob, TMemoryBuffer **target);
    void invoke(const VoidCallback &cob);
    // Ends call @p id: @p fill puts the reply into its receive buffer, then its
    // callback runs, in one step on the owner thread. Returns as onFrame().
    Violation deliverReply(quint32 id, const std::function<void(TMemoryBuffer *)> &fill);
    Violation notify(const char *body, quint32 len);

    // KLumoFrameReader::Sink: replies to their calls, sequence id 0 to the
    // notification processor.
    bool awaitsReply(quint32 seqId) override;
    Violation onFrame(quint32 seqId, const char *body, quint32 len) override;
    Violation onStreamedReply(quint32 seqId, KLumoReplyBuffer &body) override;
    void closeConnection() override { q->close(); }

    // Test and measurement hooks.
    void setLastSequenceId(quint32 seqId); // the next request gets seqId + 1 (or 1); any thread
    quint32 lastSequenceId() const; // also what sendMessage() frames with; any thread
    int waitingRequests() const; // registered callbacks; any thread
    struct Stats
    {
        quint64 bytesReceived = 0; // bytes handed to the channel by the socket
        quint64 bytesCopied = 0; // bytes copied or moved by the channel afterwards
    };
    Stats stats() const;

    KLumoIpcChannel *const q;

    // Owner thread only.
    std::unique_ptr<IKxLocalSocket> socket;
    KLumoFrameReader reader;
    quint32 frameCount = 0; // frames delivered since the last reset
    std::weak_ptr<KLumoNotifyProcessor> notifyProcessor;
    std::wstring serverName;
    KLumoPeerCheck peerCheck = &samePeerUid;
    quint64 bytesDelivered = 0; // copied into receive and notification buffers
    std::function<void()> m_fnRequestsDropped;

    // Any thread.
    std::atomic<int> state {QLocalSocket::UnconnectedState};
    std::atomic<bool> hasSocket {false};
    KLumoFrameWriter writer;

    // Guarded by lock.
    mutable std::mutex lock;
    quint32 seqId = 0;
    std::map<quint32, VoidCallback> callbacks;
    std::map<quint32, TMemoryBuffer *> recvBuffers;
};

} // namespace ofx::lumo
