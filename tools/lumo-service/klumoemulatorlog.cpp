#include "klumoemulatorlog.h"

#include "klumojsonmessage.h"
#include "klumoserviceemulator.h"

#include <LumoService/Frame>

namespace ofx::lumo {

namespace {

bool openLog(QFile *file, const QString &path, const char *what, QString *error)
{
    file->setFileName(path);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)) {
        *error = QStringLiteral("cannot write the %1 log %2: %3")
                     .arg(QLatin1String(what), path, file->errorString());
        return false;
    }
    return true;
}

} // namespace

bool KLumoEmulatorLog::openRequests(const QString &path, QString *error)
{
    return openLog(&m_oRequests, path, "request", error);
}

bool KLumoEmulatorLog::openFrames(const QString &path, QString *error)
{
    return openLog(&m_oFrames, path, "frame", error);
}

void KLumoEmulatorLog::write(QFile &file, const KLumoJsonValue &line)
{
    const std::string text = line.serialize() + "\n";
    file.write(text.data(), qint64(text.size()));
    file.flush();
}

void KLumoEmulatorLog::request(const std::string &method, const KLumoJsonValue &args)
{
    if (!m_oRequests.isOpen())
        return;
    KLumoJsonValue line = KLumoJsonValue::object();
    line.insert("method", method);
    line.insert("args", args.isNull() ? KLumoJsonValue::object() : args);
    write(m_oRequests, line);
}

void KLumoEmulatorLog::frame(bool sent, quint32 seqId, const std::string &body)
{
    if (!m_oFrames.isOpen())
        return;
    KLumoJsonValue line = KLumoJsonValue::object();
    line.insert("frame", sent ? "sent" : "received");
    line.insert("seq", int64_t(seqId));
    line.insert("bytes", int64_t(body.size() + frame::HeaderSize));
    const bool reply = sent && seqId != 0;
    try {
        const KLumoJsonMessage::Call call =
            KLumoJsonMessage::decodeCall(sent && seqId == 0 ? KLumoServiceEmulator::NotifyService
                                                            : KLumoServiceEmulator::RequestService,
                                         body, !reply);
        line.insert("method", call.name);
        line.insert("type", KLumoJsonMessage::typeName(call.type));
        if (!reply && call.method)
            line.insert("args", call.args);
    } catch (const std::exception &e) {
        line.insert("error", e.what());
    }
    write(m_oFrames, line);
}

} // namespace ofx::lumo
