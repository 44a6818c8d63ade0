#pragma once

#include <QString>

namespace ofx::lumo {

/**
 * The suite's native settings shared with the service: organisation
 * "Nordvale", application "roamingdevice". Holds the stable device
 * identifier. Stateless, any thread (QSettings serialises file access).
 */
class KxOFXCloudSettings
{
public:
    static QString deviceId();
    static void setDeviceId(const QString &id);
};

} // namespace ofx::lumo
