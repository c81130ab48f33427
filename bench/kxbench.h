// kxbench.h - a main for Google Benchmark programs that prints named ratios after the run.
//
// Usage, in place of BENCHMARK_MAIN():
//   KX_BENCH_MAIN({{"append kx/std", "BM_KxAppend", "BM_StdAppend"}, ...})
// Each ratio divides the CPU time per iteration of the first benchmark by that of the
// second (CPU time, not wall time, so that other load on the machine does not skew it); both
// must be registered in the same program, so both are measured in the same run. A ratio made
// with `wall` set divides wall times instead, for work that waits (a flush to disk).
// A benchmark name is matched on its prefix (so arguments such as "/1024" may follow) and the
// first match is used unless the full name is given.
//
// Register benchmarks with KX_BENCHMARK(fn) (BENCHMARK(fn) with kxbench::Configure applied):
// when the environment variable KX_BENCH_ITERATIONS is set, each benchmark then runs exactly
// that many iterations, once. bench/callgrind_ratio.sh uses this to count instructions per
// iteration under valgrind.
#ifndef KX_BENCH_KXBENCH_H
#define KX_BENCH_KXBENCH_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace kxbench {

struct Ratio {
    std::string label;
    std::string numerator;
    std::string denominator;
    bool wall = false; ///< divide wall times (else CPU times)
};

/// Fixes the iteration count from KX_BENCH_ITERATIONS, when set (see the top).
inline void Configure(benchmark::internal::Benchmark *b)
{
    const char *n = std::getenv("KX_BENCH_ITERATIONS");
    if (n && std::atoll(n) > 0)
        b->Iterations(std::atoll(n));
}

class RecordingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                times_.push_back(
                    {run.benchmark_name(), run.GetAdjustedCPUTime(), run.GetAdjustedRealTime()});
        ConsoleReporter::ReportRuns(runs);
    }
    bool Find(const std::string &name, bool wall, double &time) const
    {
        for (const Times &t : times_)
            if (t.name == name) {
                time = wall ? t.wall : t.cpu;
                return true;
            }
        for (const Times &t : times_)
            if (t.name.compare(0, name.size(), name) == 0) {
                time = wall ? t.wall : t.cpu;
                return true;
            }
        return false;
    }

private:
    struct Times {
        std::string name;
        double cpu;
        double wall;
    };
    std::vector<Times> times_;
};

inline int Main(int argc, char **argv, const std::vector<Ratio> &ratios)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nratios (same run):\n");
    for (const Ratio &r : ratios) {
        double a = 0, b = 0;
        if (reporter.Find(r.numerator, r.wall, a) && reporter.Find(r.denominator, r.wall, b) &&
            b > 0)
            std::printf("  %-44s %8.3f\n", r.label.c_str(), a / b);
        else
            std::printf("  %-44s (not run)\n", r.label.c_str());
    }
    benchmark::Shutdown();
    return 0;
}

} // namespace kxbench

#define KX_BENCHMARK(fn) BENCHMARK(fn)->Apply(kxbench::Configure)

#define KX_BENCH_MAIN(...)                                                                         \
    int main(int argc, char **argv) { return kxbench::Main(argc, argv, __VA_ARGS__); }

#endif
