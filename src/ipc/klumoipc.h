#pragma once

#include "notify/klumonotifytypes.h"

#include "lumo_types.h"

#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

namespace ofx::lumo {

class KLumoIpcProxy;
class KLumoIpcLoginCheck;

/**
 * The library singleton behind the exported functions: owns the connection
 * proxy and the login health check, and re-emits the proxy's signals to the
 * host under the names below. Created, used and destroyed on the host's main
 * thread; the global pointer to it has no lock for that reason.
 */
class KLumoIpc : public QObject
{
    Q_OBJECT
public:
    KLumoIpc();
    ~KLumoIpc() override;

    static KLumoIpc *instance();
    static void setInstance(KLumoIpc *instance);

    KLumoIpcProxy *proxy() const { return m_pProxy; }
    KLumoIpcLoginCheck *loginCheck() const { return m_pLoginCheck; }
    void setLoginCheck(KLumoIpcLoginCheck *check); // takes ownership

    // Asks the service for the login information on behalf of the login check.
    void requestLoginInfoForCheck();
    // Reports an event to the host's event sink (the application property
    // "__nvolite_kdcinfoc__", method "postEventMethod").
    void postEvent(const QString &name, const QMap<QString, QString> &values);

    // Connects the proxy's signals to ours, in the documented order.
    void connectProxy();

Q_SIGNALS:
    void LoginStatusChange();
    void SocketConnected();
    void SocketDisConnected();
    void signal_roamingChange(const QString &roamingChangeTag);
    void signal_roamingImportChange(const QString &);
    void signal_vipInfoChanged(const QVariant &info);
    void signal_broadcast(const QString &);
    void signal_broadcastEx(const QVariant &);
    void signal_notify(const QString &notify);
    void signal_notifyRecentFileListChanged();
    void signal_notifyRecentFileStateChanged(const QVector<ofx::lumo::CloudItem> &item);
    void signal_notifyRecentFileItemsChanged(const NotifyRecentFileChangeArg &arg);
    void signal_notifyRecentFileItemsFetched(const NotifyRecentFileFetchArg &arg);
    void signal_notifyNewMsgList(const QStringList &newMsgList);
    void signal_notifyMsgStatusChanged(const NotifyMsgStatusChangedArg &arg);
    void signal_notifyClearMsgNotification(const NotifyClearMsgNotificationArg &arg);
    void signal_notifyActionsMapDefault(const QMap<QString, QString> &mapArgs);
    void signal_notifyActionsMapForShareFile(const QMap<QString, QString> &mapArgs);
    void signal_notifyFileAction(const NotifyFileActionArg &arg);
    void signal_notifyFileCreation(const NotifyFileCreationArg &arg);
    void signal_notifyFileStateChanged(const NotifyFileStateListArg &arg);
    void signal_notifyLoadFavoriteItemsChanged(const NotifyLoadFavoriteArg &arg);
    void signal_notifyFilePropertyChanged(const NotifyFilePropertyArg &arg);
    void signal_notifyActionsMapForReadMessage(const QMap<QString, QString> &mapArgs);
    void signal_notifyActionsMapForCooperate(const QMap<QString, QString> &mapArgs);
    void signal_notifyShareDiscussion(const QMap<QString, QString> &mapArgs);
    void signal_docCollaborativeStatus(const QString &fileId, bool inCollaboration,
                                       quint32 collaboratorNum);
    void signal_notifyCloudDocOpening(bool bJustExit);
    void signal_notifyRecycleBinClear();
    void signal_notifyGroupCreation(const NotifyGroupCreationArg &arg);
    void signal_notifyGroupPropertyChanged(const NotifyGroupPropertyArg &arg);
    void signal_notifyGroupDeletion(const NotifyGroupDeletionArg &arg);
    void signal_notifyCompanyCreation(const NotifyCompanyCreationArg &arg);
    void signal_notifyCompanyPropertyChanged(const NotifyCompanyPropertyArg &arg);
    void signal_notifyCompanyDeletion(const NotifyCompanyDeletionArg &arg);
    void signal_notifyRecycleBinChanged(const NotifyRecycleBinArg &arg);
    void signal_notifyUserThumbnail(const NotifyUserThumbnailArg &arg);
    void signal_notifyCloudEventsChanged(const NotifyCloudEventsArg &arg);
    void signal_notifyItemReminderChanged(const NotifyItemReminderChangedArg &arg);
    void signal_notifyBrowserFolder(const NotifyBroswerFolderArg &arg);
    void signal_notifyGetCloudEventsPath(const NotifyGetCloudEventsPathArg &arg);
    void signal_notifyRoamingFileTransferFinished(const NotifyFileTransferArg &arg);
    void signal_notifyDocTeamV2(const NotifyDocTeamV2Arg &arg);

public Q_SLOTS:
    void slot_notifyLoginStatusChange();
    void slot_SocketConnected();

private:
    KLumoIpcProxy *m_pProxy = nullptr;
    KLumoIpcLoginCheck *m_pLoginCheck = nullptr;
    QObject *m_pAux = nullptr; // owned; nothing creates it yet
    QPointer<QObject> m_eventSink;
};

} // namespace ofx::lumo
