#include "transport/klumoipcchannel.h"

#include "support/lumolog.h"
#include "transport/klumoframe.h"
#include "transport/klumoframewriter.h"
#include "transport/klumonotifyprocessor.h"
#include "transport/klumorecvbuffer.h"
#include "transport/kxqtlocalsocket.h"

#include <QLocalSocket>
#include <QPointer>
#include <QThread>

#include <thrift/transport/TBufferTransports.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace ofx::lumo {

using apache::thrift::transport::TMemoryBuffer;
using VoidCallback = apache::thrift::async::TAsyncChannel::VoidCallback;

namespace {

constexpr int StateUnconnected = QLocalSocket::UnconnectedState;
constexpr int StateConnecting = QLocalSocket::ConnectingState;
constexpr int StateConnected = QLocalSocket::ConnectedState;
constexpr int StateClosing = QLocalSocket::ClosingState;
constexpr quint32 DefaultDirectThreshold = 64 * 1024;

void logInfo(const QString &text)
{
    log::info(lcTransport(), text);
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
        // A buffer that only observes foreign memory cannot be written to.
        buf->resetBuffer(reinterpret_cast<uint8_t *>(const_cast<char *>(data)), len,
                         TMemoryBuffer::COPY);
    }
    limitToFrame(buf, len);
}

} // namespace

class KLumoIpcChannelPrivate
{
public:
    explicit KLumoIpcChannelPrivate(KLumoIpcChannel *q)
        : q(q)
    { }

    bool onOwnerThread() const { return QThread::currentThread() == q->thread(); }
    void reset();
    void syncState();
    void send(const VoidCallback &cob, TMemoryBuffer *message, quint32 seqId);
    void completeNow(const VoidCallback &cob, TMemoryBuffer *recvBuf);
    void parse();
    bool violation(const QString &text);
    bool startDirect(const frame::Header &h);
    void finishDirect();
    // Removes the waiting call @p id with its receive buffer; returns 0, or the
    // number of the violation when its callback (7) or its buffer (8) is missing.
    int takeCall(quint32 id, VoidCallback *cob, TMemoryBuffer **target);
    void invoke(const VoidCallback &cob);

    KLumoIpcChannel *const q;

    // Owner thread only.
    std::unique_ptr<IKxLocalSocket> socket;
    quint32 frameCount = 0;
    std::weak_ptr<KLumoNotifyProcessor> notifyProcessor;
    std::wstring serverName;
    KLumoRecvBuffer buffer;
    quint64 generation = 0; // bumped by every reset, so a loop notices one made under it
    bool parsing = false;
    KLumoIpcChannel::PeerCheck peerCheck = &KLumoIpcChannel::samePeerUid;
    KLumoIpcChannel::Stats stats;
    quint32 directThreshold = DefaultDirectThreshold;
    // A large reply being read straight into its receive buffer.
    struct Direct
    {
        bool active = false;
        quint32 seqId = 0;
        TMemoryBuffer *target = nullptr;
        quint32 remaining = 0;
        quint32 length = 0;
    } direct;

    // Any thread.
    std::atomic<int> state {StateUnconnected};
    std::atomic<bool> hasSocket {false};
    KLumoFrameWriter writer;

    // Guarded by lock.
    mutable std::mutex lock;
    quint32 seqId = 0;
    std::map<quint32, VoidCallback> callbacks;
    std::map<quint32, TMemoryBuffer *> recvBuffers;
};

void KLumoIpcChannelPrivate::reset()
{
    ++generation;
    buffer.clear();
    direct = Direct();
    frameCount = 0;
    std::map<quint32, VoidCallback> dropped;
    {
        std::lock_guard<std::mutex> guard(lock);
        dropped.swap(callbacks);
        recvBuffers.clear();
    }
    // The dropped callbacks are destroyed here, outside the lock, never called.
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
        logInfo(QStringLiteral("!!onRecvData 9: ") + QString::fromLocal8Bit(e.what()));
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
    // call of a client and filled on the owner thread; so even a call that
    // fails at once is completed there, right after the current event.
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
    TMemoryBuffer *recvBuf = nullptr;
    VoidCallback dropped;
    {
        std::lock_guard<std::mutex> guard(lock);
        auto c = callbacks.find(id);
        if (c != callbacks.end()) {
            dropped = std::move(c->second);
            callbacks.erase(c);
        }
        auto r = recvBuffers.find(id);
        if (r != recvBuffers.end()) {
            recvBuf = r->second;
            recvBuffers.erase(r);
        }
    }
    completeNow(cob, recvBuf);
}

bool KLumoIpcChannelPrivate::violation(const QString &text)
{
    logInfo(text);
    q->close();
    return false;
}

bool KLumoIpcChannelPrivate::startDirect(const frame::Header &h)
{
    TMemoryBuffer *target = nullptr;
    {
        std::lock_guard<std::mutex> guard(lock);
        auto r = recvBuffers.find(h.seqId);
        if (r == recvBuffers.end() || callbacks.find(h.seqId) == callbacks.end())
            return false; // left to the complete-frame checks
        target = r->second;
    }
    const quint32 have = buffer.size() - frame::HeaderSize;
    try {
        clearReceiveBuffer(target);
        uint8_t *dst = target->getWritePtr(have);
        std::memcpy(dst, buffer.data() + frame::HeaderSize, have);
        target->wroteBytes(have);
    } catch (const std::exception &) {
        return false; // a buffer over foreign memory: stage the frame instead
    }
    stats.bytesCopied += have;
    buffer.clear();
    direct.active = true;
    direct.seqId = h.seqId;
    direct.target = target;
    direct.remaining = h.bodyLength() - have;
    direct.length = h.bodyLength();
    return true;
}

int KLumoIpcChannelPrivate::takeCall(quint32 id, VoidCallback *cob, TMemoryBuffer **target)
{
    std::lock_guard<std::mutex> guard(lock);
    auto c = callbacks.find(id);
    if (c == callbacks.end())
        return 7;
    auto r = recvBuffers.find(id);
    if (r == recvBuffers.end())
        return 8;
    *cob = std::move(c->second);
    *target = r->second;
    callbacks.erase(c);
    recvBuffers.erase(r);
    return 0;
}

void KLumoIpcChannelPrivate::finishDirect()
{
    const quint32 id = direct.seqId;
    limitToFrame(direct.target, direct.length);
    direct = Direct();
    VoidCallback cob;
    TMemoryBuffer *target = nullptr;
    if (const int missing = takeCall(id, &cob, &target)) {
        violation(QStringLiteral("!!onRecvData %1").arg(missing));
        return;
    }
    ++frameCount;
    invoke(cob);
}

// Takes every complete frame from the staging buffer. Re-entrant calls (a
// callback that spins an event loop) only append bytes; the outer loop picks
// them up. Each frame is consumed before it is delivered, so whatever a
// callback does to the buffer leaves the offsets consistent.
void KLumoIpcChannelPrivate::parse()
{
    if (parsing)
        return;
    parsing = true;
    QPointer<QObject> alive(q);
    const quint64 gen = generation;
    // A buffer holding exactly one header's worth of bytes is not parsed: a
    // body-less frame waits for the next bytes to arrive.
    while (!direct.active && buffer.size() > frame::HeaderSize) {
        const quint32 avail = buffer.size();
        if (avail < frame::HeaderSize) {
            violation(QStringLiteral("!!onRecvData 1"));
            break;
        }
        const frame::Header h = frame::readHeader(buffer.data());
        if (!h.hasMagic()) {
            violation(QStringLiteral("!!onRecvData 2") + QString::fromLatin1(h.magic, 4));
            break;
        }
        if (h.total < frame::HeaderSize) {
            violation(QStringLiteral("!!onRecvData 3"));
            break;
        }
        if (h.total > avail) {
            if (h.seqId != 0 && h.bodyLength() >= directThreshold)
                startDirect(h);
            break;
        }
        const quint32 len = h.bodyLength();
        if (len > avail - frame::HeaderSize) {
            violation(QStringLiteral("!!onRecvData 5"));
            break;
        }
        const char *body = buffer.data() + frame::HeaderSize;
        if (h.seqId != 0) {
            VoidCallback cob;
            TMemoryBuffer *target = nullptr;
            if (const int missing = takeCall(h.seqId, &cob, &target)) {
                violation(QStringLiteral("!!onRecvData %1").arg(missing));
                break;
            }
            try {
                fillReceiveBuffer(target, body, len);
            } catch (const std::exception &e) {
                logInfo(QStringLiteral("!!onRecvData 9: ") + QString::fromLocal8Bit(e.what()));
            }
            stats.bytesCopied += len;
            buffer.consume(h.total);
            ++frameCount;
            invoke(cob);
        } else {
            std::shared_ptr<KLumoNotifyProcessor> processor = notifyProcessor.lock();
            std::shared_ptr<TMemoryBuffer> message;
            if (processor) {
                message = std::make_shared<TMemoryBuffer>(len ? len : 1);
                message->write(reinterpret_cast<const uint8_t *>(body), len);
                limitToFrame(message.get(), len);
                stats.bytesCopied += len;
            }
            buffer.consume(h.total);
            ++frameCount;
            if (processor) {
                try {
                    processor->onNotified(std::move(message));
                } catch (const std::exception &e) {
                    logInfo(QStringLiteral("!!onRecvData 9: ") + QString::fromLocal8Bit(e.what()));
                }
            }
        }
        if (!alive)
            return; // the channel went away inside a callback
        if (gen != generation)
            break; // closed inside a callback: nothing buffered is ours any more
    }
    parsing = false;
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

void KLumoIpcChannel::onError(int error)
{
    if (error == QLocalSocket::ServerNotFoundError)
        logInfo(QStringLiteral("onError ServerNotFoundError"));
    if (error == QLocalSocket::ServerNotFoundError || error == QLocalSocket::ConnectionError
        || error == 9)
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
    if (d->direct.active) {
        const quint32 want = qMin(d->direct.remaining, qMax<quint32>(hint, 256 * 1024));
        try {
            char *p = reinterpret_cast<char *>(d->direct.target->getWritePtr(want));
            *room = want;
            return p;
        } catch (const std::exception &) {
            *room = 0;
            log::warning(lcTransport(), QStringLiteral("KLumoIpcChannel::recvSpace out of memory"));
            close();
            return nullptr;
        }
    }
    char *p = d->buffer.reserve(hint, room);
    if (!p) {
        log::warning(lcTransport(), QStringLiteral("KLumoIpcChannel::recvSpace out of memory"));
        close();
    }
    return p;
}

void KLumoIpcChannel::onRecvCommitted(quint32 len)
{
    d->stats.bytesReceived += len;
    d->stats.bytesCopied += len; // the read into our memory is a copy too
    if (d->direct.active) {
        d->direct.target->wroteBytes(len);
        d->direct.remaining -= len;
        if (d->direct.remaining > 0)
            return;
        QPointer<QObject> alive(this);
        const quint64 gen = d->generation;
        d->finishDirect();
        if (!alive || gen != d->generation)
            return;
    } else {
        d->buffer.commit(len);
    }
    d->parse();
}

bool KLumoIpcChannel::expectsMore() const
{
    return d->direct.active || d->buffer.size() > 0;
}

void KLumoIpcChannel::onRecvData(const char *data, unsigned int len)
{
    QPointer<QObject> alive(this);
    while (len > 0) {
        const quint64 gen = d->generation;
        quint32 room = 0;
        char *dst = recvSpace(len, &room);
        if (!dst)
            return;
        const quint32 n = qMin<quint32>(room, len);
        std::memcpy(dst, data, n);
        onRecvCommitted(n);
        if (!alive || gen != d->generation)
            return; // closed: the rest of this chunk belongs to a dead stream
        data += n;
        len -= n;
    }
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
    quint32 id;
    {
        std::lock_guard<std::mutex> guard(d->lock);
        id = d->seqId;
    }
    d->send(cob, message, id);
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

void KLumoIpcChannel::setPeerCheck(PeerCheck check)
{
    d->peerCheck = std::move(check);
}

bool KLumoIpcChannel::samePeerUid(qintptr fd, QString *reason)
{
    if (fd < 0) {
        *reason = QStringLiteral("no descriptor to check");
        return false;
    }
    struct ucred cred = {};
    socklen_t len = sizeof cred;
    if (::getsockopt(int(fd), SOL_SOCKET, SO_PEERCRED, &cred, &len) != 0) {
        *reason =
            QStringLiteral("SO_PEERCRED failed: %1").arg(QString::fromLocal8Bit(strerror(errno)));
        return false;
    }
    if (cred.uid != ::geteuid()) {
        *reason = QStringLiteral("server pid %1 runs as uid %2, not %3")
                      .arg(cred.pid)
                      .arg(cred.uid)
                      .arg(::geteuid());
        return false;
    }
    return true;
}

void KLumoIpcChannel::setLastSequenceId(quint32 seqId)
{
    std::lock_guard<std::mutex> guard(d->lock);
    d->seqId = seqId;
}

quint32 KLumoIpcChannel::lastSequenceId() const
{
    std::lock_guard<std::mutex> guard(d->lock);
    return d->seqId;
}

int KLumoIpcChannel::waitingRequests() const
{
    std::lock_guard<std::mutex> guard(d->lock);
    return int(d->callbacks.size());
}

quint32 KLumoIpcChannel::frameCount() const
{
    return d->frameCount;
}

quint32 KLumoIpcChannel::receiveCapacity() const
{
    return d->buffer.capacity();
}

KLumoIpcChannel::Stats KLumoIpcChannel::stats() const
{
    Stats s = d->stats;
    s.bytesCopied += d->buffer.bytesMoved();
    if (auto *qt = dynamic_cast<KxQtLocalSocket *>(d->socket.get()))
        s.bytesCopied += qt->bytesReadThroughQt(); // Qt's own buffer is one more copy
    return s;
}

void KLumoIpcChannel::setPieceObserver(std::function<void(quint32)> observer)
{
    d->writer.setPieceObserver(std::move(observer));
}

void KLumoIpcChannel::setDirectThreshold(quint32 bytes)
{
    d->directThreshold = bytes;
}

} // namespace ofx::lumo
