// Chart rendering against matplotlib (Agg) on the same data in the same run, timed from data in
// memory to the PNG written: a 10^6-point line, a 1000 x 1000 colour map with its colour bar,
// and 20 contour levels of a 1000 x 1000 field. The matplotlib side is
// bench/kxgraph_matplotlib.py run with Debian's /usr/bin/python3; the ratios printed at the end
// are this library's best time over matplotlib's (targets: 0.2, 0.5 and 0.5).
#include "kx/graph/qvrender.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>

namespace {

const char *kOut = "/tmp";
std::map<std::string, double> g_best;

qvDataSet LineData()
{
    qvDataSet d;
    d.name = "line";
    d.x.resize(1000000);
    d.y.resize(1000000);
    for (int i = 0; i < 1000000; ++i) {
        d.x[i] = i;
        d.y[i] = std::sin(i * 0.001) + 0.3 * std::sin(i * 0.37);
    }
    return d;
}

qvDataSet FieldData(qvDataKind kind)
{
    qvDataSet d;
    d.kind = kind;
    d.name = "field";
    d.nx = d.ny = 1000;
    for (int i = 0; i < 1000; ++i)
        d.x.push_back(-5.0 + 10.0 * i / 999);
    d.y = d.x;
    d.z.resize(1000000);
    for (int j = 0; j < 1000; ++j)
        for (int i = 0; i < 1000; ++i)
            d.z[j * 1000 + i] = std::sin(d.x[i]) * std::cos(d.y[j]) + 0.05 * d.x[i];
    return d;
}

// The data are in memory before the clock starts (as matplotlib's NumPy arrays are); the chart
// takes them over without a copy.
void Run(benchmark::State &state, const char *name, const qvDataSet &data)
{
    std::string path = std::string(kOut) + "/kx_" + name + ".png";
    for (auto _ : state) {
        qvDataSet inMemory = data;
        auto t0 = std::chrono::steady_clock::now();
        qvChart chart;
        chart.legend = false;
        if (!chart.AddDataSet(std::move(inMemory)) ||
            !qvExportPNG(chart, path.c_str(), 800, 600, 100)) {
            state.SkipWithError("chart could not be written");
            return;
        }
        double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        state.SetIterationTime(s);
        auto it = g_best.find(name);
        if (it == g_best.end() || s < it->second)
            g_best[name] = s;
    }
}

void BM_Line(benchmark::State &state) { Run(state, "line", LineData()); }
void BM_ColourMap(benchmark::State &state) { Run(state, "colourmap", FieldData(qvColourMapPlot)); }
void BM_Contour(benchmark::State &state)
{
    qvDataSet d = FieldData(qvContour);
    d.levelCount = 20;
    d.labels = false; // matplotlib's contour() draws no labels either
    Run(state, "contour", d);
}

BENCHMARK(BM_Line)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ColourMap)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Contour)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::string cmd =
        std::string("/usr/bin/python3 ") + KX_BENCH_DIR + "/kxgraph_matplotlib.py " + kOut + " 3";
    FILE *p = popen(cmd.c_str(), "r");
    if (!p) {
        std::printf("matplotlib peer could not be started\n");
        return 1;
    }
    std::map<std::string, double> peer;
    char name[64];
    double secs = 0;
    while (std::fscanf(p, "%63s %lf", name, &secs) == 2)
        peer[name] = secs;
    if (pclose(p) != 0 || peer.size() != 3) {
        std::printf("matplotlib peer failed (is python3-matplotlib installed?)\n");
        return 1;
    }
    const std::map<std::string, double> target = {
        {"line", 0.2}, {"colourmap", 0.5}, {"contour", 0.5}};
    std::printf("\n%-10s %12s %14s %8s %8s\n", "case", "kxgraph ms", "matplotlib ms", "ratio",
                "target");
    for (const auto &t : target) {
        double ours = g_best.count(t.first) ? g_best[t.first] : NAN;
        double ratio = ours / peer[t.first];
        std::printf("%-10s %12.1f %14.1f %8.3f %8.2f %s\n", t.first.c_str(), ours * 1e3,
                    peer[t.first] * 1e3, ratio, t.second, ratio <= t.second ? "met" : "MISSED");
    }
    return 0;
}
