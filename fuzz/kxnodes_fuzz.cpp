// Fuzz target for the blocks of the variables, notes and script nodes: the input is the body of
// a project (blocks of those node types, or anything else), opened through the project manager
// (preload pass and real read). A project that opens is written out; that text must open again
// and write out the same text once more. Failures must end in the pending error, never in a
// crash, a leak or a sanitizer report.
#include "kx/foundation/kxerror.h"
#include "kx/project/kxprojman.h"

#include "kxfuzzutil.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

using kxfuzz::Check;

kxProjectManager &Manager()
{
    static kxProjectManager *manager = [] {
        kxfuzz::InitialiseQuietly();
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
    static const std::string input = kxfuzz::TempPath(".txt");
    const std::string body(reinterpret_cast<const char *>(data), size);
    const std::string text = "begin <kxProject(1.0)> \"F\"\n" + body + "\nend\n";
    Check(kxfuzz::WriteAll(input, text.data(), text.size()), "cannot write the input file");
    error.reset();
    const bool opened = manager.ProjectOpen(input.c_str(), "F");
    Check(opened || error != 0, "a failed open left no error");
    error.reset();
    if (opened) {
        const std::string first = Written(manager.FindNode("F"));
        static const std::string again = kxfuzz::TempPath("_again.txt");
        Check(kxfuzz::WriteAll(again, first.data(), first.size()), "cannot write the second file");
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
