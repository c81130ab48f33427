// Benchmark of project files: a project of about 10,000 test nodes nested four deep with
// 100,000 variable lines (about 5 MB) is saved, opened (preload pass and real read, formulas
// not evaluated) and searched with FindNode by absolute path.
//
// Ratios printed in the same run:
//   open / plain block walk      opening against loading the same file and walking every
//                                block and body line with TextBlock alone (target <= 3)
//   save / ofstream + fsync      saving against writing the same text with std::ofstream and
//                                flushing it to disk with fsync (target <= 2). The two sides
//                                differ in what makes them safe: the save builds the text from
//                                the tree, writes it to a temporary file beside the target,
//                                fsyncs it, renames it over the target and fsyncs the directory
//                                (so a crash leaves the old file or the new one whole); the peer
//                                truncates the file in place, writes the ready text and fsyncs
//                                the file once.
//   save, text only / ofstream + fsync   what building the text costs by itself (no file)
//   open 10 MB / open 5 MB       a project twice as large (target about 2: linear)
// Google Benchmark's ratios are in CPU time (other load on the machine does not skew them).
// Before the benchmarks it prints the peak memory added while a project is open, against the
// file size (target <= 5), and the open and save ratios once more in both wall and CPU time,
// measured side by side (the flush to disk is waiting, which only wall time shows).
//
// The files go to $KX_BENCH_DIR, else /tmp.
#include "kxbench.h"

#include "kx/project/kxprojman.h"

#include "../tests/project/kxtestnodes.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

void Discard(int, const char *) {}

std::string Dir()
{
    const char *dir = std::getenv("KX_BENCH_DIR");
    return dir && *dir ? dir : "/tmp";
}

std::string ProjectPath(int megabytes)
{
    return Dir() + "/kxproject_bench_" + std::to_string(getpid()) + "_" +
           std::to_string(megabytes) + ".txt";
}

kxProjectManager &Manager()
{
    static kxProjectManager *manager = [] {
        InitialiseKXUtils("kxproject_bench", KXString("bench"), 1, nullptr, nullptr, nullptr,
                          &Discard, nullptr);
        kxtest::RegisterTestNodes();
        kxTestNode::evaluateOnRead = false;
        return new kxProjectManager;
    }();
    return *manager;
}

struct Fixture {
    std::string path;
    size_t bytes = 0;
    std::string text;
    std::vector<std::string> paths;
    size_t nodes = 0;
    int variables = 0;
};

/// Builds a project "P": `top` nodes under it, each with 10 children, each with 10 children,
/// each with 9 children (top = 10: 10,110 nodes, four deep), with 10 variable lines in every
/// node but the first top * 110 of the deepest, which have 9 (top = 10: 100,000 lines).
kxProject *BuildProject(int top, Fixture &f)
{
    kxProjectManager &manager = Manager();
    auto *project = static_cast<kxProject *>(manager.AddSubnode("kxProject", "P"));
    int &variable = f.variables;
    auto add = [&f, &variable](kxProjectNode *parent, const std::string &name, int lines) {
        auto *node = static_cast<kxTestNode *>(parent->AddSubnode("testNodeTB", name.c_str()));
        ++f.nodes;
        for (int i = 0; i < lines; ++i, ++variable)
            node->lines.push_back("width_" + std::to_string(variable) + " = 1.25 * width_" +
                                  std::to_string(variable > 0 ? variable - 1 : 0) + " + 0.5");
        return node;
    };
    int deepest = 0;
    for (int a = 0; a < top; ++a) {
        kxProjectNode *n1 = add(project, "a" + std::to_string(a), 10);
        for (int b = 0; b < 10; ++b) {
            kxProjectNode *n2 = add(n1, "b" + std::to_string(b), 10);
            for (int c = 0; c < 10; ++c) {
                kxProjectNode *n3 = add(n2, "c" + std::to_string(c), 10);
                for (int d = 0; d < 9; ++d, ++deepest) {
                    const std::string name = "d" + std::to_string(d);
                    add(n3, name, deepest < top * 110 ? 9 : 10);
                    f.paths.push_back("/P/a" + std::to_string(a) + "/b" + std::to_string(b) + "/c" +
                                      std::to_string(c) + "/" + name);
                }
            }
        }
    }
    return project;
}

/// The saved file of a project of the given size (5 or 10 MB), made once.
Fixture &Saved(int megabytes)
{
    static Fixture fixtures[2];
    Fixture &f = fixtures[megabytes == 10 ? 1 : 0];
    if (!f.path.empty())
        return f;
    f.path = ProjectPath(megabytes);
    kxProject *project = BuildProject(megabytes == 10 ? 20 : 10, f);
    if (!project->SaveToFile(f.path.c_str()))
        std::abort();
    Manager().ProjectClose(project);
    std::ifstream in(f.path, std::ios::binary);
    f.text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    f.bytes = f.text.size();
    return f;
}

void BM_SaveProject(benchmark::State &state)
{
    Fixture &f = Saved(5);
    if (!Manager().ProjectOpen(f.path.c_str()))
        std::abort();
    auto *project = static_cast<kxProject *>(Manager().FindNode("P"));
    const std::string out = Dir() + "/kxproject_bench_save.txt";
    for (auto _ : state)
        if (!project->SaveToFile(out.c_str()))
            std::abort();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
    Manager().ProjectClose(project);
    unlink(out.c_str());
}

/// Only the text of the save: the project written into one block, no file.
void BM_SaveProjectTextOnly(benchmark::State &state)
{
    Fixture &f = Saved(5);
    if (!Manager().ProjectOpen(f.path.c_str()))
        std::abort();
    auto *project = static_cast<kxProject *>(Manager().FindNode("P"));
    for (auto _ : state) {
        TextBlock block;
        if (!project->WriteTB(block))
            std::abort();
        benchmark::DoNotOptimize(block.getLen());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
    Manager().ProjectClose(project);
}

void BM_OfstreamFsync(benchmark::State &state)
{
    Fixture &f = Saved(5);
    const std::string out = Dir() + "/kxproject_bench_plain.txt";
    for (auto _ : state) {
        {
            std::ofstream file(out, std::ios::binary | std::ios::trunc);
            file.write(f.text.data(), std::streamsize(f.text.size()));
        }
        const int fd = open(out.c_str(), O_RDONLY);
        fsync(fd);
        close(fd);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
    unlink(out.c_str());
}

void BM_OpenProject(benchmark::State &state)
{
    Fixture &f = Saved(int(state.range(0)));
    for (auto _ : state) {
        if (!Manager().ProjectOpen(f.path.c_str()))
            std::abort();
        state.PauseTiming();
        Manager().ProjectCloseAll();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
}

/// The same open with a node type that defines no variables in the preload pass: what the
/// tree and the two passes cost by themselves.
void BM_OpenProjectTreeOnly(benchmark::State &state)
{
    kxTestNode::defineOnPreload = false;
    BM_OpenProject(state);
    kxTestNode::defineOnPreload = true;
}

/// Walks every block and body line of the file with TextBlock alone.
size_t WalkBlock(TextBlock &block)
{
    size_t lines = 0;
    block.GotoBody();
    while (!block.EOB()) {
        const uint32_t at = block.getPosn();
        TextBlock sub;
        if (sub.LoadBlock(block)) {
            lines += WalkBlock(sub);
            continue;
        }
        block.setPosn(at);
        if (!block.gets())
            break;
        ++lines;
    }
    return lines;
}

void BM_BlockWalk(benchmark::State &state)
{
    Fixture &f = Saved(int(state.range(0)));
    for (auto _ : state) {
        FBuff buffer;
        if (!buffer.LoadFile(f.path.c_str()))
            std::abort();
        size_t lines = 0;
        TextBlock block;
        while (block.LoadBlock(buffer))
            lines += WalkBlock(block);
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
}

void BM_FindNodeAbsolute(benchmark::State &state)
{
    Fixture &f = Saved(5);
    if (!Manager().ProjectOpen(f.path.c_str()))
        std::abort();
    kxProjectNode *from = Manager().FindNode("P");
    size_t i = 0;
    for (auto _ : state) {
        kxProjectNode *found = from->FindNode(f.paths[(i++ * 7919) % f.paths.size()].c_str());
        if (!found)
            std::abort();
        benchmark::DoNotOptimize(found);
    }
    Manager().ProjectCloseAll();
}

long StatusKB(const char *field)
{
    std::ifstream in("/proc/self/status");
    std::string line;
    const std::string key = std::string(field) + ":";
    while (std::getline(in, line))
        if (line.compare(0, key.size(), key) == 0)
            return std::atol(line.c_str() + key.size());
    return -1;
}

size_t HeapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

/// Memory added by opening the 5 MB project, against its size: the heap in use while it is
/// open, and the peak resident size while opening (freed memory is given back to the system
/// first, so that the resident size grows with what the open takes).
void ReportMemory(bool defineVariables)
{
    Fixture &f = Saved(5);
    kxTestNode::defineOnPreload = defineVariables;
    malloc_trim(0);
    if (FILE *clear = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", clear); // resets the peak resident size
        std::fclose(clear);
    }
    const size_t heapBefore = HeapInUse();
    const long rssBefore = StatusKB("VmRSS");
    if (!Manager().ProjectOpen(f.path.c_str()))
        std::abort();
    const double heap = double(HeapInUse() - heapBefore) / 1048576.0;
    const double peak = double(StatusKB("VmHWM") - rssBefore) / 1024.0;
    Manager().ProjectCloseAll();
    kxTestNode::defineOnPreload = true;
    const double mb = double(f.bytes) / 1048576.0;
    std::printf("%s: heap while open %.2f MB (%.2fx the file), peak resident growth while "
                "opening %.2f MB (%.2fx the file)\n",
                defineVariables ? "with variables defined" : "tree only", heap, heap / mb, peak,
                peak / mb);
}

struct Seconds {
    double wall;
    double cpu;
};

double CpuNow()
{
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

/// Wall and CPU time of one run of `work`, averaged over `repeats` runs.
Seconds Time(const std::function<void()> &work, int repeats)
{
    const auto start = std::chrono::steady_clock::now();
    const double cpuStart = CpuNow();
    for (int i = 0; i < repeats; ++i)
        work();
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return {wall / repeats, (CpuNow() - cpuStart) / repeats};
}

void PrintRatio(const char *what, const char *peer, Seconds a, Seconds b, const char *target)
{
    std::printf("%s %.1f ms wall, %.1f ms CPU; %s %.1f ms wall, %.1f ms CPU: ratio %.3f wall, "
                "%.3f CPU (%s)\n",
                what, a.wall * 1e3, a.cpu * 1e3, peer, b.wall * 1e3, b.cpu * 1e3, a.wall / b.wall,
                a.cpu / b.cpu, target);
}

/// Open against the plain block walk, in wall and CPU time (closing is not timed).
void ReportOpenTimes()
{
    Fixture &f = Saved(5);
    Seconds open{0, 0};
    for (int i = 0; i < 5; ++i) {
        const Seconds one = Time(
            [&] {
                if (!Manager().ProjectOpen(f.path.c_str()))
                    std::abort();
            },
            1);
        open.wall += one.wall / 5;
        open.cpu += one.cpu / 5;
        Manager().ProjectCloseAll();
    }
    const Seconds walk = Time(
        [&] {
            FBuff buffer;
            if (!buffer.LoadFile(f.path.c_str()))
                std::abort();
            size_t lines = 0;
            TextBlock block;
            while (block.LoadBlock(buffer))
                lines += WalkBlock(block);
            benchmark::DoNotOptimize(lines);
        },
        20);
    PrintRatio("open", "block walk", open, walk, "target <= 3");
}

/// Save against std::ofstream + fsync in wall and CPU time (see the top for what each does).
void ReportSaveTimes()
{
    Fixture &f = Saved(5);
    if (!Manager().ProjectOpen(f.path.c_str()))
        std::abort();
    auto *project = static_cast<kxProject *>(Manager().FindNode("P"));
    const std::string out = Dir() + "/kxproject_bench_save.txt";
    const std::string plain = Dir() + "/kxproject_bench_plain.txt";
    const Seconds save = Time(
        [&] {
            if (!project->SaveToFile(out.c_str()))
                std::abort();
        },
        10);
    const Seconds peer = Time(
        [&] {
            {
                std::ofstream file(plain, std::ios::binary | std::ios::trunc);
                file.write(f.text.data(), std::streamsize(f.text.size()));
            }
            const int fd = open(plain.c_str(), O_RDONLY);
            fsync(fd);
            close(fd);
        },
        10);
    Manager().ProjectCloseAll();
    unlink(out.c_str());
    unlink(plain.c_str());
    PrintRatio("save", "ofstream + fsync", save, peer, "target <= 2");
}

} // namespace

BENCHMARK(BM_SaveProject)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveProjectTextOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OfstreamFsync)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenProject)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenProjectTreeOnly)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BlockWalk)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindNodeAbsolute);

int main(int argc, char **argv)
{
    Fixture &f = Saved(5);
    std::printf("project file: %.2f MB, %zu nodes, %d variable lines\n",
                double(f.bytes) / 1048576.0, f.nodes, f.variables);
    ReportMemory(true);
    ReportMemory(false);
    ReportOpenTimes();
    ReportSaveTimes();
    const int rc = kxbench::Main(
        argc, argv,
        {{"open / plain block walk (target <= 3)", "BM_OpenProject/5", "BM_BlockWalk/5"},
         {"save / ofstream + fsync (target <= 2)", "BM_SaveProject", "BM_OfstreamFsync"},
         {"save, text only / ofstream + fsync", "BM_SaveProjectTextOnly", "BM_OfstreamFsync"},
         {"open, tree only / plain block walk", "BM_OpenProjectTreeOnly/5", "BM_BlockWalk/5"},
         {"open 10 MB / open 5 MB (linear: about 2)", "BM_OpenProject/10", "BM_OpenProject/5"},
         {"open, tree only, 10 MB / 5 MB", "BM_OpenProjectTreeOnly/10", "BM_OpenProjectTreeOnly/5"},
         {"block walk 10 MB / 5 MB", "BM_BlockWalk/10", "BM_BlockWalk/5"}});
    unlink(ProjectPath(5).c_str());
    unlink(ProjectPath(10).c_str());
    return rc;
}
