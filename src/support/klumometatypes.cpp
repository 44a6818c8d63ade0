#include "support/klumometatypes.h"
#include "support/klumoqueuedcall.h"

#include <QMetaObject>

namespace ofx::lumo {

namespace {
QMutex &lock()
{
    static QMutex m;
    return m;
}
QSet<int> &registered() // requires lock()
{
    static QSet<int> s;
    return s;
}
} // namespace

void KLumoMetaTypes::record(int id)
{
    QMutexLocker locker(&lock());
    registered().insert(id);
}

void KLumoMetaTypes::addTypedef(const char *name, int id)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    QMetaType::registerNormalizedTypedef(QMetaObject::normalizedType(name), QMetaType(id));
#else
    QMetaType::registerNormalizedTypedef(QMetaObject::normalizedType(name), id);
#endif
}

QSet<int> KLumoMetaTypes::ids()
{
    QMutexLocker locker(&lock());
    return registered();
}

void KLumoMetaTypes::unregisterAll()
{
    QSet<int> ids;
    {
        QMutexLocker locker(&lock());
        ids.swap(registered());
    }
    // Ids of unregistered types are handed out again, to other types. Qt 6
    // keeps every type for the life of the process; its ids stay valid, and
    // registering again yields the same ones.
    KLumoQueuedCall::clearCache();
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    for (int id : qAsConst(ids))
        QMetaType::unregisterType(id);
#endif
}

} // namespace ofx::lumo
