#pragma once

#include <QByteArray>
#include <QObject>

#include <deque>
#include <functional>
#include <mutex>

class QSocketNotifier;

namespace ofx::lumo {

/**
 * The one writer of a channel's frames. write() may be called from any thread
 * and puts the bytes into the kernel from the calling thread with non-blocking
 * send(), in pieces of 262144 bytes; what the kernel does not take at once is
 * queued, in order, and drained by the owner thread when the descriptor becomes
 * writable. No thread ever blocks on a peer that stops reading.
 *
 * Lives on the owner thread: attach(), detach() and the notifier run there.
 * m_nFd, m_lstPending, m_nPendingOffset, m_nPendingBytes and m_bArmPosted are
 * guarded by m_oLock.
 * The descriptor is a duplicate owned by the writer, so it stays valid until
 * detach() however the socket underneath is torn down.
 */
class KLumoFrameWriter : public QObject
{
    Q_OBJECT
public:
    static constexpr quint32 PieceSize = 262144;
    // Sees every piece a frame is cut into, in order (test hook; set it before
    // any write).
    using PieceObserver = std::function<void(quint32 pieceSize)>;

    explicit KLumoFrameWriter(QObject *parent = nullptr);
    ~KLumoFrameWriter() override;

    // Owner thread. Takes a duplicate of @p fd; false if that fails.
    bool attach(qintptr fd);
    // Owner thread. Drops anything still queued and closes the duplicate.
    void detach();
    bool isAttached() const;

    // Any thread. False when not attached or the kernel refused the bytes; the
    // frame is then not (completely) on the wire.
    bool write(const QByteArray &frame);

    void setPieceObserver(PieceObserver observer) { m_fnPieceObserver = std::move(observer); }
    // Whether frames are recorded while a capture runs; set before any write.
    void setCaptured(bool captured) { m_bCaptured = captured; }
    // Called on the owner thread when queued bytes could not be written.
    void setDrainErrorHandler(std::function<void()> handler)
    {
        m_fnDrainError = std::move(handler);
    }

    // Bytes waiting for the descriptor to become writable; any thread.
    qint64 pendingBytes() const;

private:
    void arm();
    void drain();
    void closeLocked(); // must be called with m_oLock held

    mutable std::mutex m_oLock;
    int m_nFd = -1;
    std::deque<QByteArray> m_lstPending;
    qint64 m_nPendingOffset = 0;
    qint64 m_nPendingBytes = 0; // the bytes of m_lstPending, so that asking costs nothing
    bool m_bArmPosted = false;
    QSocketNotifier *m_pNotifier = nullptr; // owner thread only
    PieceObserver m_fnPieceObserver;
    bool m_bCaptured = true;
    std::function<void()> m_fnDrainError;
};

} // namespace ofx::lumo
