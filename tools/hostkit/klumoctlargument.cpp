#include "klumoctlargument.h"

namespace ofx::lumo {

KLumoCtlArgument::KLumoCtlArgument(const char *serviceMethod, const char *typeName,
                                   const KLumoJsonValue &json)
    : m_pTypeName(typeName)
{
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", serviceMethod);
    if (!m || m->argCount != 1)
        throw KLumoJsonError({}, std::string(serviceMethod) + " does not take one argument");
    const jsonschema::Field &field = jsonschema::fields[m->firstArg];

    const int record = KLumoJsonSchemaIndex::recordOfType(field.type);
    if (record >= 0) {
        m_pOps = KLumoJsonSchemaIndex::recordOps(record);
        m_pData = m_pOps->create();
        try {
            KLumoJsonCodec::fromJson(*m_pOps, m_pData, json, field.name);
        } catch (...) {
            m_pOps->destroy(m_pData);
            throw;
        }
        return;
    }
    // Checking against the schema first gives every mistake the same wording.
    KLumoJsonCodec::check(field.type, json, field.name);
    switch (jsonschema::types[field.type].kind) {
    case jsonschema::Kind::String:
        m_strString = json.toString();
        m_pData = &m_strString;
        break;
    case jsonschema::Kind::List:
        for (const KLumoJsonValue &e : json.elements())
            m_lstList.push_back(e.toString());
        m_pData = &m_lstList;
        break;
    case jsonschema::Kind::Map:
        for (const auto &e : json.members())
            m_mapMap[e.first] = e.second.toString();
        m_pData = &m_mapMap;
        break;
    default:
        throw KLumoJsonError(field.name,
                             "argument type " + KLumoJsonSchemaIndex::typeName(field.type)
                                 + " is not supported here");
    }
}

QVariant KLumoCtlArgument::toVariant() const
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QVariant(QMetaType::fromName(m_pTypeName), m_pData);
#else
    return QVariant(QMetaType::type(m_pTypeName), m_pData);
#endif
}

KLumoCtlArgument::~KLumoCtlArgument()
{
    if (m_pOps)
        m_pOps->destroy(m_pData);
}

} // namespace ofx::lumo
