#pragma once

#include "klumojsonvalue.h"

#include <string>
#include <utility>
#include <vector>

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
    const std::string &error() const { return m_strError; }

    // Where each value starts, for pointing at a field a schema check names:
    // its path in the codec's spelling after @p root (members ".name",
    // elements "[i]") and its byte offset, of the key for members. Call
    // before parseDocument.
    using Positions = std::vector<std::pair<std::string, size_t>>;
    void recordPositions(const std::string &root, Positions *out)
    {
        m_strPath = root;
        m_pPositions = out;
    }

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
    void mark(size_t offset) { m_pPositions->emplace_back(m_strPath, offset); }

    const char *m_pCursor;
    const char *m_pBegin;
    const char *m_pEnd;
    std::string m_strError;
    Positions *m_pPositions = nullptr;
    std::string m_strPath; // of the value being parsed, while positions are recorded
};

} // namespace ofx::lumo
