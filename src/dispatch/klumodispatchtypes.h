#pragma once

#include "dispatch/klumovoidresult.h"

#include <map>
#include <string>
#include <vector>

namespace ofx::lumoipc {

// Single-token names for the non-record types of the dispatch table, so that a
// macro argument never holds a comma. moc and the meta-type system see the
// spelled-out names (registeredName below, and the generator's mirror of it).
using LumoString = std::string;
using LumoStringList = std::vector<std::string>;
using LumoStringMap = std::map<std::string, std::string>;

// The name under which T is registered with the meta-type system and written in
// slot signatures: the table's token for records, the spelled-out standard type
// otherwise.
template<class T> constexpr const char *registeredName(const char *token)
{
    return token;
}
template<> constexpr const char *registeredName<LumoString>(const char *)
{
    return "std::string";
}
template<> constexpr const char *registeredName<LumoStringList>(const char *)
{
    return "std::vector<std::string>";
}
template<> constexpr const char *registeredName<LumoStringMap>(const char *)
{
    return "std::map<std::string,std::string>";
}

// The namespace-qualified name a host may write instead of the registered one,
// registered as a typedef of it: @p qualified ("ofx::lumo::<token>") for
// records, null for the standard types, which have no other name.
template<class T> const char *qualifiedName(const char *qualified)
{
    return qualified;
}
template<> inline const char *qualifiedName<KLumoVoidResult>(const char *)
{
    return "ofx::lumoipc::KLumoVoidResult";
}
template<> inline const char *qualifiedName<LumoString>(const char *)
{
    return nullptr;
}
template<> inline const char *qualifiedName<LumoStringList>(const char *)
{
    return nullptr;
}
template<> inline const char *qualifiedName<LumoStringMap>(const char *)
{
    return nullptr;
}

} // namespace ofx::lumoipc
