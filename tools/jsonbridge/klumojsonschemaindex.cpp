#include "klumojsonschemaindex.h"

#include <map>
#include <typeindex>
#include <unordered_map>

namespace ofx::lumo {

using namespace jsonschema;
namespace pt = apache::thrift::protocol;

namespace {

struct Indexes
{
    std::unordered_map<std::string, int> recordByName;
    std::map<std::pair<std::string, std::string>, int> methodByName;
    std::unordered_map<std::type_index, int> recordByType;

    Indexes()
    {
        for (int i = 0; i < recordCount; ++i) {
            recordByName.emplace(records[i].name, i);
            recordByType.emplace(std::type_index(*recordOps[i].type), i);
        }
        for (int s = 0; s < serviceCount; ++s) {
            for (int m = 0; m < services[s].methodCount; ++m) {
                const int i = services[s].firstMethod + m;
                methodByName.emplace(
                    std::make_pair(std::string(services[s].name), std::string(methods[i].name)), i);
            }
        }
    }
};

const Indexes &indexes()
{
    static const Indexes idx; // thread-safe initialisation
    return idx;
}

} // namespace

int KLumoJsonSchemaIndex::recordIndex(const std::string &name)
{
    const auto &idx = indexes().recordByName;
    auto it = idx.find(name);
    return it == idx.end() ? -1 : it->second;
}

const Service *KLumoJsonSchemaIndex::service(const std::string &name)
{
    for (int s = 0; s < serviceCount; ++s) {
        if (name == services[s].name)
            return &services[s];
    }
    return nullptr;
}

const Method *KLumoJsonSchemaIndex::method(const std::string &serviceName, const std::string &name)
{
    const auto &idx = indexes().methodByName;
    auto it = idx.find({serviceName, name});
    return it == idx.end() ? nullptr : &methods[it->second];
}

std::string KLumoJsonSchemaIndex::typeName(int type)
{
    const Type &t = types[type];
    switch (t.kind) {
    case Kind::Void:
        return "void";
    case Kind::Bool:
        return "bool";
    case Kind::Byte:
        return "byte";
    case Kind::I16:
        return "i16";
    case Kind::I32:
        return "i32";
    case Kind::I64:
        return "i64";
    case Kind::Double:
        return "double";
    case Kind::String:
        return "string";
    case Kind::Binary:
        return "binary";
    case Kind::List:
        return "list<" + typeName(t.a) + ">";
    case Kind::Set:
        return "set<" + typeName(t.a) + ">";
    case Kind::Map:
        return "map<" + typeName(t.a) + "," + typeName(t.b) + ">";
    case Kind::Struct:
        return records[t.a].name;
    }
    return "?";
}

pt::TType KLumoJsonSchemaIndex::wireType(int type)
{
    switch (types[type].kind) {
    case Kind::Void:
        return pt::T_VOID;
    case Kind::Bool:
        return pt::T_BOOL;
    case Kind::Byte:
        return pt::T_BYTE;
    case Kind::I16:
        return pt::T_I16;
    case Kind::I32:
        return pt::T_I32;
    case Kind::I64:
        return pt::T_I64;
    case Kind::Double:
        return pt::T_DOUBLE;
    case Kind::String:
    case Kind::Binary:
        return pt::T_STRING;
    case Kind::List:
        return pt::T_LIST;
    case Kind::Set:
        return pt::T_SET;
    case Kind::Map:
        return pt::T_MAP;
    case Kind::Struct:
        return pt::T_STRUCT;
    }
    return pt::T_VOID;
}

bool KLumoJsonSchemaIndex::isIntegral(int type)
{
    const Kind k = types[type].kind;
    return k == Kind::Byte || k == Kind::I16 || k == Kind::I32 || k == Kind::I64;
}

int KLumoJsonSchemaIndex::recordOfType(int type)
{
    return types[type].kind == Kind::Struct ? types[type].a : -1;
}

const RecordOps *KLumoJsonSchemaIndex::recordOps(const std::type_info &type)
{
    const auto &idx = indexes().recordByType;
    auto it = idx.find(std::type_index(type));
    return it == idx.end() ? nullptr : &jsonschema::recordOps[it->second];
}

const RecordOps *KLumoJsonSchemaIndex::recordOps(int record)
{
    return record >= 0 && record < recordCount ? &jsonschema::recordOps[record] : nullptr;
}

} // namespace ofx::lumo
