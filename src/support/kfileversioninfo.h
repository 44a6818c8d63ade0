#pragma once

#include <QString>
#include <QVersionNumber>

namespace ofx::lumo {

/**
 * Version of a file on disk. Linux binaries carry no version resource, so a
 * shared object's version is read from its real file name
 * ("liblumoipc.so.1.0.0" is 1.0.0) after resolving links. Value type.
 */
class KFileVersionInfo
{
public:
    explicit KFileVersionInfo(const QString &filePath);

    bool isValid() const { return !m_version.isNull(); }
    QVersionNumber version() const { return m_version; }
    QString filePath() const { return m_filePath; }

    // The version this library was built as.
    static QVersionNumber libraryVersion();
    // The file this library was loaded from (empty when linked statically
    // into an executable).
    static QString libraryPath();

private:
    QString m_filePath;
    QVersionNumber m_version;
};

} // namespace ofx::lumo
