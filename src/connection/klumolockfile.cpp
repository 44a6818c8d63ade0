#include "connection/klumolockfile.h"

#include <QDir>

#include <unistd.h>

namespace ofx::lumo {

QString KLumoLockFile::path(const QString &key)
{
    return QStringLiteral("%1/%2%3.lock").arg(QDir::tempPath(), key).arg(::getuid());
}

} // namespace ofx::lumo
