#pragma once

#include "connection/kcompanyinfocache.h"
#include "connection/klumoipclogincache.h"
#include "dispatch/krpcresponse.h"
#include "notify/klumonotifytypes.h"

#include "lumo_types.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <functional>
#include <memory>

namespace ofx::lumoipc {
class KLumoIpcHandler;
}

namespace ofx::lumo {

class KLumoIpcProxyPrivate;

/**
 * The one link of a client application to the service process: builds the
 * channel, keeps it connected by polling, follows the login state through the
 * login-status lock file and "getLoginInfo", holds the login and company
 * records, and re-emits the service's notifications and local push messages
 * as its own signals.
 *
 * Owned by the host thread and used only there (timer, channel events and
 * queued slot calls all arrive on it). The fast-connect flag and counter are
 * process-wide and, like the proxy, belong to the host thread.
 */
class KLumoIpcProxy : public QObject
{
    Q_OBJECT
public:
    static constexpr int DefaultPollIntervalMs = 5000;
    static constexpr int DefaultFastPollIntervalMs = 100;
    // Fast mode lasts this many intervals.
    static constexpr quint32 FastConnectTicks = 21;

    explicit KLumoIpcProxy(QObject *parent = nullptr);
    ~KLumoIpcProxy() override;

    const KLumoIpcLoginCache &loginCache() const;
    KLumoIpcLoginCache &loginCache();
    KLumoIpcLoginCache &lastLoginCache();
    KCompanyInfoCache &companyCache();
    QMap<QString, QString> &responseLoginInfo();
    QString userDataPath() const;
    QString serverName() const;
    ofx::lumoipc::KLumoIpcHandler *dispatcher() const;
    bool isConnected() const;

    void updateLoginInfo();

    // Process-wide fast polling (logged on every change).
    static void setFastConnectMode(bool on);
    static bool fastConnectMode();
    static quint32 fastConnectTicks();
    // The interval of the next polling arming; advances the fast counter.
    static int nextPollInterval();

    // What a restart of the service does; set by the library singleton (the
    // service is only started while it exists). Unset: nothing is started,
    // the restart time is still recorded.
    void setServiceStarter(std::function<void()> start);

    // Test hooks; the defaults are the documented values.
    static void setPollIntervals(int normalMs, int fastMs);
    static void setClock(std::function<qint64()> secsSinceEpoch); // null: system clock
    int currentPollInterval() const;

Q_SIGNALS:
    void notifyLoginStatusChange();
    void notifySocketConnected();
    void notifySocketDisConnected();
    void signal_roamingChange(const QString &roamingChangeTag);
    void signal_roamingImportChange(const QString &roamingImportChangeTag);
    void signal_vipInfoChanged(const QVariant &info);
    void signal_bindAccountFinish(int actionCode);
    void signal_broadcast(const QString &msg);
    void signal_broadcastEx(const QVariant &info);
    void signal_notify(const QString &notify);
    void signal_recentFileListChanged();
    void signal_recentFileStateChanged(const QVector<ofx::lumo::CloudItem> &item);
    void signal_notifyRecentFileItemsChanged(const NotifyRecentFileChangeArg &arg);
    void signal_notifyRecentFileItemsFetched(const NotifyRecentFileFetchArg &arg);
    void signal_newMsgList(const QStringList &newMsgList);
    void signal_msgStatusChanged(const NotifyMsgStatusChangedArg &arg);
    void signal_notifyClearMsgNotification(const NotifyClearMsgNotificationArg &arg);
    void signal_notifyActionsMapDefault(const QMap<QString, QString> &mapArgs);
    void signal_notifyActionsMapForShareFile(const QMap<QString, QString> &mapArgs);
    void signal_notifyActionsMapForReadMessage(const QMap<QString, QString> &mapArgs);
    void signal_notifyActionsMapForCooperate(const QMap<QString, QString> &mapArgs);
    void signal_notifyShareDiscussion(const QMap<QString, QString> &mapArgs);
    void signal_docCollaborativeStatus(const QString &fileId, bool inCollaboration,
                                       quint32 collaboratorNum);
    void signal_notifyCloudDocOpening(bool bJustExit);
    void signal_notifyRecycleBinClear();
    void signal_notifyFileAction(const NotifyFileActionArg &arg);
    void signal_notifyFileBatchAction(const NotifyFileBatchActionArg &arg);
    void signal_notifyFileCreation(const NotifyFileCreationArg &arg);
    void signal_notifyFileStateChanged(const NotifyFileStateListArg &arg);
    void signal_notifyLoadFavoriteItemsChanged(const NotifyLoadFavoriteArg &arg);
    void signal_notifyFilePropertyChanged(const NotifyFilePropertyArg &arg);
    void signal_notifyGroupCreation(const NotifyGroupCreationArg &arg);
    void signal_notifyGroupPropertyChanged(const NotifyGroupPropertyArg &arg);
    void signal_notifyGroupDeletion(const NotifyGroupDeletionArg &arg);
    void signal_notifyCompanyCreation(const NotifyCompanyCreationArg &arg);
    void signal_notifyCompanyPropertyChanged(const NotifyCompanyPropertyArg &arg);
    void signal_notifyCompanyDeletion(const NotifyCompanyDeletionArg &arg);
    void signal_notifyRecycleBinChanged(const NotifyRecycleBinArg &arg);
    void signal_notifyCloudEventsChanged(const NotifyCloudEventsArg &arg);
    void signal_notifyGetCloudEventsPath(const NotifyGetCloudEventsPathArg &arg);
    void signal_notifyItemReminderChanged(const NotifyItemReminderChangedArg &arg);
    void signal_notifyUserThumbnail(const NotifyUserThumbnailArg &arg);
    void signal_notifyBrowserFolder(const NotifyBroswerFolderArg &arg);
    void signal_notifyRoamingFileTransferFinished(const NotifyFileTransferArg &arg);
    void signal_notifyDocTeamV2(const NotifyDocTeamV2Arg &arg);
    // The notification table forwards this one too; nothing above re-emits it.
    void signal_notifyRecommendUpdate(const NotifyRecommendUpdateArg &arg);

public Q_SLOTS:
    void on_getLoginInfo(bool bOk, const QString &requestId, const KRpcResponse &res);
    // The channel invokes both without arguments: a socket event.
    void on_notifyConnected(bool bSocketConnect = true);
    void on_notifyDisconnected(bool bSocketDisConnect = true);
    void on_accountLogined(const KLumoIpcLoginCache &loginCache,
                           const KCompanyInfoCache &companyCache);
    void on_accountUpdateInfo();
    void on_accountNoLogined();
    void on_delayCheckStatus();
    void on_notifyRecentFileListChanged();
    void on_notifyRecentFileStateChanged(const QVector<CloudItem> &infoList);
    void on_notifyNewMsgList(const QStringList &newMsgList);
    void on_notifyMsgStatusChanged(const NotifyMsgStatusChangedArg &arg);
    void on_notifyClearMsgNotification(const NotifyClearMsgNotificationArg &arg);
    void on_notifyActionsMapDefault(const StringMapArgs &mapArgs);
    void on_notifyActionsMapForShareFile(const StringMapArgs &mapArgs);
    void on_notifyActionsMapForReadMessage(const StringMapArgs &mapArgs);
    void on_notifyActionsMapForCooperate(const StringMapArgs &mapArgs);
    void on_notifyShareDiscussion(const StringMapArgs &mapArgs);
    void on_notifyDocumentRoamingSwitchChanged();
    void on_notifyDocCollaborativeStatus(const QString &fileId, bool inCollaboration,
                                         quint32 collaboratorNum);

private:
    void armTimer();
    void queueNoLogined();
    void applyLoginState(const KLumoIpcLoginCache &newLogin, const KCompanyInfoCache &newCompany);

    std::unique_ptr<KLumoIpcProxyPrivate> const d;
};

} // namespace ofx::lumo
