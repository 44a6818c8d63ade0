#include "support/klumoofxcloudsettings.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace ofx::lumo {

QString KLumoOFXCloudSettings::configPath()
{
    return QDir::homePath() + QLatin1String("/.local/share")
        + QLatin1String("/nordvale/OFX Cloud Files/userdata/lumo/config.ini");
}

bool KLumoOFXCloudSettings::exists()
{
    return QFileInfo::exists(configPath());
}

QString KLumoOFXCloudSettings::autoLogin()
{
    const QString path = configPath();
    if (!QFileInfo::exists(path))
        return QStringLiteral("0");
    QSettings ini(path, QSettings::IniFormat);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0) // Qt 6 reads and writes INI files as UTF-8
    ini.setIniCodec("UTF-8");
#endif
    return ini.value(QStringLiteral("autologin"), QStringLiteral("0")).toString();
}

bool KLumoOFXCloudSettings::isAutoLogin()
{
    return exists() && autoLogin() != QLatin1String("0");
}

} // namespace ofx::lumo
