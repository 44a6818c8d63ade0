#include "klumocapturesession.h"

#include "klumotraceframe.h"
#include "klumotracesource.h"

namespace ofx::lumo {

namespace {

QString duration(qint64 ns)
{
    if (ns >= qint64(1000) * 1000000)
        return QString::number(double(ns) / 1e9, 'f', 3) + QLatin1String(" s");
    return QString::number(double(ns) / 1e6, 'f', 3) + QLatin1String(" ms");
}

} // namespace

void KLumoCaptureSession::add(KLumoTraceSource &source)
{
    const KLumoTraceFrame frame =
        KLumoTraceFrame::decode(source.packet, source.process(&m_oSummary));
    Row row;
    row.timeNs = frame.timeNs;
    row.process = frame.process;
    row.index = m_oSummary.add(frame);
    const int at = int(m_lstRows.size());
    if (row.index < 0) {
        row.kind = Kind::Other;
    } else if (frame.isNotification()) {
        row.kind = Kind::Notification;
    } else {
        row.kind = frame.isCall() ? Kind::Call : Kind::Reply;
        if (size_t(row.index) >= m_lstRequestRow.size()) {
            m_lstRequestRow.resize(size_t(row.index) + 1, -1);
            m_lstReplyRow.resize(size_t(row.index) + 1, -1);
        }
        (frame.isCall() ? m_lstRequestRow : m_lstReplyRow)[size_t(row.index)] = at;
    }
    m_lstRows.push_back(row);
    m_lstPackets.push_back(std::move(source.packet));
}

void KLumoCaptureSession::addDamage(const KLumoTraceSource &source, const QString &message)
{
    Damage d {source.path, message, 0};
    for (const auto &p : source.processes) {
        for (const Row &r : m_lstRows)
            d.frames += r.process == p.second;
    }
    Row row;
    row.timeNs = m_lstRows.empty() ? 0 : m_lstRows.back().timeNs;
    row.kind = Kind::Damage;
    row.index = int(m_lstDamages.size());
    m_lstDamages.push_back(d);
    m_lstRows.push_back(row);
    m_lstPackets.emplace_back();
}

int KLumoCaptureSession::partner(int row) const
{
    const Row &r = m_lstRows[size_t(row)];
    if (r.kind == Kind::Call)
        return replyRow(r.index);
    if (r.kind == Kind::Reply)
        return requestRow(r.index);
    return -1;
}

std::string KLumoCaptureSession::frameJson(int row) const
{
    const Row &r = m_lstRows[size_t(row)];
    if (r.kind == Kind::Damage)
        return {};
    const KLumoCaptureReader::Packet &p = m_lstPackets[size_t(row)];
    KLumoJsonValue json = KLumoTraceFrame::decode(p, r.process)
                              .toJson(m_oSummary.processes()[size_t(r.process)].description);
    json.insert("offset", int64_t(p.offset));
    return json.serialize(2);
}

bool KLumoCaptureSession::failed(int row) const
{
    const Row &r = m_lstRows[size_t(row)];
    return r.kind == Kind::Reply && m_oSummary.calls()[size_t(r.index)].failed;
}

bool KLumoCaptureSession::unanswered(int row) const
{
    const Row &r = m_lstRows[size_t(row)];
    return r.kind == Kind::Call && m_oSummary.calls()[size_t(r.index)].endNs < 0;
}

QString KLumoCaptureSession::label(int row) const
{
    const Row &r = m_lstRows[size_t(row)];
    switch (r.kind) {
    case Kind::Damage: {
        const Damage &d = m_lstDamages[size_t(r.index)];
        return d.path + QLatin1String(": ") + d.message;
    }
    case Kind::Notification:
        return QString::fromStdString(m_oSummary.notifications()[size_t(r.index)].method);
    case Kind::Other:
        return QStringLiteral("(frame of unknown direction)");
    case Kind::Call:
    case Kind::Reply:
        break;
    }
    const KLumoTraceSummary::Call &c = m_oSummary.calls()[size_t(r.index)];
    const QString method = QString::fromStdString(c.method);
    if (r.kind == Kind::Call)
        return c.endNs < 0 ? method + QLatin1String("  (no reply)") : method;
    QString text = method;
    if (c.failed)
        text += QLatin1String("  failed: ") + QString::fromStdString(c.error);
    if (c.startNs >= 0)
        text += QLatin1String("  ") + duration(c.endNs - c.startNs);
    else
        text += QLatin1String("  (request not captured)");
    return text;
}

} // namespace ofx::lumo
