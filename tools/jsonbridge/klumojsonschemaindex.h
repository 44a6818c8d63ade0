#pragma once

#include "klumojsonrecords.h"
#include "klumojsonschema.h"

#include <thrift/protocol/TProtocol.h>

#include <string>
#include <typeinfo>

namespace ofx::lumo {

/**
 * Look-ups by name and by C++ type over the generated schema tables, and the
 * facts about a schema type that every user of the tables needs (its Thrift
 * spelling, its wire type, the record it names).
 *
 * Stateless apart from name indexes built once on first use; any thread.
 */
class KLumoJsonSchemaIndex
{
public:
    // -1 or null when there is no such name.
    static int recordIndex(const std::string &name);
    static const jsonschema::Service *service(const std::string &name);
    static const jsonschema::Method *method(const std::string &serviceName,
                                            const std::string &name);

    // Thrift spelling of a type: "list<CloudItem>", "map<string,string>".
    static std::string typeName(int type);
    // The wire type of a schema type (T_VOID for void).
    static apache::thrift::protocol::TType wireType(int type);
    static bool isIntegral(int type);
    // The record index of a struct type, or -1; and the type of a record.
    static int recordOfType(int type);
    static int recordType(int record) { return record; }

    // The generated record code behind a record; null for types and indexes
    // that are not records of the interface.
    static const jsonschema::RecordOps *recordOps(const std::type_info &type);
    static const jsonschema::RecordOps *recordOps(int record);
};

} // namespace ofx::lumo
