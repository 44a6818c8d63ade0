#include "klumoctlargument.h"

namespace ofx::lumo {

KLumoCtlArgument::KLumoCtlArgument(const char *serviceMethod, const char *typeName,
                                   const KLumoJsonValue &json)
    : m_typeName(typeName)
{
    const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", serviceMethod);
    if (!m || m->argCount != 1)
        throw KLumoJsonError({}, std::string(serviceMethod) + " does not take one argument");
    const jsonschema::Field &field = jsonschema::fields[m->firstArg];

    const int record = KLumoJsonSchemaIndex::recordOfType(field.type);
    if (record >= 0) {
        m_ops = KLumoJsonSchemaIndex::recordOps(record);
        m_data = m_ops->create();
        try {
            KLumoJsonCodec::fromJson(*m_ops, m_data, json, field.name);
        } catch (...) {
            m_ops->destroy(m_data);
            throw;
        }
        return;
    }
    // Checking against the schema first gives every mistake the same wording.
    KLumoJsonCodec::check(field.type, json, field.name);
    switch (jsonschema::types[field.type].kind) {
    case jsonschema::Kind::String:
        m_string = json.toString();
        m_data = &m_string;
        break;
    case jsonschema::Kind::List:
        for (const KLumoJsonValue &e : json.elements())
            m_list.push_back(e.toString());
        m_data = &m_list;
        break;
    case jsonschema::Kind::Map:
        for (const auto &e : json.members())
            m_map[e.first] = e.second.toString();
        m_data = &m_map;
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
    return QVariant(QMetaType::fromName(m_typeName), m_data);
#else
    return QVariant(QMetaType::type(m_typeName), m_data);
#endif
}

KLumoCtlArgument::~KLumoCtlArgument()
{
    if (m_ops)
        m_ops->destroy(m_data);
}

} // namespace ofx::lumo
