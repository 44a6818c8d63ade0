#include "klumoconformpeer.h"

#include "klumocompactwalker.h"
#include "klumojsonmessage.h"
#include "klumojsonsample.h"
#include "klumojsonschemaindex.h"

#include <thrift/protocol/TProtocol.h>

#include <cstdlib>

namespace ofx::lumo {

using namespace jsonschema;
namespace pt = apache::thrift::protocol;

/**
 * A frame's body as the walker reads it: straight from the connection, never
 * past the frame's end, keeping the first bytes for reports and the whole
 * body only when it is small.
 */
class KLumoConformBodySource : public KLumoCompactSource
{
public:
    static constexpr int HeadBytes = 48;

    KLumoConformBodySource(KLumoConformLink &link, quint32 length, QDeadlineTimer deadline,
                           bool keep)
        : m_oLink(link)
        , m_nLeft(length)
        , m_oDeadline(deadline)
        , m_bKeep(keep)
    { }

    bool take(char *dst, size_t size) override
    {
        if (size > m_nLeft) {
            m_bOverran = true;
            m_strError = "the message runs past the end of its frame (" + std::to_string(m_nLeft)
                + " bytes were left)";
            return false;
        }
        char scratch[16384];
        while (size > 0) {
            const size_t n = dst ? size : qMin(size, sizeof scratch);
            char *into = dst ? dst : scratch;
            if (!m_oLink.read(into, n, m_oDeadline)) {
                m_bBroken = true;
                m_strError = m_oLink.error().toStdString();
                return false;
            }
            if (m_baHead.size() < HeadBytes)
                m_baHead.append(into, int(qMin<size_t>(n, size_t(HeadBytes - m_baHead.size()))));
            if (m_bKeep)
                m_baKept.append(into, int(n));
            m_nLeft -= n;
            size -= n;
        }
        return true;
    }
    uint64_t remaining() const override { return m_nLeft; }
    std::string error() const override { return m_strError; }

    // Reads what the walker left of the frame; false when the connection broke.
    bool finish() { return !m_bBroken && take(nullptr, m_nLeft); }
    bool overran() const { return m_bOverran; }
    QByteArray &head() { return m_baHead; }
    QByteArray &kept() { return m_baKept; }

private:
    KLumoConformLink &m_oLink;
    uint64_t m_nLeft;
    QDeadlineTimer m_oDeadline;
    bool m_bKeep;
    bool m_bBroken = false;
    bool m_bOverran = false;
    QByteArray m_baHead;
    QByteArray m_baKept;
    std::string m_strError;
};

QString KLumoConformFrame::hex(int maxBytes) const
{
    const QByteArray shown = head.left(maxBytes);
    return QString::fromLatin1(shown.toHex(' '))
        + (bodyLength + frame::HeaderSize > quint32(shown.size()) ? QStringLiteral(" ...")
                                                                  : QString());
}

QString KLumoConformFrame::describe() const
{
    static const char *const kinds[] = {"reply", "notification", "frame"};
    const QString size = QStringLiteral("%1 bytes").arg(qint64(bodyLength) + frame::HeaderSize);
    return QStringLiteral("%1 seq=%2 [%3]")
        .arg(QLatin1String(kinds[kind]))
        .arg(header.seqId)
        .arg(type > 0 ? QStringLiteral("%1 %2, %3")
                            .arg(QString::fromStdString(name),
                                 QLatin1String(KLumoJsonMessage::typeName(type)), size)
                      : size);
}

const Method &KLumoConformPeer::requestMethod(const char *name)
{
    const Method *m = KLumoJsonSchemaIndex::method("KLumoServices", name);
    if (!m)
        std::abort(); // the kit names a method the interface lacks
    return *m;
}

KLumoJsonValue KLumoConformPeer::sampleArgs(const Method &method)
{
    KLumoJsonValue args = KLumoJsonValue::object();
    for (int i = 0; i < method.argCount; ++i) {
        const Field &f = fields[method.firstArg + i];
        args.insert(f.name, KLumoJsonSample::value(f.type, i + 1));
    }
    return args;
}

bool KLumoConformPeer::connectTo(const QString &path)
{
    m_mapPending.clear();
    m_nSeqId = 0;
    if (m_oLink.connectTo(path, deadline()))
        return true;
    m_strError = QStringLiteral("cannot connect to %1: %2").arg(path, m_oLink.error());
    return false;
}

quint32 KLumoConformPeer::call(const Method &method, const KLumoJsonValue &args, quint32 seqId)
{
    if (!seqId) {
        seqId = ++m_nSeqId;
        if (!seqId)
            seqId = m_nSeqId = 1;
    }
    const std::string body = KLumoJsonMessage::encodeCall(method, args);
    return send(seqId, body, method.oneway ? nullptr : &method) ? seqId : 0;
}

bool KLumoConformPeer::send(quint32 seqId, const std::string &body, const Method *method)
{
    m_baLastSent = frame::make(seqId, body.data(), quint32(body.size()));
    if (!m_oLink.write(m_baLastSent, deadline())) {
        m_strError = m_oLink.error();
        return false;
    }
    if (method) {
        Pending &p = m_mapPending[seqId];
        p.method = method;
        p.sent.start();
    }
    return true;
}

bool KLumoConformPeer::pipeline(const std::vector<const Method *> &methods)
{
    QByteArray all;
    for (size_t i = 0; i < methods.size(); ++i) {
        const std::string body = KLumoJsonMessage::encodeCall(*methods[i], sampleArgs(*methods[i]));
        all += frame::make(quint32(i + 1), body.data(), quint32(body.size()));
    }
    m_baLastSent = all;
    if (!m_oLink.write(all, deadline())) {
        m_strError = m_oLink.error();
        return false;
    }
    for (size_t i = 0; i < methods.size(); ++i) {
        Pending &p = m_mapPending[quint32(i + 1)];
        p.method = methods[i];
        p.sent.start();
    }
    m_nSeqId = quint32(methods.size());
    return true;
}

QString KLumoConformPeer::lastSentText() const
{
    if (m_baLastSent.size() < int(frame::HeaderSize))
        return QString();
    return QStringLiteral("seq=%1, %2 bytes: %3")
        .arg(frame::readHeader(m_baLastSent.constData()).seqId)
        .arg(m_baLastSent.size())
        .arg(QString::fromLatin1(m_baLastSent.left(48).toHex(' ')));
}

void KLumoConformPeer::check(KLumoConformFrame &f, KLumoConformBodySource &source)
{
    KLumoCompactWalker walker(source);
    int32_t thriftSeqId;
    if (!walker.message(&f.name, &f.type, &thriftSeqId)) {
        f.departure = walker.error();
        return;
    }
    const Method *notify = KLumoJsonSchemaIndex::method("KLumoNotifyServices", f.name);
    f.notifyMessage = notify && (f.type == pt::T_ONEWAY || f.type == pt::T_CALL);
    const auto pending = f.header.seqId ? m_mapPending.find(f.header.seqId) : m_mapPending.end();
    if (pending != m_mapPending.end()) {
        f.kind = KLumoConformFrame::Reply;
        f.method = pending->second.method;
        if (f.type == pt::T_EXCEPTION)
            walker.exception();
        else if (f.type != pt::T_REPLY)
            f.departure = std::string("a message of type \"") + KLumoJsonMessage::typeName(f.type)
                + "\" where a reply is due";
        else if (f.name != f.method->name)
            f.departure = "a reply named \"" + f.name + "\" to a call of " + f.method->name;
        else
            walker.result(*f.method);
    } else {
        f.kind = f.header.seqId ? KLumoConformFrame::Stray : KLumoConformFrame::Notification;
        f.method = notify;
        if (f.notifyMessage)
            walker.arguments(*notify);
        else if (f.kind == KLumoConformFrame::Notification)
            f.departure = notify ? std::string("a notification of message type \"")
                    + KLumoJsonMessage::typeName(f.type) + "\", not oneway"
                                 : "\"" + f.name + "\" is not a notification of the interface";
    }
    if (f.departure.empty())
        f.departure = walker.error();
    if (f.departure.empty())
        f.trailing = qint64(source.remaining());
}

std::optional<KLumoConformFrame> KLumoConformPeer::next(QDeadlineTimer deadline)
{
    char header[frame::HeaderSize];
    if (!m_oLink.read(header, sizeof header, deadline)) {
        m_strError = m_oLink.error();
        return std::nullopt;
    }
    KLumoConformFrame f;
    f.header = frame::readHeader(header);
    f.head = QByteArray(header, sizeof header);
    if (f.header.total < frame::HeaderSize) {
        // Nothing after it can be framed: the library closes the connection here too.
        m_strError = QStringLiteral("a frame claims a total length of %1 bytes, less than its "
                                    "%2-byte header: %3")
                         .arg(f.header.total)
                         .arg(frame::HeaderSize)
                         .arg(f.hex());
        m_oLink.close();
        return std::nullopt;
    }
    f.bodyLength = f.header.bodyLength();
    KLumoConformBodySource source(m_oLink, f.bodyLength, deadline, f.bodyLength <= KeepBodyBytes);
    check(f, source);
    const bool whole = source.finish();
    f.overran = source.overran();
    f.head += source.head();
    f.body = std::move(source.kept());
    if (!whole) {
        m_strError = QStringLiteral("%1 broke off: %2")
                         .arg(f.describe(), QString::fromStdString(source.error()));
        return std::nullopt;
    }
    if (f.kind == KLumoConformFrame::Reply) {
        const auto p = m_mapPending.find(f.header.seqId);
        f.latencyMs = double(p->second.sent.nsecsElapsed()) / 1e6;
        m_mapPending.erase(p);
        m_setAnswered.insert(f.header.seqId);
    }
    return f;
}

bool KLumoConformPeer::readUntil(const std::function<bool(const KLumoConformFrame &)> &done,
                                 QDeadlineTimer deadline)
{
    for (;;) {
        std::optional<KLumoConformFrame> f = next(deadline);
        if (!f)
            return false;
        if (f->kind == KLumoConformFrame::Stray && !f->notifyMessage)
            m_lstUnexpected.push_back(*f);
        else if (f->kind != KLumoConformFrame::Reply) {
            m_lstNotifications.push_back(*f);
            if (m_fnSink)
                m_fnSink(*f);
        }
        if (done(*f))
            return true;
    }
}

std::optional<KLumoConformFrame> KLumoConformPeer::await(quint32 seqId, QDeadlineTimer deadline)
{
    std::optional<KLumoConformFrame> reply;
    readUntil(
        [&](const KLumoConformFrame &f) {
            if (f.kind == KLumoConformFrame::Reply && f.header.seqId == seqId)
                reply = f;
            return bool(reply);
        },
        deadline);
    return reply;
}

bool KLumoConformPeer::drain(QDeadlineTimer deadline)
{
    while (m_oLink.waitReadable(deadline)) {
        if (!readUntil([](const KLumoConformFrame &) { return true; }, deadline))
            return false;
    }
    return true;
}

} // namespace ofx::lumo
