#include "klumojsonparser.h"

#include <charconv>
#include <cstring>

namespace ofx::lumo {

namespace {

void appendUtf8(std::string &s, unsigned cp)
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

} // namespace

KLumoJsonParser::KLumoJsonParser(const std::string &text)
    : m_p(text.data())
    , m_begin(text.data())
    , m_end(text.data() + text.size())
{ }

bool KLumoJsonParser::parseDocument(KLumoJsonValue &out)
{
    skipSpace();
    if (m_positions)
        mark(size_t(m_p - m_begin));
    if (!parseValue(out, 0))
        return false;
    skipSpace();
    if (m_p != m_end)
        return fail("unexpected text after the value");
    return true;
}

bool KLumoJsonParser::fail(const char *what)
{
    if (m_error.empty())
        m_error = std::string(what) + " at offset " + std::to_string(m_p - m_begin);
    return false;
}

void KLumoJsonParser::skipSpace()
{
    while (m_p < m_end && (*m_p == ' ' || *m_p == '\t' || *m_p == '\n' || *m_p == '\r'))
        ++m_p;
}

bool KLumoJsonParser::literal(const char *word)
{
    const size_t n = std::strlen(word);
    if (size_t(m_end - m_p) < n || std::memcmp(m_p, word, n) != 0)
        return fail("invalid literal");
    m_p += n;
    return true;
}

bool KLumoJsonParser::parseValue(KLumoJsonValue &out, int depth)
{
    if (depth > MaxDepth)
        return fail("nesting too deep");
    if (m_p == m_end)
        return fail("unexpected end of text");
    switch (*m_p) {
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

bool KLumoJsonParser::parseObject(KLumoJsonValue &out, int depth)
{
    out = KLumoJsonValue::object();
    ++m_p;
    skipSpace();
    if (m_p < m_end && *m_p == '}') {
        ++m_p;
        return true;
    }
    for (;;) {
        skipSpace();
        if (m_p == m_end || *m_p != '"')
            return fail("expected a string key");
        const size_t keyAt = size_t(m_p - m_begin);
        std::string key;
        if (!parseString(key))
            return false;
        const size_t pathLength = m_path.size();
        if (m_positions) {
            m_path += (m_path.empty() ? "" : ".") + key; // as the codec spells paths
            mark(keyAt);
        }
        skipSpace();
        if (m_p == m_end || *m_p != ':')
            return fail("expected ':'");
        ++m_p;
        skipSpace();
        KLumoJsonValue v;
        if (!parseValue(v, depth + 1))
            return false;
        m_path.resize(pathLength);
        out.insert(std::move(key), std::move(v));
        skipSpace();
        if (m_p < m_end && *m_p == ',') {
            ++m_p;
            continue;
        }
        if (m_p < m_end && *m_p == '}') {
            ++m_p;
            return true;
        }
        return fail("expected ',' or '}'");
    }
}

bool KLumoJsonParser::parseArray(KLumoJsonValue &out, int depth)
{
    out = KLumoJsonValue::array();
    ++m_p;
    skipSpace();
    if (m_p < m_end && *m_p == ']') {
        ++m_p;
        return true;
    }
    for (;;) {
        skipSpace();
        const size_t pathLength = m_path.size();
        if (m_positions) {
            m_path += "[" + std::to_string(out.size()) + "]";
            mark(size_t(m_p - m_begin));
        }
        KLumoJsonValue v;
        if (!parseValue(v, depth + 1))
            return false;
        m_path.resize(pathLength);
        out.append(std::move(v));
        skipSpace();
        if (m_p < m_end && *m_p == ',') {
            ++m_p;
            continue;
        }
        if (m_p < m_end && *m_p == ']') {
            ++m_p;
            return true;
        }
        return fail("expected ',' or ']'");
    }
}

bool KLumoJsonParser::hex4(unsigned &cp)
{
    if (m_end - m_p < 4)
        return fail("truncated \\u escape");
    cp = 0;
    for (int i = 0; i < 4; ++i, ++m_p) {
        const char c = *m_p;
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

bool KLumoJsonParser::parseString(std::string &s)
{
    ++m_p; // opening quote
    for (;;) {
        const char *run = m_p;
        while (m_p < m_end && *m_p != '"' && *m_p != '\\'
               && static_cast<unsigned char>(*m_p) >= 0x20)
            ++m_p;
        s.append(run, m_p);
        if (m_p == m_end)
            return fail("unterminated string");
        if (*m_p == '"') {
            ++m_p;
            return true;
        }
        if (*m_p != '\\')
            return fail("control character in string");
        if (++m_p == m_end)
            return fail("unterminated string");
        const char c = *m_p++;
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
                if (m_end - m_p < 6 || m_p[0] != '\\' || m_p[1] != 'u')
                    return fail("unpaired surrogate");
                m_p += 2;
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
            --m_p;
            return fail("invalid escape");
        }
    }
}

bool KLumoJsonParser::parseNumber(KLumoJsonValue &out)
{
    const char *start = m_p;
    if (m_p < m_end && *m_p == '-')
        ++m_p;
    if (m_p == m_end || !(*m_p >= '0' && *m_p <= '9'))
        return fail("invalid value");
    if (*m_p == '0' && m_p + 1 < m_end && m_p[1] >= '0' && m_p[1] <= '9')
        return fail("leading zero");
    while (m_p < m_end && *m_p >= '0' && *m_p <= '9')
        ++m_p;
    bool isDouble = false;
    if (m_p < m_end && *m_p == '.') {
        isDouble = true;
        ++m_p;
        if (m_p == m_end || !(*m_p >= '0' && *m_p <= '9'))
            return fail("digit expected after '.'");
        while (m_p < m_end && *m_p >= '0' && *m_p <= '9')
            ++m_p;
    }
    if (m_p < m_end && (*m_p == 'e' || *m_p == 'E')) {
        isDouble = true;
        ++m_p;
        if (m_p < m_end && (*m_p == '+' || *m_p == '-'))
            ++m_p;
        if (m_p == m_end || !(*m_p >= '0' && *m_p <= '9'))
            return fail("digit expected in exponent");
        while (m_p < m_end && *m_p >= '0' && *m_p <= '9')
            ++m_p;
    }
    if (!isDouble) {
        int64_t v = 0;
        auto r = std::from_chars(start, m_p, v);
        if (r.ec != std::errc() || r.ptr != m_p) {
            m_p = start;
            return fail("integer out of the 64-bit range");
        }
        out = KLumoJsonValue(v);
        return true;
    }
    double d = 0;
    auto r = std::from_chars(start, m_p, d);
    if (r.ec != std::errc() || r.ptr != m_p) {
        m_p = start;
        return fail("number out of range");
    }
    out = KLumoJsonValue(d);
    return true;
}

} // namespace ofx::lumo
