// A push takes its notification's record and no other.
// expect: notifyFileAction\(ofx::lumo::RemoveArg\)
// expect: NotifyFileActionArg
#include <LumoService/LumoService>

void push(LumoService::Server &server)
{
    server.notifier().notifyFileAction(ofx::lumo::RemoveArg());
}
