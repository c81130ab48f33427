// Block text files: writing, loading and walking a project of about 100,000 blocks nested three
// deep (20 MB; the 10 MB run has half the blocks) against a plain std::ifstream + std::getline
// pass and a std::ofstream write of the same lines, measured in the same run.
//
// BM_KxBuild   builds the text through TextBlock (StartWrite, writeline, Append, EndWrite)
// BM_KxWrite   builds it and saves it (temporary file, fsync, rename)
// BM_PeerWrite writes the same lines with std::ofstream (no fsync)
// BM_KxLoad    FBuff::LoadFile and LoadBlock of the outermost block
// BM_KxWalk    the load and a full walk: every block loaded, StartRead, every body line read
// BM_PeerGetline std::ifstream + std::getline over the file
// The counter peak/file is the rise of the resident set while loading (or loading and
// walking), divided by the file size.
#include "kxbench.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <malloc.h>

namespace {

const TBlockSig kProject{"Project", 2, 1};
const TBlockSig kSection{"Section", 1, 0};
const TBlockSig kGroup{"Group", 1, 3};
const TBlockSig kItem{"Item", 1, 0};
const TBlockSig kLevels[] = {kProject, kSection, kGroup, kItem};

constexpr int kGroupsPerSection = 25;
constexpr int kItemsPerGroup = 99;

/// Sections for a file of about `mb` megabytes: 2 per MB (20 MB: 40 x 25 x 99 items, 100,041
/// blocks in all).
int SectionsFor(int mb) { return 2 * mb; }

std::string PathFor(int mb)
{
    // Never destroyed, so that the clean-up at exit can still use it.
    static const std::string *dir = [] {
        char tmpl[] = "/tmp/kxtextblock_benchXXXXXX";
        const char *made = mkdtemp(tmpl);
        return new std::string(made ? made : "/tmp");
    }();
    return *dir + "/project" + std::to_string(mb) + ".txt";
}

// The body lines of each level, shared by the TextBlock writer and the std::ofstream peer.
template <class Out>
void ItemLines(Out &&line, long k)
{
    line("width %.16g // width in microns", 1.0 + double(k) * 1e-3);
    line("height %ld // layer height in nm", k % 977);
    line("// the material is looked up by name");
    line("material \"Si%ld\" // core material", k % 7);
}

void Build(int mb, TextBlock &project)
{
    project.StartWrite(kProject, "bench");
    project.WriteLine("version 33 // file version");
    project.WriteLine("units um // lengths in microns");
    char name[32];
    long k = 0;
    for (int s = 0; s < SectionsFor(mb); ++s) {
        TextBlock section;
        std::snprintf(name, sizeof name, "section%d", s);
        section.StartWrite(kSection, name);
        section.writeline("title \"section %d\" // section title", s);
        for (int g = 0; g < kGroupsPerSection; ++g) {
            TextBlock group;
            std::snprintf(name, sizeof name, "group%d", g);
            group.StartWrite(kGroup, name);
            group.writeline("count %d // items in this group", kItemsPerGroup);
            for (int i = 0; i < kItemsPerGroup; ++i, ++k) {
                TextBlock item;
                std::snprintf(name, sizeof name, "item%ld", k);
                item.StartWrite(kItem, name);
                ItemLines([&](const char *fmt, auto... args) { item.writeline(fmt, args...); }, k);
                item.EndWrite();
                group.Append(item);
            }
            group.EndWrite();
            section.Append(group);
        }
        section.EndWrite();
        project.Append(section);
    }
    project.EndWrite();
}

bool SaveText(int mb)
{
    TextBlock project;
    Build(mb, project);
    return project.SaveFile(PathFor(mb).c_str());
}

void PeerWrite(int mb, const std::string &path)
{
    std::ofstream out(path, std::ios::binary);
    char buf[256];
    auto put = [&](int indent, const char *fmt, auto... args) {
        std::snprintf(buf, sizeof buf, fmt, args...);
        out << std::string(size_t(indent), ' ') << buf << '\n';
    };
    put(0, "begin <Project(2.1)> \"bench\"");
    put(2, "version 33 // file version");
    put(2, "units um // lengths in microns");
    long k = 0;
    for (int s = 0; s < SectionsFor(mb); ++s) {
        put(2, "begin <Section(1.0)> \"section%d\"", s);
        put(4, "title \"section %d\" // section title", s);
        for (int g = 0; g < kGroupsPerSection; ++g) {
            put(4, "begin <Group(1.3)> \"group%d\"", g);
            put(6, "count %d // items in this group", kItemsPerGroup);
            for (int i = 0; i < kItemsPerGroup; ++i, ++k) {
                put(6, "begin <Item(1.0)> \"item%ld\"", k);
                ItemLines([&](const char *fmt, auto... args) { put(8, fmt, args...); }, k);
                put(6, "end");
            }
            put(4, "end");
        }
        put(2, "end");
    }
    put(0, "end");
}

size_t FileSize(int mb)
{
    static std::map<int, size_t> sizes;
    auto found = sizes.find(mb);
    if (found != sizes.end())
        return found->second;
    if (!SaveText(mb)) {
        std::fprintf(stderr, "cannot write %s: %s\n", PathFor(mb).c_str(), error.chars());
        std::exit(1);
    }
    struct stat st;
    stat(PathFor(mb).c_str(), &st);
    return sizes[mb] = size_t(st.st_size);
}

struct Walker {
    std::vector<std::unique_ptr<TextBlock>> levels;
    size_t lines = 0;
    size_t blocks = 0;

    void Walk(TextBlock &block, size_t depth)
    {
        ++blocks;
        if (!block.StartRead(kLevels[depth < 3 ? depth : 3])) {
            std::fprintf(stderr, "walk failed: %s\n", error.chars());
            std::exit(1);
        }
        if (levels.size() <= depth)
            levels.emplace_back(new TextBlock);
        TextBlock &child = *levels[depth];
        while (!block.EOB()) {
            if (child.LoadBlock(block))
                Walk(child, depth + 1);
            else if (block.gets())
                ++lines;
        }
        block.EndRead();
    }
};

bool Load(int mb, FBuff &file, TextBlock &project)
{
    return file.LoadFile(PathFor(mb).c_str()) && project.LoadBlock(file);
}

size_t LoadAndWalk(int mb)
{
    FBuff file;
    TextBlock project;
    if (!Load(mb, file, project))
        return 0;
    file.unalloc();
    Walker walker;
    walker.Walk(project, 0);
    return walker.lines + walker.blocks;
}

// Peak resident memory of `work`, above the resident set before it, in kB; -1 when the kernel
// does not let the peak be reset.
long StatusKB(const char *key)
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word)
        if (word == key) {
            long kb = -1;
            status >> kb;
            return kb;
        }
    return -1;
}

double PeakOverFile(int mb, const std::function<void()> &work)
{
    malloc_trim(0);
    FILE *clear = std::fopen("/proc/self/clear_refs", "w");
    if (!clear || std::fputs("5", clear) < 0 || std::fclose(clear) != 0)
        return -1;
    const long before = StatusKB("VmRSS:");
    work();
    const long peak = StatusKB("VmHWM:");
    return double(peak - before) * 1024.0 / double(FileSize(mb));
}

void BM_KxBuild(benchmark::State &state)
{
    const int mb = int(state.range(0));
    const size_t bytes = FileSize(mb);
    for (auto _ : state) {
        TextBlock project;
        Build(mb, project);
        benchmark::DoNotOptimize(project.getLen());
    }
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void BM_KxWrite(benchmark::State &state)
{
    const int mb = int(state.range(0));
    const size_t bytes = FileSize(mb);
    for (auto _ : state)
        if (!SaveText(mb))
            state.SkipWithError("save failed");
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void BM_PeerWrite(benchmark::State &state)
{
    const int mb = int(state.range(0));
    const size_t bytes = FileSize(mb);
    const std::string path = PathFor(mb) + ".peer";
    for (auto _ : state)
        PeerWrite(mb, path);
    std::ifstream a(path, std::ios::binary), b(PathFor(mb), std::ios::binary);
    const std::string peerText((std::istreambuf_iterator<char>(a)),
                               std::istreambuf_iterator<char>());
    const std::string kxText((std::istreambuf_iterator<char>(b)), std::istreambuf_iterator<char>());
    if (peerText != kxText)
        state.SkipWithError("the peer wrote a different file");
    std::remove(path.c_str());
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void BM_KxLoad(benchmark::State &state)
{
    const int mb = int(state.range(0));
    const size_t bytes = FileSize(mb);
    state.counters["peak/file"] = PeakOverFile(mb, [mb] {
        FBuff file;
        TextBlock project;
        benchmark::DoNotOptimize(Load(mb, file, project));
    });
    for (auto _ : state) {
        FBuff file;
        TextBlock project;
        if (!Load(mb, file, project))
            state.SkipWithError("load failed");
        benchmark::DoNotOptimize(project.getLen());
    }
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void BM_KxWalk(benchmark::State &state)
{
    const int mb = int(state.range(0));
    const size_t bytes = FileSize(mb);
    size_t counted = 0;
    state.counters["peak/file"] = PeakOverFile(mb, [&] { counted = LoadAndWalk(mb); });
    for (auto _ : state)
        benchmark::DoNotOptimize(counted = LoadAndWalk(mb));
    state.counters["lines+blocks"] = double(counted);
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void BM_PeerGetline(benchmark::State &state)
{
    const int mb = int(state.range(0));
    const size_t bytes = FileSize(mb);
    for (auto _ : state) {
        std::ifstream in(PathFor(mb));
        std::string line;
        size_t lines = 0;
        while (std::getline(in, line))
            lines += line.size() > 0;
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * bytes));
}

void RemoveFiles()
{
    for (int mb : {10, 20})
        std::remove(PathFor(mb).c_str());
    const std::string path = PathFor(10);
    rmdir(path.substr(0, path.rfind('/')).c_str());
}

const int kAtExit = std::atexit(RemoveFiles);

} // namespace

BENCHMARK(BM_PeerGetline)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KxLoad)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KxWalk)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PeerWrite)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KxBuild)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KxWrite)->Arg(10)->Arg(20)->Unit(benchmark::kMillisecond);

KX_BENCH_MAIN({{"load 10 MB kx/getline", "BM_KxLoad/10", "BM_PeerGetline/10"},
               {"load 20 MB kx/getline", "BM_KxLoad/20", "BM_PeerGetline/20"},
               {"walk 10 MB kx/getline", "BM_KxWalk/10", "BM_PeerGetline/10"},
               {"walk 20 MB kx/getline", "BM_KxWalk/20", "BM_PeerGetline/20"},
               {"build 20 MB kx/ofstream", "BM_KxBuild/20", "BM_PeerWrite/20"},
               {"write+fsync 20 MB kx/ofstream", "BM_KxWrite/20", "BM_PeerWrite/20"},
               {"getline time 20 MB/10 MB (2 = linear)", "BM_PeerGetline/20", "BM_PeerGetline/10"},
               {"load time 20 MB/10 MB (2 = linear)", "BM_KxLoad/20", "BM_KxLoad/10"},
               {"walk time 20 MB/10 MB (2 = linear)", "BM_KxWalk/20", "BM_KxWalk/10"},
               {"write time 20 MB/10 MB (2 = linear)", "BM_KxWrite/20", "BM_KxWrite/10"}})
