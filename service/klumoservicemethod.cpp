#include "klumoservicemethod.h"

#include <string_view>
#include <unordered_map>

namespace ofx::lumo {

const KLumoServiceMethod *KLumoServiceMethod::find(std::string_view method)
{
    // Built once, on first use (thread-safe), from the generated table.
    static const auto byName = [] {
        std::unordered_map<std::string_view, const KLumoServiceMethod *> map;
        for (int i = 0; i < count; ++i)
            map.emplace(table[i].name, &table[i]);
        return map;
    }();
    const auto it = byName.find(method);
    return it == byName.end() ? nullptr : it->second;
}

} // namespace ofx::lumo
