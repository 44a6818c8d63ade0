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
 * A value type; one thread at a time.
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

        // From request to reply; -1 unless both are in the capture.
        qint64 latencyNs() const { return startNs >= 0 && endNs >= 0 ? endNs - startNs : -1; }
    };
    struct Notification
    {
        int process = 0;
        std::string method;
        qint64 timeNs = 0;
        quint32 bytes = 0;
    };

    // A column of the statistics: the key of a row of stats() (with the key
    // inside "latencyMs" for latencies), its heading and its width in the
    // table. The method's name comes first, as wide as the longest.
    struct Column
    {
        const char *key;
        const char *latency;
        const char *title;
        int width;
    };

    // Returns the process's index, the one frames of it carry.
    int addProcess(const QString &description);
    // Returns the index of the call the frame opened or answered, or of the
    // notification it is; -1 for a frame that is neither.
    int add(const KLumoTraceFrame &frame);

    const std::vector<Process> &processes() const { return m_lstProcesses; }
    const std::vector<Call> &calls() const { return m_lstCalls; }
    const std::vector<Notification> &notifications() const { return m_lstNotifications; }
    qint64 firstNs() const { return m_nFirstNs; }

    // {"methods": [{method, calls, replies, failures, unanswered, bytesOut,
    // bytesIn, latencyMs: {p50, p99, max}}...], "notifications": [{method,
    // count, bytes}...]}, by method name.
    KLumoJsonValue stats() const;
    // The same as an aligned table.
    std::string statsTable() const;
    // The columns of the "methods" or the "notifications" of stats().
    static const std::vector<Column> &columns(const char *list);

private:
    std::vector<Process> m_lstProcesses;
    std::vector<Call> m_lstCalls;
    std::vector<Notification> m_lstNotifications;
    std::map<std::pair<int, quint32>, size_t> m_mapPending; // (process, seq) -> index in m_lstCalls
    qint64 m_nFirstNs = -1;
};

} // namespace ofx::lumo
