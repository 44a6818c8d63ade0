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

void KLumoIpc::connectProxy()
{
    KLumoIpcProxy *p = m_pProxy;
    connect(p, &KLumoIpcProxy::notifyLoginStatusChange, this,
            &KLumoIpc::slot_notifyLoginStatusChange);
    connect(p, &KLumoIpcProxy::notifySocketConnected, this, &KLumoIpc::slot_SocketConnected);
    connect(p, &KLumoIpcProxy::notifySocketDisConnected, this, &KLumoIpc::SocketDisConnected);
    connect(p, &KLumoIpcProxy::signal_notify, this, &KLumoIpc::signal_notify);
    connect(p, &KLumoIpcProxy::signal_broadcast, this, &KLumoIpc::signal_broadcast);
    connect(p, &KLumoIpcProxy::signal_vipInfoChanged, this, &KLumoIpc::signal_vipInfoChanged);
    connect(p, &KLumoIpcProxy::signal_roamingImportChange, this,
            &KLumoIpc::signal_roamingImportChange);
    connect(p, &KLumoIpcProxy::signal_roamingChange, this, &KLumoIpc::signal_roamingChange);
    connect(p, &KLumoIpcProxy::signal_recentFileListChanged, this,
            &KLumoIpc::signal_notifyRecentFileListChanged);
    connect(p, &KLumoIpcProxy::signal_recentFileStateChanged, this,
            &KLumoIpc::signal_notifyRecentFileStateChanged);
    connect(p, &KLumoIpcProxy::signal_notifyRecentFileItemsChanged, this,
            &KLumoIpc::signal_notifyRecentFileItemsChanged);
    connect(p, &KLumoIpcProxy::signal_notifyRecentFileItemsFetched, this,
            &KLumoIpc::signal_notifyRecentFileItemsFetched);
    connect(p, &KLumoIpcProxy::signal_newMsgList, this, &KLumoIpc::signal_notifyNewMsgList);
    connect(p, &KLumoIpcProxy::signal_msgStatusChanged, this,
            &KLumoIpc::signal_notifyMsgStatusChanged);
#define LUMO_FORWARD(name) connect(p, &KLumoIpcProxy::name, this, &KLumoIpc::name)
    LUMO_FORWARD(signal_notifyClearMsgNotification);
    LUMO_FORWARD(signal_notifyActionsMapDefault);
    LUMO_FORWARD(signal_notifyActionsMapForShareFile);
    LUMO_FORWARD(signal_notifyActionsMapForReadMessage);
    LUMO_FORWARD(signal_notifyActionsMapForCooperate);
    LUMO_FORWARD(signal_notifyShareDiscussion);
    LUMO_FORWARD(signal_docCollaborativeStatus);
    LUMO_FORWARD(signal_notifyCloudDocOpening);
    LUMO_FORWARD(signal_notifyRecycleBinClear);
    LUMO_FORWARD(signal_notifyFileAction);
    LUMO_FORWARD(signal_notifyFileCreation);
    LUMO_FORWARD(signal_notifyFileStateChanged);
    LUMO_FORWARD(signal_notifyLoadFavoriteItemsChanged);
    LUMO_FORWARD(signal_notifyFilePropertyChanged);
    LUMO_FORWARD(signal_notifyGroupCreation);
    LUMO_FORWARD(signal_notifyGroupPropertyChanged);
    LUMO_FORWARD(signal_notifyGroupDeletion);
    LUMO_FORWARD(signal_notifyCompanyCreation);
    LUMO_FORWARD(signal_notifyCompanyPropertyChanged);
    LUMO_FORWARD(signal_notifyCompanyDeletion);
    LUMO_FORWARD(signal_notifyRecycleBinChanged);
    LUMO_FORWARD(signal_notifyUserThumbnail);
    LUMO_FORWARD(signal_notifyCloudEventsChanged);
    LUMO_FORWARD(signal_notifyItemReminderChanged);
    LUMO_FORWARD(signal_notifyBrowserFolder);
    LUMO_FORWARD(signal_broadcastEx);
    LUMO_FORWARD(signal_notifyGetCloudEventsPath);
    LUMO_FORWARD(signal_notifyRoamingFileTransferFinished);
    LUMO_FORWARD(signal_notifyDocTeamV2);
#undef LUMO_FORWARD
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
