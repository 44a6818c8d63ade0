#pragma once

#include <QString>

namespace ofx::lumo {

/**
 * Read-only view of the service's own configuration file, "config.ini" under
 * the home folder's ".local/share/nordvale/OFX Cloud Files/userdata/lumo"
 * (the maker's folder in lower case here, unlike the data root). The file
 * belongs to the service; the library only reads it. Stateless, any thread.
 */
class KLumoOFXCloudSettings
{
public:
    static QString configPath();
    static bool exists();
    // "autologin" as stored, "0" when the key or the file is missing.
    static QString autoLogin();
    // True unless "autologin" is "0" or the file is missing.
    static bool isAutoLogin();
};

} // namespace ofx::lumo
