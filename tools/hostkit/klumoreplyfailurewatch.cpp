#include "klumoreplyfailurewatch.h"

#include <QLoggingCategory>
#include <QMutex>
#include <QRegularExpression>

#include <atomic>

namespace ofx::lumo {

namespace {

const char ExceptionWords[] = "the service answered with an exception";
const QRegularExpression &failureLine()
{
    static const QRegularExpression re(
        QStringLiteral("^KLumoIpcHandlerPrivate: \\S+ \\(request (\\w+)\\): ((%1|the reply could "
                       "not be decoded): (.*))$")
            .arg(QLatin1String(ExceptionWords)),
        QRegularExpression::DotMatchesEverythingOption);
    return re;
}

QRecursiveMutex s_lock; // recursive: posting may itself log
KLumoReplyFailureWatch *s_watch = nullptr; // under s_lock
QtMessageHandler s_previousHandler = nullptr; // under s_lock
// Qt calls the filter on whichever thread first uses a category.
std::atomic<QLoggingCategory::CategoryFilter> s_previousFilter {nullptr};

void keepDispatcherLines(QLoggingCategory *category)
{
    if (const auto previous = s_previousFilter.load())
        previous(category);
    if (qstrcmp(category->categoryName(), "lumoipc") == 0)
        category->setEnabled(QtInfoMsg, true);
}

void handler(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QtMessageHandler previous;
    {
        QMutexLocker locker(&s_lock);
        previous = s_previousHandler;
        const QRegularExpressionMatch m = s_watch && qstrcmp(context.category, "lumoipc") == 0
            ? failureLine().match(text)
            : QRegularExpressionMatch();
        if (m.hasMatch()) {
            const auto kind = m.captured(3) == QLatin1String(ExceptionWords)
                ? KLumoReplyFailureWatch::ServiceException
                : KLumoReplyFailureWatch::UndecodableReply;
            QMetaObject::invokeMethod(
                s_watch,
                [w = s_watch, id = m.captured(1), kind, why = m.captured(2),
                 detail = m.captured(4)] { Q_EMIT w->replyFailed(id, kind, why, detail); },
                Qt::QueuedConnection);
        }
    }
    if (previous)
        previous(type, context, text);
}

} // namespace

KLumoReplyFailureWatch::KLumoReplyFailureWatch(QObject *parent)
    : QObject(parent)
{
    QMutexLocker locker(&s_lock);
    Q_ASSERT(!s_watch);
    s_watch = this;
    s_previousHandler = qInstallMessageHandler(handler);
    s_previousFilter = QLoggingCategory::installFilter(keepDispatcherLines);
}

KLumoReplyFailureWatch::~KLumoReplyFailureWatch()
{
    QMutexLocker locker(&s_lock);
    s_watch = nullptr;
    QLoggingCategory::installFilter(s_previousFilter);
    qInstallMessageHandler(s_previousHandler);
}

} // namespace ofx::lumo
