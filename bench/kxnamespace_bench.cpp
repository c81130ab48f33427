// kxnamespace_bench.cpp - a namespace of 100,000 variables, each a formula over up to three
// earlier ones, against the same dependency graph computed by a plain C++ loop over doubles.
//
//   (a) BM_KxSecondPass:        read every variable when nothing changed (cache hits only);
//                               the first pass (compiling and evaluating all) is timed once.
//   (b) BM_KxReadAfterChange:   SetValue of v0, on which half of the variables depend, then
//                               read every variable.
//   (c) BM_PlainLoopAfterChange: the same graph as an array of index triples, recomputed by a
//                               loop over doubles after the same change.
// Printed: cost per variable of each, the ratio (b)/(c), and the resident memory that the
// namespace takes (after the first pass, and at its peak while it was built and evaluated).
// Each is measured on two graphs: references drawn from all earlier variables (argument 0, the
// figures of record) and from the 64 preceding ones (argument 1, the locality of a project
// written by hand).
//
// The graph: v0 and v1 are plain values; an even variable names one earlier even variable and
// up to two earlier variables of any kind, an odd variable names only earlier odd ones. So
// exactly the even half depends on v0. Variable i is v_a*0.5 + v_b*0.25 - v_c*0.125 + 1 (with
// as many terms as it has references), which keeps every value bounded.
#include "kxbench.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"

#include <chrono>
#include <complex>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int kCount = 100000;
constexpr double kWeights[3] = {0.5, 0.25, -0.125};

struct Node {
    int refs[3];
    int count; // 0 for the two plain values
};

/// Resident set (VmRSS) or its peak (VmHWM) of the process, in bytes.
long ReadStatusKiB(const char *field)
{
    FILE *f = std::fopen("/proc/self/status", "r");
    if (!f)
        return 0;
    char line[256];
    long kib = 0;
    const size_t n = std::strlen(field);
    while (std::fgets(line, sizeof line, f))
        if (std::strncmp(line, field, n) == 0)
            kib = std::atol(line + n + 1);
    std::fclose(f);
    return kib * 1024;
}

class Lcg {
public:
    unsigned Next()
    {
        state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<unsigned>(state_ >> 33);
    }
    /// A random index in [low, limit) of the given parity (there is one).
    int Pick(int low, int limit, int parity)
    {
        const int first = low + ((parity - low % 2 + 2) % 2);
        const int choices = (limit - first + 1) / 2;
        return first + 2 * static_cast<int>(Next() % static_cast<unsigned>(choices));
    }
    /// A random index in [low, limit).
    int Any(int low, int limit)
    {
        return low + static_cast<int>(Next() % static_cast<unsigned>(limit - low));
    }

private:
    unsigned long long state_ = 12345;
};

/// The two graphs measured: references drawn from all earlier variables (kRandom), or from the
/// 64 variables defined just before (kLocal: formulas naming nearby definitions, as in a
/// hand-written project).
enum GraphKind {
    kRandom = 0,
    kLocal = 1
};
constexpr int kLocalWindow = 64;

std::vector<Node> MakeGraph(GraphKind kind)
{
    std::vector<Node> nodes(kCount);
    nodes[0] = {{0, 0, 0}, 0};
    nodes[1] = {{0, 0, 0}, 0};
    Lcg random;
    for (int i = 2; i < kCount; ++i) {
        Node &node = nodes[i];
        node.count = 1 + static_cast<int>(random.Next() % 3);
        const int parity = i % 2;
        const int low = kind == kLocal && i > kLocalWindow ? i - kLocalWindow : 0;
        node.refs[0] = random.Pick(low, i, parity);
        for (int k = 1; k < node.count; ++k)
            node.refs[k] = parity == 0 ? random.Any(low, i) : random.Pick(low, i, 1);
    }
    return nodes;
}

const std::vector<Node> &Graph(GraphKind kind)
{
    static const std::vector<Node> graphs[2] = {MakeGraph(kRandom), MakeGraph(kLocal)};
    return graphs[kind];
}

/// The namespace, built and evaluated once; memory and the first pass are measured on the way.
struct Project {
    std::unique_ptr<kxNameSpace> ns;
    std::vector<kxNamedVariable *> variables;
    long residentBytes = 0; // after the first pass
    long peakBytes = 0;     // peak while building and evaluating
    double firstPassNsPerVar = 0;
    int cacheHits = 0; // variables whose cache was current before the second pass

    explicit Project(GraphKind kind)
    {
        const std::vector<Node> &graph = Graph(kind);
        const long before = ReadStatusKiB("VmRSS");
        ns = std::make_unique<kxNameSpace>();
        variables.reserve(kCount);
        char name[16], formula[96];
        for (int i = 0; i < kCount; ++i) {
            auto *v = new kxNamedVariable(ns.get());
            std::snprintf(name, sizeof name, "v%d", i);
            (void)v->SetName(name);
            const Node &node = graph[i];
            if (node.count == 0) {
                v->SetValue(std::complex<double>(1.0 + i, 0.0));
            } else {
                int length = 0;
                for (int k = 0; k < node.count; ++k)
                    length += std::snprintf(formula + length, sizeof formula - length, "%sv%d*%g",
                                            k == 0 ? "" : (kWeights[k] < 0 ? "-" : "+"),
                                            node.refs[k], k == 2 ? -kWeights[k] : kWeights[k]);
                std::snprintf(formula + length, sizeof formula - length, "+1");
                v->SetExpression(formula);
            }
            variables.push_back(v);
        }
        const auto start = std::chrono::steady_clock::now();
        for (kxNamedVariable *v : variables)
            benchmark::DoNotOptimize(v->GetValue());
        const auto end = std::chrono::steady_clock::now();
        firstPassNsPerVar = std::chrono::duration<double, std::nano>(end - start).count() / kCount;
        residentBytes = ReadStatusKiB("VmRSS") - before;
        peakBytes = ReadStatusKiB("VmHWM") - before;
        for (kxNamedVariable *v : variables)
            cacheHits += v->IsValue() || v->GetValueStamp() == ns->GetPseudoTime();
    }
};

Project &TheProject(GraphKind kind)
{
    static Project random(kRandom);
    if (kind == kRandom)
        return random;
    static Project local(kLocal);
    return local;
}

/// Per-variable costs measured by the benchmarks below (mean over their iterations), per graph.
double secondPassNs[2], afterChangeKxNs[2], afterChangePlainNs[2];
double maxDifference = 0;

double PerVariable(std::chrono::steady_clock::duration total, benchmark::IterationCount iterations)
{
    return std::chrono::duration<double, std::nano>(total).count() / (double(iterations) * kCount);
}

void BM_KxSecondPass(benchmark::State &state)
{
    const auto kind = static_cast<GraphKind>(state.range(0));
    Project &project = TheProject(kind);
    std::chrono::steady_clock::duration total{};
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (kxNamedVariable *v : project.variables)
            benchmark::DoNotOptimize(v->GetValue());
        total += std::chrono::steady_clock::now() - start;
    }
    secondPassNs[kind] = PerVariable(total, state.iterations());
    state.counters["s_per_var"] = benchmark::Counter(
        kCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_KxReadAfterChange(benchmark::State &state)
{
    const auto kind = static_cast<GraphKind>(state.range(0));
    Project &project = TheProject(kind);
    kxNamedVariable *root = project.variables[0];
    double x = 1.0;
    std::chrono::steady_clock::duration total{};
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        x = x == 1.0 ? 2.0 : 1.0;
        root->SetValue(std::complex<double>(x, 0.0));
        for (kxNamedVariable *v : project.variables)
            benchmark::DoNotOptimize(v->GetValue());
        total += std::chrono::steady_clock::now() - start;
    }
    afterChangeKxNs[kind] = PerVariable(total, state.iterations());
    state.counters["s_per_var"] = benchmark::Counter(
        kCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void PlainLoop(const std::vector<Node> &graph, std::vector<double> &values)
{
    for (int i = 0; i < kCount; ++i) {
        const Node &node = graph[i];
        switch (node.count) {
        case 1: values[i] = values[node.refs[0]] * 0.5 + 1; break;
        case 2: values[i] = values[node.refs[0]] * 0.5 + values[node.refs[1]] * 0.25 + 1; break;
        case 3:
            values[i] = values[node.refs[0]] * 0.5 + values[node.refs[1]] * 0.25 -
                        values[node.refs[2]] * 0.125 + 1;
            break;
        default: break;
        }
    }
}

void BM_PlainLoopAfterChange(benchmark::State &state)
{
    const auto kind = static_cast<GraphKind>(state.range(0));
    const std::vector<Node> &graph = Graph(kind);
    std::vector<double> values(kCount);
    values[0] = 1.0;
    values[1] = 2.0;
    double x = 1.0;
    std::chrono::steady_clock::duration total{};
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        x = x == 1.0 ? 2.0 : 1.0;
        values[0] = x;
        PlainLoop(graph, values);
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
        total += std::chrono::steady_clock::now() - start;
    }
    afterChangePlainNs[kind] = PerVariable(total, state.iterations());
    state.counters["s_per_var"] = benchmark::Counter(
        kCount, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);

    // The namespace must agree with the loop (same value of v0).
    Project &project = TheProject(kind);
    project.variables[0]->SetValue(std::complex<double>(values[0], 0.0));
    for (int i = 0; i < kCount; ++i) {
        const double d = std::abs(project.variables[i]->GetValue().real() - values[i]);
        maxDifference = d > maxDifference ? d : maxDifference;
    }
}

BENCHMARK(BM_KxSecondPass)->Arg(kRandom)->Arg(kLocal)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_KxReadAfterChange)->Arg(kRandom)->Arg(kLocal)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PlainLoopAfterChange)->Arg(kRandom)->Arg(kLocal)->Unit(benchmark::kMicrosecond);

void PrintSummary()
{
    const Project &project = TheProject(kRandom);
    std::printf("\nnamespace of %d variables (each a formula over up to three earlier ones):\n",
                kCount);
    std::printf("  (a) first pass, compile + evaluate      %10.1f ns per variable\n",
                project.firstPassNsPerVar);
    std::printf("  (a) second pass, cache hits %6d/%d %10.2f ns per variable   (target < 50)\n",
                project.cacheHits, kCount, secondPassNs[kRandom]);
    std::printf("  (b) read all after SetValue of v0       %10.2f ns per variable\n",
                afterChangeKxNs[kRandom]);
    std::printf("  (c) plain C++ loop over doubles         %10.2f ns per variable\n",
                afterChangePlainNs[kRandom]);
    if (afterChangePlainNs[kRandom] > 0)
        std::printf(
            "  (b)/(c)                                 %10.2f               (target <= 30)\n",
            afterChangeKxNs[kRandom] / afterChangePlainNs[kRandom]);
    std::printf("  resident memory after the first pass    %10.1f bytes per variable (%.1f MB)\n",
                double(project.residentBytes) / kCount, project.residentBytes / 1048576.0);
    std::printf("  peak resident memory                    %10.1f bytes per variable (%.1f MB)"
                "   (target <= 640)\n",
                double(project.peakBytes) / kCount, project.peakBytes / 1048576.0);
    std::printf("  the same with references among the %d preceding variables:\n", kLocalWindow);
    std::printf("  (a) second pass %10.2f, (b) %10.2f, (c) %10.2f ns per variable",
                secondPassNs[kLocal], afterChangeKxNs[kLocal], afterChangePlainNs[kLocal]);
    if (afterChangePlainNs[kLocal] > 0)
        std::printf(", (b)/(c) %.2f", afterChangeKxNs[kLocal] / afterChangePlainNs[kLocal]);
    std::printf("\n  largest difference namespace vs loop    %10.3g\n", maxDifference);
}

} // namespace

int main(int argc, char **argv)
{
    TheProject(kRandom); // built first, so its memory is measured from a quiet start
    const int rc = kxbench::Main(
        argc, argv,
        {{"after change kx/plain loop (b)/(c), random", "BM_KxReadAfterChange/0",
          "BM_PlainLoopAfterChange/0"},
         {"after change kx/plain loop (b)/(c), local", "BM_KxReadAfterChange/1",
          "BM_PlainLoopAfterChange/1"},
         {"cached pass kx/plain loop, random", "BM_KxSecondPass/0", "BM_PlainLoopAfterChange/0"}});
    PrintSummary();
    return rc;
}
