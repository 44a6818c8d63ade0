#include "klumotraceframe.h"

#include "klumojsonmessage.h"

#include <LumoService/Frame>

#include <QDateTime>

namespace ofx::lumo {

namespace {

const char RequestService[] = "KLumoServices";
const char NotifyService[] = "KLumoNotifyServices";

} // namespace

KLumoTraceFrame KLumoTraceFrame::decode(const KLumoCaptureReader::Packet &packet, int process)
{
    KLumoTraceFrame f;
    f.process = process;
    f.timeNs = packet.timeNs;
    f.direction = packet.direction;
    f.bytes = packet.originalLength;
    if (packet.data.size() < int(frame::HeaderSize)) {
        f.error = "shorter than a frame header";
        return f;
    }
    const frame::Header h = frame::readHeader(packet.data.constData());
    f.seq = h.seqId;
    if (!h.hasMagic())
        f.error = "no frame magic";
    else if (h.total != packet.originalLength)
        f.error = "the header says " + std::to_string(h.total) + " bytes, the frame has "
            + std::to_string(packet.originalLength);
    else if (packet.originalLength != quint32(packet.data.size()))
        f.error = "cut short in the capture";
    else if (f.direction != capture::Inbound && !f.isCall())
        f.error = "direction unknown";
    if (!f.error.empty())
        return f;
    try {
        f.decodeBody(packet.data.mid(int(frame::HeaderSize)).toStdString());
    } catch (const std::exception &e) {
        f.error = e.what();
    }
    return f;
}

void KLumoTraceFrame::decodeBody(const std::string &body)
{
    // Calls go out, notifications come in with id 0, and everything else that
    // comes in answers a call of the request service.
    const KLumoJsonMessage::Call call = KLumoJsonMessage::decodeCall(
        isNotification() ? NotifyService : RequestService, body, !isReply());
    method = call.name;
    type = int(call.type);
    if (!call.method) {
        error = "not a method of ";
        error += isNotification() ? NotifyService : RequestService;
        return;
    }
    if (!isReply()) {
        detail = call.args;
        return;
    }
    const KLumoJsonMessage::Reply reply = KLumoJsonMessage::decodeReply(*call.method, body);
    failed = reply.exception || !reply.hasValue;
    if (reply.exception) {
        detail = KLumoJsonValue::object();
        detail.insert("type", reply.exceptionType);
        detail.insert("message", reply.message);
    } else {
        detail = reply.value;
    }
}

std::string KLumoTraceFrame::isoTime(qint64 ns)
{
    const qint64 second = ns >= 0 ? ns / 1000000000 : (ns + 1) / 1000000000 - 1;
    const QString date = QDateTime::fromSecsSinceEpoch(second, Qt::UTC)
                             .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
    return date.toStdString() + "."
        + QString::number(ns - second * 1000000000)
              .rightJustified(9, QLatin1Char('0'))
              .toStdString()
        + "Z";
}

KLumoJsonValue KLumoTraceFrame::toJson(const QString &host) const
{
    KLumoJsonValue line = KLumoJsonValue::object();
    line.insert("time", isoTime(timeNs));
    line.insert("host", host.toStdString());
    line.insert("direction", isCall() ? "out" : direction == capture::Inbound ? "in" : "unknown");
    line.insert("seq", int64_t(seq));
    line.insert("bytes", int64_t(bytes));
    line.insert("method", method);
    line.insert("type", KLumoJsonMessage::typeName(type));
    if (type == 3)
        line.insert("exception", detail);
    else if (error.empty() && (!detail.isNull() || isReply()))
        line.insert(isReply() ? "result" : "args", detail);
    if (failed)
        line.insert("failed", true);
    if (!error.empty())
        line.insert("error", error);
    return line;
}

} // namespace ofx::lumo
