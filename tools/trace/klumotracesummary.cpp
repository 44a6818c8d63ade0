#include "klumotracesummary.h"

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

// Nearest rank of a sorted list.
qint64 percentile(const std::vector<qint64> &sorted, double p)
{
    const size_t rank = size_t(std::ceil(p * double(sorted.size())));
    return sorted[std::max<size_t>(rank, 1) - 1];
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
        if (answered && c.startNs >= 0)
            r.latencies.push_back(c.endNs - c.startNs);
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
    m_processes.push_back(p);
    return int(m_processes.size()) - 1;
}

void KLumoTraceSummary::add(const KLumoTraceFrame &f)
{
    Process &p = m_processes.at(size_t(f.process));
    p.lastNs = std::max(p.lastNs, f.timeNs);
    if (m_firstNs < 0 || f.timeNs < m_firstNs)
        m_firstNs = f.timeNs;
    const std::string method = f.method.empty() ? "(undecodable)" : f.method;
    if (f.isNotification()) {
        m_notifications.push_back({f.process, method, f.timeNs, f.bytes});
        return;
    }
    if (f.isCall()) {
        m_pending[{f.process, f.seq}] = m_calls.size();
        m_calls.push_back({f.process, method, f.seq, f.timeNs, -1, f.bytes, 0, false, f.error});
        return;
    }
    if (!f.isReply())
        return;
    const auto it = m_pending.find({f.process, f.seq});
    size_t index = m_calls.size();
    if (it == m_pending.end()) {
        m_calls.push_back({f.process, method, f.seq, -1, -1, 0, 0, false, {}});
    } else {
        index = it->second;
        m_pending.erase(it);
    }
    Call &c = m_calls[index];
    c.endNs = f.timeNs;
    c.bytesIn = f.bytes;
    c.failed = f.failed || !f.error.empty();
    const KLumoJsonValue *message = f.type == 3 ? f.detail.find("message") : nullptr;
    if (!f.error.empty() || message)
        c.error = message ? message->toString() : f.error;
}

KLumoJsonValue KLumoTraceSummary::stats() const
{
    KLumoJsonValue methods = KLumoJsonValue::array();
    for (const auto &[name, r] : rows(m_calls)) {
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
            latency.insert("p50", ms(percentile(r.latencies, 0.5)));
            latency.insert("p99", ms(percentile(r.latencies, 0.99)));
            latency.insert("max", ms(r.latencies.back()));
        }
        row.insert("latencyMs", std::move(latency));
        methods.append(std::move(row));
    }
    std::map<std::string, std::pair<int64_t, int64_t>> counts; // count, bytes
    for (const Notification &n : m_notifications) {
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

std::string KLumoTraceSummary::statsTable() const
{
    const KLumoJsonValue s = stats();
    size_t width = 12;
    for (const char *list : {"methods", "notifications"}) {
        for (const KLumoJsonValue &row : s.find(list)->elements())
            width = std::max(width, row.find("method")->toString().size());
    }
    std::string out;
    char line[512];
    const int w = int(width);
    std::snprintf(line, sizeof line, "%-*s %6s %7s %6s %8s %10s %10s %9s %9s %9s\n", w, "METHOD",
                  "CALLS", "REPLIES", "FAILED", "NO REPLY", "BYTES OUT", "BYTES IN", "P50 ms",
                  "P99 ms", "MAX ms");
    out += line;
    for (const KLumoJsonValue &row : s.find("methods")->elements()) {
        const auto n = [&](const char *key) { return (long long)row.find(key)->toInteger(); };
        const KLumoJsonValue *l = row.find("latencyMs");
        char latency[64] = "        -         -         -";
        if (!l->isNull())
            std::snprintf(latency, sizeof latency, "%9.3f %9.3f %9.3f", l->find("p50")->toDouble(),
                          l->find("p99")->toDouble(), l->find("max")->toDouble());
        std::snprintf(line, sizeof line, "%-*s %6lld %7lld %6lld %8lld %10lld %10lld %s\n", w,
                      row.find("method")->toString().c_str(), n("calls"), n("replies"),
                      n("failures"), n("unanswered"), n("bytesOut"), n("bytesIn"), latency);
        out += line;
    }
    if (s.find("notifications")->size() == 0)
        return out;
    std::snprintf(line, sizeof line, "\n%-*s %6s %10s\n", w, "NOTIFICATION", "COUNT", "BYTES");
    out += line;
    for (const KLumoJsonValue &row : s.find("notifications")->elements()) {
        std::snprintf(
            line, sizeof line, "%-*s %6lld %10lld\n", w, row.find("method")->toString().c_str(),
            (long long)row.find("count")->toInteger(), (long long)row.find("bytes")->toInteger());
        out += line;
    }
    return out;
}

} // namespace ofx::lumo
