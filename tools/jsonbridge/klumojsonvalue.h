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
        : m_type(Type::Bool)
        , m_int(b)
    { }
    KLumoJsonValue(int v)
        : m_type(Type::Integer)
        , m_int(v)
    { }
    KLumoJsonValue(int64_t v)
        : m_type(Type::Integer)
        , m_int(v)
    { }
    KLumoJsonValue(double v)
        : m_type(Type::Double)
        , m_double(v)
    { }
    KLumoJsonValue(std::string s)
        : m_type(Type::String)
        , m_string(std::move(s))
    { }
    KLumoJsonValue(const char *s)
        : m_type(Type::String)
        , m_string(s)
    { }

    static KLumoJsonValue array() { return KLumoJsonValue(Type::Array); }
    static KLumoJsonValue object() { return KLumoJsonValue(Type::Object); }

    Type type() const { return m_type; }
    bool isNull() const { return m_type == Type::Null; }
    bool isBool() const { return m_type == Type::Bool; }
    bool isInteger() const { return m_type == Type::Integer; }
    bool isNumber() const { return m_type == Type::Integer || m_type == Type::Double; }
    bool isString() const { return m_type == Type::String; }
    bool isArray() const { return m_type == Type::Array; }
    bool isObject() const { return m_type == Type::Object; }
    static const char *typeName(Type t);
    const char *typeName() const { return typeName(m_type); }

    bool toBool() const { return m_int != 0; }
    int64_t toInteger() const { return m_type == Type::Double ? int64_t(m_double) : m_int; }
    double toDouble() const { return m_type == Type::Integer ? double(m_int) : m_double; }
    const std::string &toString() const { return m_string; }

    const Array &elements() const { return m_array; }
    Array &elements() { return m_array; }
    const Object &members() const { return m_object; }
    Object &members() { return m_object; }
    void append(KLumoJsonValue v) { m_array.push_back(std::move(v)); }
    // Appends without looking for an existing key: callers build objects from
    // sources whose keys are already unique.
    void insert(std::string key, KLumoJsonValue v)
    {
        m_object.emplace_back(std::move(key), std::move(v));
    }
    // Linear: meant for records (tens of keys), not for large maps.
    const KLumoJsonValue *find(const std::string &key) const;
    int size() const { return int(m_type == Type::Array ? m_array.size() : m_object.size()); }

    bool operator==(const KLumoJsonValue &o) const;
    bool operator!=(const KLumoJsonValue &o) const { return !(*this == o); }

    // Compact single-line text, or indented by @p indent spaces per level.
    std::string serialize(int indent = 0) const;
    // Parses one JSON text (surrounding white space allowed). On failure returns
    // null and sets @p error to a message with the byte offset.
    static KLumoJsonValue parse(const std::string &text, std::string *error);

private:
    explicit KLumoJsonValue(Type t)
        : m_type(t)
    { }
    void write(std::string &out, int indent, int level) const;

    Type m_type = Type::Null;
    int64_t m_int = 0;
    double m_double = 0;
    std::string m_string;
    Array m_array;
    Object m_object;
};

} // namespace ofx::lumo
