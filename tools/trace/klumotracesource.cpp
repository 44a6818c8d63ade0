#include "klumotracesource.h"

#include "klumotracesummary.h"

#include <QFileInfo>

namespace ofx::lumo {

bool KLumoTraceSource::open()
{
    file.setFileName(path);
    return file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

KLumoTraceSource::State KLumoTraceSource::fetch(bool follow)
{
    for (;;) {
        const KLumoCaptureReader::Next next = reader.next(&packet);
        if (next == KLumoCaptureReader::Next::Packet)
            return state = Ready;
        if (next == KLumoCaptureReader::Next::Error)
            return state = Failed;
        const QByteArray chunk = file.read(1 << 20);
        if (!chunk.isEmpty())
            reader.append(chunk);
        else if (follow)
            return state = Waiting;
        else
            return state = reader.finish() ? Ended : Failed;
    }
}

int KLumoTraceSource::process(KLumoTraceSummary *summary)
{
    const auto key = std::make_pair(packet.section, packet.interfaceId);
    auto it = processes.find(key);
    if (it == processes.end()) {
        QString name = reader.interfaces().at(packet.interfaceId).description;
        if (name.isEmpty())
            name = QFileInfo(path).fileName();
        it = processes.emplace(key, summary->addProcess(name)).first;
    }
    return it->second;
}

KLumoTraceSource *
KLumoTraceSource::earliest(const std::vector<std::unique_ptr<KLumoTraceSource>> &sources)
{
    KLumoTraceSource *next = nullptr;
    for (const auto &s : sources) {
        if (s->state == Ready && (!next || s->packet.timeNs < next->packet.timeNs))
            next = s.get();
    }
    return next;
}

} // namespace ofx::lumo
