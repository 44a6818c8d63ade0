#include "klumoservicestate.h"

#include <LumoIpc/LumoIpc>

#include <utility>

namespace ofx::lumo {

KLumoJsonValue KLumoServiceState::login()
{
    const KLumoIpcLoginCache &l = LumoIpcLoginCache();
    KLumoJsonValue login = KLumoJsonValue::object();
    login.insert("isLogined", l.isLogined);
    for (const auto &f :
         {std::make_pair("userId", &l.userId), std::make_pair("userName", &l.userName),
          std::make_pair("nickName", &l.nickName), std::make_pair("account", &l.account),
          std::make_pair("loginMode", &l.loginMode),
          std::make_pair("currentCompanyId", &l.currentCompanyId)})
        login.insert(f.first, f.second->toStdString());
    login.insert("isVip", l.isVip);
    login.insert("isCompanyAccount", l.isCompanyAccount);
    login.insert("isRoamingOpen", l.isRoamingOpen);
    return login;
}

KLumoJsonValue KLumoServiceState::company()
{
    const KCompanyInfoCache &c = LumoIpcCompanyCache();
    KLumoJsonValue company = KLumoJsonValue::object();
    company.insert("companyId", c.companyId.toStdString());
    company.insert("companyName", c.companyName.toStdString());
    company.insert("role", c.role.toStdString());
    return company;
}

} // namespace ofx::lumo
