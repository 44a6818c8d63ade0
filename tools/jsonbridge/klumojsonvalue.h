#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ofx::lumo {

/**
 * A JSON value that keeps integers as exact 64-bit numbers and objects in the
 * order their keys were written. QJsonDocument stores every number as a double,
 * which loses i64 values above 2^53; the bridge parses and prints by itself.
 *
 * A plain value type: no sharing, no thread affinity.
 */
class KLumoJsonValue
{
public:
    enum class Type { Null, Bool, Integer, Double, String, Array, Object };
    using Array = std::vector<KLumoJsonValue>;
    using Member = std::pair<std::string, KLumoJsonValue>;
    using Object = std::vector<Member>;

    KLumoJsonValue() = default;
    KLumoJsonValue(std::nullptr_t) { }
    KLumoJsonValue(bool b)
        : m_eType(Type::Bool)
        , m_nInt(b)
    { }
    KLumoJsonValue(int v)
        : m_eType(Type::Integer)
        , m_nInt(v)
    { }
    KLumoJsonValue(int64_t v)
        : m_eType(Type::Integer)
        , m_nInt(v)
    { }
    KLumoJsonValue(double v)
        : m_eType(Type::Double)
        , m_fDouble(v)
    { }
    KLumoJsonValue(std::string s)
        : m_eType(Type::String)
        , m_strString(std::move(s))
    { }
    KLumoJsonValue(const char *s)
        : m_eType(Type::String)
        , m_strString(s)
    { }

    static KLumoJsonValue array() { return KLumoJsonValue(Type::Array); }
    static KLumoJsonValue object() { return KLumoJsonValue(Type::Object); }

    Type type() const { return m_eType; }
    bool isNull() const { return m_eType == Type::Null; }
    bool isBool() const { return m_eType == Type::Bool; }
    bool isInteger() const { return m_eType == Type::Integer; }
    bool isNumber() const { return m_eType == Type::Integer || m_eType == Type::Double; }
    bool isString() const { return m_eType == Type::String; }
    bool isArray() const { return m_eType == Type::Array; }
    bool isObject() const { return m_eType == Type::Object; }
    static const char *typeName(Type t);
    const char *typeName() const { return typeName(m_eType); }

    bool toBool() const { return m_nInt != 0; }
    int64_t toInteger() const { return m_eType == Type::Double ? int64_t(m_fDouble) : m_nInt; }
    double toDouble() const { return m_eType == Type::Integer ? double(m_nInt) : m_fDouble; }
    const std::string &toString() const { return m_strString; }

    const Array &elements() const { return m_lstArray; }
    Array &elements() { return m_lstArray; }
    const Object &members() const { return m_lstObject; }
    Object &members() { return m_lstObject; }
    void append(KLumoJsonValue v) { m_lstArray.push_back(std::move(v)); }
    // Appends without looking for an existing key: callers build objects from
    // sources whose keys are already unique.
    void insert(std::string key, KLumoJsonValue v)
    {
        m_lstObject.emplace_back(std::move(key), std::move(v));
    }
    // Linear: meant for records (tens of keys), not for large maps.
    const KLumoJsonValue *find(const std::string &key) const;
    int size() const
    {
        return int(m_eType == Type::Array ? m_lstArray.size() : m_lstObject.size());
    }

    bool operator==(const KLumoJsonValue &o) const;
    bool operator!=(const KLumoJsonValue &o) const { return !(*this == o); }

    // Compact single-line text, or indented by @p indent spaces per level.
    std::string serialize(int indent = 0) const;
    // Parses one JSON text (surrounding white space allowed). On failure returns
    // null and sets @p error to a message with the byte offset.
    static KLumoJsonValue parse(const std::string &text, std::string *error);

private:
    explicit KLumoJsonValue(Type t)
        : m_eType(t)
    { }
    void write(std::string &out, int indent, int level) const;

    Type m_eType = Type::Null;
    int64_t m_nInt = 0;
    double m_fDouble = 0;
    std::string m_strString;
    Array m_lstArray;
    Object m_lstObject;
};

} // namespace ofx::lumo
