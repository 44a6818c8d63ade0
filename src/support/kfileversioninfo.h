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

    bool isValid() const { return !m_oVersion.isNull(); }
    QVersionNumber version() const { return m_oVersion; }
    QString filePath() const { return m_strFilePath; }

    // The version this library was built as.
    static QVersionNumber libraryVersion();
    // The file this library was loaded from (empty when linked statically
    // into an executable).
    static QString libraryPath();

private:
    QString m_strFilePath;
    QVersionNumber m_oVersion;
};

} // namespace ofx::lumo
