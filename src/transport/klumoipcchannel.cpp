#include "transport/klumoipcchannel.h"

#include "support/lumolog.h"
#include "transport/klumoipcchannel_p.h"
#include "transport/klumonotifyprocessor.h"
#include "transport/kxqtlocalsocket.h"

#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

using apache::thrift::transport::TMemoryBuffer;
using VoidCallback = apache::thrift::async::TAsyncChannel::VoidCallback;

namespace {

constexpr int StateUnconnected = QLocalSocket::UnconnectedState;
constexpr int StateConnecting = QLocalSocket::ConnectingState;
constexpr int StateConnected = QLocalSocket::ConnectedState;
constexpr int StateClosing = QLocalSocket::ClosingState;

void logInfo(const QString &text)
{
    log::info(lcTransport(), text);
}

// A callback or the notification processor threw: the stream goes on.
void logCallbackFailure(const std::exception &e)
{
    logInfo(KLumoFrameReader::logText(KLumoFrameReader::Violation::CallbackFailed)
            + QStringLiteral(": ") + QString::fromLocal8Bit(e.what()));
}

// Empties @p buf, including Thrift's count of what was read from it.
void clearReceiveBuffer(TMemoryBuffer *buf)
{
    buf->resetBuffer();
    buf->readEnd(); // on an empty buffer: back to the full message-size allowance
}

// Tells Thrift how long the message in @p buf really is, so a garbage length
// inside it fails at once instead of making the decoder allocate up to the
// configured maximum message size.
void limitToFrame(TMemoryBuffer *buf, quint32 len)
{
    try {
        buf->updateKnownMessageSize(long(len));
    } catch (const std::exception &) {
        // Longer than Thrift accepts at all: its own limit applies.
    }
}

// Leaves exactly @p len bytes at @p data readable in @p buf, reusing its memory
// when the buffer owns some.
void fillReceiveBuffer(TMemoryBuffer *buf, const char *data, quint32 len)
{
    clearReceiveBuffer(buf);
    try {
        buf->write(reinterpret_cast<const uint8_t *>(data), len);
    } catch (const std::exception &) {
        // A buffer that only observes foreign memory (the last large reply's)
        // cannot be written to.
        buf->resetBuffer(reinterpret_cast<uint8_t *>(const_cast<char *>(data)), len,
                         TMemoryBuffer::COPY);
    }
    limitToFrame(buf, len);
}

} // namespace

KLumoIpcChannelPrivate::KLumoIpcChannelPrivate(KLumoIpcChannel *q)
    : q(q)
    , reader(this, q)
{ }

void KLumoIpcChannelPrivate::reset()
{
    reader.reset();
    frameCount = 0;
    std::map<quint32, VoidCallback> dropped;
    {
        std::lock_guard<std::mutex> guard(lock);
        dropped.swap(callbacks);
        recvBuffers.clear();
    }
    // The dropped callbacks are destroyed here, outside the lock, never called;
    // whoever made those calls hears of it once.
    if (!dropped.empty() && m_fnRequestsDropped)
        m_fnRequestsDropped();
}

void KLumoIpcChannelPrivate::syncState()
{
    int s = socket ? socket->state() : StateUnconnected;
    // Connected only counts once the peer was accepted and the writer holds the line.
    if (s == StateConnected && !writer.isAttached())
        s = StateConnecting;
    state.store(s);
}

void KLumoIpcChannelPrivate::invoke(const VoidCallback &cob)
{
    try {
        cob();
    } catch (const std::exception &e) {
        logCallbackFailure(e);
    }
}

void KLumoIpcChannelPrivate::completeNow(const VoidCallback &cob, TMemoryBuffer *recvBuf)
{
    if (onOwnerThread()) {
        if (recvBuf)
            recvBuf->resetBuffer();
        cob();
        return;
    }
    // Completion callbacks read the receive buffer, which is shared by every
    // call of a client. Only the owner thread writes it, each time right
    // before the callback that reads it (a streamed reply arrives in a buffer
    // of its own); so even a call that fails at once is completed there.
    QMetaObject::invokeMethod(
        q,
        [this, cob, recvBuf] {
            if (recvBuf)
                recvBuf->resetBuffer();
            invoke(cob);
        },
        Qt::QueuedConnection);
}

void KLumoIpcChannelPrivate::send(const VoidCallback &cob, TMemoryBuffer *message, quint32 id)
{
    uint8_t *body = nullptr;
    uint32_t len = 0;
    message->getBuffer(&body, &len);
    const QByteArray bytes = frame::make(id, reinterpret_cast<const char *>(body), len);
    message->resetBuffer();
    if (writer.write(bytes))
        return;
    logInfo(QStringLiteral("Fail on sendMessage"));
    VoidCallback dropped; // the caller's cob runs instead, at once
    TMemoryBuffer *recvBuf = nullptr;
    takeCall(id, &dropped, &recvBuf);
    completeNow(cob, recvBuf);
}

KLumoIpcChannelPrivate::Violation KLumoIpcChannelPrivate::takeCall(quint32 id, VoidCallback *cob,
                                                                   TMemoryBuffer **target)
{
    std::lock_guard<std::mutex> guard(lock);
    auto c = callbacks.find(id);
    auto r = recvBuffers.find(id);
    Violation missing = Violation::None;
    if (c == callbacks.end())
        missing = Violation::NoCallback;
    else if (r == recvBuffers.end())
        missing = Violation::NoReceiveBuffer;
    if (c != callbacks.end()) {
        *cob = std::move(c->second);
        callbacks.erase(c);
    }
    if (r != recvBuffers.end()) {
        *target = r->second;
        recvBuffers.erase(r);
    }
    return missing;
}

bool KLumoIpcChannelPrivate::awaitsReply(quint32 id)
{
    std::lock_guard<std::mutex> guard(lock);
    return recvBuffers.count(id) && callbacks.count(id);
}

KLumoIpcChannelPrivate::Violation KLumoIpcChannelPrivate::onFrame(quint32 id, const char *body,
                                                                  quint32 len)
{
    ++frameCount; // a violation resets it anyway
    if (id == 0)
        return notify(body, len);
    return deliverReply(id, [this, body, len](TMemoryBuffer *target) {
        bytesDelivered += len;
        fillReceiveBuffer(target, body, len);
    });
}

KLumoIpcChannelPrivate::Violation KLumoIpcChannelPrivate::onStreamedReply(quint32 id,
                                                                          KLumoReplyBuffer &body)
{
    ++frameCount;
    return deliverReply(id, [&body](TMemoryBuffer *target) {
        const quint32 len = body.available_read();
        clearReceiveBuffer(target);
        body.lendTo(*target);
        limitToFrame(target, len);
    });
}

KLumoIpcChannelPrivate::Violation
KLumoIpcChannelPrivate::deliverReply(quint32 id, const std::function<void(TMemoryBuffer *)> &fill)
{
    VoidCallback cob;
    TMemoryBuffer *target = nullptr;
    if (const Violation missing = takeCall(id, &cob, &target); missing != Violation::None)
        return missing;
    try {
        fill(target);
    } catch (const std::exception &e) {
        logCallbackFailure(e);
    }
    invoke(cob);
    return Violation::None;
}

KLumoIpcChannelPrivate::Violation KLumoIpcChannelPrivate::notify(const char *body, quint32 len)
{
    std::shared_ptr<KLumoNotifyProcessor> processor = notifyProcessor.lock();
    if (!processor)
        return Violation::None; // read and dropped
    auto message = std::make_shared<TMemoryBuffer>(len ? len : 1);
    message->write(reinterpret_cast<const uint8_t *>(body), len);
    limitToFrame(message.get(), len);
    bytesDelivered += len;
    try {
        processor->onNotified(std::move(message));
    } catch (const std::exception &e) {
        logCallbackFailure(e);
    }
    return Violation::None;
}

void KLumoIpcChannelPrivate::setLastSequenceId(quint32 id)
{
    std::lock_guard<std::mutex> guard(lock);
    seqId = id;
}

quint32 KLumoIpcChannelPrivate::lastSequenceId() const
{
    std::lock_guard<std::mutex> guard(lock);
    return seqId;
}

int KLumoIpcChannelPrivate::waitingRequests() const
{
    std::lock_guard<std::mutex> guard(lock);
    return int(callbacks.size());
}

KLumoIpcChannelPrivate::Stats KLumoIpcChannelPrivate::stats() const
{
    Stats s;
    s.bytesReceived = reader.bytesReceived();
    s.bytesCopied = reader.bytesCopied() + bytesDelivered;
    if (auto *qt = dynamic_cast<KxQtLocalSocket *>(socket.get()))
        s.bytesCopied += qt->bytesReadThroughQt(); // Qt's own buffer is one more copy
    return s;
}

// ---------------------------------------------------------------------------

KLumoIpcChannel::KLumoIpcChannel(QObject *owner, std::shared_ptr<KLumoNotifyProcessor> processor)
    : d(new KLumoIpcChannelPrivate(this))
    , m_pOwner(owner)
{
    d->notifyProcessor = processor;
    d->writer.setDrainErrorHandler([this] {
        logInfo(QStringLiteral("Fail on sendMessage"));
        close();
    });
}

KLumoIpcChannel::~KLumoIpcChannel()
{
    if (d->socket) {
        close();
        d->socket->close();
        d->socket.reset();
    }
    d->hasSocket = false;
}

bool KLumoIpcChannel::connectToServer(const QString &name)
{
    logInfo(QStringLiteral("connectToServer"));
    if (name.isEmpty())
        return false;
    d->serverName = name.toStdWString();
    if (!d->socket) {
        d->socket.reset(new KxQtLocalSocket(this));
        d->hasSocket = true;
    } else {
        const int s = d->socket->state();
        if (s == StateConnecting || s == StateConnected) {
            logInfo(QStringLiteral("KCloudChannel::connectToServer"));
            return true;
        }
        logInfo(QStringLiteral("Server is to close"));
        close();
    }
    d->socket->init();
    d->socket->connectToServer(d->serverName.c_str(), int(QIODevice::ReadWrite));
    d->syncState();
    if (!d->socket || d->socket->state() == StateUnconnected) {
        logInfo(QStringLiteral("Server is not connected"));
        return false;
    }
    return true;
}

void KLumoIpcChannel::close()
{
    d->reset();
    if (d->socket) {
        logInfo(QStringLiteral("KCloudChannel::close disconnectFromServer and term"));
        // No thread may write once the socket starts to go away.
        d->writer.detach();
        d->state = StateClosing;
        d->socket->disconnectFromServer();
        d->socket->close();
    }
    d->syncState();
}

void KLumoIpcChannel::setRequestsDroppedHandler(std::function<void()> handler)
{
    d->m_fnRequestsDropped = std::move(handler);
}

bool KLumoIpcChannel::isConnected() const
{
    return d->hasSocket && d->state.load() == StateConnected;
}

void KLumoIpcChannel::onConnected()
{
    logInfo(QStringLiteral("onConnected"));
    const qintptr fd = d->socket ? d->socket->socketDescriptor() : -1;
    QString reason;
    if (d->peerCheck && !d->peerCheck(fd, &reason)) {
        log::warning(lcTransport(),
                     QStringLiteral("KLumoIpcChannel::onConnected refused the server: ") + reason);
        close();
        return;
    }
    if (fd >= 0 && !d->writer.attach(fd)) {
        log::warning(lcTransport(),
                     QStringLiteral("KLumoIpcChannel::onConnected cannot take the descriptor"));
        close();
        return;
    }
    d->syncState();
    if (m_pOwner)
        QMetaObject::invokeMethod(m_pOwner, "on_notifyConnected", Qt::QueuedConnection);
}

void KLumoIpcChannel::onDisconnected()
{
    logInfo(QStringLiteral("onDisconnected"));
    d->writer.detach();
    d->reset();
    d->syncState();
    if (m_pOwner)
        QMetaObject::invokeMethod(m_pOwner, "on_notifyDisconnected", Qt::QueuedConnection);
}

// The socket hands its error over as a number; these are the ones the channel
// acts on, and they must name the same errors under every Qt it builds with.
// QLocalSocket has no name for 9 of its own: it passes QAbstractSocket's on.
static_assert(QLocalSocket::ServerNotFoundError == 2 && QLocalSocket::ConnectionError == 7
                  && QAbstractSocket::SocketAddressNotAvailableError == 9,
              "socket error numbers moved");

void KLumoIpcChannel::onError(int error)
{
    if (error == QLocalSocket::ServerNotFoundError)
        logInfo(QStringLiteral("onError ServerNotFoundError"));
    if (error == QLocalSocket::ServerNotFoundError || error == QLocalSocket::ConnectionError
        || error == QAbstractSocket::SocketAddressNotAvailableError)
        close();
}

void KLumoIpcChannel::onStateChanged(int state)
{
    // Nothing to do for the protocol; the mirror read by other threads follows
    // the socket, except that "connected" waits for onConnected's peer check.
    if (state != StateConnected)
        d->state = state;
}

char *KLumoIpcChannel::recvSpace(quint32 hint, quint32 *room)
{
    return d->reader.recvSpace(hint, room);
}

void KLumoIpcChannel::onRecvCommitted(quint32 len)
{
    d->reader.onRecvCommitted(len);
}

bool KLumoIpcChannel::expectsMore() const
{
    return d->reader.expectsMore();
}

void KLumoIpcChannel::onRecvData(const char *data, unsigned int len)
{
    d->reader.append(data, len);
}

bool KLumoIpcChannel::good() const
{
    const int s = d->state.load();
    return d->hasSocket && (s == StateConnected || s == StateConnecting);
}

bool KLumoIpcChannel::error() const
{
    const int s = d->state.load();
    return !d->hasSocket || s == StateUnconnected || s == StateClosing;
}

bool KLumoIpcChannel::timedOut() const
{
    return false;
}

void KLumoIpcChannel::sendMessage(const VoidCallback &cob, TMemoryBuffer *message)
{
    d->send(cob, message, d->lastSequenceId());
}

void KLumoIpcChannel::recvMessage(const VoidCallback &, TMemoryBuffer *) { }

void KLumoIpcChannel::sendAndRecvMessage(const VoidCallback &cob, TMemoryBuffer *sendBuf,
                                         TMemoryBuffer *recvBuf)
{
    if (!good()) {
        logInfo(QStringLiteral("On sendAndRecvMessage"));
        sendBuf->resetBuffer();
        d->completeNow(cob, recvBuf);
        return;
    }
    quint32 id;
    {
        std::lock_guard<std::mutex> guard(d->lock);
        d->seqId = d->seqId == 0xFFFFFFFFu ? 1 : d->seqId + 1;
        id = d->seqId;
        d->callbacks[id] = cob;
        d->recvBuffers[id] = recvBuf;
    }
    d->send(cob, sendBuf, id);
}

} // namespace ofx::lumo
