// kxvariables_bench - a variables node of 100,000 lines in chains and fans (each variable a
// formula of up to three earlier ones): loading it (the preload pass and the real read) and
// saving it, against defining the same variables straight into a kxNameSpace. Every measured
// load ends by evaluating every variable, as the peer does, so the ratio is the cost of the
// block text and the node's bookkeeping (target <= 2).
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/project/kxproject.h"
#include "kx/project/kxvariablesnode.h"

#include "kxbench.h"

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kLines = 100000;

[[noreturn]] void Fail(const char *what)
{
    std::fprintf(stderr, "kxvariables_bench: %s failed: %s\n", what, error.chars());
    std::exit(1);
}

struct Fixture {
    std::vector<std::pair<std::string, std::string>> definitions; ///< (name, formula) in order
    std::string blockText;                                        ///< the variables block
};

/// Chains (each variable builds on the one before) and fans (many build on one early variable),
/// with plain values sprinkled in.
const Fixture &Data()
{
    static Fixture f = [] {
        Fixture d;
        std::mt19937 random(15);
        d.blockText = "begin <kxVariablesTB(1.0)> \"v\"\n";
        for (int i = 0; i < kLines; ++i) {
            const std::string name = "v" + std::to_string(i);
            std::string formula;
            const int kind = i < 3 ? 0 : int(random() % 4);
            auto earlier = [&](int span) {
                return "v" + std::to_string(i - 1 - int(random() % std::min(i, span)));
            };
            switch (kind) {
            case 0: formula = std::to_string(1 + int(random() % 100)) + ".5"; break;
            case 1: formula = "v" + std::to_string(i - 1) + " + 1"; break; // chain
            case 2:
                formula = "v" + std::to_string(int(random() % 16)) + "*2 - " + earlier(50);
                break; // fan out of the first variables
            default:
                formula = earlier(10) + " + " + earlier(100) + "/2 - " + earlier(1000) + "*0.25";
            }
            d.definitions.emplace_back(name, formula);
            d.blockText += "  " + name + " = " + formula + "\n";
        }
        d.blockText += "end\n";
        return d;
    }();
    return f;
}

void EvaluateAll(kxNameSpace &ns, benchmark::State &state)
{
    double sum = 0.0;
    for (int i = 0; i < ns.GetVariableCount(); ++i)
        if (kxNamedVariable *variable = ns.GetVariableAt(i))
            sum += variable->GetValue().real();
    benchmark::DoNotOptimize(sum);
    if (error) {
        state.SkipWithError(error.chars());
        error.reset();
    }
}

/// Both reading passes, as a project file load makes them: a throw-away node preloads, the real
/// node reads; then every variable is evaluated.
void BM_LoadVariablesNode(benchmark::State &state)
{
    const Fixture &f = Data();
    TextBlock source;
    if (!source.LoadBlock(f.blockText.c_str()))
        Fail("loading the block");
    for (auto _ : state) {
        kxProject project;
        TextBlock block(source);
        {
            kxVariablesNode scratch;
            scratch.setParent(&project);
            if (!scratch.PreloadVariables(block))
                Fail("preloading");
        }
        auto *node = new kxVariablesNode;
        node->setName("v");
        if (!project.AddNode(node) || !node->ReadTB(block))
            Fail("reading");
        if (node->GetNumVariables() != kLines)
            Fail(("counting the variables (" + std::to_string(node->GetNumVariables()) + ")")
                     .c_str());
        if (state.range(0))
            EvaluateAll(*project.GetNameSpace(), state);
    }
}

/// The peer: the same definitions straight into a namespace, then evaluated.
void BM_DefineInNameSpace(benchmark::State &state)
{
    const Fixture &f = Data();
    for (auto _ : state) {
        kxNameSpace ns;
        for (const auto &d : f.definitions) {
            auto *variable = new kxNamedVariable(&ns);
            if (!variable->SetName(d.first.c_str()))
                Fail("naming");
            variable->SetValueOrExpression(d.second.c_str());
        }
        if (state.range(0))
            EvaluateAll(ns, state);
    }
}

/// Saving the node (its block text) against writing the same lines with snprintf.
void BM_SaveVariablesNode(benchmark::State &state)
{
    const Fixture &f = Data();
    kxProject project;
    TextBlock source;
    if (!source.LoadBlock(f.blockText.c_str()))
        Fail("loading the block");
    {
        kxVariablesNode scratch;
        scratch.setParent(&project);
        scratch.PreloadVariables(source);
    }
    auto *node = new kxVariablesNode;
    node->setName("v");
    if (!project.AddNode(node) || !node->ReadTB(source))
        Fail("reading");
    for (auto _ : state) {
        TextBlock out;
        node->WriteTB(out);
        benchmark::DoNotOptimize(out.getLen());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.blockText.size()));
}

void BM_SaveWithSnprintf(benchmark::State &state)
{
    const Fixture &f = Data();
    char line[256];
    for (auto _ : state) {
        std::string out = "begin <kxVariablesTB(1.0)> \"v\"\n";
        for (const auto &d : f.definitions) {
            std::snprintf(line, sizeof line, "  %s = %s\n", d.first.c_str(), d.second.c_str());
            out += line;
        }
        out += "end\n";
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(f.blockText.size()));
}

} // namespace

BENCHMARK(BM_LoadVariablesNode)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DefineInNameSpace)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveVariablesNode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SaveWithSnprintf)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    std::printf("variables block: %d lines, %.2f MB\n", kLines,
                double(Data().blockText.size()) / 1048576.0);
    return kxbench::Main(
        argc, argv,
        {{"load and evaluate / define and evaluate (target <= 2)", "BM_LoadVariablesNode/1",
          "BM_DefineInNameSpace/1"},
         {"load / define (no evaluation)", "BM_LoadVariablesNode/0", "BM_DefineInNameSpace/0"},
         {"save / snprintf", "BM_SaveVariablesNode", "BM_SaveWithSnprintf"}});
}
