// Fuzz target for the blocks of the variables, notes and script nodes: the input is the body of
// a project (blocks of those node types, or anything else), opened through the project manager
// (preload pass and real read). A project that opens is written out; that text must open again
// and write out the same text once more. Failures must end in the pending error, never in a
// crash, a leak or a sanitizer report.
#include "kx/foundation/kxerror.h"
#include "kx/project/kxprojman.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

void Discard(int, const char *) {}
void DiscardWarning(const char *) {}
bool DiscardChoice(int, const char *) { return false; }
void DiscardReport(const char *) {}

void Check(bool ok, const char *what)
{
    if (!ok) {
        std::fprintf(stderr, "kxnodes_fuzz: %s\n", what);
        std::abort();
    }
}

std::string TempPath(const char *tag)
{
    const char *base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(base) + "/kxnodes_fuzz_" + std::to_string(getpid()) + tag;
}

bool WriteAll(const std::string &path, const std::string &text)
{
    FILE *file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const bool ok = text.empty() || std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && ok;
}

kxProjectManager &Manager()
{
    static kxProjectManager *manager = [] {
        InitialiseKXUtils("kxnodes_fuzz", KXString("fuzz"), 1, nullptr, &DiscardWarning,
                          &DiscardChoice, &Discard, &DiscardReport);
        return new kxProjectManager;
    }();
    return *manager;
}

/// The project's text as it writes itself.
std::string Written(kxProjectNode *project)
{
    TextBlock block;
    Check(project->WriteTB(block), "an opened project could not be written");
    FBuff out;
    out.Append(block);
    return out.getText();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxProjectManager &manager = Manager();
    static const std::string input = TempPath(".txt");
    const std::string body(reinterpret_cast<const char *>(data), size);
    Check(WriteAll(input, "begin <kxProject(1.0)> \"F\"\n" + body + "\nend\n"),
          "cannot write the input file");
    error.reset();
    const bool opened = manager.ProjectOpen(input.c_str(), "F");
    Check(opened || error != 0, "a failed open left no error");
    error.reset();
    if (opened) {
        const std::string first = Written(manager.FindNode("F"));
        static const std::string again = TempPath("_again.txt");
        Check(WriteAll(again, first), "cannot write the second file");
        Check(manager.ProjectCloseAll(), "closing failed");
        const bool reopened = manager.ProjectOpen(again.c_str(), "F");
        error.reset();
        Check(reopened, "a written project did not open again");
        Check(Written(manager.FindNode("F")) == first, "a second round trip changed the text");
    }
    Check(manager.ProjectCloseAll(), "closing failed");
    error.reset();
    return 0;
}
