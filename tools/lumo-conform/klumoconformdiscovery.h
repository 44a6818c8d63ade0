#pragma once

#include <LumoService/Discovery>

namespace ofx::lumo {

class KLumoConformContext;
struct KLumoConformResult;

/**
 * How a host finds the service: its lock files in the temporary folder, the
 * socket it listens on and the server name. Read with the library's own
 * functions (lock paths and tests, server name, peer check), so the kit sees
 * what a host sees. Main thread.
 */
class KLumoConformDiscovery
{
public:
    static void mainLock(KLumoConformContext &ctx, KLumoConformResult &r);
    static void existLock(KLumoConformContext &ctx, KLumoConformResult &r);
    static void loginLock(KLumoConformContext &ctx, KLumoConformResult &r);
    static void lockFiles(KLumoConformContext &ctx, KLumoConformResult &r);
    static void socket(KLumoConformContext &ctx, KLumoConformResult &r);
    static void serverName(KLumoConformContext &ctx, KLumoConformResult &r);

private:
    static void held(LumoService::Discovery::Lock lock, KLumoConformResult &r);
};

} // namespace ofx::lumo
