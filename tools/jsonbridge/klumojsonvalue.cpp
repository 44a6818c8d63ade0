#include "klumojsonvalue.h"

#include <charconv>
#include <cmath>
#include <cstring>

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
    for (const Member &m : m_object) {
        if (m.first == key)
            return &m.second;
    }
    return nullptr;
}

bool KLumoJsonValue::operator==(const KLumoJsonValue &o) const
{
    if (m_type != o.m_type)
        return false;
    switch (m_type) {
    case Type::Null:
        return true;
    case Type::Bool:
    case Type::Integer:
        return m_int == o.m_int;
    case Type::Double:
        return m_double == o.m_double || (std::isnan(m_double) && std::isnan(o.m_double));
    case Type::String:
        return m_string == o.m_string;
    case Type::Array:
        return m_array == o.m_array;
    case Type::Object:
        return m_object == o.m_object;
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
    switch (m_type) {
    case Type::Null:
        out += "null";
        break;
    case Type::Bool:
        out += m_int ? "true" : "false";
        break;
    case Type::Integer: {
        auto r = std::to_chars(buf, buf + sizeof buf, m_int);
        out.append(buf, r.ptr);
        break;
    }
    case Type::Double: {
        if (!std::isfinite(m_double)) { // JSON has no spelling for these
            out += "null";
            break;
        }
        auto r = std::to_chars(buf, buf + sizeof buf, m_double);
        std::string_view text(buf, size_t(r.ptr - buf));
        out += text;
        // Keep a double recognisable as one when it is read back.
        if (text.find_first_of(".eE") == std::string_view::npos)
            out += ".0";
        break;
    }
    case Type::String:
        writeString(out, m_string);
        break;
    case Type::Array:
        out += '[';
        for (size_t i = 0; i < m_array.size(); ++i) {
            if (i)
                out += ',';
            newline(out, indent, level + 1);
            m_array[i].write(out, indent, level + 1);
        }
        if (!m_array.empty())
            newline(out, indent, level);
        out += ']';
        break;
    case Type::Object:
        out += '{';
        for (size_t i = 0; i < m_object.size(); ++i) {
            if (i)
                out += ',';
            newline(out, indent, level + 1);
            writeString(out, m_object[i].first);
            out += indent > 0 ? ": " : ":";
            m_object[i].second.write(out, indent, level + 1);
        }
        if (!m_object.empty())
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

namespace {

// Recursive descent over the text; depth is bounded so hostile input cannot
// exhaust the stack.
class Parser
{
public:
    explicit Parser(const std::string &text)
        : p(text.data())
        , begin(text.data())
        , end(text.data() + text.size())
    { }

    bool parseDocument(KLumoJsonValue &out)
    {
        skipSpace();
        if (!parseValue(out, 0))
            return false;
        skipSpace();
        if (p != end)
            return fail("unexpected text after the value");
        return true;
    }
    std::string error;

private:
    static constexpr int MaxDepth = 256;

    bool fail(const char *what)
    {
        if (error.empty())
            error = std::string(what) + " at offset " + std::to_string(p - begin);
        return false;
    }
    void skipSpace()
    {
        while (p < end && (*p == ' ' || *p == '\t' || *p == '\n' || *p == '\r'))
            ++p;
    }
    bool literal(const char *word)
    {
        const size_t n = std::strlen(word);
        if (size_t(end - p) < n || std::memcmp(p, word, n) != 0)
            return fail("invalid literal");
        p += n;
        return true;
    }
    bool parseValue(KLumoJsonValue &out, int depth)
    {
        if (depth > MaxDepth)
            return fail("nesting too deep");
        if (p == end)
            return fail("unexpected end of text");
        switch (*p) {
        case '{':
            return parseObject(out, depth);
        case '[':
            return parseArray(out, depth);
        case '"': {
            std::string s;
            if (!parseString(s))
                return false;
            out = KLumoJsonValue(std::move(s));
            return true;
        }
        case 't':
            out = KLumoJsonValue(true);
            return literal("true");
        case 'f':
            out = KLumoJsonValue(false);
            return literal("false");
        case 'n':
            out = KLumoJsonValue();
            return literal("null");
        default:
            return parseNumber(out);
        }
    }
    bool parseObject(KLumoJsonValue &out, int depth)
    {
        out = KLumoJsonValue::object();
        ++p;
        skipSpace();
        if (p < end && *p == '}') {
            ++p;
            return true;
        }
        for (;;) {
            skipSpace();
            if (p == end || *p != '"')
                return fail("expected a string key");
            std::string key;
            if (!parseString(key))
                return false;
            skipSpace();
            if (p == end || *p != ':')
                return fail("expected ':'");
            ++p;
            skipSpace();
            KLumoJsonValue v;
            if (!parseValue(v, depth + 1))
                return false;
            out.insert(std::move(key), std::move(v));
            skipSpace();
            if (p < end && *p == ',') {
                ++p;
                continue;
            }
            if (p < end && *p == '}') {
                ++p;
                return true;
            }
            return fail("expected ',' or '}'");
        }
    }
    bool parseArray(KLumoJsonValue &out, int depth)
    {
        out = KLumoJsonValue::array();
        ++p;
        skipSpace();
        if (p < end && *p == ']') {
            ++p;
            return true;
        }
        for (;;) {
            skipSpace();
            KLumoJsonValue v;
            if (!parseValue(v, depth + 1))
                return false;
            out.append(std::move(v));
            skipSpace();
            if (p < end && *p == ',') {
                ++p;
                continue;
            }
            if (p < end && *p == ']') {
                ++p;
                return true;
            }
            return fail("expected ',' or ']'");
        }
    }
    bool hex4(unsigned &cp)
    {
        if (end - p < 4)
            return fail("truncated \\u escape");
        cp = 0;
        for (int i = 0; i < 4; ++i, ++p) {
            const char c = *p;
            cp <<= 4;
            if (c >= '0' && c <= '9')
                cp |= unsigned(c - '0');
            else if (c >= 'a' && c <= 'f')
                cp |= unsigned(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                cp |= unsigned(c - 'A' + 10);
            else
                return fail("invalid \\u escape");
        }
        return true;
    }
    static void appendUtf8(std::string &s, unsigned cp)
    {
        if (cp < 0x80) {
            s += char(cp);
        } else if (cp < 0x800) {
            s += char(0xC0 | (cp >> 6));
            s += char(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            s += char(0xE0 | (cp >> 12));
            s += char(0x80 | ((cp >> 6) & 0x3F));
            s += char(0x80 | (cp & 0x3F));
        } else {
            s += char(0xF0 | (cp >> 18));
            s += char(0x80 | ((cp >> 12) & 0x3F));
            s += char(0x80 | ((cp >> 6) & 0x3F));
            s += char(0x80 | (cp & 0x3F));
        }
    }
    bool parseString(std::string &s)
    {
        ++p; // opening quote
        for (;;) {
            const char *run = p;
            while (p < end && *p != '"' && *p != '\\' && static_cast<unsigned char>(*p) >= 0x20)
                ++p;
            s.append(run, p);
            if (p == end)
                return fail("unterminated string");
            if (*p == '"') {
                ++p;
                return true;
            }
            if (*p != '\\')
                return fail("control character in string");
            if (++p == end)
                return fail("unterminated string");
            const char c = *p++;
            switch (c) {
            case '"':
            case '\\':
            case '/':
                s += c;
                break;
            case 'b':
                s += '\b';
                break;
            case 'f':
                s += '\f';
                break;
            case 'n':
                s += '\n';
                break;
            case 'r':
                s += '\r';
                break;
            case 't':
                s += '\t';
                break;
            case 'u': {
                unsigned cp = 0;
                if (!hex4(cp))
                    return false;
                if (cp >= 0xD800 && cp < 0xDC00) {
                    unsigned lo = 0;
                    if (end - p < 6 || p[0] != '\\' || p[1] != 'u')
                        return fail("unpaired surrogate");
                    p += 2;
                    if (!hex4(lo))
                        return false;
                    if (lo < 0xDC00 || lo > 0xDFFF)
                        return fail("unpaired surrogate");
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (lo - 0xDC00);
                } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
                    return fail("unpaired surrogate");
                }
                appendUtf8(s, cp);
                break;
            }
            default:
                --p;
                return fail("invalid escape");
            }
        }
    }
    bool parseNumber(KLumoJsonValue &out)
    {
        const char *start = p;
        if (p < end && *p == '-')
            ++p;
        if (p == end || !(*p >= '0' && *p <= '9'))
            return fail("invalid value");
        if (*p == '0' && p + 1 < end && p[1] >= '0' && p[1] <= '9')
            return fail("leading zero");
        while (p < end && *p >= '0' && *p <= '9')
            ++p;
        bool isDouble = false;
        if (p < end && *p == '.') {
            isDouble = true;
            ++p;
            if (p == end || !(*p >= '0' && *p <= '9'))
                return fail("digit expected after '.'");
            while (p < end && *p >= '0' && *p <= '9')
                ++p;
        }
        if (p < end && (*p == 'e' || *p == 'E')) {
            isDouble = true;
            ++p;
            if (p < end && (*p == '+' || *p == '-'))
                ++p;
            if (p == end || !(*p >= '0' && *p <= '9'))
                return fail("digit expected in exponent");
            while (p < end && *p >= '0' && *p <= '9')
                ++p;
        }
        if (!isDouble) {
            int64_t v = 0;
            auto r = std::from_chars(start, p, v);
            if (r.ec != std::errc() || r.ptr != p) {
                p = start;
                return fail("integer out of the 64-bit range");
            }
            out = KLumoJsonValue(v);
            return true;
        }
        double d = 0;
        auto r = std::from_chars(start, p, d);
        if (r.ec != std::errc() || r.ptr != p) {
            p = start;
            return fail("number out of range");
        }
        out = KLumoJsonValue(d);
        return true;
    }

    const char *p;
    const char *begin;
    const char *end;
};

} // namespace

KLumoJsonValue KLumoJsonValue::parse(const std::string &text, std::string *error)
{
    Parser parser(text);
    KLumoJsonValue v;
    if (!parser.parseDocument(v)) {
        if (error)
            *error = parser.error;
        return KLumoJsonValue();
    }
    if (error)
        error->clear();
    return v;
}

} // namespace ofx::lumo
