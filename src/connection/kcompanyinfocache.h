#pragma once

#include <QMetaType>
#include <QString>

/**
 * The company the logged-in user currently works in; twelve strings, all
 * empty when there is none. A value record passed through queued slots under
 * the meta-type name "KCompanyInfoCache". LumoIpcCompanyCache() returns the
 * library's own, which it changes on the host's thread: read it there.
 */
struct KCompanyInfoCache
{
    /// The company's id; empty when the user works in none.
    QString companyId;
    /// The company's name.
    QString companyName;
    /// Where the company's logo is.
    QString companyLogo;
    /// The user's role in the company.
    QString role;
    /// The company's status, as the service names it.
    QString status;
    /// Who created the company.
    QString creatorId;
    /// How many members it has, as text.
    QString memberCount;
    /// The company's domain.
    QString domain;
    /// The plan it is on.
    QString plan;
    /// When the plan ends, as the service writes it.
    QString expireTime;
    /// The administrator's name.
    QString adminName;
    /// The user's department.
    QString departmentName;

    /// Whether every field is equal.
    bool operator==(const KCompanyInfoCache &o) const
    {
        return companyId == o.companyId && companyName == o.companyName
            && companyLogo == o.companyLogo && role == o.role && status == o.status
            && creatorId == o.creatorId && memberCount == o.memberCount && domain == o.domain
            && plan == o.plan && expireTime == o.expireTime && adminName == o.adminName
            && departmentName == o.departmentName;
    }
    /// Whether some field differs.
    bool operator!=(const KCompanyInfoCache &o) const { return !(*this == o); }
};
Q_DECLARE_METATYPE(KCompanyInfoCache)
