// Benchmark of project files: a project of about 10,000 nodes nested four deep with 100,000
// variable lines (about 5 MB) is saved, opened (preload pass and real read) and searched with
// FindNode by absolute path.
//
// The nodes are of a type made for this benchmark (kxBenchNode below), measured holding their
// lines in two ways:
//   text nodes       keep their "name = formula" lines as text and write them back as they
//                    are; the preload pass only walks them. This is the project model's own
//                    cost: the tree, the two passes over the file and the file itself.
//   variable nodes   hold their variables the way the library's variables node does: the
//                    preload pass defines every variable of its lines in the project's
//                    namespace, the real read claims them by name (so a formula may name a
//                    variable defined further down the file), and writing gives one
//                    "name = formula" line per claimed variable from the namespace. This adds
//                    what 100,000 named variables cost in the namespace, shown by itself by
//                    defining the same variables straight into a namespace (no file, no tree).
// Unlike the variables node they may have child nodes and keep no comments. Formulas are not
// evaluated.
//
// Ratios printed in the same run (targets for the project model, so for text nodes):
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
// Google Benchmark's ratios are in CPU time (other load on the machine does not skew them),
// but those of the saves in wall time too: the flush to disk is waiting, which only wall time
// shows.
// Before the benchmarks it prints, for both kinds of node, the heap in use while the project
// is open and the peak memory added while opening it, against the file size (target <= 5), and
// the open and save ratios once more in both wall and CPU time, measured side by side (the
// flush to disk is waiting, which only wall time shows).
//
// The files go to $KX_BENCH_DIR, else /tmp.
#include "kxbench.h"

#include "kx/project/kxprojman.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/project/kxnoderegistry.h"

#include "../tests/project/kxtestnodes.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <string>
#include <strings.h>
#include <unistd.h>
#include <vector>

/// What the benchmark's nodes hold (see the top of the file).
enum class Holds {
    Text,
    Variables
};

/// The benchmark's node type ("benchNodeTB" 1.0): "name = formula" lines, then child nodes of
/// its own type.
class kxBenchNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxBenchNode)
public:
    static const TBlockSig &Sig()
    {
        static const TBlockSig sig{"benchNodeTB", 1, 0};
        return sig;
    }

    /// What nodes made from now on hold.
    static inline Holds holds = Holds::Variables;

    /// Adds a line "name = formula" (a variable owned by this node, for variable nodes).
    void Define(const char *name, const char *formula)
    {
        if (holds == Holds::Text) {
            AddLine((std::string(name) + " = " + formula).c_str());
            return;
        }
        auto *variable = new kxNamedVariable(GetNameSpace());
        if (!variable->SetName(name))
            std::abort();
        variable->SetExpression(formula);
        owned_.push_back(variable->GetIndex());
    }

    bool PreloadVariables(TextBlock &block) override
    {
        if (!block.StartRead(Sig()))
            return false;
        if (holds == Holds::Text) {
            kxtest::ForEachLine(block, [](char *) {});
            return PreloadChildBlocks(block);
        }
        kxNameSpace *ns = GetNameSpace();
        ForEachDefinition(block, [ns](const char *name, const char *formula) {
            auto *variable = new kxNamedVariable(ns);
            if (!variable->SetName(name)) {
                ns->RemoveVariable(variable->GetIndex());
                return;
            }
            variable->SetValueOrExpression(formula);
            variable->SetPreloaded();
        });
        return PreloadChildBlocks(block);
    }

    bool ReadTB(TextBlock &block) override
    {
        if (!block.StartRead(Sig()))
            return false;
        owned_.clear();
        text_.clear();
        if (holds == Holds::Text)
            ReadText(block);
        else
            ClaimVariables(block);
        return CreateChildNodes(block);
    }

    bool WriteTB(TextBlock &block) override
    {
        block.StartWrite(Sig(), getName());
        if (holds == Holds::Text)
            WriteText(block);
        else
            WriteVariables(block);
        if (!WriteChildNodes(block))
            return false;
        block.EndWrite();
        return true;
    }

private:
    /// Appends a line to the text (lines end with a zero byte, ready for WriteLine).
    void AddLine(const char *line) { text_.append(line).push_back('\0'); }

    void ReadText(TextBlock &block)
    {
        // Gathered in a buffer kept from node to node, then copied once at its exact size.
        static std::string gathered;
        gathered.clear();
        kxtest::ForEachLine(block, [](char *line) {
            while (kxtest::IsBlank(*line))
                ++line;
            char *end = line + std::strlen(line);
            while (end > line && kxtest::IsBlank(end[-1]))
                --end;
            if (end > line)
                gathered.append(line, end).push_back('\0');
        });
        text_ = gathered;
    }

    void WriteText(TextBlock &block) const
    {
        for (size_t at = 0; at < text_.size(); at += std::strlen(text_.c_str() + at) + 1)
            block.WriteLine(text_.c_str() + at);
    }

    void ClaimVariables(TextBlock &block)
    {
        kxNameSpace *ns = GetNameSpace();
        ForEachDefinition(block, [this, ns](const char *name, const char *) {
            kxNamedVariable *variable = ns->GetVariableByName(name, false);
            if (!variable || !variable->IsPreloaded())
                return;
            variable->ResetPreloaded();
            owned_.push_back(variable->GetIndex());
        });
        owned_.shrink_to_fit();
    }

    void WriteVariables(TextBlock &block) const
    {
        kxNameSpace *ns = GetNameSpace();
        std::string line;
        for (int index : owned_) {
            const kxNamedVariable *variable = ns->GetVariableAt(index);
            if (!variable)
                continue;
            line.assign(variable->GetName().c_str());
            line += " = ";
            line += variable->GetExpression().c_str();
            block.WriteLine(line.c_str());
        }
    }

    /// Calls use(name, formula) for each "name = formula" line of the body, up to the first
    /// nested block; both texts are trimmed in the block's line buffer.
    template <class Use>
    static void ForEachDefinition(TextBlock &block, Use use)
    {
        kxtest::ForEachLine(block, [&use](char *line) {
            char *eq = std::strchr(line, '=');
            if (!eq)
                return;
            char *name = line;
            while (*name == ' ' || *name == '\t')
                ++name;
            char *nameEnd = eq;
            while (nameEnd > name && nameEnd[-1] == ' ')
                --nameEnd;
            *nameEnd = '\0';
            char *formula = eq + 1;
            while (*formula == ' ')
                ++formula;
            char *end = formula + std::strlen(formula);
            while (end > formula && std::strchr(" \t\r\n", end[-1]))
                --end;
            *end = '\0';
            use(name, formula);
        });
    }

    std::vector<int> owned_; ///< variable nodes: namespace indices of the claimed variables
    std::string text_;       ///< text nodes: the lines, each ended by a zero byte
};

KX_IMPLEMENT_CLASS(kxBenchNode, kxProjectNode)

const kxClassInfo *const g_benchNodeChildren[] = {KX_CLASSINFO_OF(kxBenchNode), nullptr};
kxProjectNodeInfoClass g_benchNodeInfo({KX_CLASSINFO_OF(kxBenchNode), g_benchNodeChildren,
                                        kxBenchNode::Sig(), "Bench node", 0, "bnd"});

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
        g_benchNodeInfo.Register();
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

struct Definition {
    std::string name, formula;
};

/// The i-th variable of the benchmark's projects: each names the one before.
Definition MakeDefinition(int i)
{
    return {"width_" + std::to_string(i),
            "1.25 * width_" + std::to_string(i > 0 ? i - 1 : 0) + " + 0.5"};
}

/// Sets what the nodes hold for a scope.
class HoldsScope {
public:
    explicit HoldsScope(Holds holds) : old_(kxBenchNode::holds) { kxBenchNode::holds = holds; }
    ~HoldsScope() { kxBenchNode::holds = old_; }

private:
    Holds old_;
};

const char *Kind(Holds holds) { return holds == Holds::Text ? "text nodes" : "variable nodes"; }

/// Builds a project "P": `top` nodes under it, each with 10 children, each with 10 children,
/// each with 9 children (top = 10: 10,110 nodes, four deep), with 10 variable lines in every
/// node but the first top * 110 of the deepest, which have 9 (top = 10: 100,000 lines).
kxProject *BuildProject(int top, Fixture &f)
{
    kxProjectManager &manager = Manager();
    auto *project = static_cast<kxProject *>(manager.AddSubnode("kxProject", "P"));
    int &variable = f.variables;
    auto add = [&f, &variable](kxProjectNode *parent, const std::string &name, int lines) {
        auto *node = static_cast<kxBenchNode *>(parent->AddSubnode("benchNodeTB", name.c_str()));
        ++f.nodes;
        for (int i = 0; i < lines; ++i, ++variable) {
            const Definition d = MakeDefinition(variable);
            node->Define(d.name.c_str(), d.formula.c_str());
        }
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

/// Opens the saved project (it is "P").
kxProject *Open(const Fixture &f)
{
    if (!Manager().ProjectOpen(f.path.c_str()))
        std::abort();
    return static_cast<kxProject *>(Manager().FindNode("P"));
}

void SaveProject(benchmark::State &state, Holds holds)
{
    const HoldsScope scope(holds);
    Fixture &f = Saved(5);
    kxProject *project = Open(f);
    const std::string out = Dir() + "/kxproject_bench_save.txt";
    for (auto _ : state)
        if (!project->SaveToFile(out.c_str()))
            std::abort();
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
    Manager().ProjectClose(project);
    unlink(out.c_str());
}

void BM_SaveText(benchmark::State &state) { SaveProject(state, Holds::Text); }
void BM_SaveVariables(benchmark::State &state) { SaveProject(state, Holds::Variables); }

/// Only the text of the save of text nodes: the project written into one block, no file.
void BM_SaveTextOnly(benchmark::State &state)
{
    const HoldsScope scope(Holds::Text);
    Fixture &f = Saved(5);
    kxProject *project = Open(f);
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

void OpenProject(benchmark::State &state, Holds holds)
{
    const HoldsScope scope(holds);
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

void BM_OpenText(benchmark::State &state) { OpenProject(state, Holds::Text); }
void BM_OpenVariables(benchmark::State &state) { OpenProject(state, Holds::Variables); }

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

/// Loads the file and walks every block and body line of it; the number of body lines.
size_t WalkFile(const std::string &path)
{
    FBuff buffer;
    if (!buffer.LoadFile(path.c_str()))
        std::abort();
    size_t lines = 0;
    TextBlock block;
    while (block.LoadBlock(buffer))
        lines += WalkBlock(block);
    return lines;
}

void BM_BlockWalk(benchmark::State &state)
{
    Fixture &f = Saved(int(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(WalkFile(f.path));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.bytes));
}

/// The floor of opening with variables: the same variables defined straight into a namespace
/// (name and formula set, as the preload pass does), with no file and no tree.
void BM_DefineInNameSpace(benchmark::State &state)
{
    const Fixture &f = Saved(5);
    std::vector<Definition> definitions;
    for (int i = 0; i < f.variables; ++i)
        definitions.push_back(MakeDefinition(i));
    for (auto _ : state) {
        auto *ns = new kxNameSpace;
        for (const Definition &d : definitions) {
            auto *variable = new kxNamedVariable(ns);
            if (!variable->SetName(d.name.c_str()))
                std::abort();
            variable->SetValueOrExpression(d.formula.c_str());
        }
        state.PauseTiming();
        delete ns;
        state.ResumeTiming();
    }
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
void ReportMemory(Holds holds)
{
    const HoldsScope scope(holds);
    Fixture &f = Saved(5);
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
    const double mb = double(f.bytes) / 1048576.0;
    std::printf("%s: heap while open %.2f MB (%.2fx the file, target <= 5), peak resident growth "
                "while opening %.2f MB (%.2fx the file)\n",
                Kind(holds), heap, heap / mb, peak, peak / mb);
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
void ReportOpenTimes(Holds holds)
{
    const HoldsScope scope(holds);
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
    const Seconds walk = Time([&] { benchmark::DoNotOptimize(WalkFile(f.path)); }, 20);
    const std::string what = std::string("open, ") + Kind(holds) + ",";
    PrintRatio(what.c_str(), "block walk", open, walk, "target <= 3");
}

/// Save against std::ofstream + fsync in wall and CPU time (see the top for what each does).
void ReportSaveTimes(Holds holds)
{
    const HoldsScope scope(holds);
    Fixture &f = Saved(5);
    kxProject *project = Open(f);
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
    const std::string what = std::string("save, ") + Kind(holds) + ",";
    PrintRatio(what.c_str(), "ofstream + fsync", save, peer, "target <= 2");
}

} // namespace

BENCHMARK(BM_SaveText)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveVariables)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveTextOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OfstreamFsync)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenText)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenVariables)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BlockWalk)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DefineInNameSpace)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindNodeAbsolute);

int main(int argc, char **argv)
{
    Fixture &f = Saved(5);
    std::printf("project file: %.2f MB, %zu nodes, %d variable lines\n",
                double(f.bytes) / 1048576.0, f.nodes, f.variables);
    for (Holds holds : {Holds::Text, Holds::Variables}) {
        ReportMemory(holds);
        ReportOpenTimes(holds);
        ReportSaveTimes(holds);
    }
    const int rc = kxbench::Main(
        argc, argv,
        {{"open, text nodes / plain block walk (target <= 3)", "BM_OpenText/5", "BM_BlockWalk/5"},
         {"save, text nodes / ofstream + fsync, wall (target <= 2)", "BM_SaveText",
          "BM_OfstreamFsync", true},
         {"save, text nodes / ofstream + fsync, CPU", "BM_SaveText", "BM_OfstreamFsync"},
         {"save, text only / ofstream + fsync", "BM_SaveTextOnly", "BM_OfstreamFsync"},
         {"open, variable nodes / plain block walk", "BM_OpenVariables/5", "BM_BlockWalk/5"},
         {"save, variable nodes / ofstream + fsync, wall", "BM_SaveVariables", "BM_OfstreamFsync",
          true},
         {"defining the variables alone / plain block walk", "BM_DefineInNameSpace",
          "BM_BlockWalk/5"},
         {"open 10 MB / open 5 MB, text nodes (linear: about 2)", "BM_OpenText/10",
          "BM_OpenText/5"},
         {"open 10 MB / open 5 MB, variable nodes", "BM_OpenVariables/10", "BM_OpenVariables/5"},
         {"block walk 10 MB / 5 MB", "BM_BlockWalk/10", "BM_BlockWalk/5"}});
    unlink(ProjectPath(5).c_str());
    unlink(ProjectPath(10).c_str());
    return rc;
}
