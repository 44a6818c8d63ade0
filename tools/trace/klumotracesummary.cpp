#include "klumotracesummary.h"

#include "klumopercentile.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ofx::lumo {

namespace {

struct Row
{
    int64_t calls = 0, replies = 0, failures = 0, unanswered = 0, bytesOut = 0, bytesIn = 0;
    std::vector<qint64> latencies; // nanoseconds
};

// Milliseconds to the microsecond.
double ms(qint64 ns)
{
    return std::round(double(ns) / 1000.0) / 1000.0;
}

std::map<std::string, Row> rows(const std::vector<KLumoTraceSummary::Call> &calls)
{
    std::map<std::string, Row> out;
    for (const KLumoTraceSummary::Call &c : calls) {
        Row &r = out[c.method];
        const bool answered = c.endNs >= 0;
        r.calls += c.startNs >= 0;
        r.replies += answered;
        r.failures += answered && c.failed;
        r.unanswered += !answered;
        r.bytesOut += c.bytesOut;
        r.bytesIn += c.bytesIn;
        if (c.latencyNs() >= 0)
            r.latencies.push_back(c.latencyNs());
    }
    for (auto &r : out)
        std::sort(r.second.latencies.begin(), r.second.latencies.end());
    return out;
}

} // namespace

int KLumoTraceSummary::addProcess(const QString &description)
{
    Process p;
    p.description = description;
    static const QRegularExpression pid(QStringLiteral("\\(pid (\\d+)\\)$"));
    p.pid = pid.match(description).captured(1).toLongLong();
    m_lstProcesses.push_back(p);
    return int(m_lstProcesses.size()) - 1;
}

int KLumoTraceSummary::add(const KLumoTraceFrame &f)
{
    Process &p = m_lstProcesses.at(size_t(f.process));
    p.lastNs = std::max(p.lastNs, f.timeNs);
    if (m_nFirstNs < 0 || f.timeNs < m_nFirstNs)
        m_nFirstNs = f.timeNs;
    const std::string method = f.method.empty() ? "(undecodable)" : f.method;
    if (f.isNotification()) {
        m_lstNotifications.push_back({f.process, method, f.timeNs, f.bytes});
        return int(m_lstNotifications.size()) - 1;
    }
    if (f.isCall()) {
        m_mapPending[{f.process, f.seq}] = m_lstCalls.size();
        m_lstCalls.push_back({f.process, method, f.seq, f.timeNs, -1, f.bytes, 0, false, f.error});
        return int(m_lstCalls.size()) - 1;
    }
    if (!f.isReply())
        return -1;
    const auto it = m_mapPending.find({f.process, f.seq});
    size_t index = m_lstCalls.size();
    if (it == m_mapPending.end()) {
        m_lstCalls.push_back({f.process, method, f.seq, -1, -1, 0, 0, false, {}});
    } else {
        index = it->second;
        m_mapPending.erase(it);
    }
    Call &c = m_lstCalls[index];
    c.endNs = f.timeNs;
    c.bytesIn = f.bytes;
    c.failed = f.failed || !f.error.empty();
    const KLumoJsonValue *message = f.type == 3 ? f.detail.find("message") : nullptr;
    if (!f.error.empty() || message)
        c.error = message ? message->toString() : f.error;
    return int(index);
}

KLumoJsonValue KLumoTraceSummary::stats() const
{
    KLumoJsonValue methods = KLumoJsonValue::array();
    for (const auto &[name, r] : rows(m_lstCalls)) {
        KLumoJsonValue row = KLumoJsonValue::object();
        row.insert("method", name);
        for (const auto &n :
             {std::make_pair("calls", r.calls), std::make_pair("replies", r.replies),
              std::make_pair("failures", r.failures), std::make_pair("unanswered", r.unanswered),
              std::make_pair("bytesOut", r.bytesOut), std::make_pair("bytesIn", r.bytesIn)})
            row.insert(n.first, n.second);
        KLumoJsonValue latency; // null without a matched reply
        if (!r.latencies.empty()) {
            latency = KLumoJsonValue::object();
            latency.insert("p50", ms(KLumoPercentile::ofSorted(r.latencies, 0.5)));
            latency.insert("p99", ms(KLumoPercentile::ofSorted(r.latencies, 0.99)));
            latency.insert("max", ms(r.latencies.back()));
        }
        row.insert("latencyMs", std::move(latency));
        methods.append(std::move(row));
    }
    std::map<std::string, std::pair<int64_t, int64_t>> counts; // count, bytes
    for (const Notification &n : m_lstNotifications) {
        ++counts[n.method].first;
        counts[n.method].second += n.bytes;
    }
    KLumoJsonValue notes = KLumoJsonValue::array();
    for (const auto &[name, c] : counts) {
        KLumoJsonValue row = KLumoJsonValue::object();
        row.insert("method", name);
        row.insert("count", c.first);
        row.insert("bytes", c.second);
        notes.append(std::move(row));
    }
    KLumoJsonValue out = KLumoJsonValue::object();
    out.insert("methods", std::move(methods));
    out.insert("notifications", std::move(notes));
    return out;
}

const std::vector<KLumoTraceSummary::Column> &KLumoTraceSummary::columns(const char *list)
{
    static const std::vector<Column> methods = {
        {"method", nullptr, "METHOD", 0},       {"calls", nullptr, "CALLS", 6},
        {"replies", nullptr, "REPLIES", 7},     {"failures", nullptr, "FAILED", 6},
        {"unanswered", nullptr, "NO REPLY", 8}, {"bytesOut", nullptr, "BYTES OUT", 10},
        {"bytesIn", nullptr, "BYTES IN", 10},   {"latencyMs", "p50", "P50 ms", 9},
        {"latencyMs", "p99", "P99 ms", 9},      {"latencyMs", "max", "MAX ms", 9},
    };
    static const std::vector<Column> notifications = {
        {"method", nullptr, "NOTIFICATION", 0},
        {"count", nullptr, "COUNT", 6},
        {"bytes", nullptr, "BYTES", 10},
    };
    return std::string(list) == "notifications" ? notifications : methods;
}

std::string KLumoTraceSummary::statsTable() const
{
    const KLumoJsonValue s = stats();
    size_t width = 12;
    for (const char *list : {"methods", "notifications"}) {
        for (const KLumoJsonValue &row : s.find(list)->elements())
            width = std::max(width, row.find("method")->toString().size());
    }
    std::string out;
    char cell[64];
    const auto put = [&](const char *format, auto... values) {
        std::snprintf(cell, sizeof cell, format, values...);
        out += cell;
    };
    // The method's column, left-aligned: as wide as its longest name.
    const auto name = [&](const std::string &text) {
        out += text;
        out.append(width - std::min(width, text.size()), ' ');
    };
    for (const char *list : {"methods", "notifications"}) {
        const KLumoJsonValue::Array &rows = s.find(list)->elements();
        if (list == std::string("notifications")) {
            if (rows.empty())
                break;
            out += "\n";
        }
        const std::vector<Column> &cs = columns(list);
        name(cs[0].title);
        for (size_t i = 1; i < cs.size(); ++i)
            put(" %*s", cs[i].width, cs[i].title);
        out += "\n";
        for (const KLumoJsonValue &row : rows) {
            name(row.find("method")->toString());
            for (size_t i = 1; i < cs.size(); ++i) {
                const KLumoJsonValue *v = row.find(cs[i].key);
                if (!cs[i].latency)
                    put(" %*lld", cs[i].width, (long long)v->toInteger());
                else if (v->isNull())
                    put(" %*s", cs[i].width, "-");
                else
                    put(" %*.3f", cs[i].width, v->find(cs[i].latency)->toDouble());
            }
            out += "\n";
        }
    }
    return out;
}

} // namespace ofx::lumo
