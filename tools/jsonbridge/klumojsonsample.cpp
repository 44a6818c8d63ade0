#include "klumojsonsample.h"

#include "klumojsonschemaindex.h"

namespace ofx::lumo {

using namespace jsonschema;

namespace {

int mix(int seed, int factor, int add)
{
    return int((int64_t(seed) * factor + add) % 1000003);
}

} // namespace

KLumoJsonValue KLumoJsonSample::value(int type, int seed)
{
    return make(type, seed, 0, "value");
}

KLumoJsonValue KLumoJsonSample::make(int type, int seed, int depth, const std::string &name)
{
    const Type &t = types[type];
    // Lists and maps shrink with depth so records of records stay small.
    const int elements = depth < 2 ? 2 : depth < 4 ? 1 : 0;
    switch (t.kind) {
    case Kind::Void:
        return KLumoJsonValue();
    case Kind::Bool:
        return KLumoJsonValue(true);
    case Kind::Byte:
        return KLumoJsonValue(int64_t(seed % 100 + 1));
    case Kind::I16:
        return KLumoJsonValue(int64_t(seed % 30000 + 2));
    case Kind::I32:
        return KLumoJsonValue(int64_t(1000003) * (seed % 2000) + 3);
    case Kind::I64:
        return KLumoJsonValue((int64_t(1) << 53) + seed);
    case Kind::Double:
        return KLumoJsonValue(seed + 0.25);
    case Kind::String:
    case Kind::Binary:
        return KLumoJsonValue(name + "-" + std::to_string(seed));
    case Kind::List:
    case Kind::Set: {
        KLumoJsonValue arr = KLumoJsonValue::array();
        for (int i = 0; i < elements; ++i)
            arr.append(make(t.a, mix(seed, 3, i), depth + 1, name));
        return arr;
    }
    case Kind::Map: {
        KLumoJsonValue obj = KLumoJsonValue::object();
        for (int i = 0; i < elements; ++i) {
            const std::string key = KLumoJsonSchemaIndex::isIntegral(t.a)
                ? std::to_string(seed + i)
                : name + "-key" + std::to_string(i);
            obj.insert(key, make(t.b, mix(seed, 5, i), depth + 1, name));
        }
        return obj;
    }
    case Kind::Struct: {
        KLumoJsonValue obj = KLumoJsonValue::object();
        const Record &r = records[t.a];
        for (int i = r.firstField; i < r.firstField + r.fieldCount; ++i)
            obj.insert(
                fields[i].name,
                make(fields[i].type, mix(seed, 31, fields[i].id), depth + 1, fields[i].name));
        return obj;
    }
    }
    return KLumoJsonValue();
}

} // namespace ofx::lumo
