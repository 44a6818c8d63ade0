#include "klumoconformmethods.h"

#include "klumoconformcontext.h"
#include "klumojsonmessage.h"
#include "klumojsonschemaindex.h"

#include <QCoreApplication>

#include <thrift/protocol/TProtocol.h>

#include <algorithm>

namespace ofx::lumo {

using namespace jsonschema;

namespace {

constexpr int MaxMissesInARow = KLumoConformContext::MaxMissesInARow;
constexpr int Listed = KLumoConformContext::Listed;

QString exceptionText(const KLumoConformFrame &f)
{
    if (f.body.isEmpty())
        return QStringLiteral("an application exception");
    try {
        const KLumoJsonMessage::Reply x =
            KLumoJsonMessage::decodeReply(*f.method, f.body.toStdString());
        return QStringLiteral("application exception %1 \"%2\"")
            .arg(x.exceptionType)
            .arg(QString::fromStdString(x.message));
    } catch (const std::exception &e) {
        return QStringLiteral("an unreadable application exception");
    }
}

} // namespace

const KLumoConformMethodRun &KLumoConformMethods::run(KLumoConformContext &ctx,
                                                      KLumoConformResult &r)
{
    if (ctx.methodRun)
        return *ctx.methodRun;
    KLumoConformMethodRun &out = ctx.methodRun.emplace();
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    if (!peer) {
        out.stoppedBecause = r.got;
        return out;
    }
    const Service &service = *KLumoJsonSchemaIndex::service("KLumoServices");
    int misses = 0;
    for (int i = service.firstMethod; i < service.firstMethod + service.methodCount; ++i) {
        const Method &m = methods[i];
        if (m.oneway)
            continue;
        KLumoConformMethodRun::Call c {&m, std::nullopt, QString()};
        if (const quint32 seq = peer->call(m))
            c.reply = peer->await(seq, ctx.deadline());
        if (!c.reply)
            c.error = peer->error();
        else if (c.reply->type != apache::thrift::protocol::T_EXCEPTION)
            c.reply->body.clear(); // 241 kept bodies of up to 1 MiB would add up
        out.calls.push_back(c);
        if (c.reply) {
            misses = 0;
            continue;
        }
        if (++misses >= MaxMissesInARow) {
            out.stoppedBecause =
                QStringLiteral("stopped after %1 calls in a row went unanswered").arg(misses);
            break;
        }
        // A late reply is harmless (its id is no longer awaited); a broken
        // connection is replaced.
        if (!peer->timedOut() && !peer->connectTo(ctx.serverPath())) {
            out.stoppedBecause = peer->error();
            break;
        }
    }
    return out;
}

void KLumoConformMethods::answered(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const KLumoConformMethodRun &run = KLumoConformMethods::run(ctx, r);
    std::vector<const KLumoConformMethodRun::Call *> replied;
    QStringList missing;
    KLumoJsonValue latency = KLumoJsonValue::object();
    for (const auto &c : run.calls) {
        if (c.reply) {
            replied.push_back(&c);
            latency.insert(c.method->name, c.reply->latencyMs);
        } else {
            missing << QStringLiteral("%1 (%2)").arg(QLatin1String(c.method->name), c.error);
        }
    }
    r.sent =
        QStringLiteral("%1 calls, one at a time, each with sample arguments").arg(run.calls.size());
    std::sort(replied.begin(), replied.end(),
              [](auto *a, auto *b) { return a->reply->latencyMs > b->reply->latencyMs; });
    QStringList slowest;
    KLumoJsonValue slow = KLumoJsonValue::array();
    for (size_t i = 0; i < replied.size() && i < size_t(Listed); ++i) {
        slowest << QStringLiteral("%1 %2 ms")
                       .arg(QLatin1String(replied[i]->method->name))
                       .arg(replied[i]->reply->latencyMs, 0, 'f', 2);
        slow.append(replied[i]->method->name);
    }
    if (!slowest.isEmpty())
        r.notes << QStringLiteral("slowest: ") + slowest.join(QStringLiteral(", "));
    r.data = KLumoJsonValue::object();
    r.data.insert("answered", int64_t(replied.size()));
    r.data.insert("slowest", slow);
    r.data.insert("latencyMs", latency);
    if (!missing.isEmpty() || !run.stoppedBecause.isEmpty())
        r.fail(QStringLiteral("%1 of %2 calls unanswered within %3 ms: %4%5")
                   .arg(missing.size())
                   .arg(run.calls.size())
                   .arg(ctx.budgetMs())
                   .arg(missing.mid(0, Listed).join(QStringLiteral("; ")))
                   .arg(run.stoppedBecause.isEmpty() ? QString()
                                                     : QStringLiteral("; ") + run.stoppedBecause));
}

void KLumoConformMethods::results(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const KLumoConformMethodRun &run = KLumoConformMethods::run(ctx, r);
    QStringList departures, exceptions;
    const KLumoConformFrame *first = nullptr;
    int replies = 0;
    for (const auto &c : run.calls) {
        if (!c.reply)
            continue;
        ++replies;
        const KLumoConformFrame &f = *c.reply;
        if (!f.departure.empty()) {
            departures << QStringLiteral("%1: %2").arg(QLatin1String(c.method->name),
                                                       QString::fromStdString(f.departure));
            first = first ? first : &f;
        } else if (f.type == apache::thrift::protocol::T_EXCEPTION) {
            exceptions << QStringLiteral("%1: %2").arg(QLatin1String(c.method->name),
                                                       exceptionText(f));
        }
    }
    r.sent = QStringLiteral("%1 calls with sample arguments").arg(run.calls.size());
    if (!replies)
        return r.skip(QStringLiteral("no method was answered (see methods-01)"));
    if (!exceptions.isEmpty())
        r.notes << QStringLiteral("%1 answered with an application exception: %2")
                       .arg(exceptions.size())
                       .arg(exceptions.mid(0, Listed).join(QStringLiteral("; ")));
    if (first) {
        r.sent = QStringLiteral("a call of %1 with sample arguments")
                     .arg(QLatin1String(first->method->name));
        r.fail(QStringLiteral("%1 of %2 replies depart from the declared result: %3")
                   .arg(departures.size())
                   .arg(replies)
                   .arg(departures.mid(0, Listed).join(QStringLiteral("; "))),
               first->hex());
    }
}

bool KLumoConformMethods::generic(KLumoConformContext &ctx, KLumoConformPeer &peer,
                                  KLumoConformResult &r, const QString &name,
                                  const QStringList &params, QMap<QString, QString> *answer)
{
    const Method &m = KLumoConformPeer::requestMethod("asynCall");
    KLumoJsonValue args = KLumoJsonValue::object();
    KLumoJsonValue list = KLumoJsonValue::array();
    for (const QString &p : params)
        list.append(p.toStdString());
    args.insert("method", name.toStdString());
    args.insert("params", list);
    r.sent = QStringLiteral("asynCall(\"%1\", [\"%2\"])")
                 .arg(name, params.join(QStringLiteral("\", \"")));
    const quint32 seq = peer.call(m, args);
    const std::optional<KLumoConformFrame> f = seq ? peer.await(seq, ctx.deadline()) : std::nullopt;
    if (!f)
        return r.fail(QStringLiteral("no reply: %1").arg(peer.error()));
    if (!f->departure.empty())
        return r.fail(QString::fromStdString(f->departure), f->hex());
    if (f->type == apache::thrift::protocol::T_EXCEPTION)
        return r.fail(exceptionText(*f), f->hex());
    if (f->body.isEmpty())
        return true; // a string map too large to keep, but a string map
    const KLumoJsonMessage::Reply reply = KLumoJsonMessage::decodeReply(m, f->body.toStdString());
    for (const auto &member : reply.value.members())
        answer->insert(QString::fromStdString(member.first),
                       QString::fromStdString(member.second.toString()));
    return true;
}

bool KLumoConformMethods::loginInfo(KLumoConformContext &ctx, KLumoConformPeer &peer,
                                    KLumoConformResult &r, QMap<QString, QString> *answer)
{
    return generic(ctx, peer, r, QStringLiteral("getLoginInfo"),
                   {QCoreApplication::applicationName()}, answer);
}

void KLumoConformMethods::genericLogin(KLumoConformContext &ctx, KLumoConformResult &r)
{
    QMap<QString, QString> answer;
    if (std::unique_ptr<KLumoConformPeer> peer = ctx.open(r))
        if (loginInfo(ctx, *peer, r, &answer))
            r.notes << QStringLiteral("%1 keys").arg(answer.size());
}

void KLumoConformMethods::genericParams(KLumoConformContext &ctx, KLumoConformResult &r)
{
    QMap<QString, QString> answer;
    if (std::unique_ptr<KLumoConformPeer> peer = ctx.open(r))
        if (generic(ctx, *peer, r, QStringLiteral("getSkinInfo"),
                    {QStringLiteral("lumo-conform"), QStringLiteral("1")}, &answer))
            r.notes << QStringLiteral("%1 keys").arg(answer.size());
}

} // namespace ofx::lumo
