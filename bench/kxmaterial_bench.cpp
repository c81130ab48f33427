// Materials: 10^6 index evaluations through the material interface against the same work done
// directly, measured in the same run.
//
// BM_MaterialSellmeier  a 3-term Sellmeier material (fused silica) through kxMaterial::Index
// BM_HandSellmeier      the same law hand-coded in C++
// BM_MaterialTable      a material tabulated at 500 points (spline) through kxMaterial::Index
// BM_SplineDirect       the landed CSpline through the same 500 points, called directly
// Each iteration evaluates 10^6 wavelengths spread over 0.5 .. 1.6 um.
#include "kxbench.h"

#include "kx/expressions/kxcubicspline.h"
#include "kx/materials/kxmatmodels.h"

#include <cmath>
#include <complex>
#include <memory>
#include <vector>

namespace {

constexpr int kEvaluations = 1000000;
const double kB[3] = {0.6961663, 0.4079426, 0.8974794};
const double kC[3] = {0.0684043 * 0.0684043, 0.1162414 * 0.1162414, 9.896161 * 9.896161};

const std::vector<double> &Wavelengths()
{
    static const std::vector<double> w = [] {
        std::vector<double> v(kEvaluations);
        for (int i = 0; i < kEvaluations; ++i)
            v[i] = 0.5 + 1.1 * ((i * 7919LL) % kEvaluations) / double(kEvaluations);
        return v;
    }();
    return w;
}

/// The table: n of fused silica at 500 wavelengths over 0.45 .. 1.65 um.
void Table(std::vector<double> &l, std::vector<double> &n)
{
    for (int i = 0; i < 500; ++i) {
        const double lam = 0.45 + 1.2 * i / 499.0, l2 = lam * lam;
        l.push_back(lam);
        n.push_back(std::sqrt(1 + kB[0] * l2 / (l2 - kC[0]) + kB[1] * l2 / (l2 - kC[1]) +
                              kB[2] * l2 / (l2 - kC[2])));
    }
}

void RunMaterial(benchmark::State &state, kxMaterial &m)
{
    const std::vector<double> &w = Wavelengths();
    for (auto _ : state) {
        double sum = 0;
        for (double lam : w)
            sum += m.Index(lam, kxRoomTemperature, 0.0).real();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kEvaluations);
}

void BM_MaterialSellmeier(benchmark::State &state)
{
    std::unique_ptr<kxMaterial> m(
        new kxSellmeierMaterial(1.0, {kB[0], kB[1], kB[2]}, {kC[0], kC[1], kC[2]}));
    m->SetRange(0.21, 3.71);
    RunMaterial(state, *m);
}

void BM_HandSellmeier(benchmark::State &state)
{
    const std::vector<double> &w = Wavelengths();
    for (auto _ : state) {
        double sum = 0;
        for (double lam : w) {
            const double l2 = lam * lam;
            sum += std::sqrt(1.0 + kB[0] * l2 / (l2 - kC[0]) + kB[1] * l2 / (l2 - kC[1]) +
                             kB[2] * l2 / (l2 - kC[2]));
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kEvaluations);
}

void BM_MaterialTable(benchmark::State &state)
{
    std::vector<double> l, n;
    Table(l, n);
    std::unique_ptr<kxDatabaseMaterial> m(new kxDatabaseMaterial());
    if (!m->SetNTable(l, n))
        state.SkipWithError("table refused");
    RunMaterial(state, *m);
}

void BM_SplineDirect(benchmark::State &state)
{
    std::vector<double> l, n;
    Table(l, n);
    CSpline spline;
    if (!spline.Set(l.data(), n.data(), static_cast<int>(l.size())))
        state.SkipWithError("spline refused");
    const std::vector<double> &w = Wavelengths();
    for (auto _ : state) {
        double sum = 0;
        for (double lam : w)
            sum += spline.Evaluate(lam);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kEvaluations);
}

} // namespace

BENCHMARK(BM_MaterialSellmeier)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HandSellmeier)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MaterialTable)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SplineDirect)->Unit(benchmark::kMillisecond);

KX_BENCH_MAIN(
    {{"3-term Sellmeier: material / hand-coded", "BM_MaterialSellmeier", "BM_HandSellmeier"},
     {"500-point table: material / CSpline direct", "BM_MaterialTable", "BM_SplineDirect"}})
