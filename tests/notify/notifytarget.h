#pragma once

#include "callrecorder.h"

#include "notify/klumonotifytypes.h"

#include "lumo_types.h"

#include <QStringList>
#include <QVector>

namespace lumotest {

using namespace ofx::lumo;

/**
 * Stands in for the connection proxy: the slots and signals the notification
 * handler invokes, declared with the same names and signatures. Slots report to
 * the recorder; signals are caught by it.
 */
class NotifyTarget : public QObject
{
    Q_OBJECT
public:
    explicit NotifyTarget(CallRecorder *recorder)
        : m_recorder(recorder)
    {
        recorder->watchSignals(this);
    }

public Q_SLOTS:
    void on_accountUpdateInfo() { m_recorder->add(__func__); }
    void on_accountNoLogined() { m_recorder->add(__func__); }
    void on_notifyRecentFileListChanged() { m_recorder->add(__func__); }
    void on_notifyDocumentRoamingSwitchChanged() { m_recorder->add(__func__); }
    void on_notifyRecentFileStateChanged(const QVector<CloudItem> &infoList)
    {
        m_recorder->add(__func__, {box("QVector<CloudItem>", infoList)});
    }
    void on_notifyNewMsgList(const QStringList &newMsgList)
    {
        m_recorder->add(__func__, {newMsgList});
    }
    void on_notifyMsgStatusChanged(const NotifyMsgStatusChangedArg &arg)
    {
        m_recorder->add(__func__, {box("NotifyMsgStatusChangedArg", arg)});
    }
    void on_notifyClearMsgNotification(const NotifyClearMsgNotificationArg &arg)
    {
        m_recorder->add(__func__, {box("NotifyClearMsgNotificationArg", arg)});
    }
    void on_notifyActionsMapDefault(const StringMapArgs &mapArgs) { addMap(__func__, mapArgs); }
    void on_notifyActionsMapForShareFile(const StringMapArgs &mapArgs)
    {
        addMap(__func__, mapArgs);
    }
    void on_notifyActionsMapForReadMessage(const StringMapArgs &mapArgs)
    {
        addMap(__func__, mapArgs);
    }
    void on_notifyActionsMapForCooperate(const StringMapArgs &mapArgs)
    {
        addMap(__func__, mapArgs);
    }
    void on_notifyShareDiscussion(const StringMapArgs &mapArgs) { addMap(__func__, mapArgs); }
    void on_notifyDocCollaborativeStatus(const QString &fileId, bool inCollaboration,
                                         quint32 collaboratorNum)
    {
        m_recorder->add(__func__, {fileId, inCollaboration, collaboratorNum});
    }
    // Belongs to the push message dispatcher; here for a handler built without one.
    void on_newMessage(const QByteArray &msg) { m_recorder->add(__func__, {msg}); }

Q_SIGNALS:
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
    void signal_notifyRecommendUpdate(const NotifyRecommendUpdateArg &arg);
    void signal_notifyDocTeamV2(const NotifyDocTeamV2Arg &arg);
    void signal_notifyRecentFileItemsChanged(const NotifyRecentFileChangeArg &arg);
    void signal_notifyRecentFileItemsFetched(const NotifyRecentFileFetchArg &arg);

private:
    void addMap(const char *member, const StringMapArgs &map)
    {
        m_recorder->add(member, {QVariant::fromValue(map)});
    }
    CallRecorder *m_recorder;
};

} // namespace lumotest
