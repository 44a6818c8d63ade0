#pragma once

#include "klumocapturereader.h"
#include "klumotracesummary.h"

#include <QString>

#include <string>
#include <vector>

namespace ofx::lumo {

struct KLumoTraceSource;

/**
 * A capture as the sequence chart draws it: one row per frame in the order
 * read (several files merged by time), each tied to its call or notification
 * in the same summary lumoctl trace --stats computes, and rows marking where a
 * damaged file stops. Packets are kept whole and decoded again only when a
 * frame is shown in full, so a large capture costs its bytes, not its JSON.
 *
 * Built on the loader's thread, then handed over as an immutable snapshot;
 * const members may be used from any thread.
 */
class KLumoCaptureSession
{
public:
    enum class Kind : quint8 { Call, Reply, Notification, Other, Damage };
    struct Row
    {
        qint64 timeNs = 0;
        int process = -1; // the host's lane; -1 for damage
        Kind kind = Kind::Other;
        int index = -1; // its call (Call, Reply), notification or damage
    };
    struct Damage
    {
        QString path;
        QString message; // names the byte offset
        qint64 frames = 0; // read from the file before it
    };

    // Adds the packet in @p source's hand, decoded as lumoctl trace does.
    void add(KLumoTraceSource &source);
    // Marks where @p source stopped, after what it gave.
    void addDamage(const KLumoTraceSource &source, const QString &message);
    // Computes the statistics of what was added so far.
    void finish() { m_oStats = m_oSummary.stats(); }

    const std::vector<Row> &rows() const { return m_lstRows; }
    const KLumoTraceSummary &summary() const { return m_oSummary; }
    const std::vector<Damage> &damages() const { return m_lstDamages; }
    // KLumoTraceSummary::stats() as of the last finish().
    const KLumoJsonValue &stats() const { return m_oStats; }
    int rowCount() const { return int(m_lstRows.size()); }
    // The rows of a call's request and reply; -1 when not in the capture.
    int requestRow(int call) const { return m_lstRequestRow[size_t(call)]; }
    int replyRow(int call) const { return m_lstReplyRow[size_t(call)]; }
    // The row a call or reply row is paired with, or -1.
    int partner(int row) const;

    // The frame of @p row as lumoctl trace prints it (indented), with the
    // byte offset of its block; empty for damage rows.
    std::string frameJson(int row) const;
    // What the chart writes on a row's arrow: the method, and on a reply its
    // latency or the failure.
    QString label(int row) const;
    // Whether the row is a reply that failed, or a call never answered.
    bool failed(int row) const;
    bool unanswered(int row) const;

private:
    std::vector<Row> m_lstRows;
    std::vector<KLumoCaptureReader::Packet> m_lstPackets; // by row; empty for damage
    std::vector<int> m_lstRequestRow, m_lstReplyRow; // by call
    std::vector<Damage> m_lstDamages;
    KLumoTraceSummary m_oSummary;
    KLumoJsonValue m_oStats;
};

} // namespace ofx::lumo
