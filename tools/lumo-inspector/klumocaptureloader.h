#pragma once

#include <QObject>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <memory>

namespace ofx::lumo {

class KLumoCaptureSession;
class KLumoCaptureReadJob;

/**
 * Reads captures on a thread of its own, so that the window never waits for a
 * large file: the files merge by time as lumoctl trace merges them, and the
 * result arrives as an immutable session by a queued call. Following, it goes
 * on reading what is appended and hands over the session again as it grows.
 *
 * Lives on the GUI thread; its signals are emitted there. The reading job
 * lives on the loader's thread and reaches the loader by queued calls only.
 */
class KLumoCaptureLoader : public QObject
{
    Q_OBJECT
public:
    explicit KLumoCaptureLoader(QObject *parent = nullptr);
    ~KLumoCaptureLoader() override;

    // Drops the capture being read, if any, and starts reading @p paths.
    void open(const QStringList &paths, bool follow);
    // Stops reading; returns once the reading thread has stopped.
    void stop();

Q_SIGNALS:
    // The capture so far; @p complete once every file was read to its end
    // or to its damage (never while following).
    void loaded(std::shared_ptr<const ofx::lumo::KLumoCaptureSession> session, bool complete);
    void progress(qint64 frames);

private:
    friend class KLumoCaptureReadJob;
    // Queued from the job; drops what a replaced job still sends.
    void deliver(int generation, std::shared_ptr<const KLumoCaptureSession> session, bool complete);
    void report(int generation, qint64 frames);

    QThread m_oThread;
    std::atomic<bool> m_bCancel {false}; // read by the job between packets
    int m_nGeneration = 0;
};

} // namespace ofx::lumo
