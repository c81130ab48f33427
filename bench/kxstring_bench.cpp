// KXString against std::string doing the same work: appending, searching and comparing.
#include "kxbench.h"

#include "kx/foundation/kxstring.h"

#include <string>
#include <vector>

namespace {

// -- append: build a 4 KB text from short pieces and single characters --------------------------
const char *const kPiece = "token=42;"; // 9 characters

void BM_KxAppend(benchmark::State &state)
{
    for (auto _ : state) {
        KXString s;
        for (int i = 0; i < 400; ++i) {
            s += kPiece;
            s += ' ';
        }
        benchmark::DoNotOptimize(s.c_str());
    }
}

void BM_StdAppend(benchmark::State &state)
{
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < 400; ++i) {
            s += kPiece;
            s += ' ';
        }
        benchmark::DoNotOptimize(s.data());
    }
}

void BM_KxAppendString(benchmark::State &state)
{
    const KXString piece("name_of_variable");
    for (auto _ : state) {
        KXString s;
        for (int i = 0; i < 256; ++i)
            s += piece;
        benchmark::DoNotOptimize(s.c_str());
    }
}

void BM_StdAppendString(benchmark::State &state)
{
    const std::string piece("name_of_variable");
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < 256; ++i)
            s += piece;
        benchmark::DoNotOptimize(s.data());
    }
}

// -- Index: every occurrence of a word, and a character, in a 16 KB text ------------------------
std::string MakeText()
{
    std::string t;
    const char *words[] = {"alpha ", "beta ", "gamma ", "delta ", "epsilon ", "width ", "height "};
    for (int i = 0; t.size() < 16384; ++i)
        t += words[(i * 7 + i / 3) % 7];
    return t;
}

void BM_KxIndex(benchmark::State &state)
{
    const KXString text(MakeText().c_str());
    for (auto _ : state) {
        int found = 0;
        for (int p = 0; (p = text.Index("width", p)) >= 0; ++p)
            ++found;
        for (int p = 0; (p = text.Index('z', p)) >= 0; ++p)
            ++found;
        benchmark::DoNotOptimize(found);
    }
}

void BM_StdIndex(benchmark::State &state)
{
    const std::string text = MakeText();
    for (auto _ : state) {
        int found = 0;
        for (size_t p = 0; (p = text.find("width", p)) != std::string::npos; ++p)
            ++found;
        for (size_t p = 0; (p = text.find('z', p)) != std::string::npos; ++p)
            ++found;
        benchmark::DoNotOptimize(found);
    }
}

// -- comparison: ==, < and CompareTo over pairs of names with common prefixes -------------------
// Run with 128 names and with 512: a 27-character KXString takes a 60-byte block under the
// allocation rule where std::string takes about 32 bytes, so the larger set shows the cost of
// touching more memory in the scattered CompareTo partners.
std::vector<std::string> MakeNames(int count)
{
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i)
        names.push_back("project.node.variable_" + std::to_string(i % 97) + "_" +
                        std::to_string(i));
    return names;
}

void BM_KxCompare(benchmark::State &state)
{
    std::vector<KXString> names;
    for (const std::string &n : MakeNames(static_cast<int>(state.range(0))))
        names.emplace_back(n.c_str());
    for (auto _ : state) {
        int score = 0;
        for (size_t i = 1; i < names.size(); ++i) {
            score += names[i] == names[i - 1];
            score += names[i] < names[i - 1];
            score += names[i].CompareTo(names[(i * 31) % names.size()]) > 0;
        }
        benchmark::DoNotOptimize(score);
    }
}

void BM_StdCompare(benchmark::State &state)
{
    const std::vector<std::string> names = MakeNames(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        int score = 0;
        for (size_t i = 1; i < names.size(); ++i) {
            score += names[i] == names[i - 1];
            score += names[i] < names[i - 1];
            score += names[i].compare(names[(i * 31) % names.size()]) > 0;
        }
        benchmark::DoNotOptimize(score);
    }
}

} // namespace

BENCHMARK(BM_KxAppend);
BENCHMARK(BM_StdAppend);
BENCHMARK(BM_KxAppendString);
BENCHMARK(BM_StdAppendString);
BENCHMARK(BM_KxIndex);
BENCHMARK(BM_StdIndex);
BENCHMARK(BM_KxCompare)->Arg(128)->Arg(512);
BENCHMARK(BM_StdCompare)->Arg(128)->Arg(512);

KX_BENCH_MAIN({{"append text and char kx/std", "BM_KxAppend", "BM_StdAppend"},
               {"append string kx/std", "BM_KxAppendString", "BM_StdAppendString"},
               {"Index kx/std", "BM_KxIndex", "BM_StdIndex"},
               {"compare, 128 names kx/std", "BM_KxCompare/128", "BM_StdCompare/128"},
               {"compare, 512 names kx/std", "BM_KxCompare/512", "BM_StdCompare/512"}})
