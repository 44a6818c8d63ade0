#pragma once

#include "klumojsonvalue.h"

#include <QFile>

namespace ofx::lumo {

/**
 * The emulator's two logs, each a file of JSON lines appended to: every
 * request received (method and arguments), and every frame received and sent
 * (direction, sequence id, size, method and message type), the service's side
 * of what a host's capture shows. Either may be off.
 *
 * Owned by the emulator; its thread only.
 */
class KLumoEmulatorLog
{
public:
    bool openRequests(const QString &path, QString *error);
    bool openFrames(const QString &path, QString *error);
    bool logsRequests() const { return m_oRequests.isOpen(); }
    bool logsFrames() const { return m_oFrames.isOpen(); }

    void request(const std::string &method, const KLumoJsonValue &args);
    void frame(bool sent, quint32 seqId, const std::string &body);

private:
    void write(QFile &file, const KLumoJsonValue &line);

    QFile m_oRequests;
    QFile m_oFrames;
};

} // namespace ofx::lumo
