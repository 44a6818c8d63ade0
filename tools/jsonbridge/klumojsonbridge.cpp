#include "klumojsonbridge.h"

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <charconv>
#include <limits>
#include <map>
#include <typeindex>
#include <unordered_map>

namespace ofx::lumo {

using namespace jsonschema;
using apache::thrift::protocol::TCompactProtocolT;
using apache::thrift::protocol::TType;
using apache::thrift::transport::TMemoryBuffer;
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

TType ttype(Kind k)
{
    switch (k) {
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

bool isIntegral(Kind k)
{
    return k == Kind::Byte || k == Kind::I16 || k == Kind::I32 || k == Kind::I64;
}

[[noreturn]] void wrongType(const std::string &path, int type, const KLumoJsonValue &v)
{
    throw KLumoJsonError(path,
                         "expected " + KLumoJsonBridge::typeName(type) + ", got " + v.typeName());
}

int64_t checkedInteger(const std::string &path, int type, const KLumoJsonValue &v)
{
    if (!v.isInteger())
        wrongType(path, type, v);
    const int64_t n = v.toInteger();
    int64_t lo = std::numeric_limits<int64_t>::min(), hi = std::numeric_limits<int64_t>::max();
    switch (types[type].kind) {
    case Kind::Byte:
        lo = -128, hi = 127;
        break;
    case Kind::I16:
        lo = std::numeric_limits<int16_t>::min(), hi = std::numeric_limits<int16_t>::max();
        break;
    case Kind::I32:
        lo = std::numeric_limits<int32_t>::min(), hi = std::numeric_limits<int32_t>::max();
        break;
    default:
        break;
    }
    if (n < lo || n > hi)
        throw KLumoJsonError(
            path, std::to_string(n) + " is out of range for " + KLumoJsonBridge::typeName(type));
    return n;
}

// Map keys travel as JSON object keys; integral keys are written as their decimal text.
void writeKey(pt::TProtocol *out, int type, const std::string &key, const std::string &path)
{
    const Kind k = types[type].kind;
    if (k == Kind::String || k == Kind::Binary) {
        out->writeString(key);
        return;
    }
    if (isIntegral(k)) {
        int64_t n = 0;
        auto r = std::from_chars(key.data(), key.data() + key.size(), n);
        if (r.ec != std::errc() || r.ptr != key.data() + key.size())
            throw KLumoJsonError(path, "map key \"" + key + "\" is not an integer");
        KLumoJsonBridge::writeValue(out, type, KLumoJsonValue(n), path);
        return;
    }
    throw KLumoJsonError(path,
                         "maps keyed by " + KLumoJsonBridge::typeName(type) + " have no JSON form");
}

std::string readKey(pt::TProtocol *in, int type)
{
    const KLumoJsonValue v = KLumoJsonBridge::readValue(in, type);
    if (v.isString())
        return v.toString();
    if (v.isInteger())
        return std::to_string(v.toInteger());
    if (v.isBool())
        return v.toBool() ? "true" : "false";
    return v.serialize();
}

void writeDefault(pt::TProtocol *out, int type);

void writeDefaultFields(pt::TProtocol *out, const char *name, int first, int count)
{
    out->writeStructBegin(name);
    for (int i = first; i < first + count; ++i) {
        const Field &f = fields[i];
        if (f.optional)
            continue;
        out->writeFieldBegin(f.name, ttype(types[f.type].kind), f.id);
        if (f.defaultJson)
            KLumoJsonBridge::writeValue(out, f.type, KLumoJsonValue::parse(f.defaultJson, nullptr),
                                        f.name);
        else
            writeDefault(out, f.type);
        out->writeFieldEnd();
    }
    out->writeFieldStop();
    out->writeStructEnd();
}

// Writes the zero value of a type straight to the protocol, as a
// default-constructed generated record would.
void writeDefault(pt::TProtocol *out, int type)
{
    const Type &t = types[type];
    switch (t.kind) {
    case Kind::Void:
        break;
    case Kind::Bool:
        out->writeBool(false);
        break;
    case Kind::Byte:
        out->writeByte(0);
        break;
    case Kind::I16:
        out->writeI16(0);
        break;
    case Kind::I32:
        out->writeI32(0);
        break;
    case Kind::I64:
        out->writeI64(0);
        break;
    case Kind::Double:
        out->writeDouble(0);
        break;
    case Kind::String:
    case Kind::Binary:
        out->writeString(std::string());
        break;
    case Kind::List:
        out->writeListBegin(ttype(types[t.a].kind), 0);
        out->writeListEnd();
        break;
    case Kind::Set:
        out->writeSetBegin(ttype(types[t.a].kind), 0);
        out->writeSetEnd();
        break;
    case Kind::Map:
        out->writeMapBegin(ttype(types[t.a].kind), ttype(types[t.b].kind), 0);
        out->writeMapEnd();
        break;
    case Kind::Struct: {
        const Record &r = records[t.a];
        writeDefaultFields(out, r.name, r.firstField, r.fieldCount);
        break;
    }
    }
}

std::shared_ptr<TMemoryBuffer> observe(const std::string &bytes)
{
    return std::make_shared<TMemoryBuffer>(
        reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data())), uint32_t(bytes.size()),
        TMemoryBuffer::OBSERVE);
}

} // namespace

int KLumoJsonBridge::recordIndex(const std::string &name)
{
    const auto &idx = indexes().recordByName;
    auto it = idx.find(name);
    return it == idx.end() ? -1 : it->second;
}

const Service *KLumoJsonBridge::service(const std::string &name)
{
    for (int s = 0; s < serviceCount; ++s) {
        if (name == services[s].name)
            return &services[s];
    }
    return nullptr;
}

const Method *KLumoJsonBridge::method(const std::string &serviceName, const std::string &name)
{
    const auto &idx = indexes().methodByName;
    auto it = idx.find({serviceName, name});
    return it == idx.end() ? nullptr : &methods[it->second];
}

apache::thrift::protocol::TType KLumoJsonBridge::wireType(int type)
{
    return ttype(types[type].kind);
}

std::string KLumoJsonBridge::typeName(int type)
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

int KLumoJsonBridge::recordOfType(int type)
{
    return types[type].kind == Kind::Struct ? types[type].a : -1;
}

KLumoJsonValue KLumoJsonBridge::defaultValue(int type)
{
    const Type &t = types[type];
    switch (t.kind) {
    case Kind::Void:
        return KLumoJsonValue();
    case Kind::Bool:
        return KLumoJsonValue(false);
    case Kind::Byte:
    case Kind::I16:
    case Kind::I32:
    case Kind::I64:
        return KLumoJsonValue(int64_t(0));
    case Kind::Double:
        return KLumoJsonValue(0.0);
    case Kind::String:
    case Kind::Binary:
        return KLumoJsonValue(std::string());
    case Kind::List:
    case Kind::Set:
        return KLumoJsonValue::array();
    case Kind::Map:
        return KLumoJsonValue::object();
    case Kind::Struct: {
        KLumoJsonValue obj = KLumoJsonValue::object();
        const Record &r = records[t.a];
        for (int i = r.firstField; i < r.firstField + r.fieldCount; ++i) {
            const Field &f = fields[i];
            if (f.optional)
                continue;
            obj.insert(f.name,
                       f.defaultJson ? KLumoJsonValue::parse(f.defaultJson, nullptr)
                                     : defaultValue(f.type));
        }
        return obj;
    }
    }
    return KLumoJsonValue();
}

namespace {

int mix(int seed, int factor, int add)
{
    return int((int64_t(seed) * factor + add) % 1000003);
}

KLumoJsonValue sample(int type, int seed, int depth, const std::string &name)
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
            arr.append(sample(t.a, mix(seed, 3, i), depth + 1, name));
        return arr;
    }
    case Kind::Map: {
        KLumoJsonValue obj = KLumoJsonValue::object();
        const Kind keyKind = types[t.a].kind;
        for (int i = 0; i < elements; ++i) {
            const std::string key =
                isIntegral(keyKind) ? std::to_string(seed + i) : name + "-key" + std::to_string(i);
            obj.insert(key, sample(t.b, mix(seed, 5, i), depth + 1, name));
        }
        return obj;
    }
    case Kind::Struct: {
        KLumoJsonValue obj = KLumoJsonValue::object();
        const Record &r = records[t.a];
        for (int i = r.firstField; i < r.firstField + r.fieldCount; ++i)
            obj.insert(
                fields[i].name,
                sample(fields[i].type, mix(seed, 31, fields[i].id), depth + 1, fields[i].name));
        return obj;
    }
    }
    return KLumoJsonValue();
}

} // namespace

KLumoJsonValue KLumoJsonBridge::sampleValue(int type, int seed)
{
    return sample(type, seed, 0, "value");
}

void KLumoJsonBridge::writeValue(TProtocol *out, int type, const KLumoJsonValue &v,
                                 const std::string &path)
{
    const Type &t = types[type];
    switch (t.kind) {
    case Kind::Void:
        return;
    case Kind::Bool:
        if (!v.isBool())
            wrongType(path, type, v);
        out->writeBool(v.toBool());
        return;
    case Kind::Byte:
        out->writeByte(int8_t(checkedInteger(path, type, v)));
        return;
    case Kind::I16:
        out->writeI16(int16_t(checkedInteger(path, type, v)));
        return;
    case Kind::I32:
        out->writeI32(int32_t(checkedInteger(path, type, v)));
        return;
    case Kind::I64:
        out->writeI64(checkedInteger(path, type, v));
        return;
    case Kind::Double:
        if (!v.isNumber())
            wrongType(path, type, v);
        out->writeDouble(v.toDouble());
        return;
    case Kind::String:
    case Kind::Binary:
        if (!v.isString())
            wrongType(path, type, v);
        out->writeString(v.toString());
        return;
    case Kind::List:
    case Kind::Set: {
        if (!v.isArray())
            wrongType(path, type, v);
        const auto &elems = v.elements();
        if (t.kind == Kind::List)
            out->writeListBegin(ttype(types[t.a].kind), uint32_t(elems.size()));
        else
            out->writeSetBegin(ttype(types[t.a].kind), uint32_t(elems.size()));
        for (size_t i = 0; i < elems.size(); ++i)
            writeValue(out, t.a, elems[i], path + "[" + std::to_string(i) + "]");
        if (t.kind == Kind::List)
            out->writeListEnd();
        else
            out->writeSetEnd();
        return;
    }
    case Kind::Map: {
        if (!v.isObject())
            wrongType(path, type, v);
        const auto &members = v.members();
        out->writeMapBegin(ttype(types[t.a].kind), ttype(types[t.b].kind),
                           uint32_t(members.size()));
        for (const auto &m : members) {
            const std::string sub = path + "[\"" + m.first + "\"]";
            writeKey(out, t.a, m.first, sub);
            writeValue(out, t.b, m.second, sub);
        }
        out->writeMapEnd();
        return;
    }
    case Kind::Struct: {
        const Record &r = records[t.a];
        writeFields(out, r.name, r.firstField, r.fieldCount, v, path);
        return;
    }
    }
}

void KLumoJsonBridge::writeFields(TProtocol *out, const char *structName, int first, int count,
                                  const KLumoJsonValue &v, const std::string &path)
{
    if (!v.isObject())
        throw KLumoJsonError(
            path, std::string("expected ") + structName + " (an object), got " + v.typeName());
    // Every key must name a field; a typo must not silently become a default.
    const auto &members = v.members();
    std::vector<const KLumoJsonValue *> byField(static_cast<size_t>(count), nullptr);
    for (const auto &m : members) {
        int i = 0;
        while (i < count && m.first != fields[first + i].name)
            ++i;
        const std::string sub = path.empty() ? m.first : path + "." + m.first;
        if (i == count)
            throw KLumoJsonError(sub, std::string("unknown field of ") + structName);
        if (byField[size_t(i)])
            throw KLumoJsonError(sub, "field given twice");
        byField[size_t(i)] = &m.second;
    }
    out->writeStructBegin(structName);
    for (int i = 0; i < count; ++i) {
        const Field &f = fields[first + i];
        const KLumoJsonValue *fv = byField[size_t(i)];
        if (!fv && f.optional)
            continue;
        out->writeFieldBegin(f.name, ttype(types[f.type].kind), f.id);
        if (fv)
            writeValue(out, f.type, *fv, path.empty() ? std::string(f.name) : path + "." + f.name);
        else if (f.defaultJson)
            writeValue(out, f.type, KLumoJsonValue::parse(f.defaultJson, nullptr), f.name);
        else
            writeDefault(out, f.type);
        out->writeFieldEnd();
    }
    out->writeFieldStop();
    out->writeStructEnd();
}

KLumoJsonValue KLumoJsonBridge::readValue(TProtocol *in, int type)
{
    const Type &t = types[type];
    switch (t.kind) {
    case Kind::Void:
        return KLumoJsonValue();
    case Kind::Bool: {
        bool b = false;
        in->readBool(b);
        return KLumoJsonValue(b);
    }
    case Kind::Byte: {
        int8_t n = 0;
        in->readByte(n);
        return KLumoJsonValue(int64_t(n));
    }
    case Kind::I16: {
        int16_t n = 0;
        in->readI16(n);
        return KLumoJsonValue(int64_t(n));
    }
    case Kind::I32: {
        int32_t n = 0;
        in->readI32(n);
        return KLumoJsonValue(int64_t(n));
    }
    case Kind::I64: {
        int64_t n = 0;
        in->readI64(n);
        return KLumoJsonValue(n);
    }
    case Kind::Double: {
        double d = 0;
        in->readDouble(d);
        return KLumoJsonValue(d);
    }
    case Kind::String:
    case Kind::Binary: {
        std::string s;
        in->readString(s);
        return KLumoJsonValue(std::move(s));
    }
    case Kind::List:
    case Kind::Set: {
        TType et;
        uint32_t n = 0;
        if (t.kind == Kind::List)
            in->readListBegin(et, n);
        else
            in->readSetBegin(et, n);
        KLumoJsonValue arr = KLumoJsonValue::array();
        for (uint32_t i = 0; i < n; ++i) {
            if (et == ttype(types[t.a].kind))
                arr.append(readValue(in, t.a));
            else
                in->skip(et);
        }
        if (t.kind == Kind::List)
            in->readListEnd();
        else
            in->readSetEnd();
        return arr;
    }
    case Kind::Map: {
        TType kt, vt;
        uint32_t n = 0;
        in->readMapBegin(kt, vt, n);
        KLumoJsonValue obj = KLumoJsonValue::object();
        const bool fits = kt == ttype(types[t.a].kind) && vt == ttype(types[t.b].kind);
        for (uint32_t i = 0; i < n; ++i) {
            if (!fits) {
                in->skip(kt);
                in->skip(vt);
                continue;
            }
            std::string key = readKey(in, t.a);
            obj.insert(std::move(key), readValue(in, t.b));
        }
        in->readMapEnd();
        return obj;
    }
    case Kind::Struct: {
        const Record &r = records[t.a];
        return readFields(in, r.firstField, r.fieldCount);
    }
    }
    return KLumoJsonValue();
}

KLumoJsonValue KLumoJsonBridge::readFields(TProtocol *in, int first, int count)
{
    std::vector<KLumoJsonValue> values(static_cast<size_t>(count));
    std::vector<bool> seen(static_cast<size_t>(count), false);
    std::string name;
    in->readStructBegin(name);
    for (;;) {
        TType ft;
        int16_t id;
        in->readFieldBegin(name, ft, id);
        if (ft == pt::T_STOP)
            break;
        int i = 0;
        while (i < count && fields[first + i].id != id)
            ++i;
        if (i < count && ft == ttype(types[fields[first + i].type].kind)) {
            values[size_t(i)] = readValue(in, fields[first + i].type);
            seen[size_t(i)] = true;
        } else {
            in->skip(ft);
        }
        in->readFieldEnd();
    }
    in->readStructEnd();
    KLumoJsonValue obj = KLumoJsonValue::object();
    for (int i = 0; i < count; ++i) {
        const Field &f = fields[first + i];
        if (seen[size_t(i)])
            obj.insert(f.name, std::move(values[size_t(i)]));
        else if (!f.optional)
            obj.insert(f.name,
                       f.defaultJson ? KLumoJsonValue::parse(f.defaultJson, nullptr)
                                     : defaultValue(f.type));
    }
    return obj;
}

std::string KLumoJsonBridge::encodeRecord(int record, const KLumoJsonValue &value,
                                          const std::string &path)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    const Record &r = records[record];
    writeFields(&proto, r.name, r.firstField, r.fieldCount, value, path);
    return buf->getBufferAsString();
}

KLumoJsonValue KLumoJsonBridge::decodeRecord(int record, const std::string &bytes)
{
    auto buf = observe(bytes);
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    const Record &r = records[record];
    return readFields(&proto, r.firstField, r.fieldCount);
}

const RecordOps *KLumoJsonBridge::recordOps(const std::type_info &type)
{
    const auto &idx = indexes().recordByType;
    auto it = idx.find(std::type_index(type));
    return it == idx.end() ? nullptr : &jsonschema::recordOps[it->second];
}

const RecordOps *KLumoJsonBridge::recordOps(int record)
{
    return record >= 0 && record < recordCount ? &jsonschema::recordOps[record] : nullptr;
}

const RecordOps &KLumoJsonBridge::requireOps(const std::type_info &type)
{
    const RecordOps *ops = recordOps(type);
    if (!ops)
        throw KLumoJsonError({}, std::string("not a record of the interface: ") + type.name());
    return *ops;
}

KLumoJsonValue KLumoJsonBridge::toJson(const RecordOps &ops, const void *record)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    ops.write(record, &proto);
    const Record &r = records[ops.record];
    return readFields(&proto, r.firstField, r.fieldCount);
}

void KLumoJsonBridge::fromJson(const RecordOps &ops, void *record, const KLumoJsonValue &value,
                               const std::string &path)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    const Record &r = records[ops.record];
    writeFields(&proto, r.name, r.firstField, r.fieldCount, value, path);
    ops.read(record, &proto);
}

} // namespace ofx::lumo
