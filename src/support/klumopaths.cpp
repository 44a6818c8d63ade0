#include "support/klumopaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace ofx::lumo {

QString KLumoPaths::suiteDir()
{
    const QString fromEnv = qEnvironmentVariable(SuiteDirVariable);
    if (!fromEnv.isEmpty())
        return QDir::cleanPath(fromEnv);
    if (!QCoreApplication::instance())
        return QString();
    return QCoreApplication::applicationDirPath();
}

QString KLumoPaths::serviceExecutablePath()
{
    return suiteDir() + QLatin1String("/ofxcloudsvr");
}

QString KLumoPaths::dataRoot()
{
    static const QString root = QStandardPaths::writableLocation(QStandardPaths::HomeLocation)
        + QLatin1String("/.local/share/Nordvale/OFX Cloud Files");
    return root;
}

QString KLumoPaths::userDataPath(const QString &userId)
{
    const QString path = dataRoot() + QDir::separator() + QLatin1String("userdata")
        + QDir::separator() + (userId.isEmpty() ? QStringLiteral("AllUsers") : userId);
    QDir dir(path);
    if (!dir.exists())
        dir.mkpath(QStringLiteral("."));
    return path;
}

int KLumoPaths::checkServicePlatform()
{
    const QFileInfo exe(serviceExecutablePath());
    return exe.isFile() && exe.isExecutable() ? 0 : 1;
}

} // namespace ofx::lumo
