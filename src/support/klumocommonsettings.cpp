#include "support/klumocommonsettings.h"

namespace ofx::lumo {

namespace {
const QString RestartTurnOnKey = QStringLiteral("RestartLumoTurnOn");
const QString RestartTimeKey = QStringLiteral("RestartLumoTime");
} // namespace

KLumoCommonSettings::KLumoCommonSettings()
    : m_oSettings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Nordvale"),
                  QStringLiteral("lumoipc"))
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0) // Qt 6 reads and writes INI files as UTF-8
    m_oSettings.setIniCodec("UTF-8");
#endif
}

QString KLumoCommonSettings::fileName()
{
    return KLumoCommonSettings().m_oSettings.fileName();
}

bool KLumoCommonSettings::restartTurnOn() const
{
    return m_oSettings.value(RestartTurnOnKey, true).toBool();
}

void KLumoCommonSettings::setRestartTurnOn(bool on)
{
    setValue(RestartTurnOnKey, on);
}

qint64 KLumoCommonSettings::restartTime() const
{
    bool ok = false;
    const qint64 t = m_oSettings.value(RestartTimeKey, 0).toLongLong(&ok);
    return ok ? t : 0;
}

void KLumoCommonSettings::setRestartTime(qint64 secsSinceEpoch)
{
    setValue(RestartTimeKey, QString::number(secsSinceEpoch));
}

QVariant KLumoCommonSettings::value(const QString &key, const QVariant &defaultValue) const
{
    return m_oSettings.value(key, defaultValue);
}

void KLumoCommonSettings::setValue(const QString &key, const QVariant &value)
{
    m_oSettings.setValue(key, value);
    m_oSettings.sync();
}

} // namespace ofx::lumo
