// A record of another method's type: the diagnostic names the one given and
// the one the method takes.
// expect: RemoveArg[^\n]*CreateFolderArg
#include <lumoipccalls.h>

void host(QObject *context)
{
    LumoIpc::createFolder(ofx::lumo::RemoveArg(), context,
                          [](bool, const ofx::lumo::CreateFolderResult &) {});
}
