#pragma once

#include <QMap>
#include <QString>

namespace ofx::lumo {

class KLumoConformContext;
class KLumoConformPeer;
struct KLumoConformResult;
struct KLumoConformMethodRun;

/**
 * The request interface, method by method: every two-way method of the
 * interface (read from the tables generated from it) is called once with
 * sample arguments, in declaration order, one call at a time; and the generic
 * route as the library uses it. The one-way methods are framing-05's.
 * Main thread.
 */
class KLumoConformMethods
{
public:
    static void answered(KLumoConformContext &ctx, KLumoConformResult &r);
    static void results(KLumoConformContext &ctx, KLumoConformResult &r);
    static void genericLogin(KLumoConformContext &ctx, KLumoConformResult &r);
    static void genericParams(KLumoConformContext &ctx, KLumoConformResult &r);

    // asynCall("getLoginInfo", [application name]) as the library sends it;
    // false (with @p r failed) unless a string map came back.
    static bool loginInfo(KLumoConformContext &ctx, KLumoConformPeer &peer, KLumoConformResult &r,
                          QMap<QString, QString> *answer);

private:
    static const KLumoConformMethodRun &run(KLumoConformContext &ctx, KLumoConformResult &r);
    static bool generic(KLumoConformContext &ctx, KLumoConformPeer &peer, KLumoConformResult &r,
                        const QString &name, const QStringList &params,
                        QMap<QString, QString> *answer);
};

} // namespace ofx::lumo
