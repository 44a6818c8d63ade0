#include "klumoconformnotifications.h"

#include "klumoconformcontext.h"
#include "klumoconformframing.h"
#include "klumojsonschemaindex.h"

namespace ofx::lumo {

using namespace jsonschema;

namespace {

constexpr int MaxMissesInARow = KLumoConformContext::MaxMissesInARow;
constexpr int Listed = KLumoConformContext::Listed;

} // namespace

void KLumoConformNotifications::pushed(KLumoConformContext &ctx, KLumoConformResult &r)
{
    if (ctx.options().pushCommand.isEmpty())
        return r.skip(QStringLiteral("no --push-command given"));
    std::unique_ptr<KLumoConformPeer> peer = ctx.open(r);
    // A call answered first: the service has taken the connection in when it pushes.
    if (!peer || !KLumoConformFraming::probe(ctx, *peer, r, "before the first push"))
        return;
    const Service &s = *KLumoJsonSchemaIndex::service("KLumoNotifyServices");
    r.sent = QStringLiteral("the push command, once for each of the %1 notifications")
                 .arg(s.methodCount);
    QStringList missing, departures;
    QString firstHex;
    int arrived = 0;
    int misses = 0;
    for (int i = s.firstMethod; i < s.firstMethod + s.methodCount && misses < MaxMissesInARow;
         ++i) {
        const QString name = QLatin1String(methods[i].name);
        QString error;
        if (!ctx.push(name, &error))
            return void(r.fail(QStringLiteral("%1: %2").arg(name, error)));
        std::optional<KLumoConformFrame> f;
        peer->readUntil(
            [&](const KLumoConformFrame &frame) {
                if (frame.notifyMessage && frame.name == methods[i].name)
                    f = frame;
                return bool(f);
            },
            ctx.deadline());
        if (!f) {
            ++misses;
            missing << QStringLiteral("%1 (%2)").arg(name, peer->error());
            continue;
        }
        misses = 0;
        ++arrived;
        if (f->departure.empty())
            continue;
        departures << QStringLiteral("%1: %2").arg(name, QString::fromStdString(f->departure));
        if (firstHex.isEmpty())
            firstHex = f->hex();
    }
    r.notes << QStringLiteral("%1 of %2 arrived").arg(arrived).arg(s.methodCount);
    if (!missing.isEmpty())
        r.fail(QStringLiteral("%1 did not arrive within %2 ms: %3%4")
                   .arg(missing.size())
                   .arg(ctx.budgetMs())
                   .arg(missing.mid(0, Listed).join(QStringLiteral("; ")))
                   .arg(misses >= MaxMissesInARow
                            ? QStringLiteral("; stopped after %1 in a row").arg(misses)
                            : QString()));
    else if (!departures.isEmpty())
        r.fail(QStringLiteral("%1 depart from their declared argument: %2")
                   .arg(departures.size())
                   .arg(departures.mid(0, Listed).join(QStringLiteral("; "))),
               firstHex);
}

void KLumoConformNotifications::decoded(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const std::vector<KLumoConformFrame> &seen = ctx.notifications();
    r.sent = QStringLiteral("nothing: the notifications that came during the run");
    if (seen.empty())
        return r.skip(QStringLiteral("no notification arrived during the run"));
    r.notes << QStringLiteral("%1 notifications").arg(seen.size());
    for (const KLumoConformFrame &f : seen)
        if (!f.departure.empty())
            return void(r.fail(
                QStringLiteral("%1: %2").arg(f.describe(), QString::fromStdString(f.departure)),
                f.hex()));
}

} // namespace ofx::lumo
