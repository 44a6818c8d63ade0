#pragma once

#include "klumojsonvalue.h"

#include <string>

namespace ofx::lumo {

/**
 * Recursive descent over one JSON text, behind KLumoJsonValue::parse. Integers
 * stay exact 64-bit numbers; depth is bounded so hostile input cannot exhaust
 * the stack. Errors name what was wrong and the byte offset where.
 *
 * One parser per text; not shared.
 */
class KLumoJsonParser
{
public:
    explicit KLumoJsonParser(const std::string &text);

    // The whole text as one value (surrounding white space allowed); false
    // with error() set when it is not.
    bool parseDocument(KLumoJsonValue &out);
    const std::string &error() const { return m_error; }

private:
    static constexpr int MaxDepth = 256;

    bool fail(const char *what);
    void skipSpace();
    bool literal(const char *word);
    bool parseValue(KLumoJsonValue &out, int depth);
    bool parseObject(KLumoJsonValue &out, int depth);
    bool parseArray(KLumoJsonValue &out, int depth);
    bool hex4(unsigned &cp);
    bool parseString(std::string &s);
    bool parseNumber(KLumoJsonValue &out);

    const char *m_p;
    const char *m_begin;
    const char *m_end;
    std::string m_error;
};

} // namespace ofx::lumo
