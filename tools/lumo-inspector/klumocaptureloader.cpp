#include "klumocaptureloader.h"

#include "klumocapturesession.h"
#include "klumotracesource.h"

#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QTimer>

#include <vector>

namespace ofx::lumo {

/**
 * One reading of a set of files: owned by the loader's thread, which runs it
 * from start() and deletes it when the thread finishes. Talks to the loader by
 * queued calls only.
 */
class KLumoCaptureReadJob : public QObject
{
public:
    KLumoCaptureReadJob(KLumoCaptureLoader *loader, const QStringList &paths, bool follow)
        : m_pLoader(loader)
        , m_nGeneration(loader->m_nGeneration)
        , m_bFollow(follow)
    {
        for (const QString &path : paths) {
            m_lstSources.push_back(std::make_unique<KLumoTraceSource>());
            m_lstSources.back()->path = path;
        }
    }

    void start()
    {
        for (const auto &s : m_lstSources) {
            if (!s->open())
                m_oSession.addDamage(*s, s->file.errorString());
            else if (!m_bFollow && s->fetch(false) == KLumoTraceSource::Failed)
                m_oSession.addDamage(*s, s->reader.error());
        }
        if (!m_bFollow) {
            readMerged();
            if (m_pLoader->m_bCancel)
                return;
            m_oSession.finish();
            publish(std::make_shared<const KLumoCaptureSession>(std::move(m_oSession)), true);
            return;
        }
        QStringList paths;
        for (const auto &s : m_lstSources)
            paths << s->path;
        auto *watcher = new QFileSystemWatcher(paths, this);
        connect(watcher, &QFileSystemWatcher::fileChanged, this, [this] { readAppended(); });
        // A file written by another process is watched by inotify, which may
        // coalesce changes; a slow poll catches what it did not report.
        auto *poll = new QTimer(this);
        connect(poll, &QTimer::timeout, this, [this] { readAppended(); });
        poll->start(1000);
        m_oPublish.setSingleShot(true);
        connect(&m_oPublish, &QTimer::timeout, this, [this] { publishCopy(); });
        readAppended();
        publishCopy();
    }

private:
    void readMerged()
    {
        QElapsedTimer clock;
        clock.start();
        while (KLumoTraceSource *next = KLumoTraceSource::earliest(m_lstSources)) {
            if (m_pLoader->m_bCancel)
                return;
            m_oSession.add(*next);
            if (next->fetch(false) == KLumoTraceSource::Failed)
                m_oSession.addDamage(*next, next->reader.error());
            if ((m_oSession.rowCount() & 1023) == 0 && clock.elapsed() >= 100) {
                clock.restart();
                const qint64 frames = m_oSession.rowCount();
                QMetaObject::invokeMethod(
                    m_pLoader, [l = m_pLoader, g = m_nGeneration, frames] { l->report(g, frames); },
                    Qt::QueuedConnection);
            }
        }
    }

    // Each file in the order it grows, as lumoctl trace --follow reads them.
    void readAppended()
    {
        bool grew = false;
        for (const auto &s : m_lstSources) {
            if (s->state == KLumoTraceSource::Failed || !s->file.isOpen())
                continue;
            while (!m_pLoader->m_bCancel && s->fetch(true) == KLumoTraceSource::Ready) {
                m_oSession.add(*s);
                grew = true;
            }
            if (s->state == KLumoTraceSource::Failed) {
                m_oSession.addDamage(*s, s->reader.error());
                grew = true;
            }
        }
        if (grew && !m_oPublish.isActive())
            m_oPublish.start(150);
    }

    void publishCopy()
    {
        m_oSession.finish();
        publish(std::make_shared<const KLumoCaptureSession>(m_oSession), false);
    }

    void publish(std::shared_ptr<const KLumoCaptureSession> session, bool complete)
    {
        QMetaObject::invokeMethod(
            m_pLoader,
            [l = m_pLoader, g = m_nGeneration, session = std::move(session), complete] {
                l->deliver(g, session, complete);
            },
            Qt::QueuedConnection);
    }

    KLumoCaptureLoader *const m_pLoader; // outlives the job: it waits for the thread
    const int m_nGeneration;
    const bool m_bFollow;
    std::vector<std::unique_ptr<KLumoTraceSource>> m_lstSources;
    KLumoCaptureSession m_oSession;
    QTimer m_oPublish {this};
};

KLumoCaptureLoader::KLumoCaptureLoader(QObject *parent)
    : QObject(parent)
{
    m_oThread.setObjectName(QStringLiteral("lumo-capture-loader"));
}

KLumoCaptureLoader::~KLumoCaptureLoader()
{
    stop();
}

void KLumoCaptureLoader::open(const QStringList &paths, bool follow)
{
    stop();
    m_bCancel = false;
    ++m_nGeneration;
    auto *job = new KLumoCaptureReadJob(this, paths, follow);
    job->moveToThread(&m_oThread);
    connect(&m_oThread, &QThread::started, job, &KLumoCaptureReadJob::start);
    connect(&m_oThread, &QThread::finished, job, &QObject::deleteLater);
    m_oThread.start();
}

void KLumoCaptureLoader::stop()
{
    if (!m_oThread.isRunning())
        return;
    m_bCancel = true;
    m_oThread.quit();
    m_oThread.wait();
}

void KLumoCaptureLoader::deliver(int generation, std::shared_ptr<const KLumoCaptureSession> session,
                                 bool complete)
{
    if (generation != m_nGeneration)
        return;
    if (complete)
        m_oThread.quit(); // nothing more to read; open() or the destructor waits for it
    Q_EMIT loaded(session, complete);
}

void KLumoCaptureLoader::report(int generation, qint64 frames)
{
    if (generation == m_nGeneration)
        Q_EMIT progress(frames);
}

} // namespace ofx::lumo

#include "moc_klumocaptureloader.cpp"
