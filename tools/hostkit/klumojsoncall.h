#pragma once

#include "klumojsonvalue.h"

#include <LumoIpc/LumoIpcCalls>

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

namespace ofx::lumo {

class KLumoCtlArgument;

/**
 * Calls with JSON in and out, as lumoctl and the inspector's call console make
 * them: a dispatched method by its name with an argument built from JSON
 * (LumoIpc::dynamicCall()), or the generic route (LumoIpc::call()). The
 * result comes back as JSON, with the status that says how the call ended.
 *
 * The library's thread (calls are typed calls); @p done runs in the
 * context's thread.
 */
class KLumoJsonCall
{
public:
    using Done = std::function<void(const LumoIpc::Status &status, const KLumoJsonValue &result)>;

    // Calls the method a host calls @p name with @p arg.
    static LumoIpc::PendingCall call(const QString &name, const KLumoCtlArgument &arg,
                                     QObject *context, Done done);
    // Calls @p name by the generic route; the result is the reply's string map.
    static LumoIpc::PendingCall generic(const QString &name, const QStringList &params,
                                        QObject *context, Done done);

    // A result as dynamicCall() hands it over, as JSON: a record as an object,
    // the standard types as strings, arrays and objects; null for a void reply.
    static KLumoJsonValue resultToJson(const QVariant &result);
};

} // namespace ofx::lumo
