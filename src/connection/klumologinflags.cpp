#include "connection/klumologinflags.h"

namespace ofx::lumo {

bool KLumoLoginFlags::parseFlag(const QString &value)
{
    return value == QLatin1String("1")
        || value.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
}

bool KLumoLoginFlags::isLoggedIn(const QMap<QString, QString> &answer)
{
    if (answer.contains(QStringLiteral("error")))
        return false;
    const auto flag = answer.constFind(QStringLiteral("isLogined"));
    return flag != answer.constEnd() ? parseFlag(*flag)
                                     : !answer.value(QStringLiteral("userId")).isEmpty();
}

} // namespace ofx::lumo
