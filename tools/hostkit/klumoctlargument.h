#pragma once

#include "klumojsoncodec.h"

#include <QGenericArgument>
#include <QVariant>

#include <map>
#include <string>
#include <vector>

namespace ofx::lumo {

/**
 * The argument of a dispatched call, built from JSON and typed as the
 * dispatcher's slot expects it (a record by its plain name, or std::string,
 * std::vector<std::string>, std::map<std::string,std::string>). Holds the
 * value until the call has been queued. Main thread.
 */
class KLumoCtlArgument
{
public:
    // Throws KLumoJsonError when @p json does not fit the argument of
    // @p serviceMethod; the path starts with the argument's name.
    KLumoCtlArgument(const char *serviceMethod, const char *typeName, const KLumoJsonValue &json);
    ~KLumoCtlArgument();
    KLumoCtlArgument(const KLumoCtlArgument &) = delete;
    KLumoCtlArgument &operator=(const KLumoCtlArgument &) = delete;

    QGenericArgument argument() const { return QGenericArgument(m_pTypeName, m_pData); }
    // A copy, as LumoIpc::dynamicCall() takes it; invalid while the library,
    // which registers the types, is not initialised.
    QVariant toVariant() const;

private:
    const char *m_pTypeName;
    const jsonschema::RecordOps *m_pOps = nullptr;
    void *m_pData = nullptr;
    std::string m_strString;
    std::vector<std::string> m_lstList;
    std::map<std::string, std::string> m_mapMap;
};

} // namespace ofx::lumo
