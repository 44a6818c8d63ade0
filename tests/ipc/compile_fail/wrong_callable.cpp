// A callable that takes another method's result: the diagnostic says so and
// names the result the method delivers and the callable given.
// expect: the callable cannot take this method
// expect: CheckCallable<ofx::lumo::CreateFolderResult[^\n]*RemoveResult
#include <lumoipccalls.h>

void host(QObject *context)
{
    LumoIpc::createFolder(ofx::lumo::CreateFolderArg(), context,
                          [](bool, const ofx::lumo::RemoveResult &) {});
}
