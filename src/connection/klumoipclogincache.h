#pragma once

#include <QMetaType>
#include <QString>

/**
 * Who is logged in to the service, as the service reported it through
 * "getLoginInfo". A value record: copied freely, passed through queued slots
 * under the meta-type name "KLumoIpcLoginCache". The default record is the
 * logged-out state.
 */
struct KLumoIpcLoginCache
{
    bool isLogined = false;
    QString userId;
    QString userName;
    QString nickName;
    QString account;
    QString avatarUrl;
    QString loginMode;
    // Session token for the cloud; kept in memory only, never persisted.
    QString token;
    QString cachePath;
    QString syncFileRoot;
    QString localSyncFolder;
    QString currentCompanyId;
    bool isVip = false;
    bool isCompanyAccount = false;
    // The document roaming switch.
    bool isRoamingOpen = false;

    bool operator==(const KLumoIpcLoginCache &o) const
    {
        return isLogined == o.isLogined && userId == o.userId && userName == o.userName
            && nickName == o.nickName && account == o.account && avatarUrl == o.avatarUrl
            && loginMode == o.loginMode && token == o.token && cachePath == o.cachePath
            && syncFileRoot == o.syncFileRoot && localSyncFolder == o.localSyncFolder
            && currentCompanyId == o.currentCompanyId && isVip == o.isVip
            && isCompanyAccount == o.isCompanyAccount && isRoamingOpen == o.isRoamingOpen;
    }
    bool operator!=(const KLumoIpcLoginCache &o) const { return !(*this == o); }
};
Q_DECLARE_METATYPE(KLumoIpcLoginCache)
