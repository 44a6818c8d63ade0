#pragma once

#include "klumojsonvalue.h"
#include "klumotraceframe.h"

#include <QString>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace ofx::lumo {

/**
 * The calls of a capture: each request matched to its reply by sequence id
 * within its host process, with its latency, bytes and outcome, and the
 * notifications; from them the per-method statistics of lumoctl trace --stats.
 * Main thread.
 */
class KLumoTraceSummary
{
public:
    struct Process
    {
        QString description; // "<application> (pid <pid>)"
        qint64 pid = 0; // 0 when the description does not say
        qint64 lastNs = 0; // of its last frame
    };
    struct Call
    {
        int process = 0;
        std::string method;
        quint32 seq = 0;
        qint64 startNs = -1; // -1: a reply whose request is not in the capture
        qint64 endNs = -1; // -1: never answered
        quint32 bytesOut = 0, bytesIn = 0;
        bool failed = false; // answered with an exception, without a result, or undecodable
        std::string error;
    };
    struct Notification
    {
        int process = 0;
        std::string method;
        qint64 timeNs = 0;
        quint32 bytes = 0;
    };

    // Returns the process's index, the one frames of it carry.
    int addProcess(const QString &description);
    void add(const KLumoTraceFrame &frame);

    const std::vector<Process> &processes() const { return m_processes; }
    const std::vector<Call> &calls() const { return m_calls; }
    const std::vector<Notification> &notifications() const { return m_notifications; }
    qint64 firstNs() const { return m_firstNs; }

    // {"methods": [{method, calls, replies, failures, unanswered, bytesOut,
    // bytesIn, latencyMs: {p50, p99, max}}...], "notifications": [{method,
    // count, bytes}...]}, by method name.
    KLumoJsonValue stats() const;
    // The same as an aligned table.
    std::string statsTable() const;

private:
    std::vector<Process> m_processes;
    std::vector<Call> m_calls;
    std::vector<Notification> m_notifications;
    std::map<std::pair<int, quint32>, size_t> m_pending; // (process, seq) -> index in m_calls
    qint64 m_firstNs = -1;
};

} // namespace ofx::lumo
