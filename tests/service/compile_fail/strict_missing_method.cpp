// A StrictHandler that leaves a method out cannot be made, and the compiler
// names the method still missing.
// expect: abstract type[^\n]*Files
// expect: StrictHandler::remove\(const ofx::lumo::RemoveArg&,
// LumoService::Reply<ofx::lumo::RemoveResult>\)
#include <LumoService/LumoService>

class Files : public LumoService::StrictHandler
{
    void createFolder(const ofx::lumo::CreateFolderArg &arg,
                      LumoService::Reply<ofx::lumo::CreateFolderResult> reply) override;
};

void serve(LumoService::Server &server)
{
    static Files files;
    server.setHandler(&files);
}
