#include "klumoexceptionwatch.h"

#include <QMutex>

namespace ofx::lumo {

namespace {

QRecursiveMutex s_lock; // recursive: posting may itself log
KLumoExceptionWatch *s_watch = nullptr; // under s_lock
QtMessageHandler s_previous = nullptr; // under s_lock

void handler(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QtMessageHandler previous;
    {
        QMutexLocker locker(&s_lock);
        previous = s_previous;
        if (s_watch && text.startsWith(QLatin1String("Exception on ")))
            QMetaObject::invokeMethod(
                s_watch, [w = s_watch, text] { Q_EMIT w->exceptionLogged(text); },
                Qt::QueuedConnection);
    }
    if (previous)
        previous(type, context, text);
}

} // namespace

KLumoExceptionWatch::KLumoExceptionWatch(QObject *parent)
    : QObject(parent)
{
    QMutexLocker locker(&s_lock);
    Q_ASSERT(!s_watch);
    s_watch = this;
    s_previous = qInstallMessageHandler(handler);
}

KLumoExceptionWatch::~KLumoExceptionWatch()
{
    QMutexLocker locker(&s_lock);
    s_watch = nullptr;
    qInstallMessageHandler(s_previous);
}

} // namespace ofx::lumo
