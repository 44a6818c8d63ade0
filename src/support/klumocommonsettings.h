#pragma once

#include <QSettings>
#include <QString>
#include <QVariant>

namespace ofx::lumo {

/**
 * The library's own per-user store, shared by every application of the suite
 * that loads the library (an INI file "Nordvale/lumoipc.ini" in the user's
 * configuration folder). Holds the restart switch and the time of the last
 * restart, and the last login. Each instance reads the file afresh, so a value
 * written by another process is seen by the next instance; writes are synced
 * at once. An instance belongs to the thread that made it.
 */
class KLumoCommonSettings
{
public:
    KLumoCommonSettings();

    // "RestartLumoTurnOn", default true.
    bool restartTurnOn() const;
    void setRestartTurnOn(bool on);
    // "RestartLumoTime": seconds since the epoch of the last restart, 0 when never.
    qint64 restartTime() const;
    // Stores @p secsSinceEpoch as a decimal string and syncs.
    void setRestartTime(qint64 secsSinceEpoch);

    QVariant value(const QString &key, const QVariant &defaultValue = QVariant()) const;
    void setValue(const QString &key, const QVariant &value);
    QSettings &settings() { return m_oSettings; }

    static QString fileName();

private:
    mutable QSettings m_oSettings;
};

} // namespace ofx::lumo
