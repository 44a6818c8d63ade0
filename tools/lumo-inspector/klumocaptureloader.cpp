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
        : m_loader(loader)
        , m_generation(loader->m_generation)
        , m_follow(follow)
    {
        for (const QString &path : paths) {
            m_sources.push_back(std::make_unique<KLumoTraceSource>());
            m_sources.back()->path = path;
        }
    }

    void start()
    {
        for (const auto &s : m_sources) {
            if (!s->open())
                m_session.addDamage(*s, s->file.errorString());
            else if (!m_follow && s->fetch(false) == KLumoTraceSource::Failed)
                m_session.addDamage(*s, s->reader.error());
        }
        if (!m_follow) {
            readMerged();
            if (m_loader->m_cancel)
                return;
            m_session.finish();
            publish(std::make_shared<const KLumoCaptureSession>(std::move(m_session)), true);
            return;
        }
        QStringList paths;
        for (const auto &s : m_sources)
            paths << s->path;
        auto *watcher = new QFileSystemWatcher(paths, this);
        connect(watcher, &QFileSystemWatcher::fileChanged, this, [this] { readAppended(); });
        // A file written by another process is watched by inotify, which may
        // coalesce changes; a slow poll catches what it did not report.
        auto *poll = new QTimer(this);
        connect(poll, &QTimer::timeout, this, [this] { readAppended(); });
        poll->start(1000);
        m_publish.setSingleShot(true);
        connect(&m_publish, &QTimer::timeout, this, [this] { publishCopy(); });
        readAppended();
        publishCopy();
    }

private:
    void readMerged()
    {
        QElapsedTimer clock;
        clock.start();
        while (KLumoTraceSource *next = KLumoTraceSource::earliest(m_sources)) {
            if (m_loader->m_cancel)
                return;
            m_session.add(*next);
            if (next->fetch(false) == KLumoTraceSource::Failed)
                m_session.addDamage(*next, next->reader.error());
            if ((m_session.rowCount() & 1023) == 0 && clock.elapsed() >= 100) {
                clock.restart();
                const qint64 frames = m_session.rowCount();
                QMetaObject::invokeMethod(
                    m_loader, [l = m_loader, g = m_generation, frames] { l->report(g, frames); },
                    Qt::QueuedConnection);
            }
        }
    }

    // Each file in the order it grows, as lumoctl trace --follow reads them.
    void readAppended()
    {
        bool grew = false;
        for (const auto &s : m_sources) {
            if (s->state == KLumoTraceSource::Failed || !s->file.isOpen())
                continue;
            while (!m_loader->m_cancel && s->fetch(true) == KLumoTraceSource::Ready) {
                m_session.add(*s);
                grew = true;
            }
            if (s->state == KLumoTraceSource::Failed) {
                m_session.addDamage(*s, s->reader.error());
                grew = true;
            }
        }
        if (grew && !m_publish.isActive())
            m_publish.start(150);
    }

    void publishCopy()
    {
        m_session.finish();
        publish(std::make_shared<const KLumoCaptureSession>(m_session), false);
    }

    void publish(std::shared_ptr<const KLumoCaptureSession> session, bool complete)
    {
        QMetaObject::invokeMethod(
            m_loader,
            [l = m_loader, g = m_generation, session = std::move(session), complete] {
                l->deliver(g, session, complete);
            },
            Qt::QueuedConnection);
    }

    KLumoCaptureLoader *const m_loader; // outlives the job: it waits for the thread
    const int m_generation;
    const bool m_follow;
    std::vector<std::unique_ptr<KLumoTraceSource>> m_sources;
    KLumoCaptureSession m_session;
    QTimer m_publish {this};
};

KLumoCaptureLoader::KLumoCaptureLoader(QObject *parent)
    : QObject(parent)
{
    m_thread.setObjectName(QStringLiteral("lumo-capture-loader"));
}

KLumoCaptureLoader::~KLumoCaptureLoader()
{
    stop();
}

void KLumoCaptureLoader::open(const QStringList &paths, bool follow)
{
    stop();
    m_cancel = false;
    ++m_generation;
    auto *job = new KLumoCaptureReadJob(this, paths, follow);
    job->moveToThread(&m_thread);
    connect(&m_thread, &QThread::started, job, &KLumoCaptureReadJob::start);
    connect(&m_thread, &QThread::finished, job, &QObject::deleteLater);
    m_thread.start();
}

void KLumoCaptureLoader::stop()
{
    if (!m_thread.isRunning())
        return;
    m_cancel = true;
    m_thread.quit();
    m_thread.wait();
}

void KLumoCaptureLoader::deliver(int generation, std::shared_ptr<const KLumoCaptureSession> session,
                                 bool complete)
{
    if (generation != m_generation)
        return;
    if (complete)
        m_thread.quit(); // nothing more to read; open() or the destructor waits for it
    Q_EMIT loaded(session, complete);
}

void KLumoCaptureLoader::report(int generation, qint64 frames)
{
    if (generation == m_generation)
        Q_EMIT progress(frames);
}

} // namespace ofx::lumo
