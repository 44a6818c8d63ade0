#pragma once

#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace ofx::lumo {

class KLumoConformContext;
class KLumoConformPeer;
struct KLumoConformResult;

/**
 * Clients that misbehave, each on connections of its own, while a
 * well-behaved connection goes on calling: the service must keep answering
 * it before, during and after, and still accept new connections. Whether the
 * service answers or drops the bad connection itself is its own affair.
 * Main thread.
 */
class KLumoConformRobustness
{
public:
    static void badMagic(KLumoConformContext &ctx, KLumoConformResult &r);
    static void shortLength(KLumoConformContext &ctx, KLumoConformResult &r);
    static void hugeLength(KLumoConformContext &ctx, KLumoConformResult &r);
    static void truncated(KLumoConformContext &ctx, KLumoConformResult &r);
    static void notThrift(KLumoConformContext &ctx, KLumoConformResult &r);
    static void unknownMethod(KLumoConformContext &ctx, KLumoConformResult &r);
    static void connectionStorm(KLumoConformContext &ctx, KLumoConformResult &r);

private:
    using Peers = std::vector<std::unique_ptr<KLumoConformPeer>>;
    // Opens the bad connections into @p bad and misbehaves on them; false
    // (with @p r failed) when it could not.
    using Attack = std::function<bool(Peers &bad)>;

    static void survive(KLumoConformContext &ctx, KLumoConformResult &r, const Attack &attack);
    // One bad connection that sends @p bytes; @p what describes them.
    static void sendBytes(KLumoConformContext &ctx, KLumoConformResult &r, const QString &what,
                          const QByteArray &bytes);
};

} // namespace ofx::lumo
