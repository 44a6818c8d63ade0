#include "klumotracetimeline.h"

#include "klumotracesummary.h"

#include <algorithm>
#include <numeric>

namespace ofx::lumo {

namespace {

KLumoJsonValue metadata(const char *name, int64_t pid, int64_t tid, const std::string &value)
{
    KLumoJsonValue e = KLumoJsonValue::object();
    e.insert("name", name);
    e.insert("ph", "M");
    e.insert("pid", pid);
    e.insert("tid", tid);
    KLumoJsonValue args = KLumoJsonValue::object();
    args.insert("name", value);
    e.insert("args", std::move(args));
    return e;
}

KLumoJsonValue event(const std::string &name, const char *cat, const char *ph, double ts,
                     int64_t pid, int64_t tid)
{
    KLumoJsonValue e = KLumoJsonValue::object();
    e.insert("name", name);
    e.insert("cat", cat);
    e.insert("ph", ph);
    e.insert("ts", ts);
    e.insert("pid", pid);
    e.insert("tid", tid);
    return e;
}

} // namespace

KLumoJsonValue KLumoTraceTimeline::build(const KLumoTraceSummary &summary)
{
    const qint64 first = std::max<qint64>(summary.firstNs(), 0);
    const auto us = [first](qint64 ns) { return double(ns - first) / 1000.0; };
    const auto &processes = summary.processes();
    const auto pidOf = [&](int process) {
        return int64_t(processes[size_t(process)].pid > 0 ? processes[size_t(process)].pid
                                                          : process + 1);
    };
    KLumoJsonValue events = KLumoJsonValue::array();
    for (size_t p = 0; p < processes.size(); ++p) {
        events.append(
            metadata("process_name", pidOf(int(p)), 0, processes[p].description.toStdString()));
        events.append(metadata("thread_name", pidOf(int(p)), 0, "notifications"));
    }

    const auto &calls = summary.calls();
    std::vector<size_t> order(calls.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return calls[a].startNs < calls[b].startNs; });
    std::vector<std::vector<qint64>> laneEnds(processes.size());
    for (const size_t i : order) {
        const KLumoTraceSummary::Call &c = calls[i];
        if (c.startNs < 0)
            continue; // a reply without its request: nothing to draw it from
        const bool expired = c.endNs < 0;
        const qint64 end = expired
            ? std::min(std::max(processes[size_t(c.process)].lastNs, c.startNs),
                       c.startNs + ExpiryNs)
            : c.endNs;
        std::vector<qint64> &lanes = laneEnds[size_t(c.process)];
        size_t lane = 0;
        while (lane < lanes.size() && lanes[lane] > c.startNs)
            ++lane;
        if (lane == lanes.size()) {
            lanes.push_back(end);
            events.append(metadata("thread_name", pidOf(c.process), int64_t(lane + 1),
                                   "calls " + std::to_string(lane + 1)));
        }
        lanes[lane] = end;
        const char *mark = expired ? " (expired)" : c.failed ? " (failed)" : "";
        KLumoJsonValue e = event(c.method + mark,
                                 expired        ? "call,expired"
                                     : c.failed ? "call,failed"
                                                : "call",
                                 "X", us(c.startNs), pidOf(c.process), int64_t(lane + 1));
        e.insert("dur", double(end - c.startNs) / 1000.0);
        KLumoJsonValue args = KLumoJsonValue::object();
        args.insert("seq", int64_t(c.seq));
        args.insert("bytesOut", int64_t(c.bytesOut));
        args.insert("bytesIn", int64_t(c.bytesIn));
        args.insert("failed", c.failed);
        args.insert("expired", expired);
        if (!c.error.empty())
            args.insert("error", c.error);
        e.insert("args", std::move(args));
        events.append(std::move(e));
    }
    for (const KLumoTraceSummary::Notification &n : summary.notifications()) {
        KLumoJsonValue e = event(n.method, "notification", "i", us(n.timeNs), pidOf(n.process), 0);
        e.insert("s", "t");
        KLumoJsonValue args = KLumoJsonValue::object();
        args.insert("bytes", int64_t(n.bytes));
        e.insert("args", std::move(args));
        events.append(std::move(e));
    }
    KLumoJsonValue out = KLumoJsonValue::object();
    out.insert("traceEvents", std::move(events));
    out.insert("displayTimeUnit", "ms");
    KLumoJsonValue other = KLumoJsonValue::object();
    other.insert("start", KLumoTraceFrame::isoTime(first));
    out.insert("otherData", std::move(other));
    return out;
}

} // namespace ofx::lumo
