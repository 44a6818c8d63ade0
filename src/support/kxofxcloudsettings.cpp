#include "support/kxofxcloudsettings.h"

#include <QSettings>

namespace ofx::lumo {

namespace {
const QString DeviceIdKey = QStringLiteral("deviceid");
} // namespace

QString KxOFXCloudSettings::deviceId()
{
    return QSettings(QStringLiteral("Nordvale"), QStringLiteral("roamingdevice"))
        .value(DeviceIdKey)
        .toString();
}

void KxOFXCloudSettings::setDeviceId(const QString &id)
{
    QSettings s(QStringLiteral("Nordvale"), QStringLiteral("roamingdevice"));
    s.setValue(DeviceIdKey, id);
    s.sync();
}

} // namespace ofx::lumo
