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
        , m_path(path)
    { }
    const std::string &path() const { return m_path; }

private:
    std::string m_path;
};

} // namespace ofx::lumo
