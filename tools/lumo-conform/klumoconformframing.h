#pragma once

#include "klumoconformpeer.h"

#include <optional>

namespace ofx::lumo {

class KLumoConformContext;
struct KLumoConformResult;

/**
 * The frames themselves: header, length, sequence ids, one reply per call and
 * none per one-way call, notifications, pipelining, the top of the id range
 * and several connections at once. Each case judges only its own rule; the
 * others read past a departure that is not theirs where they can (a wrong
 * magic does not stop the length case). Main thread.
 */
class KLumoConformFraming
{
public:
    static void magic(KLumoConformContext &ctx, KLumoConformResult &r);
    static void length(KLumoConformContext &ctx, KLumoConformResult &r);
    static void replySeq(KLumoConformContext &ctx, KLumoConformResult &r);
    static void singleReply(KLumoConformContext &ctx, KLumoConformResult &r);
    static void oneway(KLumoConformContext &ctx, KLumoConformResult &r);
    static void notifySeq(KLumoConformContext &ctx, KLumoConformResult &r);
    static void pipelined(KLumoConformContext &ctx, KLumoConformResult &r);
    static void highSeq(KLumoConformContext &ctx, KLumoConformResult &r);
    static void connections(KLumoConformContext &ctx, KLumoConformResult &r);

    // A getLoginInfo call and its reply; empty (with @p r failed, @p when
    // saying at which point) when none came within the budget.
    static std::optional<KLumoConformFrame> probe(KLumoConformContext &ctx, KLumoConformPeer &peer,
                                                  KLumoConformResult &r, const char *when);

private:
    // The next frame that is not a notification (a call's reply, or whatever
    // came instead); empty on timeout.
    static std::optional<KLumoConformFrame> nextAnswer(KLumoConformContext &ctx,
                                                       KLumoConformPeer &peer);
    // A getLoginInfo call under @p seqId, answered under that id; false with @p r failed.
    static bool answeredUnder(KLumoConformContext &ctx, KLumoConformPeer &peer,
                              KLumoConformResult &r, quint32 seqId);
};

} // namespace ofx::lumo
