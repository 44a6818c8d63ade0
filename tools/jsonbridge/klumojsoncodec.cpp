#include "klumojsoncodec.h"

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>
#include <thrift/transport/TTransportUtils.h>

#include <charconv>
#include <limits>

namespace ofx::lumo {

using namespace jsonschema;
using apache::thrift::protocol::TCompactProtocolT;
using apache::thrift::protocol::TType;
using apache::thrift::transport::TMemoryBuffer;
using Schema = KLumoJsonSchemaIndex;
namespace pt = apache::thrift::protocol;

namespace {

[[noreturn]] void wrongType(const std::string &path, int type, const KLumoJsonValue &v)
{
    throw KLumoJsonError(path, "expected " + Schema::typeName(type) + ", got " + v.typeName());
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
        throw KLumoJsonError(path,
                             std::to_string(n) + " is out of range for " + Schema::typeName(type));
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
    if (Schema::isIntegral(type)) {
        int64_t n = 0;
        auto r = std::from_chars(key.data(), key.data() + key.size(), n);
        if (r.ec != std::errc() || r.ptr != key.data() + key.size())
            throw KLumoJsonError(path, "map key \"" + key + "\" is not an integer");
        KLumoJsonCodec::writeValue(out, type, KLumoJsonValue(n), path);
        return;
    }
    throw KLumoJsonError(path, "maps keyed by " + Schema::typeName(type) + " have no JSON form");
}

std::string readKey(pt::TProtocol *in, int type)
{
    const KLumoJsonValue v = KLumoJsonCodec::readValue(in, type);
    if (v.isString())
        return v.toString();
    if (v.isInteger())
        return std::to_string(v.toInteger());
    if (v.isBool())
        return v.toBool() ? "true" : "false";
    return v.serialize();
}

// The declared default of a field, or its type's zero value: what a
// default-constructed generated record holds.
KLumoJsonValue fieldDefault(const Field &f)
{
    return f.defaultJson ? KLumoJsonValue::parse(f.defaultJson, nullptr)
                         : KLumoJsonCodec::defaultValue(f.type);
}

template<class T> KLumoJsonValue readScalar(pt::TProtocol *in, uint32_t (pt::TProtocol::*read)(T &))
{
    T value {};
    (in->*read)(value);
    return KLumoJsonValue(value);
}

std::string fieldPath(const std::string &path, const std::string &name)
{
    return path.empty() ? name : path + "." + name;
}

} // namespace

KLumoJsonValue KLumoJsonCodec::defaultValue(int type)
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
            if (!fields[i].optional)
                obj.insert(fields[i].name, fieldDefault(fields[i]));
        }
        return obj;
    }
    }
    return KLumoJsonValue();
}

void KLumoJsonCodec::writeValue(TProtocol *out, int type, const KLumoJsonValue &v,
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
            out->writeListBegin(Schema::wireType(t.a), uint32_t(elems.size()));
        else
            out->writeSetBegin(Schema::wireType(t.a), uint32_t(elems.size()));
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
        out->writeMapBegin(Schema::wireType(t.a), Schema::wireType(t.b), uint32_t(members.size()));
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

void KLumoJsonCodec::check(int type, const KLumoJsonValue &value, const std::string &path)
{
    auto sink = std::make_shared<apache::thrift::transport::TNullTransport>();
    TCompactProtocolT<apache::thrift::transport::TNullTransport> proto(sink);
    writeValue(&proto, type, value, path);
}

void KLumoJsonCodec::writeFields(TProtocol *out, const char *structName, int first, int count,
                                 const KLumoJsonValue &v, const std::string &path)
{
    if (!v.isObject())
        throw KLumoJsonError(
            path, std::string("expected ") + structName + " (an object), got " + v.typeName());
    // Every key must name a field; a typo must not silently become a default.
    std::vector<const KLumoJsonValue *> byField(static_cast<size_t>(count), nullptr);
    for (const auto &m : v.members()) {
        int i = 0;
        while (i < count && m.first != fields[first + i].name)
            ++i;
        if (i == count)
            throw KLumoJsonError(fieldPath(path, m.first),
                                 std::string("unknown field of ") + structName);
        if (byField[size_t(i)])
            throw KLumoJsonError(fieldPath(path, m.first), "field given twice");
        byField[size_t(i)] = &m.second;
    }
    out->writeStructBegin(structName);
    for (int i = 0; i < count; ++i) {
        const Field &f = fields[first + i];
        const KLumoJsonValue *fv = byField[size_t(i)];
        if (!fv && f.optional)
            continue;
        out->writeFieldBegin(f.name, Schema::wireType(f.type), f.id);
        writeValue(out, f.type, fv ? *fv : fieldDefault(f), fieldPath(path, f.name));
        out->writeFieldEnd();
    }
    out->writeFieldStop();
    out->writeStructEnd();
}

KLumoJsonValue KLumoJsonCodec::readValue(TProtocol *in, int type)
{
    const Type &t = types[type];
    switch (t.kind) {
    case Kind::Void:
        return KLumoJsonValue();
    case Kind::Bool:
        return readScalar<bool>(in, &TProtocol::readBool);
    case Kind::Byte:
        return readScalar<int8_t>(in, &TProtocol::readByte);
    case Kind::I16:
        return readScalar<int16_t>(in, &TProtocol::readI16);
    case Kind::I32:
        return readScalar<int32_t>(in, &TProtocol::readI32);
    case Kind::I64:
        return readScalar<int64_t>(in, &TProtocol::readI64);
    case Kind::Double:
        return readScalar<double>(in, &TProtocol::readDouble);
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
            if (et == Schema::wireType(t.a))
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
        const bool fits = kt == Schema::wireType(t.a) && vt == Schema::wireType(t.b);
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

KLumoJsonValue KLumoJsonCodec::readFields(TProtocol *in, int first, int count)
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
        if (i < count && ft == Schema::wireType(fields[first + i].type)) {
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
            obj.insert(f.name, fieldDefault(f));
    }
    return obj;
}

std::string KLumoJsonCodec::encodeRecord(int record, const KLumoJsonValue &value,
                                         const std::string &path)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    const Record &r = records[record];
    writeFields(&proto, r.name, r.firstField, r.fieldCount, value, path);
    return buf->getBufferAsString();
}

KLumoJsonValue KLumoJsonCodec::decodeRecord(int record, const std::string &bytes)
{
    auto buf = std::make_shared<TMemoryBuffer>(
        reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data())), uint32_t(bytes.size()),
        TMemoryBuffer::OBSERVE);
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    const Record &r = records[record];
    return readFields(&proto, r.firstField, r.fieldCount);
}

const RecordOps &KLumoJsonCodec::requireOps(const std::type_info &type)
{
    const RecordOps *ops = Schema::recordOps(type);
    if (!ops)
        throw KLumoJsonError({}, std::string("not a record of the interface: ") + type.name());
    return *ops;
}

KLumoJsonValue KLumoJsonCodec::toJson(const RecordOps &ops, const void *record)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    ops.write(record, &proto);
    const Record &r = records[ops.record];
    return readFields(&proto, r.firstField, r.fieldCount);
}

void KLumoJsonCodec::fromJson(const RecordOps &ops, void *record, const KLumoJsonValue &value,
                              const std::string &path)
{
    auto buf = std::make_shared<TMemoryBuffer>();
    TCompactProtocolT<TMemoryBuffer> proto(buf);
    const Record &r = records[ops.record];
    writeFields(&proto, r.name, r.firstField, r.fieldCount, value, path);
    ops.read(record, &proto);
}

} // namespace ofx::lumo
