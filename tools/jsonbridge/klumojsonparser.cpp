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
    : m_pCursor(text.data())
    , m_pBegin(text.data())
    , m_pEnd(text.data() + text.size())
{ }

bool KLumoJsonParser::parseDocument(KLumoJsonValue &out)
{
    skipSpace();
    if (m_pPositions)
        mark(size_t(m_pCursor - m_pBegin));
    if (!parseValue(out, 0))
        return false;
    skipSpace();
    if (m_pCursor != m_pEnd)
        return fail("unexpected text after the value");
    return true;
}

bool KLumoJsonParser::fail(const char *what)
{
    if (m_strError.empty())
        m_strError = std::string(what) + " at offset " + std::to_string(m_pCursor - m_pBegin);
    return false;
}

void KLumoJsonParser::skipSpace()
{
    while (m_pCursor < m_pEnd
           && (*m_pCursor == ' ' || *m_pCursor == '\t' || *m_pCursor == '\n' || *m_pCursor == '\r'))
        ++m_pCursor;
}

bool KLumoJsonParser::literal(const char *word)
{
    const size_t n = std::strlen(word);
    if (size_t(m_pEnd - m_pCursor) < n || std::memcmp(m_pCursor, word, n) != 0)
        return fail("invalid literal");
    m_pCursor += n;
    return true;
}

bool KLumoJsonParser::parseValue(KLumoJsonValue &out, int depth)
{
    if (depth > MaxDepth)
        return fail("nesting too deep");
    if (m_pCursor == m_pEnd)
        return fail("unexpected end of text");
    switch (*m_pCursor) {
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
    ++m_pCursor;
    skipSpace();
    if (m_pCursor < m_pEnd && *m_pCursor == '}') {
        ++m_pCursor;
        return true;
    }
    for (;;) {
        skipSpace();
        if (m_pCursor == m_pEnd || *m_pCursor != '"')
            return fail("expected a string key");
        const size_t keyAt = size_t(m_pCursor - m_pBegin);
        std::string key;
        if (!parseString(key))
            return false;
        const size_t pathLength = m_strPath.size();
        if (m_pPositions) {
            m_strPath += (m_strPath.empty() ? "" : ".") + key; // as the codec spells paths
            mark(keyAt);
        }
        skipSpace();
        if (m_pCursor == m_pEnd || *m_pCursor != ':')
            return fail("expected ':'");
        ++m_pCursor;
        skipSpace();
        KLumoJsonValue v;
        if (!parseValue(v, depth + 1))
            return false;
        m_strPath.resize(pathLength);
        out.insert(std::move(key), std::move(v));
        skipSpace();
        if (m_pCursor < m_pEnd && *m_pCursor == ',') {
            ++m_pCursor;
            continue;
        }
        if (m_pCursor < m_pEnd && *m_pCursor == '}') {
            ++m_pCursor;
            return true;
        }
        return fail("expected ',' or '}'");
    }
}

bool KLumoJsonParser::parseArray(KLumoJsonValue &out, int depth)
{
    out = KLumoJsonValue::array();
    ++m_pCursor;
    skipSpace();
    if (m_pCursor < m_pEnd && *m_pCursor == ']') {
        ++m_pCursor;
        return true;
    }
    for (;;) {
        skipSpace();
        const size_t pathLength = m_strPath.size();
        if (m_pPositions) {
            m_strPath += "[" + std::to_string(out.size()) + "]";
            mark(size_t(m_pCursor - m_pBegin));
        }
        KLumoJsonValue v;
        if (!parseValue(v, depth + 1))
            return false;
        m_strPath.resize(pathLength);
        out.append(std::move(v));
        skipSpace();
        if (m_pCursor < m_pEnd && *m_pCursor == ',') {
            ++m_pCursor;
            continue;
        }
        if (m_pCursor < m_pEnd && *m_pCursor == ']') {
            ++m_pCursor;
            return true;
        }
        return fail("expected ',' or ']'");
    }
}

bool KLumoJsonParser::hex4(unsigned &cp)
{
    if (m_pEnd - m_pCursor < 4)
        return fail("truncated \\u escape");
    cp = 0;
    for (int i = 0; i < 4; ++i, ++m_pCursor) {
        const char c = *m_pCursor;
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
    ++m_pCursor; // opening quote
    for (;;) {
        const char *run = m_pCursor;
        while (m_pCursor < m_pEnd && *m_pCursor != '"' && *m_pCursor != '\\'
               && static_cast<unsigned char>(*m_pCursor) >= 0x20)
            ++m_pCursor;
        s.append(run, m_pCursor);
        if (m_pCursor == m_pEnd)
            return fail("unterminated string");
        if (*m_pCursor == '"') {
            ++m_pCursor;
            return true;
        }
        if (*m_pCursor != '\\')
            return fail("control character in string");
        if (++m_pCursor == m_pEnd)
            return fail("unterminated string");
        const char c = *m_pCursor++;
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
                if (m_pEnd - m_pCursor < 6 || m_pCursor[0] != '\\' || m_pCursor[1] != 'u')
                    return fail("unpaired surrogate");
                m_pCursor += 2;
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
            --m_pCursor;
            return fail("invalid escape");
        }
    }
}

bool KLumoJsonParser::parseNumber(KLumoJsonValue &out)
{
    const char *start = m_pCursor;
    if (m_pCursor < m_pEnd && *m_pCursor == '-')
        ++m_pCursor;
    if (m_pCursor == m_pEnd || !(*m_pCursor >= '0' && *m_pCursor <= '9'))
        return fail("invalid value");
    if (*m_pCursor == '0' && m_pCursor + 1 < m_pEnd && m_pCursor[1] >= '0' && m_pCursor[1] <= '9')
        return fail("leading zero");
    while (m_pCursor < m_pEnd && *m_pCursor >= '0' && *m_pCursor <= '9')
        ++m_pCursor;
    bool isDouble = false;
    if (m_pCursor < m_pEnd && *m_pCursor == '.') {
        isDouble = true;
        ++m_pCursor;
        if (m_pCursor == m_pEnd || !(*m_pCursor >= '0' && *m_pCursor <= '9'))
            return fail("digit expected after '.'");
        while (m_pCursor < m_pEnd && *m_pCursor >= '0' && *m_pCursor <= '9')
            ++m_pCursor;
    }
    if (m_pCursor < m_pEnd && (*m_pCursor == 'e' || *m_pCursor == 'E')) {
        isDouble = true;
        ++m_pCursor;
        if (m_pCursor < m_pEnd && (*m_pCursor == '+' || *m_pCursor == '-'))
            ++m_pCursor;
        if (m_pCursor == m_pEnd || !(*m_pCursor >= '0' && *m_pCursor <= '9'))
            return fail("digit expected in exponent");
        while (m_pCursor < m_pEnd && *m_pCursor >= '0' && *m_pCursor <= '9')
            ++m_pCursor;
    }
    if (!isDouble) {
        int64_t v = 0;
        auto r = std::from_chars(start, m_pCursor, v);
        if (r.ec != std::errc() || r.ptr != m_pCursor) {
            m_pCursor = start;
            return fail("integer out of the 64-bit range");
        }
        out = KLumoJsonValue(v);
        return true;
    }
    double d = 0;
    auto r = std::from_chars(start, m_pCursor, d);
    if (r.ec != std::errc() || r.ptr != m_pCursor) {
        m_pCursor = start;
        return fail("number out of range");
    }
    out = KLumoJsonValue(d);
    return true;
}

} // namespace ofx::lumo
