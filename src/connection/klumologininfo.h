#pragma once

#include "connection/kcompanyinfocache.h"
#include "connection/klumoipclogincache.h"

#include <QMap>
#include <QString>

namespace ofx::lumo {

/**
 * The one place that knows the keys of the "getLoginInfo" answer (a map of
 * strings) and how the login record is persisted as the last login. The
 * service (and the emulator) produce the map with encode(). Stateless.
 */
class KLumoLoginInfo
{
public:
    using StringMap = QMap<QString, QString>;

    // Fills both records from @p map. Returns false when the map is an error
    // answer (it carries "error"); the records are then left in their
    // default (logged-out) state. A map without "isLogined" counts as logged
    // in when it names a user.
    static bool decode(const StringMap &map, KLumoIpcLoginCache &login, KCompanyInfoCache &company);
    static StringMap encode(const KLumoIpcLoginCache &login, const KCompanyInfoCache &company);

    // Flags travel as "1"/"0"; "true"/"false" are accepted too.
    static bool parseFlag(const QString &value);

    // The last login, in the library's per-user store (without the token).
    static void saveLastLogin(const KLumoIpcLoginCache &login);
    static KLumoIpcLoginCache loadLastLogin();
};

} // namespace ofx::lumo
