// A handler whose Reply carries another method's result overrides nothing,
// and a reply cannot be finished with another record.
// expect: createFolder[^\n]*Reply<ofx::lumo::RemoveResult>[^\n]*marked override, but does not
// override expect: cannot convert ofx::lumo::RemoveResult to const ofx::lumo::CreateFolderResult&
#include <LumoService/LumoService>

class Files : public LumoService::Handler
{
    void createFolder(const ofx::lumo::CreateFolderArg &arg,
                      LumoService::Reply<ofx::lumo::RemoveResult> reply) override;
    void rename(const ofx::lumo::RenameArg &arg,
                LumoService::Reply<ofx::lumo::CreateFolderResult> reply)
    {
        reply.finish(ofx::lumo::RemoveResult());
    }
};
