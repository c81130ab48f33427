// Fuzz target for opening project files: arbitrary bytes are written to a file and opened with
// kxProjectManager::ProjectOpen (preload pass and real read) under a manager that knows the
// test node types; a project that opens is written out again and its text must open again.
// Failures must end in the pending error, never in a crash, a leak or a sanitizer report.
#include "kx/foundation/kxerror.h"
#include "kx/project/kxprojman.h"

#include "kxfuzzutil.h"

#include "../tests/project/kxtestnodes.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

using kxfuzz::Check;

void RemoveTempFiles()
{
    unlink(kxfuzz::TempPath(".txt").c_str());
    unlink(kxfuzz::TempPath("_again.txt").c_str());
}

kxProjectManager &Manager()
{
    static kxProjectManager *manager = [] {
        std::atexit(&RemoveTempFiles);
        kxfuzz::InitialiseQuietly();
        kxtest::RegisterTestNodes();
        return new kxProjectManager;
    }();
    return *manager;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxProjectManager &manager = Manager();
    static const std::string input = kxfuzz::TempPath(".txt");
    Check(kxfuzz::WriteAll(input, data, size), "cannot write the input file");
    error.reset();
    const bool opened = manager.ProjectOpen(input.c_str(), "F");
    Check(opened || error != 0, "a failed open left no error");
    Check(opened == (manager.FindNode("F") != nullptr), "the open result and the tree disagree");
    error.reset();
    if (opened) {
        // What was read writes out again, and that text opens again.
        kxProjectNode *project = manager.FindNode("F");
        TextBlock block;
        Check(project->WriteTB(block), "an opened project could not be written");
        FBuff out;
        out.Append(block);
        const std::string text = out.getText();
        static const std::string again = kxfuzz::TempPath("_again.txt");
        Check(kxfuzz::WriteAll(again, text.data(), text.size()), "cannot write the second file");
        const bool reopened = manager.ProjectOpen(again.c_str(), "G");
        error.reset();
        Check(reopened, "a written project did not open again");
        Check(manager.FindNode("G")->getNodeCount() == project->getNodeCount(),
              "the written project lost children");
    }
    Check(manager.ProjectCloseAll(), "closing failed");
    Check(manager.ProjectCount() == 0, "a project stayed open");
    error.reset();
    return 0;
}
