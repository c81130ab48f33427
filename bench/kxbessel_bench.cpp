// kxbessel_bench - complex-argument J of orders 0..10 against Boost.Math's real-argument
// cyl_bessel_j at the same real points: eleven single calls per point, and one run of eleven
// orders per point (the way a mode solver asks for a set of orders).
#include "kx/numerics/kxbessel.h"
#include "kxbench.h"

#include <boost/math/special_functions/bessel.hpp>

#include <random>
#include <vector>

namespace {

constexpr int kOrders = 11;

const std::vector<double> &Points()
{
    static const std::vector<double> points = [] {
        std::mt19937 gen(11);
        std::uniform_real_distribution<double> x(0.05, 40.0);
        std::vector<double> p(256);
        for (double &v : p)
            v = x(gen);
        return p;
    }();
    return points;
}

void BM_BoostJ0to10(benchmark::State &state)
{
    const std::vector<double> &points = Points();
    for (auto _ : state) {
        double sum = 0.0;
        for (double x : points)
            for (int n = 0; n < kOrders; ++n)
                sum += boost::math::cyl_bessel_j(n, x);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * points.size() * kOrders);
}

void BM_KxJ0to10Single(benchmark::State &state)
{
    const std::vector<double> &points = Points();
    for (auto _ : state) {
        std::complex<double> sum = 0.0;
        for (double x : points)
            for (int n = 0; n < kOrders; ++n)
                sum += kxBesselJ(n, std::complex<double>(x, 0.0));
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * points.size() * kOrders);
}

void BM_KxJ0to10Run(benchmark::State &state)
{
    const std::vector<double> &points = Points();
    std::complex<double> run[kOrders];
    for (auto _ : state) {
        std::complex<double> sum = 0.0;
        for (double x : points) {
            if (!kxBesselSequence(kxBesselKind::J, 0.0, std::complex<double>(x, 0.0), kOrders, run))
                state.SkipWithError("run refused");
            for (const std::complex<double> &v : run)
                sum += v;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * points.size() * kOrders);
}

BENCHMARK(BM_BoostJ0to10);
BENCHMARK(BM_KxJ0to10Single);
BENCHMARK(BM_KxJ0to10Run);

} // namespace

KX_BENCH_MAIN({{"J0..J10 complex single calls / boost (target <= 3)", "BM_KxJ0to10Single",
                "BM_BoostJ0to10"},
               {"J0..J10 complex run / boost (target <= 3)", "BM_KxJ0to10Run", "BM_BoostJ0to10"}})
