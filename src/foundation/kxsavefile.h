// kxsavefile.h - the platform services of the block text files: the safe file replacement used
// by FBuff::SaveFile (the new text goes to a temporary file in the target's directory, is
// flushed to disk and then renamed over the target, so that the old file stays whole until the
// new one is complete), and a memory hint for large text buffers.
#ifndef KX_FOUNDATION_KXSAVEFILE_H
#define KX_FOUNDATION_KXSAVEFILE_H

#include <cstddef>

enum class kxSaveResult {
    Ok,
    CannotOpen, ///< the target is a directory or read-only, or no file can be made beside it
    WriteFailed ///< writing, flushing or renaming the temporary file failed
};

struct kxSaveStatus {
    kxSaveResult result;
    int sysError; ///< errno of the failure, 0 on success
};

/// Replaces the file at `path` (following a symbolic link to its target) by `n` bytes of
/// `data`. An existing file keeps its permission bits; a new one gets 0666 less the umask. On
/// any failure the temporary file is removed and the old file is left untouched.
[[nodiscard]] kxSaveStatus kxSaveFileAtomic(const char *path, const char *data, size_t n);

/// True when `path` names an existing file that is not a directory and can be read.
[[nodiscard]] bool kxFileIsReadable(const char *path);

/// Tells the system that the `n` bytes at `p`, a large text buffer, are best backed by large
/// pages (fewer page faults while a big file is read or copied). Only a hint.
void kxAdviseLargeBuffer(void *p, size_t n);

#endif
