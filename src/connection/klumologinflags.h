#pragma once

#include <QMap>
#include <QString>

namespace ofx::lumo {

/**
 * How a "getLoginInfo" answer says whether a user is logged in: read the same
 * way by the library (KLumoLoginInfo) and by whatever checks a service from
 * outside. Stateless; any thread.
 */
class KLumoLoginFlags
{
public:
    // Flags travel as "1"/"0"; "true"/"false" are accepted too.
    static bool parseFlag(const QString &value);
    // False for an error answer (it carries "error"); else "isLogined", or,
    // when the map has no such key, whether it names a user ("userId").
    static bool isLoggedIn(const QMap<QString, QString> &answer);
};

} // namespace ofx::lumo
