// A method the service does not have.
// expect: createFoldr
#include <lumoipccalls.h>

void host(QObject *context)
{
    LumoIpc::createFoldr(ofx::lumo::CreateFolderArg(), context,
                         [](bool, const ofx::lumo::CreateFolderResult &) {});
}
