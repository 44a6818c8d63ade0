#include "klumocompactwalker.h"

#include "klumojsonschemaindex.h"

#include <cstdio>

namespace ofx::lumo {

using namespace jsonschema;

namespace {

// The compact protocol's own type codes (a field header's low nibble).
enum Compact {
    Stop = 0,
    True = 1,
    False = 2,
    Byte = 3,
    I16 = 4,
    I32 = 5,
    I64 = 6,
    Double = 7,
    Binary = 8,
    List = 9,
    Set = 10,
    Map = 11,
    Struct = 12
};

constexpr int MaxDepth = 64;
constexpr uint32_t MaxNameBytes = 4096;

int compactOf(Kind kind)
{
    static const int codes[] = {-1,     True,   Byte, I16, I32, I64,   Double,
                                Binary, Binary, List, Set, Map, Struct};
    return codes[int(kind)];
}
static_assert(int(Kind::Struct) == 12, "compactOf follows the order of Kind");

bool fits(int type, int compact)
{
    const int want = compactOf(types[type].kind);
    return compact == want || (want == True && compact == False);
}

std::string compactName(int compact)
{
    static const char *const names[] = {"stop",   "bool",   "bool", "byte", "i16", "i32",   "i64",
                                        "double", "string", "list", "set",  "map", "struct"};
    return compact >= 0 && compact <= Struct ? names[compact]
                                             : "type code " + std::to_string(compact);
}

std::string mismatch(int compact, int type)
{
    return "a " + compactName(compact) + " where " + KLumoJsonSchemaIndex::typeName(type)
        + " is declared";
}

} // namespace

bool KLumoCompactWalker::depart(const std::string &what)
{
    if (m_strError.empty()) {
        const std::string where = path();
        m_strError = where.empty() ? what : where + ": " + what;
    }
    return false;
}

std::string KLumoCompactWalker::path() const
{
    std::string out;
    for (const Segment &s : m_lstPath) {
        if (s.index >= 0)
            out += "[" + std::to_string(s.index) + "]";
        else
            out += (out.empty() ? "" : ".") + std::string(s.name);
    }
    return out;
}

bool KLumoCompactWalker::readByte(uint8_t *out)
{
    return m_oSource.take(reinterpret_cast<char *>(out), 1) || depart(m_oSource.error());
}

bool KLumoCompactWalker::skipBytes(uint64_t count, const char *what)
{
    if (count > m_oSource.remaining())
        return depart(std::string("a ") + what + " of " + std::to_string(count)
                      + " bytes, more than the " + std::to_string(m_oSource.remaining())
                      + " left in its frame");
    return m_oSource.take(nullptr, size_t(count)) || depart(m_oSource.error());
}

bool KLumoCompactWalker::varint(uint64_t *out, int maxBytes)
{
    uint64_t v = 0;
    for (int i = 0; i < maxBytes; ++i) {
        uint8_t b;
        if (!readByte(&b))
            return false;
        v |= uint64_t(b & 0x7f) << (7 * i);
        if (!(b & 0x80)) {
            *out = v;
            return true;
        }
    }
    return depart("a variable-length integer longer than " + std::to_string(maxBytes) + " bytes");
}

bool KLumoCompactWalker::size(uint32_t *out)
{
    uint64_t v;
    if (!varint(&v, 10))
        return false;
    if (int32_t(v) < 0)
        return depart("a negative size (" + std::to_string(int32_t(v)) + ")");
    *out = uint32_t(v);
    return true;
}

bool KLumoCompactWalker::message(std::string *name, int *type, int32_t *seqId)
{
    uint8_t protocol, versionAndType;
    if (!readByte(&protocol))
        return false;
    if (protocol != 0x82) {
        char hex[8];
        std::snprintf(hex, sizeof hex, "0x%02x", protocol);
        return depart(std::string("not a compact-protocol message: it starts with ") + hex
                      + ", not 0x82");
    }
    if (!readByte(&versionAndType))
        return false;
    if ((versionAndType & 0x1f) != 1)
        return depart("compact protocol version " + std::to_string(versionAndType & 0x1f)
                      + ", not 1");
    *type = (versionAndType >> 5) & 0x07;
    uint64_t seq;
    uint32_t length;
    if (!varint(&seq, 10) || !size(&length))
        return false;
    *seqId = int32_t(seq);
    if (length > MaxNameBytes)
        return depart("a method name of " + std::to_string(length) + " bytes");
    name->resize(length);
    return m_oSource.take(name->data(), length) || depart(m_oSource.error());
}

bool KLumoCompactWalker::eachField(const std::function<bool(int compact, int16_t id)> &field)
{
    int16_t last = 0;
    for (;;) {
        uint8_t header;
        if (!readByte(&header))
            return false;
        if (header == Stop)
            return true;
        int16_t id = int16_t(last + (header >> 4));
        if (!(header >> 4)) {
            uint64_t zigzag;
            if (!varint(&zigzag, 10))
                return false;
            id = int16_t(uint32_t(zigzag >> 1) ^ -uint32_t(zigzag & 1));
        }
        last = id;
        if (!field(header & 0x0f, id))
            return false;
    }
}

bool KLumoCompactWalker::result(const Method &method)
{
    const bool isVoid = types[method.result].kind == Kind::Void;
    bool seen = false;
    const bool read = eachField([&](int compact, int16_t id) {
        if (id != 0 || isVoid)
            return depart("field id " + std::to_string(id) + " in the result of " + method.name
                          + ", which declares " + (isVoid ? "no value" : "only field 0"));
        m_lstPath.push_back({"success", -1});
        if (!fits(method.result, compact))
            return depart(mismatch(compact, method.result));
        if (!value(method.result, compact, true))
            return false;
        m_lstPath.pop_back();
        return seen = true;
    });
    if (read && !isVoid && !seen)
        return depart(std::string("the result lacks its value (field 0), which the library "
                                  "reports as \"")
                      + method.name + " failed: unknown result\"");
    return read;
}

bool KLumoCompactWalker::arguments(const Method &method)
{
    return record(&fields[method.firstArg], method.argCount, method.name);
}

bool KLumoCompactWalker::exception()
{
    return eachField([this](int compact, int16_t id) {
        const int want = id == 1 ? Binary : id == 2 ? I32 : -1;
        if (compact != want)
            return depart("field " + std::to_string(id) + " of an application exception is a "
                          + compactName(compact) + " (it has 1: string message, 2: i32 type)");
        uint64_t type;
        uint32_t length;
        return want == I32 ? varint(&type, 10) : size(&length) && skipBytes(length, "message");
    });
}

bool KLumoCompactWalker::record(const Field *first, int count, const char *name)
{
    if (++m_nDepth > MaxDepth)
        return depart("records nested deeper than " + std::to_string(MaxDepth));
    const bool read = eachField([&](int compact, int16_t id) {
        const Field *f = first;
        while (f < first + count && f->id != id)
            ++f;
        if (f == first + count)
            return depart("field id " + std::to_string(id) + ", which " + name
                          + " does not declare");
        m_lstPath.push_back({f->name, -1});
        if (!fits(f->type, compact))
            return depart(mismatch(compact, f->type));
        if (!value(f->type, compact, true))
            return false;
        m_lstPath.pop_back();
        return true;
    });
    --m_nDepth;
    return read;
}

bool KLumoCompactWalker::value(int type, int compact, bool inField)
{
    const Type &t = types[type];
    uint64_t scalar;
    switch (t.kind) {
    case Kind::Void:
        return true;
    case Kind::Bool:
        return inField || skipBytes(1, "bool");
    case Kind::Byte:
        return skipBytes(1, "byte");
    case Kind::I16:
    case Kind::I32:
    case Kind::I64:
        return varint(&scalar, 10);
    case Kind::Double:
        return skipBytes(8, "double");
    case Kind::String:
    case Kind::Binary: {
        uint32_t length;
        return size(&length) && skipBytes(length, "string");
    }
    case Kind::Struct: {
        const Record &r = records[t.a];
        return record(&fields[r.firstField], r.fieldCount, r.name);
    }
    case Kind::List:
    case Kind::Set:
    case Kind::Map:
        break;
    }
    uint32_t count;
    int keyCompact, valueCompact = Stop;
    if (t.kind == Kind::Map) {
        uint8_t kinds = 0;
        if (!size(&count) || (count && !readByte(&kinds)))
            return false;
        keyCompact = kinds >> 4;
        valueCompact = kinds & 0x0f;
    } else {
        uint8_t header;
        if (!readByte(&header))
            return false;
        count = header >> 4;
        keyCompact = header & 0x0f;
        if (count == 15 && !size(&count))
            return false;
    }
    if (count == 0)
        return true;
    if (count > m_oSource.remaining())
        return depart(std::to_string(count) + " elements, more than the "
                      + std::to_string(m_oSource.remaining()) + " bytes left in its frame");
    const int keyType = t.a;
    if (!fits(keyType, keyCompact))
        return depart("elements: " + mismatch(keyCompact, keyType));
    if (t.kind == Kind::Map && !fits(t.b, valueCompact))
        return depart("values: " + mismatch(valueCompact, t.b));
    for (uint32_t i = 0; i < count; ++i) {
        m_lstPath.push_back({nullptr, int64_t(i)});
        if (!value(keyType, keyCompact, false)
            || (t.kind == Kind::Map && !value(t.b, valueCompact, false)))
            return false;
        m_lstPath.pop_back();
    }
    return true;
}

} // namespace ofx::lumo
