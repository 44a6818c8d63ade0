#include "klumojsonvalue.h"

#include "klumojsonparser.h"

#include <charconv>
#include <cmath>

namespace ofx::lumo {

const char *KLumoJsonValue::typeName(Type t)
{
    switch (t) {
    case Type::Null:
        return "null";
    case Type::Bool:
        return "boolean";
    case Type::Integer:
        return "integer";
    case Type::Double:
        return "number";
    case Type::String:
        return "string";
    case Type::Array:
        return "array";
    case Type::Object:
        return "object";
    }
    return "?";
}

const KLumoJsonValue *KLumoJsonValue::find(const std::string &key) const
{
    for (const Member &m : m_lstObject) {
        if (m.first == key)
            return &m.second;
    }
    return nullptr;
}

bool KLumoJsonValue::operator==(const KLumoJsonValue &o) const
{
    if (m_eType != o.m_eType)
        return false;
    switch (m_eType) {
    case Type::Null:
        return true;
    case Type::Bool:
    case Type::Integer:
        return m_nInt == o.m_nInt;
    case Type::Double:
        return m_fDouble == o.m_fDouble || (std::isnan(m_fDouble) && std::isnan(o.m_fDouble));
    case Type::String:
        return m_strString == o.m_strString;
    case Type::Array:
        return m_lstArray == o.m_lstArray;
    case Type::Object:
        return m_lstObject == o.m_lstObject;
    }
    return false;
}

namespace {

void writeString(std::string &out, const std::string &s)
{
    static const char hex[] = "0123456789abcdef";
    out += '"';
    for (unsigned char c : s) {
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        default:
            if (c < 0x20) {
                out += "\\u00";
                out += hex[c >> 4];
                out += hex[c & 15];
            } else {
                out += char(c);
            }
        }
    }
    out += '"';
}

void newline(std::string &out, int indent, int level)
{
    if (indent <= 0)
        return;
    out += '\n';
    out.append(size_t(indent * level), ' ');
}

} // namespace

void KLumoJsonValue::write(std::string &out, int indent, int level) const
{
    char buf[64];
    switch (m_eType) {
    case Type::Null:
        out += "null";
        break;
    case Type::Bool:
        out += m_nInt ? "true" : "false";
        break;
    case Type::Integer: {
        auto r = std::to_chars(buf, buf + sizeof buf, m_nInt);
        out.append(buf, r.ptr);
        break;
    }
    case Type::Double: {
        if (!std::isfinite(m_fDouble)) { // JSON has no spelling for these
            out += "null";
            break;
        }
        auto r = std::to_chars(buf, buf + sizeof buf, m_fDouble);
        std::string_view text(buf, size_t(r.ptr - buf));
        out += text;
        // Keep a double recognisable as one when it is read back.
        if (text.find_first_of(".eE") == std::string_view::npos)
            out += ".0";
        break;
    }
    case Type::String:
        writeString(out, m_strString);
        break;
    case Type::Array:
        out += '[';
        for (size_t i = 0; i < m_lstArray.size(); ++i) {
            if (i)
                out += ',';
            newline(out, indent, level + 1);
            m_lstArray[i].write(out, indent, level + 1);
        }
        if (!m_lstArray.empty())
            newline(out, indent, level);
        out += ']';
        break;
    case Type::Object:
        out += '{';
        for (size_t i = 0; i < m_lstObject.size(); ++i) {
            if (i)
                out += ',';
            newline(out, indent, level + 1);
            writeString(out, m_lstObject[i].first);
            out += indent > 0 ? ": " : ":";
            m_lstObject[i].second.write(out, indent, level + 1);
        }
        if (!m_lstObject.empty())
            newline(out, indent, level);
        out += '}';
        break;
    }
}

std::string KLumoJsonValue::serialize(int indent) const
{
    std::string out;
    write(out, indent, 0);
    return out;
}

KLumoJsonValue KLumoJsonValue::parse(const std::string &text, std::string *error)
{
    KLumoJsonParser parser(text);
    KLumoJsonValue v;
    if (!parser.parseDocument(v)) {
        if (error)
            *error = parser.error();
        return KLumoJsonValue();
    }
    if (error)
        error->clear();
    return v;
}

} // namespace ofx::lumo
