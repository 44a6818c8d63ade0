#include "support/kfileversioninfo.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <dlfcn.h>

#ifndef LUMOIPC_VERSION_STRING
#define LUMOIPC_VERSION_STRING "0"
#endif

namespace ofx::lumo {

KFileVersionInfo::KFileVersionInfo(const QString &filePath)
    : m_strFilePath(filePath)
{
    const QFileInfo info(filePath);
    if (!info.exists())
        return;
    const QString name = QFileInfo(info.canonicalFilePath()).fileName();
    static const QRegularExpression soVersion(QStringLiteral("\\.so\\.(\\d+(?:\\.\\d+)*)$"));
    const QRegularExpressionMatch m = soVersion.match(name);
    if (m.hasMatch())
        m_oVersion = QVersionNumber::fromString(m.captured(1));
}

QVersionNumber KFileVersionInfo::libraryVersion()
{
    return QVersionNumber::fromString(QLatin1String(LUMOIPC_VERSION_STRING));
}

QString KFileVersionInfo::libraryPath()
{
    Dl_info info = {};
    if (::dladdr(reinterpret_cast<const void *>(&KFileVersionInfo::libraryPath), &info) == 0
        || !info.dli_fname)
        return QString();
    const QString path = QString::fromLocal8Bit(info.dli_fname);
    return path.contains(QLatin1String(".so")) ? path : QString();
}

} // namespace ofx::lumo
