// Fuzz target for opening project files: arbitrary bytes are written to a file and opened with
// kxProjectManager::ProjectOpen (preload pass and real read) under a manager that knows the
// test node types; a project that opens is written out again and its text must open again.
// Failures must end in the pending error, never in a crash, a leak or a sanitizer report.
#include "kx/foundation/kxerror.h"
#include "kx/project/kxprojman.h"

#include "../tests/project/kxtestnodes.h"

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
        std::fprintf(stderr, "kxproject_fuzz: %s\n", what);
        std::abort();
    }
}

std::string TempPath(const char *tag)
{
    const char *base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(base) + "/kxproject_fuzz_" + std::to_string(getpid()) + tag;
}

bool WriteAll(const std::string &path, const uint8_t *data, size_t size)
{
    FILE *file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const bool ok = size == 0 || std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && ok;
}

void RemoveTempFiles()
{
    unlink(TempPath(".txt").c_str());
    unlink(TempPath("_again.txt").c_str());
}

kxProjectManager &Manager()
{
    static kxProjectManager *manager = [] {
        std::atexit(&RemoveTempFiles);
        InitialiseKXUtils("kxproject_fuzz", KXString("fuzz"), 1, nullptr, &DiscardWarning,
                          &DiscardChoice, &Discard, &DiscardReport);
        kxtest::RegisterTestNodes();
        return new kxProjectManager;
    }();
    return *manager;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxProjectManager &manager = Manager();
    static const std::string input = TempPath(".txt");
    Check(WriteAll(input, data, size), "cannot write the input file");
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
        static const std::string again = TempPath("_again.txt");
        Check(WriteAll(again, reinterpret_cast<const uint8_t *>(text.data()), text.size()),
              "cannot write the second file");
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
