#pragma once

#include "klumoconformoptions.h"
#include "klumoconformpeer.h"
#include "klumoconformresult.h"

#include <memory>
#include <optional>
#include <vector>

namespace ofx::lumo {

// The calls of the methods group, made once and judged by its cases.
struct KLumoConformMethodRun
{
    struct Call
    {
        const jsonschema::Method *method;
        std::optional<KLumoConformFrame> reply;
        QString error; // why no reply came
    };
    std::vector<Call> calls;
    QString stoppedBecause; // set when the run gave up before the last method
};

/**
 * What every case shares in one run: the options, the way to the service,
 * whether it is still there, the notifications seen so far and the methods
 * group's calls. A case that finds nothing listening any more says so once;
 * the cases after it are skipped with that reason.
 *
 * Main thread.
 */
class KLumoConformContext
{
public:
    // Calls or pushes in a row that may go unanswered before a group gives up
    // on the service, and how many of what went wrong a failure lists.
    static constexpr int MaxMissesInARow = 3;
    static constexpr int Listed = 5;

    explicit KLumoConformContext(const KLumoConformOptions &options)
        : m_oOptions(options)
    { }

    const KLumoConformOptions &options() const { return m_oOptions; }
    int budgetMs() const { return m_oOptions.timeoutMs; }
    QDeadlineTimer deadline() const { return QDeadlineTimer(m_oOptions.timeoutMs); }
    const QString &serverPath() const { return m_oOptions.serverPath; }

    // A connection for the case @p r runs; null when none can be had (and
    // then @p r failed, or was skipped because the service is gone).
    std::unique_ptr<KLumoConformPeer> open(KLumoConformResult &r);
    // After a case did something a service may die of: true when a new
    // connection is still answered; otherwise @p r fails, and when nothing
    // listens any more the service is gone.
    bool stillServing(KLumoConformResult &r);

    bool gone() const { return !m_strGoneReason.isEmpty(); }
    const QString &goneReason() const { return m_strGoneReason; }
    void setCurrentCase(const QString &id) { m_strCurrentCase = id; }

    // Every notification frame read on any connection so far.
    const std::vector<KLumoConformFrame> &notifications() const { return m_lstNotifications; }
    // Runs --push-command for notification @p name with an example argument;
    // false, with @p error, when it fails.
    bool push(const QString &name, QString *error) const;

    std::optional<KLumoConformMethodRun> methodRun;

private:
    void setGone(const QString &why);

    const KLumoConformOptions &m_oOptions;
    QString m_strCurrentCase;
    QString m_strGoneReason;
    std::vector<KLumoConformFrame> m_lstNotifications;
};

} // namespace ofx::lumo
