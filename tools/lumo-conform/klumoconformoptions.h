#pragma once

#include <QString>
#include <QStringList>

namespace ofx::lumo {

/**
 * lumo-conform's command line. Without --server-name the service is looked
 * for where the library looks: the server name it forms, in the temporary
 * folder. A value type; main thread.
 */
class KLumoConformOptions
{
public:
    QString serverName; // as given, or the library's
    QString serverPath; // the socket's path
    bool serverNameGiven = false;
    QStringList only; // groups or case ids
    QStringList skip;
    int timeoutMs = 0;
    bool json = false;
    QString junitPath;
    QString pushCommand;
    bool list = false;
    bool help = false;

    // False with error() on a usage mistake.
    bool parse(const QStringList &args);
    const QString &error() const { return m_strError; }

    static const char *usage();

private:
    QString m_strError;
};

} // namespace ofx::lumo
