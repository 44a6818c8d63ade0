#pragma once

#include <QMetaType>
#include <QString>

/**
 * Who is logged in to the service, as the service reported it through
 * "getLoginInfo". A value record: copied freely, passed through queued slots
 * under the meta-type name "KLumoIpcLoginCache". The default record is the
 * logged-out state. LumoIpcLoginCache() and LumoIpcLastLoginCache() return
 * the library's own, which it changes on the host's thread (before it emits
 * LoginStatusChange): read it there.
 */
struct KLumoIpcLoginCache
{
    /// Whether a user is logged in; false in the default record.
    bool isLogined = false;
    /// The user's id at the cloud.
    QString userId;
    /// The user's name.
    QString userName;
    /// The user's display name.
    QString nickName;
    /// The account the user logged in with.
    QString account;
    /// Where the user's picture is.
    QString avatarUrl;
    /// How the user logged in, as the service names it.
    QString loginMode;
    /// Session token for the cloud; kept in memory only, never persisted.
    QString token;
    /// The service's cache folder for this user.
    QString cachePath;
    /// The root of the synchronised files.
    QString syncFileRoot;
    /// The local folder that is kept in sync.
    QString localSyncFolder;
    /// The company the user currently works in; empty for none.
    QString currentCompanyId;
    /// Whether the account is a paid one.
    bool isVip = false;
    /// Whether the account belongs to a company.
    bool isCompanyAccount = false;
    /// The document roaming switch.
    bool isRoamingOpen = false;

    /// Whether every field is equal.
    bool operator==(const KLumoIpcLoginCache &o) const
    {
        return isLogined == o.isLogined && userId == o.userId && userName == o.userName
            && nickName == o.nickName && account == o.account && avatarUrl == o.avatarUrl
            && loginMode == o.loginMode && token == o.token && cachePath == o.cachePath
            && syncFileRoot == o.syncFileRoot && localSyncFolder == o.localSyncFolder
            && currentCompanyId == o.currentCompanyId && isVip == o.isVip
            && isCompanyAccount == o.isCompanyAccount && isRoamingOpen == o.isRoamingOpen;
    }
    /// Whether some field differs.
    bool operator!=(const KLumoIpcLoginCache &o) const { return !(*this == o); }
};
Q_DECLARE_METATYPE(KLumoIpcLoginCache)
