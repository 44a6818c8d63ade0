#include "connection/klumoserviceprocess.h"

#include "connection/klumoipclauncher.h"
#include "connection/klumolockfile.h"
#include "support/klumocommonsettings.h"
#include "support/klumoofxcloudsettings.h"
#include "support/klumopaths.h"
#include "support/kxofxcloudsettings.h"
#include "support/lumolog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThreadPool>
#include <QUuid>

namespace ofx::lumo {

bool KLumoServiceProcess::isLockHeld(const QString &key)
{
    return KLumoLockFile::isHeld(key);
}

bool KLumoServiceProcess::isLumoRunning()
{
    return KLumoLockFile::isHeld(QLatin1String(KLumoLockFile::MainKey));
}

bool KLumoServiceProcess::checkLumoLogined()
{
    return KLumoLockFile::isLoginStatusHeld();
}

bool KLumoServiceProcess::readAutoLogin()
{
    return KLumoOFXCloudSettings::isAutoLogin();
}

bool KLumoServiceProcess::checkAutoLogin()
{
    if (checkLumoLogined())
        return true;
    bool autoLogin = readAutoLogin();
    if (!autoLogin) {
        if (KLumoPaths::checkServicePlatform() != 0)
            return false;
        autoLogin = readAutoLogin();
    }
    if (isLumoRunning() || !autoLogin)
        return autoLogin;
    startLumoProcess(QStringLiteral("autologin"));
    return true;
}

void KLumoServiceProcess::startLumoProcess(const QString &extraArguments)
{
    const QString arguments = QLatin1String(ArgumentsHead) + extraArguments;
    const QString exe = KLumoPaths::serviceExecutablePath();
    const QString program = QFileInfo::exists(exe) ? QDir::toNativeSeparators(exe) : QString();
    QThreadPool::globalInstance()->start(new KLumoIpcLauncher(arguments, program), 0);
}

bool KLumoServiceProcess::isMainApplication()
{
    return QCoreApplication::instance()
        && QCoreApplication::applicationName() == QLatin1String("ofxoffice");
}

KLumoServiceProcess::RestartOutcome
KLumoServiceProcess::restartIfDue(qint64 nowSecs, const std::function<void()> &start)
{
    KLumoLockFile restartLock {QLatin1String(KLumoLockFile::RestartKey)};
    if (!restartLock.tryLock()) {
        log::info(lcConnection(), QStringLiteral("isAnotherProcessRunning"));
        return RestartOutcome::AnotherProcess;
    }
    log::info(lcConnection(), QStringLiteral("processingRestartMutex"));
    // Read only now, under the lock, so that the time another application
    // stored just before is seen.
    KLumoCommonSettings settings;
    if (!settings.restartTurnOn())
        return RestartOutcome::TurnedOff;
    const qint64 last = settings.restartTime();
    if (last != 0 && nowSecs - last <= RestartSpacingSecs)
        return RestartOutcome::TooSoon;
    if (start)
        start();
    settings.setRestartTime(nowSecs);
    return RestartOutcome::Started;
}

QString KLumoServiceProcess::dataRoot()
{
    return KLumoPaths::dataRoot();
}

QString KLumoServiceProcess::deviceId()
{
    static const QString id = [] {
        QString stored = KxOFXCloudSettings::deviceId();
        if (stored.isEmpty()) {
            stored = QStringLiteral("UUID-")
                + QUuid::createUuid()
                      .toString()
                      .remove(QRegularExpression(QStringLiteral("\\{|\\}")))
                      .toUpper();
            KxOFXCloudSettings::setDeviceId(stored);
        }
        return stored;
    }();
    return id;
}

} // namespace ofx::lumo
