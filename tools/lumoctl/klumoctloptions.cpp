#include "klumoctloptions.h"

#include <limits>

namespace ofx::lumo {

bool KLumoCtlOptions::takeNumber(const char *name, double *out)
{
    const int i = m_args.indexOf(QLatin1String(name));
    if (i < 0)
        return true;
    bool ok = false;
    const double v = i + 1 < m_args.size() ? m_args.at(i + 1).toDouble(&ok) : 0;
    if (!ok || v < 0) {
        m_error = QStringLiteral("%1 needs a non-negative number").arg(QLatin1String(name));
        return false;
    }
    *out = v;
    m_args.erase(m_args.begin() + i, m_args.begin() + i + 2);
    return true;
}

bool KLumoCtlOptions::takeFlag(const char *name)
{
    return m_args.removeAll(QLatin1String(name)) > 0;
}

bool KLumoCtlOptions::takeAll(const char *name, QStringList *values)
{
    for (int i = m_args.indexOf(QLatin1String(name)); i >= 0;
         i = m_args.indexOf(QLatin1String(name))) {
        if (i + 1 >= m_args.size()) {
            m_error = QStringLiteral("%1 needs a name").arg(QLatin1String(name));
            return false;
        }
        values->append(m_args.at(i + 1));
        m_args.erase(m_args.begin() + i, m_args.begin() + i + 2);
    }
    return true;
}

bool KLumoCtlOptions::takeCallOptions(Call *out)
{
    if (!takeNumber("--timeout", &out->timeout) || !takeNumber("--wait", &out->wait))
        return false;
    out->pretty = takeFlag("--pretty");
    return true;
}

int KLumoCtlOptions::msecs(double seconds)
{
    const double ms = seconds * 1000;
    return ms >= double(std::numeric_limits<int>::max()) ? std::numeric_limits<int>::max()
                                                         : int(ms);
}

} // namespace ofx::lumo
