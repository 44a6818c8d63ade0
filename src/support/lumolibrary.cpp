// The shared library is the core archive linked whole; this unit only names
// the build so that the library always has a translation unit of its own.
extern const char lumoipcBuildTag[];
const char lumoipcBuildTag[] = "lumoipc";
