// sfhandler.cpp - the cache directory of state files and their names.
#define KX_UNIT "sfhandler"

#include "kx/project/sfhandler.h"

namespace {
KXString &CacheDir()
{
    static KXString dir;
    return dir;
}
} // namespace

const KXString &SFHandler::getCacheDir() { return CacheDir(); }

void SFHandler::setCacheDir(const char *dir) { CacheDir() = dir ? dir : ""; }

KXString getCacheFileName(const char *projectFile)
{
    KXString name(projectFile ? projectFile : "");
    const int slash = name.Last('/');
    if (slash >= 0)
        name = name.SubString(slash + 1, name.Length() - slash - 1);
    const int dot = name.Last('.');
    if (dot < 0)
        name += "_.sta";
    else
        name = KXString(name.SubString(0, dot)) + "_" +
               name.SubString(dot + 1, name.Length() - dot - 1) + ".sta";
    KXString path = SFHandler::getCacheDir();
    path += "/";
    path += name;
    return path;
}
