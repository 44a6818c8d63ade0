#include "klumoctloptions.h"

#include <limits>

namespace ofx::lumo {

bool KLumoCtlOptions::takeNumber(const char *name, double *out)
{
    const int i = m_lstArgs.indexOf(QLatin1String(name));
    if (i < 0)
        return true;
    bool ok = false;
    const double v = i + 1 < m_lstArgs.size() ? m_lstArgs.at(i + 1).toDouble(&ok) : 0;
    if (!ok || v < 0) {
        m_strError = QStringLiteral("%1 needs a non-negative number").arg(QLatin1String(name));
        return false;
    }
    *out = v;
    m_lstArgs.erase(m_lstArgs.begin() + i, m_lstArgs.begin() + i + 2);
    return true;
}

bool KLumoCtlOptions::takeFlag(const char *name)
{
    return m_lstArgs.removeAll(QLatin1String(name)) > 0;
}

bool KLumoCtlOptions::takeAll(const char *name, QStringList *values)
{
    for (int i = m_lstArgs.indexOf(QLatin1String(name)); i >= 0;
         i = m_lstArgs.indexOf(QLatin1String(name))) {
        if (i + 1 >= m_lstArgs.size()) {
            m_strError = QStringLiteral("%1 needs a name").arg(QLatin1String(name));
            return false;
        }
        values->append(m_lstArgs.at(i + 1));
        m_lstArgs.erase(m_lstArgs.begin() + i, m_lstArgs.begin() + i + 2);
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
