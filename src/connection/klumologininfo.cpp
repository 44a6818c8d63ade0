#include "connection/klumologininfo.h"

#include "connection/klumologinflags.h"

#include "support/klumocommonsettings.h"

namespace ofx::lumo {

namespace {

struct LoginText
{
    const char *key;
    QString KLumoIpcLoginCache::*member;
    bool persisted;
};
struct LoginFlag
{
    const char *key;
    bool KLumoIpcLoginCache::*member;
};
struct CompanyText
{
    const char *key;
    QString KCompanyInfoCache::*member;
};

// The keys of the "getLoginInfo" answer.
const LoginFlag LoginFlags[] = {
    {"isLogined", &KLumoIpcLoginCache::isLogined},
    {"isVip", &KLumoIpcLoginCache::isVip},
    {"isCompanyAccount", &KLumoIpcLoginCache::isCompanyAccount},
    {"roamingSwitch", &KLumoIpcLoginCache::isRoamingOpen},
};
const LoginText LoginTexts[] = {
    {"userId", &KLumoIpcLoginCache::userId, true},
    {"userName", &KLumoIpcLoginCache::userName, true},
    {"nickName", &KLumoIpcLoginCache::nickName, true},
    {"account", &KLumoIpcLoginCache::account, true},
    {"avatarUrl", &KLumoIpcLoginCache::avatarUrl, true},
    {"loginMode", &KLumoIpcLoginCache::loginMode, true},
    {"token", &KLumoIpcLoginCache::token, false},
    {"cachePath", &KLumoIpcLoginCache::cachePath, true},
    {"syncFileRoot", &KLumoIpcLoginCache::syncFileRoot, true},
    {"localSyncFolder", &KLumoIpcLoginCache::localSyncFolder, true},
    {"currentCompanyId", &KLumoIpcLoginCache::currentCompanyId, true},
};
const CompanyText CompanyTexts[] = {
    {"companyId", &KCompanyInfoCache::companyId},
    {"companyName", &KCompanyInfoCache::companyName},
    {"companyLogo", &KCompanyInfoCache::companyLogo},
    {"companyRole", &KCompanyInfoCache::role},
    {"companyStatus", &KCompanyInfoCache::status},
    {"companyCreatorId", &KCompanyInfoCache::creatorId},
    {"companyMemberCount", &KCompanyInfoCache::memberCount},
    {"companyDomain", &KCompanyInfoCache::domain},
    {"companyPlan", &KCompanyInfoCache::plan},
    {"companyExpireTime", &KCompanyInfoCache::expireTime},
    {"companyAdminName", &KCompanyInfoCache::adminName},
    {"companyDepartmentName", &KCompanyInfoCache::departmentName},
};
static_assert(sizeof CompanyTexts / sizeof CompanyTexts[0] == 12,
              "the company record has twelve strings");

const QString LastLoginGroup = QStringLiteral("LastLogin");

} // namespace

bool KLumoLoginInfo::parseFlag(const QString &value)
{
    return KLumoLoginFlags::parseFlag(value);
}

bool KLumoLoginInfo::decode(const StringMap &map, KLumoIpcLoginCache &login,
                            KCompanyInfoCache &company)
{
    login = KLumoIpcLoginCache();
    company = KCompanyInfoCache();
    if (map.contains(QStringLiteral("error")))
        return false;
    for (const LoginText &f : LoginTexts)
        login.*f.member = map.value(QLatin1String(f.key));
    for (const LoginFlag &f : LoginFlags)
        login.*f.member = parseFlag(map.value(QLatin1String(f.key)));
    login.isLogined = KLumoLoginFlags::isLoggedIn(map);
    for (const CompanyText &f : CompanyTexts)
        company.*f.member = map.value(QLatin1String(f.key));
    return true;
}

KLumoLoginInfo::StringMap KLumoLoginInfo::encode(const KLumoIpcLoginCache &login,
                                                 const KCompanyInfoCache &company)
{
    StringMap map;
    for (const LoginFlag &f : LoginFlags)
        map.insert(QLatin1String(f.key),
                   login.*f.member ? QStringLiteral("1") : QStringLiteral("0"));
    for (const LoginText &f : LoginTexts)
        map.insert(QLatin1String(f.key), login.*f.member);
    for (const CompanyText &f : CompanyTexts)
        map.insert(QLatin1String(f.key), company.*f.member);
    return map;
}

void KLumoLoginInfo::saveLastLogin(const KLumoIpcLoginCache &login)
{
    KLumoCommonSettings store;
    QSettings &s = store.settings();
    s.remove(LastLoginGroup);
    s.beginGroup(LastLoginGroup);
    for (const LoginFlag &f : LoginFlags)
        s.setValue(QLatin1String(f.key), login.*f.member);
    for (const LoginText &f : LoginTexts) {
        if (f.persisted)
            s.setValue(QLatin1String(f.key), login.*f.member);
    }
    s.endGroup();
    s.sync();
}

KLumoIpcLoginCache KLumoLoginInfo::loadLastLogin()
{
    KLumoIpcLoginCache login;
    KLumoCommonSettings store;
    QSettings &s = store.settings();
    s.beginGroup(LastLoginGroup);
    for (const LoginFlag &f : LoginFlags)
        login.*f.member = s.value(QLatin1String(f.key), false).toBool();
    for (const LoginText &f : LoginTexts) {
        if (f.persisted)
            login.*f.member = s.value(QLatin1String(f.key)).toString();
    }
    s.endGroup();
    return login;
}

} // namespace ofx::lumo
