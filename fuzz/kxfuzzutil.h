// kxfuzzutil.h - what the fuzz targets share: the library set up once with its output thrown
// away, the check that stops a target with a message, and scratch files for inputs.
#ifndef KX_FUZZ_KXFUZZUTIL_H
#define KX_FUZZ_KXFUZZUTIL_H

#include "kx/foundation/kxerror.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace kxfuzz {

inline void DiscardLine(int, const char *) {}
inline void DiscardWarning(const char *) {}
inline bool DiscardChoice(int, const char *) { return false; }
inline void DiscardReport(const char *) {}

/// Sets the library up, once, with every message, warning, question and report thrown away.
inline void InitialiseQuietly()
{
    static const bool done =
        (InitialiseKXUtils("fuzz", KXString("fuzz"), 1, nullptr, &DiscardWarning, &DiscardChoice,
                           &DiscardLine, &DiscardReport),
         true);
    (void)done;
}

/// Stops the target with "<program>: what" when `ok` is false (libFuzzer keeps the input).
inline void Check(bool ok, const char *what)
{
    if (!ok) {
        std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, what);
        std::abort();
    }
}

/// A scratch file of this process, in memory when /dev/shm can be written.
inline std::string TempPath(const char *tag)
{
    const char *base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(base) + "/" + program_invocation_short_name + "_" +
           std::to_string(getpid()) + tag;
}

/// Writes `size` bytes to a file (replacing it); false when it cannot be written whole.
inline bool WriteAll(const std::string &path, const void *data, size_t size)
{
    FILE *file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const bool ok = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && ok;
}

} // namespace kxfuzz

#endif
