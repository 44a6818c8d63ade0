#pragma once

#include "klumocapturereader.h"
#include "klumojsonvalue.h"

#include <QString>

#include <string>

namespace ofx::lumo {

/**
 * One captured frame in the interface's terms: which way it went, its sequence
 * id, the method and message type its Thrift body names, and the arguments or
 * result decoded with field names. A frame that does not decode keeps what
 * could be read and says why in error. A value type; any thread.
 */
class KLumoTraceFrame
{
public:
    int process = 0; // the host process that wrote it, as lumoctl trace numbers them
    qint64 timeNs = 0;
    KLumoCaptureReader::Direction direction = capture::UnknownDirection;
    quint32 seq = 0;
    quint32 bytes = 0; // the whole frame, header included
    std::string method;
    int type = 0; // the Thrift message type; 0 when the body did not say
    // A reply that is an exception or lacks its result.
    bool failed = false;
    std::string error;
    KLumoJsonValue detail; // the arguments, the result or the exception

    bool isCall() const { return direction == capture::Outbound; }
    bool isNotification() const { return direction == capture::Inbound && seq == 0; }
    bool isReply() const { return direction == capture::Inbound && seq != 0; }

    static KLumoTraceFrame decode(const KLumoCaptureReader::Packet &packet, int process);
    // The JSON line of lumoctl trace; @p host names the process.
    KLumoJsonValue toJson(const QString &host) const;
    // "2024-05-01T10:00:00.123456789Z"
    static std::string isoTime(qint64 ns);

private:
    void decodeBody(const std::string &body);
};

} // namespace ofx::lumo
