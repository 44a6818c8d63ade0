#include "support/klumopaths.h"

#include "transport/kxlocalservernames.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <pwd.h>
#include <unistd.h>

namespace ofx::lumo {

QString KLumoPaths::localServerName()
{
    const uid_t uid = ::getuid();
    const long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
    QByteArray buf(size > 0 ? int(size) : 16384, Qt::Uninitialized);
    struct passwd pw;
    struct passwd *result = nullptr;
    QString login;
    if (::getpwuid_r(uid, &pw, buf.data(), size_t(buf.size()), &result) == 0 && result)
        login = QString::fromLocal8Bit(result->pw_name);
    return QLatin1String(servername::Ipc) + login + QString::number(uid);
}

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
