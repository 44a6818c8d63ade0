#include "klumojsoncall.h"

#include "klumoctlargument.h"
#include "klumoctlmonitor.h"

#include <map>
#include <string>
#include <vector>

namespace ofx::lumo {

LumoIpc::PendingCall KLumoJsonCall::call(const QString &name, const KLumoCtlArgument &arg,
                                         QObject *context, Done done)
{
    return LumoIpc::dynamicCall(
        name, arg.toVariant(), context,
        [done = std::move(done)](const LumoIpc::Status &status, const QVariant &result) {
            done(status, resultToJson(result));
        });
}

LumoIpc::PendingCall KLumoJsonCall::generic(const QString &name, const QStringList &params,
                                            QObject *context, Done done)
{
    return LumoIpc::call(
        name, params, context,
        [done = std::move(done)](const LumoIpc::Status &status, const KRpcResponse &reply) {
            KLumoJsonValue map = KLumoJsonValue::object();
            for (auto it = reply.values().cbegin(); it != reply.values().cend(); ++it)
                map.insert(it.key().toStdString(), it.value().toStdString());
            done(status, map);
        });
}

KLumoJsonValue KLumoJsonCall::resultToJson(const QVariant &result)
{
    if (!result.isValid())
        return KLumoJsonValue();
    // By the names the library registers (Qt 6 may name a type otherwise).
    const int type = result.userType();
    const auto is = [type](const char *name) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
        return QMetaType::fromName(name).id() == type;
#else
        return QMetaType::type(name) == type;
#endif
    };
    const void *const data = result.constData();
    if (is("KLumoVoidResult"))
        return KLumoJsonValue();
    if (is("std::string"))
        return KLumoJsonValue(*static_cast<const std::string *>(data));
    if (is("std::vector<std::string>")) {
        KLumoJsonValue list = KLumoJsonValue::array();
        for (const std::string &s : *static_cast<const std::vector<std::string> *>(data))
            list.append(s);
        return list;
    }
    if (is("std::map<std::string,std::string>")) {
        KLumoJsonValue map = KLumoJsonValue::object();
        for (const auto &e : *static_cast<const std::map<std::string, std::string> *>(data))
            map.insert(e.first, e.second);
        return map;
    }
    // A record, converted by its registered name.
    return KLumoCtlMonitor::argumentToJson(type, result.typeName(), data);
}

} // namespace ofx::lumo
