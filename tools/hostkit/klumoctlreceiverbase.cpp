#include "klumoctlreceiverbase.h"

namespace ofx::lumo {

KLumoJsonValue KLumoCtlReceiverBase::toJson(const std::vector<std::string> &list)
{
    KLumoJsonValue v = KLumoJsonValue::array();
    for (const std::string &s : list)
        v.append(s);
    return v;
}

KLumoJsonValue KLumoCtlReceiverBase::toJson(const std::map<std::string, std::string> &map)
{
    KLumoJsonValue v = KLumoJsonValue::object();
    for (const auto &e : map)
        v.insert(e.first, e.second);
    return v;
}

KLumoJsonValue KLumoCtlReceiverBase::toJson(const QMap<QString, QString> &map)
{
    KLumoJsonValue v = KLumoJsonValue::object();
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        v.insert(it.key().toStdString(), it.value().toStdString());
    return v;
}

} // namespace ofx::lumo
