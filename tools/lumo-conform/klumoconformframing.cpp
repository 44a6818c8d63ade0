#include "klumoconformframing.h"

#include "klumoconformcontext.h"
#include "klumojsonschemaindex.h"

#include <map>

namespace ofx::lumo {

using namespace jsonschema;

namespace {

// How long a frame the service owes nobody is given to show up after the
// call behind it was answered (services may answer out of order).
constexpr int GraceMs = 100;
constexpr int Pipelined = 64;
constexpr int Connections = 8;
constexpr int Probes = 3;

const Method &probeMethod()
{
    return KLumoConformPeer::requestMethod("getLoginInfo");
}

// The first @p count two-way methods of the interface, in declaration order.
std::vector<const Method *> twoWayMethods(int count)
{
    const Service &s = *KLumoJsonSchemaIndex::service("KLumoServices");
    std::vector<const Method *> out;
    for (int i = s.firstMethod; i < s.firstMethod + s.methodCount && int(out.size()) < count; ++i)
        if (!methods[i].oneway)
            out.push_back(&methods[i]);
    return out;
}

QString quoted(const QByteArray &bytes)
{
    QString text;
    for (char c : bytes)
        text += c >= 0x20 && c < 0x7f ? QChar::fromLatin1(c) : QChar(u'.');
    return QStringLiteral("\"%1\"").arg(text);
}

} // namespace

std::optional<KLumoConformFrame> KLumoConformFraming::probe(KLumoConformContext &ctx,
                                                            KLumoConformPeer &peer,
                                                            KLumoConformResult &r, const char *when)
{
    const quint32 seq = peer.call(probeMethod());
    std::optional<KLumoConformFrame> f = seq ? peer.await(seq, ctx.deadline()) : std::nullopt;
    if (r.sent.isEmpty())
        r.sent = QStringLiteral("a getLoginInfo call, ") + peer.lastSentText();
    if (!f)
        r.fail(QStringLiteral("%1: no reply to getLoginInfo: %2")
                   .arg(QLatin1String(when), peer.error()));
    return f;
}

std::optional<KLumoConformFrame> KLumoConformFraming::nextAnswer(KLumoConformContext &ctx,
                                                                 KLumoConformPeer &peer)
{
    std::optional<KLumoConformFrame> answer;
    peer.readUntil(
        [&](const KLumoConformFrame &f) {
            const bool late = f.kind == KLumoConformFrame::Stray && peer.answered(f.header.seqId);
            if (!f.notifyMessage && !late)
                answer = f;
            return bool(answer);
        },
        ctx.deadline());
    return answer;
}

bool KLumoConformFraming::answeredUnder(KLumoConformContext &ctx, KLumoConformPeer &peer,
                                        KLumoConformResult &r, quint32 seqId)
{
    if (!peer.call(probeMethod(), KLumoJsonValue::object(), seqId))
        return r.fail(peer.error());
    const std::optional<KLumoConformFrame> f = nextAnswer(ctx, peer);
    if (!f)
        return r.fail(QStringLiteral("nothing came back to the call under seq %1: %2")
                          .arg(seqId)
                          .arg(peer.error()));
    if (f->header.seqId != seqId)
        return r.fail(QStringLiteral("the call under seq %1 was answered under seq %2")
                          .arg(seqId)
                          .arg(f->header.seqId),
                      f->hex());
    return true;
}

void KLumoConformFraming::magic(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    for (int i = 0; peer && i < Probes; ++i) {
        const std::optional<KLumoConformFrame> f = probe(ctx, *peer, r, "reply");
        if (!f)
            return;
        if (!f->header.hasMagic())
            return void(r.fail(QStringLiteral("the %1 starts with %2, not \"lumo\"")
                                   .arg(f->describe(), quoted(f->head.left(4))),
                               f->hex()));
    }
}

void KLumoConformFraming::length(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    for (int i = 0; peer && i < Probes; ++i) {
        const std::optional<KLumoConformFrame> f = probe(ctx, *peer, r, "reply");
        if (!f)
            return;
        if (f->overran)
            return void(r.fail(QStringLiteral("the %1 ends inside its message: %2")
                                   .arg(f->describe(), QString::fromStdString(f->departure)),
                               f->hex()));
        if (f->trailing)
            return void(r.fail(QStringLiteral("the %1 carries %2 bytes after its message")
                                   .arg(f->describe())
                                   .arg(f->trailing),
                               f->hex()));
    }
}

void KLumoConformFraming::replySeq(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    r.sent = QStringLiteral("getLoginInfo calls under seq 1 to %1, one at a time").arg(Probes);
    for (quint32 seq = 1; peer && seq <= Probes && answeredUnder(ctx, *peer, r, seq); ++seq) { }
}

void KLumoConformFraming::singleReply(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    if (!peer || !probe(ctx, *peer, r, "first call") || !probe(ctx, *peer, r, "second call"))
        return;
    r.sent = QStringLiteral("two getLoginInfo calls, seq 1 and 2, one after the other");
    peer->drain(QDeadlineTimer(GraceMs));
    for (const KLumoConformFrame &f : peer->unexpected())
        if (f.header.seqId == 1 || f.header.seqId == 2)
            return void(r.fail(QStringLiteral("a second reply: %1").arg(f.describe()), f.hex()));
}

void KLumoConformFraming::oneway(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    if (!peer)
        return;
    const Service &s = *KLumoJsonSchemaIndex::service("KLumoServices");
    std::map<quint32, const char *> sent;
    for (int i = s.firstMethod; i < s.firstMethod + s.methodCount; ++i) {
        if (!methods[i].oneway)
            continue;
        const quint32 seq = peer->call(methods[i]);
        if (!seq)
            return void(r.fail(peer->error()));
        sent[seq] = methods[i].name;
    }
    r.sent = QStringLiteral("the %1 one-way methods with sample arguments, then a getLoginInfo "
                            "call")
                 .arg(sent.size());
    if (!probe(ctx, *peer, r, "the call after the one-way calls"))
        return;
    peer->drain(QDeadlineTimer(GraceMs));
    for (const KLumoConformFrame &f : peer->unexpected()) {
        const auto it = sent.find(f.header.seqId);
        if (it != sent.end())
            return void(r.fail(QStringLiteral("the one-way call %1 (seq %2) got a reply: %3")
                                   .arg(QLatin1String(it->second))
                                   .arg(it->first)
                                   .arg(f.describe()),
                               f.hex()));
    }
}

void KLumoConformFraming::notifySeq(KLumoConformContext &ctx, KLumoConformResult &r)
{
    if (!ctx.options().pushCommand.isEmpty()) {
        std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
        if (!peer || !probe(ctx, *peer, r, "before the push"))
            return;
        const Service &s = *KLumoJsonSchemaIndex::service("KLumoNotifyServices");
        const QString name = QLatin1String(methods[s.firstMethod].name);
        r.sent = QStringLiteral("a getLoginInfo call (seq 1, answered), then the push command "
                                "for %1")
                     .arg(name);
        QString error;
        if (!ctx.push(name, &error))
            return void(r.fail(error));
        if (!peer->readUntil([](const KLumoConformFrame &f) { return f.notifyMessage; },
                             ctx.deadline()))
            return void(r.fail(QStringLiteral("no notification arrived: %1").arg(peer->error())));
    }
    if (ctx.notifications().empty())
        return r.skip(QStringLiteral("no notification arrived; --push-command asks for one"));
    for (const KLumoConformFrame &f : ctx.notifications())
        if (f.header.seqId != 0)
            return void(
                r.fail(QStringLiteral("a notification under a request's id: %1").arg(f.describe()),
                       f.hex()));
}

void KLumoConformFraming::pipelined(KLumoConformContext &ctx, KLumoConformResult &r)
{
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    if (!peer)
        return;
    const std::vector<const Method *> calls = twoWayMethods(Pipelined);
    r.sent = QStringLiteral("%1 calls of different methods under seq 1 to %1, written at once")
                 .arg(calls.size());
    if (!peer->pipeline(calls))
        return void(r.fail(peer->error()));
    std::map<quint32, KLumoConformFrame> replies;
    std::vector<quint32> order;
    peer->readUntil(
        [&](const KLumoConformFrame &f) {
            if (f.kind == KLumoConformFrame::Reply) {
                order.push_back(f.header.seqId);
                replies.emplace(f.header.seqId, f);
            }
            return replies.size() == calls.size();
        },
        ctx.deadline());
    for (const KLumoConformFrame &f : peer->unexpected())
        if (!peer->answered(f.header.seqId)) // a second reply is framing-04's
            return void(r.fail(QStringLiteral("%1, which no call is waiting for").arg(f.describe()),
                               f.hex()));
    for (const auto &[seq, f] : replies)
        if (f.name != f.method->name)
            return void(
                r.fail(QStringLiteral("the reply under seq %1 is named \"%2\", but seq "
                                      "%1 called %3")
                           .arg(seq)
                           .arg(QString::fromStdString(f.name), QLatin1String(f.method->name)),
                       f.hex()));
    if (replies.size() < calls.size())
        return void(r.fail(QStringLiteral("%1 of %2 calls answered: %3")
                               .arg(replies.size())
                               .arg(calls.size())
                               .arg(peer->error())));
    r.notes << (std::is_sorted(order.begin(), order.end())
                    ? QStringLiteral("answered in order")
                    : QStringLiteral("answered out of order"));
}

void KLumoConformFraming::highSeq(KLumoConformContext &ctx, KLumoConformResult &r)
{
    static const quint32 ids[] = {0x7fffffffu, 0x80000000u, 0xfffffffeu, 0xffffffffu, 1};
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    r.sent = QStringLiteral("getLoginInfo calls under seq 2147483647, 2147483648, 4294967294, "
                            "4294967295, then 1, one at a time");
    for (size_t i = 0; peer && i < std::size(ids) && answeredUnder(ctx, *peer, r, ids[i]); ++i) { }
}

void KLumoConformFraming::connections(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const std::vector<const Method *> calls = twoWayMethods(Connections);
    std::vector<std::unique_ptr<KLumoConformPeer>> peers;
    r.sent = QStringLiteral("%1 connections, each answered once; then on each a call of another "
                            "method under seq 2, all sent before any reply is read")
                 .arg(calls.size());
    // Every connection is taken in and answered before the calls that matter go out.
    for (size_t i = 0; i < calls.size(); ++i) {
        peers.push_back(ctx.open(r));
        if (!peers.back() || !probe(ctx, *peers.back(), r, "a first call on a new connection"))
            return;
    }
    for (size_t i = 0; i < calls.size(); ++i)
        if (!peers[i]->call(*calls[i], KLumoConformPeer::sampleArgs(*calls[i]), 2))
            return void(r.fail(peers[i]->error()));
    for (size_t i = 0; i < peers.size(); ++i) {
        const std::optional<KLumoConformFrame> f = nextAnswer(ctx, *peers[i]);
        if (!f)
            return void(r.fail(QStringLiteral("connection %1 (%2): nothing came back: %3")
                                   .arg(i + 1)
                                   .arg(QLatin1String(calls[i]->name), peers[i]->error())));
        if (f->kind != KLumoConformFrame::Reply || f->name != calls[i]->name)
            return void(r.fail(QStringLiteral("connection %1 called %2 and got a %3")
                                   .arg(i + 1)
                                   .arg(QLatin1String(calls[i]->name), f->describe()),
                               f->hex()));
    }
}

} // namespace ofx::lumo
