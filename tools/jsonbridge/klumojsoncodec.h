#pragma once

#include "klumojsonerror.h"
#include "klumojsonschemaindex.h"
#include "klumojsonvalue.h"

#include <thrift/protocol/TProtocol.h>

#include <string>
#include <typeinfo>

namespace ofx::lumo {

/**
 * Converts between JSON and every record, argument list and result of the
 * interface by walking the generated schema tables over a Thrift protocol, so
 * one piece of code serves all 600-odd record types. Conventions: a record is an
 * object keyed by field names, absent fields take their defaults, maps are
 * objects with string keys, i32/i64 are exact integers. Errors name the path of
 * the offending field ("arg.param[2].bogus").
 *
 * Stateless; every function may be called from any thread.
 */
class KLumoJsonCodec
{
public:
    using TProtocol = apache::thrift::protocol::TProtocol;

    // The value a field takes when it is absent.
    static KLumoJsonValue defaultValue(int type);

    // Throws KLumoJsonError (with @p path) when @p value does not fit @p type.
    static void writeValue(TProtocol *out, int type, const KLumoJsonValue &value,
                           const std::string &path);
    // The same verdict and wording as writeValue, without a protocol to write to.
    static void check(int type, const KLumoJsonValue &value, const std::string &path);
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
