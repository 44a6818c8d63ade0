#pragma once

#include <QMetaType>
#include <QString>

/**
 * The company the logged-in user currently works in; twelve strings, all
 * empty when there is none. A value record passed through queued slots under
 * the meta-type name "KCompanyInfoCache".
 */
struct KCompanyInfoCache
{
    QString companyId;
    QString companyName;
    QString companyLogo;
    QString role;
    QString status;
    QString creatorId;
    QString memberCount;
    QString domain;
    QString plan;
    QString expireTime;
    QString adminName;
    QString departmentName;

    bool operator==(const KCompanyInfoCache &o) const
    {
        return companyId == o.companyId && companyName == o.companyName
            && companyLogo == o.companyLogo && role == o.role && status == o.status
            && creatorId == o.creatorId && memberCount == o.memberCount && domain == o.domain
            && plan == o.plan && expireTime == o.expireTime && adminName == o.adminName
            && departmentName == o.departmentName;
    }
    bool operator!=(const KCompanyInfoCache &o) const { return !(*this == o); }
};
Q_DECLARE_METATYPE(KCompanyInfoCache)
