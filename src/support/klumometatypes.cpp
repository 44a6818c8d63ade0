#include "support/klumometatypes.h"

#include "connection/kcompanyinfocache.h"
#include "connection/klumoipclogincache.h"
#include "dispatch/klumodispatchtypes.h"
#include "dispatch/krpcresponse.h"
#include "ipc/lumostatus.h"
#include "notify/klumonotifytypes.h"
#include "support/klumoqueuedcall.h"

#include "lumo_types.h"

#include <QMetaObject>
#include <QPointer>
#include <QVector>

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
bool g_allRegistered = false; // requires lock()
} // namespace

void KLumoMetaTypes::registerAll()
{
    using namespace ofx::lumoipc;
    // Serialises whole registrations; lock() guards the record, which add() takes.
    static QMutex registering;
    QMutexLocker whole(&registering);
    {
        QMutexLocker locker(&lock());
        if (g_allRegistered)
            return;
    }

    // The dispatcher's: the generic route, the result slots' plumbing, and
    // every method's argument and result record, plain and namespace-qualified
    // (a host's Q_ARG and slots may spell either).
    add<KRpcResponse>("KRpcResponse");
    add<LumoIpcArg>("LumoIpcArg", "ofx::lumo::LumoIpcArg");
    add<LumoIpcResult>("LumoIpcResult", "ofx::lumo::LumoIpcResult");
    add<stringMap>("stringMap");
    add<QPointer<QObject>>("QPointer<QObject>");
    add<LumoString>(registeredName<LumoString>(""));
    add<LumoStringList>(registeredName<LumoStringList>(""));
    add<LumoStringMap>(registeredName<LumoStringMap>(""));
    add<KLumoVoidResult>("KLumoVoidResult", "ofx::lumoipc::KLumoVoidResult");
#define LUMO_DISPATCH(slot, method, Arg, Result, text)                                             \
    add<Arg>(registeredName<Arg>(#Arg), qualifiedName<Arg>("ofx::lumo::" #Arg));                   \
    add<Result>(registeredName<Result>(#Result), qualifiedName<Result>("ofx::lumo::" #Result));
#include "dispatch/klumodispatchtable.def"
#undef LUMO_DISPATCH

    // The notification handler's: the records it passes on under their plain
    // names, and the values it converts. The handler invokes the proxy's slot
    // with "QVector<CloudItem>"; the signals the proxy and the library object
    // re-emit it by, which hosts connect to queued, spell it qualified.
#define LUMO_NOTIFY_REGISTER_Forward(Arg) add<Arg>(#Arg);
#define LUMO_NOTIFY_REGISTER_Convert(Arg)
#define LUMO_NOTIFY_REGISTER_Silent(Arg)
#define LUMO_NOTIFY_REGISTER_Own(Arg)
#define LUMO_NOTIFY(kind, method, Arg, receiver, member, typeName, QtType)                         \
    LUMO_NOTIFY_REGISTER_##kind(Arg)
#include "notify/klumonotifications.def"
#undef LUMO_NOTIFY
    add<StringMapArgs>("StringMapArgs");
    add<QVector<CloudItem>>("QVector<CloudItem>", "QVector<ofx::lumo::CloudItem>");

    // The proxy's login records, which travel through its queued slots.
    add<KLumoIpcLoginCache>("KLumoIpcLoginCache");
    add<KCompanyInfoCache>("KCompanyInfoCache");

    // Value types of the library's public API.
    add<LumoIpc::Status>("LumoIpc::Status");

    QMutexLocker locker(&lock());
    g_allRegistered = true;
}

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
        g_allRegistered = false;
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
