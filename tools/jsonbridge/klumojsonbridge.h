#pragma once

#include "klumojsonrecords.h"
#include "klumojsonschema.h"
#include "klumojsonvalue.h"

#include <thrift/protocol/TProtocol.h>

#include <stdexcept>
#include <string>
#include <typeinfo>

namespace ofx::lumo {

/** A JSON value that does not fit the schema; `path()` names the offending field. */
class KLumoJsonError : public std::runtime_error
{
public:
    KLumoJsonError(const std::string &path, const std::string &message)
        : std::runtime_error(path.empty() ? message : path + ": " + message)
        , m_path(path)
    { }
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

/**
 * Converts between JSON and every record, argument list and result of the
 * interface by walking the generated schema tables over a Thrift protocol, so
 * one piece of code serves all 600-odd record types. Conventions: a record is an
 * object keyed by field names, absent fields take their defaults, maps are
 * objects with string keys, i32/i64 are exact integers.
 *
 * Stateless; every function may be called from any thread.
 */
class KLumoJsonBridge
{
public:
    using TProtocol = apache::thrift::protocol::TProtocol;

    // Schema look-ups; -1 or null when there is no such name.
    static int recordIndex(const std::string &name);
    static const jsonschema::Service *service(const std::string &name);
    static const jsonschema::Method *method(const std::string &serviceName,
                                            const std::string &name);
    // Thrift spelling of a type: "list<CloudItem>", "map<string,string>".
    static std::string typeName(int type);
    // The wire type of a schema type (T_VOID for void).
    static apache::thrift::protocol::TType wireType(int type);
    // The record index of a struct type, or -1; and the type of a record.
    static int recordOfType(int type);
    static int recordType(int record) { return record; }

    // The value a field takes when it is absent.
    static KLumoJsonValue defaultValue(int type);
    // A value with every field, optional ones included, set to something other
    // than its default and derived from @p seed (i64 values lie above 2^53):
    // examples for `describe`, and replies that tests can compare field by field.
    static KLumoJsonValue sampleValue(int type, int seed = 1);

    // Throws KLumoJsonError (with @p path) when @p value does not fit @p type.
    static void writeValue(TProtocol *out, int type, const KLumoJsonValue &value,
                           const std::string &path);
    // Throws the protocol's exceptions on malformed input.
    static KLumoJsonValue readValue(TProtocol *in, int type);

    // A struct made of the field run [first, first + count) (a record or a
    // method's argument list). Absent non-optional fields are written with
    // their defaults; reading fills them in the same way and skips unknown ids.
    static void writeFields(TProtocol *out, const char *structName, int first, int count,
                            const KLumoJsonValue &value, const std::string &path);
    static KLumoJsonValue readFields(TProtocol *in, int first, int count);

    // Compact-protocol bytes of one record.
    static std::string encodeRecord(int record, const KLumoJsonValue &value,
                                    const std::string &path = {});
    static KLumoJsonValue decodeRecord(int record, const std::string &bytes);

    // Typed records of the generated code.
    static const jsonschema::RecordOps *recordOps(const std::type_info &type);
    static const jsonschema::RecordOps *recordOps(int record);
    static KLumoJsonValue toJson(const jsonschema::RecordOps &ops, const void *record);
    static void fromJson(const jsonschema::RecordOps &ops, void *record,
                         const KLumoJsonValue &value, const std::string &path = {});

    template<class T> static KLumoJsonValue toJson(const T &record)
    {
        return toJson(requireOps(typeid(T)), &record);
    }
    template<class T> static T fromJson(const KLumoJsonValue &value, const std::string &path = {})
    {
        T record;
        fromJson(requireOps(typeid(T)), &record, value, path);
        return record;
    }

private:
    static const jsonschema::RecordOps &requireOps(const std::type_info &type);
};

} // namespace ofx::lumo
