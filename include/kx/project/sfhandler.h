// sfhandler.h - state files: the binary files beside a project that hold what nodes keep outside
// the text (cached results). They live in one cache directory; an empty cache directory (the
// default) switches state files off.
//
// getCacheFileName(projectFile): the file name without its directory; without a full stop it
// gets "_.sta", otherwise the last full stop becomes "_" and ".sta" is appended (a.b.txt gives
// a.b_txt.sta); the result is joined to the cache directory with "/".
#ifndef KX_PROJECT_SFHANDLER_H
#define KX_PROJECT_SFHANDLER_H

#include "kx/foundation/kxstring.h"

class SFHandler {
public:
    /// The cache directory ("" when state files are off).
    [[nodiscard]] static const KXString &getCacheDir();
    static void setCacheDir(const char *dir);
    /// True when state files are on.
    [[nodiscard]] static bool IsEnabled() { return !getCacheDir().Empty(); }
};

/// The state file of a project file (see the top of this file).
[[nodiscard]] KXString getCacheFileName(const char *projectFile);

#endif
