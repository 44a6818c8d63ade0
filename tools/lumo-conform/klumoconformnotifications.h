#pragma once

namespace ofx::lumo {

class KLumoConformContext;
struct KLumoConformResult;

/**
 * The notification interface: every notification the service pushes must
 * decode as its declared argument. With --push-command the kit asks for each
 * notification of the interface in turn (the list is the interface's, read
 * from the generated tables); without it, it judges what arrived by itself.
 * Main thread.
 */
class KLumoConformNotifications
{
public:
    static void pushed(KLumoConformContext &ctx, KLumoConformResult &r);
    static void decoded(KLumoConformContext &ctx, KLumoConformResult &r);
};

} // namespace ofx::lumo
