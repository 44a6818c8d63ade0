#include "ipc/klumoipc_p.h"

#include "connection/klumoipclogincheck.h"
#include "dispatch/klumoipchandler.h"
#include "ipc/klumotypedcalls.h"
#include "support/klumometatypes.h"

#include <QCoreApplication>
#include <QVariantMap>

namespace ofx::lumo {

namespace {
KLumoIpc *g_instance = nullptr; // host's main thread only
}

KLumoIpc *KLumoIpcPrivate::instance()
{
    return g_instance;
}

void KLumoIpcPrivate::setInstance(KLumoIpc *instance)
{
    g_instance = instance;
    KLumoTypedCalls::setInstance(instance ? get(instance)->typedCalls : nullptr);
}

KLumoIpc::KLumoIpc()
    : QObject(nullptr)
    , d(std::make_unique<KLumoIpcPrivate>(this))
{
    d->proxy = new KLumoIpcProxy;
    d->typedCalls = new KLumoTypedCalls(d->proxy->dispatcher());
}

KLumoIpc::~KLumoIpc()
{
    // The dispatcher goes first: no result reaches the typed calls' receiver
    // (which would log its absence) once it is gone.
    delete d->proxy;
    d->proxy = nullptr;
    delete d->typedCalls;
    d->typedCalls = nullptr;
    delete d->aux;
    d->aux = nullptr;
    delete d->loginCheck;
    d->loginCheck = nullptr;
    KLumoMetaTypes::unregisterAll();
    d->eventSink.clear();
}

void KLumoIpcPrivate::setLoginCheck(KLumoIpcLoginCheck *check)
{
    delete loginCheck;
    loginCheck = check;
}

void KLumoIpc::slot_notifyLoginStatusChange()
{
    if (d->loginCheck)
        d->loginCheck->setLogined(d->proxy->loginCache().isLogined);
    Q_EMIT LoginStatusChange();
}

void KLumoIpc::slot_SocketConnected()
{
    if (d->loginCheck && !d->loginCheck->isLogined())
        d->loginCheck->setSocketConnected();
    Q_EMIT SocketConnected();
}

void KLumoIpcPrivate::requestLoginInfoForCheck()
{
    if (!loginCheck)
        return;
    QStringList args;
    if (QCoreApplication::instance())
        args << QCoreApplication::applicationName();
    proxy->dispatcher()->asynCall(QStringLiteral("getLoginInfo"), args, loginCheck,
                                  QStringLiteral("on_getLoginInfo"));
}

void KLumoIpcPrivate::postEvent(const QString &name, const QMap<QString, QString> &values)
{
    if (!eventSink && !aux && QCoreApplication::instance()) {
        const QVariant sink = QCoreApplication::instance()->property("__nvolite_kdcinfoc__");
        if (sink.isValid() && sink.canConvert<QObject *>())
            eventSink = sink.value<QObject *>();
    }
    if (!eventSink)
        return;
    QVariantMap map;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        map.insert(it.key(), QVariant(it.value()));
    QMetaObject::invokeMethod(eventSink.data(), "postEventMethod", Qt::DirectConnection,
                              Q_ARG(QString, name), Q_ARG(QVariantMap, map));
}

} // namespace ofx::lumo

#include "ipc/moc_klumoipc.cpp"
