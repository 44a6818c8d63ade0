#pragma once

#include <QString>

namespace ofx::lumo {

/**
 * The per-user lock files through which the service process announces itself
 * and clients serialise a restart: "%1/%2%3.lock" in the temporary folder,
 * %2 the key and %3 the real user id.
 */
class KLumoLockFile
{
public:
    static constexpr const char *ExistKey = "__#_LUMO_EXIST_MUTEX_KEY_#__";
    static constexpr const char *MainKey = "__#_LUMO_MUTEX_KEY_#__";
    static constexpr const char *LoginStatusKey = "__#_LUMO LOGIN STATUS KEY_#__";
    static constexpr const char *RestartKey = "__#_LUMO_PROCESSING_RESTART_MUTEX_KEY_#__";

    static QString path(const QString &key);
};

} // namespace ofx::lumo
