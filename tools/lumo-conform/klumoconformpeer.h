#pragma once

#include "klumoconformlink.h"
#include "klumojsonschema.h"
#include "klumojsonvalue.h"

#include <LumoService/Frame>

#include <QByteArray>
#include <QElapsedTimer>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace ofx::lumo {

// One frame as it came from the service, checked against what it claims to be.
struct KLumoConformFrame
{
    enum Kind { Reply, Notification, Stray };

    frame::Header header = {};
    Kind kind = Stray;
    QByteArray head; // the header and the first bytes of the body, for a hex excerpt
    QByteArray body; // the whole body when it is small, else empty
    quint32 bodyLength = 0;
    std::string name; // the Thrift message's method name
    int type = -1; // its message type (1 call, 2 reply, 3 exception, 4 oneway); -1: unread
    // The called method (replies) or the notification named (null: unknown).
    const jsonschema::Method *method = nullptr;
    bool notifyMessage = false; // a call of the notification service, whatever its id
    std::string departure; // the first departure from the declared shape; empty: conforms
    qint64 trailing = 0; // body bytes after the message
    bool overran = false; // the message runs past the frame's length
    double latencyMs = 0; // replies: from the end of the request to the end of the reply

    QString hex(int maxBytes = 48) const;
    QString describe() const; // "reply seq=5 [createFolder reply, 88 bytes]"
};

/**
 * The kit's side of one connection: sends calls in frames of its own making
 * (never through the library's dispatcher, so that sequence ids and extra
 * frames stay visible), reads every frame that comes back, and sorts each
 * into a reply to a pending call (matched by sequence id alone, as the
 * library does), a notification (id 0) or a stray frame. Each body is checked
 * against the interface as it streams past; only small bodies are kept.
 *
 * Single-threaded; one object per connection.
 */
class KLumoConformPeer
{
public:
    static constexpr quint32 KeepBodyBytes = 1 << 20;

    explicit KLumoConformPeer(int budgetMs)
        : m_nBudgetMs(budgetMs)
    { }

    bool connectTo(const QString &path);
    void close() { m_oLink.close(); }
    KLumoConformLink &link() { return m_oLink; }
    QDeadlineTimer deadline() const { return QDeadlineTimer(m_nBudgetMs); }

    // A call of @p method with @p args under @p seqId (0: the next id). Oneway
    // methods are not awaited. Returns the id used, 0 when the frame could not be sent.
    quint32 call(const jsonschema::Method &method, const KLumoJsonValue &args, quint32 seqId = 0);
    // A call with sample arguments derived from the interface.
    quint32 call(const jsonschema::Method &method) { return call(method, sampleArgs(method)); }
    // A frame carrying @p body, as it is; the request stays pending under @p method.
    bool send(quint32 seqId, const std::string &body, const jsonschema::Method *method);
    // Calls of @p methods with sample arguments under ids 1, 2, ..., written
    // in one piece so that the service finds them queued together.
    bool pipeline(const std::vector<const jsonschema::Method *> &methods);

    // Reads frames until the reply to @p seqId has come; the others are kept
    // (unexpected(), notifications()). Empty on a timeout or a broken
    // connection (error() says which).
    std::optional<KLumoConformFrame> await(quint32 seqId, QDeadlineTimer deadline);
    // Reads frames until @p done holds for one or the deadline passes.
    bool readUntil(const std::function<bool(const KLumoConformFrame &)> &done,
                   QDeadlineTimer deadline);
    // Reads whatever arrives before @p deadline; false when the connection broke.
    bool drain(QDeadlineTimer deadline);

    // The call frame sent last, described for reports.
    QString lastSentText() const;
    const std::vector<KLumoConformFrame> &unexpected() const { return m_lstUnexpected; }
    const std::vector<KLumoConformFrame> &notifications() const { return m_lstNotifications; }
    const QString &error() const { return m_strError; }
    // Whether a reply under @p seqId was read already (a later frame under it is a duplicate).
    bool answered(quint32 seqId) const { return m_setAnswered.count(seqId) > 0; }
    bool timedOut() const { return m_oLink.failure() == KLumoConformLink::Failure::Timeout; }
    // Called with every notification frame read on this connection.
    void setNotificationSink(std::function<void(const KLumoConformFrame &)> sink)
    {
        m_fnSink = std::move(sink);
    }

    static KLumoJsonValue sampleArgs(const jsonschema::Method &method);
    static const jsonschema::Method &requestMethod(const char *name);

private:
    struct Pending
    {
        const jsonschema::Method *method;
        QElapsedTimer sent;
    };

    std::optional<KLumoConformFrame> next(QDeadlineTimer deadline);
    void check(KLumoConformFrame &frame, class KLumoConformBodySource &source);

    int m_nBudgetMs;
    KLumoConformLink m_oLink;
    quint32 m_nSeqId = 0;
    std::map<quint32, Pending> m_mapPending;
    std::set<quint32> m_setAnswered;
    std::vector<KLumoConformFrame> m_lstUnexpected;
    std::vector<KLumoConformFrame> m_lstNotifications;
    std::function<void(const KLumoConformFrame &)> m_fnSink;
    QByteArray m_baLastSent;
    QString m_strError;
};

} // namespace ofx::lumo
