#pragma once

#include <stdexcept>
#include <string>

namespace ofx::lumo {

/** A JSON value that does not fit the schema; `path()` names the offending field. */
class KLumoJsonError : public std::runtime_error
{
public:
    KLumoJsonError(const std::string &path, const std::string &message)
        : std::runtime_error(path.empty() ? message : path + ": " + message)
        , m_strPath(path)
    { }
    const std::string &path() const { return m_strPath; }

private:
    std::string m_strPath;
};

} // namespace ofx::lumo
