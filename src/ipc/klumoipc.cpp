#include "ipc/klumoipc.h"

#include "connection/klumoipclogincheck.h"
#include "connection/klumoipcproxy.h"
#include "dispatch/klumoipchandler.h"
#include "support/klumometatypes.h"

#include <QCoreApplication>
#include <QVariantMap>

namespace ofx::lumo {

namespace {
KLumoIpc *g_instance = nullptr; // host's main thread only
}

KLumoIpc *KLumoIpc::instance()
{
    return g_instance;
}

void KLumoIpc::setInstance(KLumoIpc *instance)
{
    g_instance = instance;
}

KLumoIpc::KLumoIpc()
    : QObject(nullptr)
{
    // The host's queued connections to signal_notifyRecentFileStateChanged
    // need the type under the spelling of the signal.
    KLumoMetaTypes::add<QVector<ofx::lumo::CloudItem>>("QVector<ofx::lumo::CloudItem>");
    m_pProxy = new KLumoIpcProxy;
}

KLumoIpc::~KLumoIpc()
{
    delete m_pProxy;
    m_pProxy = nullptr;
    delete m_pAux;
    m_pAux = nullptr;
    delete m_pLoginCheck;
    m_pLoginCheck = nullptr;
    KLumoMetaTypes::unregisterAll();
    m_eventSink.clear();
}

void KLumoIpc::setLoginCheck(KLumoIpcLoginCheck *check)
{
    delete m_pLoginCheck;
    m_pLoginCheck = check;
}

void KLumoIpc::slot_notifyLoginStatusChange()
{
    if (m_pLoginCheck)
        m_pLoginCheck->setLogined(m_pProxy->loginCache().isLogined);
    Q_EMIT LoginStatusChange();
}

void KLumoIpc::slot_SocketConnected()
{
    if (m_pLoginCheck && !m_pLoginCheck->isLogined())
        m_pLoginCheck->setSocketConnected();
    Q_EMIT SocketConnected();
}

void KLumoIpc::requestLoginInfoForCheck()
{
    if (!m_pLoginCheck)
        return;
    QStringList args;
    if (QCoreApplication::instance())
        args << QCoreApplication::applicationName();
    m_pProxy->dispatcher()->asynCall(QStringLiteral("getLoginInfo"), args, m_pLoginCheck,
                                     QStringLiteral("on_getLoginInfo"));
}

void KLumoIpc::postEvent(const QString &name, const QMap<QString, QString> &values)
{
    if (!m_eventSink && !m_pAux && QCoreApplication::instance()) {
        const QVariant sink = QCoreApplication::instance()->property("__nvolite_kdcinfoc__");
        if (sink.isValid() && sink.canConvert<QObject *>())
            m_eventSink = sink.value<QObject *>();
    }
    if (!m_eventSink)
        return;
    QVariantMap map;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        map.insert(it.key(), QVariant(it.value()));
    QMetaObject::invokeMethod(m_eventSink.data(), "postEventMethod", Qt::DirectConnection,
                              Q_ARG(QString, name), Q_ARG(QVariantMap, map));
}

} // namespace ofx::lumo
