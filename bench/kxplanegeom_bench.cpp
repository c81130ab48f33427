// kxplanegeom_bench - the line/polygon crossings on 1,024-vertex polygons, and the polygon set
// operations on pairs of 256-vertex polygons against Clipper called directly on data already
// in its integer types (the cost of the conversion layer) and against boost::geometry.
#include "kx/geometry/kxplanegeom.h"
#include "kx/geometry/kxpolygonset.h"
#include "kxbench.h"

#include <polyclipping/clipper.hpp>

// GCC's optimiser warns about a variable inside boost::geometry's rescaling code at -O3.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <boost/geometry.hpp>
#include <boost/geometry/geometries/multi_polygon.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>

#include <cmath>
#include <random>

namespace bg = boost::geometry;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kPitch = 1e-6; // the default grid of the set operations

/// A star-shaped (simple, not convex) polygon: n vertices at increasing angles, random radii.
kxPointVector StarPolygon(int n, kxPoint centre, double radius, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    kxPointVector p;
    p.reserve(n);
    for (int i = 0; i < n; ++i) {
        const double a = 2 * kPi * (i + 0.8 * unit(rng)) / n;
        const double r = radius * (0.6 + 0.4 * unit(rng));
        p.emplace_back(centre.x + r * std::cos(a), centre.y + r * std::sin(a));
    }
    return p;
}

/// A comb of 1,024 vertices: a base strip with 255 teeth, so that a line across the teeth
/// crosses 510 edges.
kxPointVector CombPolygon()
{
    kxPointVector p{kxPoint(0, 0), kxPoint(510, 0), kxPoint(510, 0.5)};
    for (int k = 254; k >= 0; --k) {
        p.emplace_back(2.0 * k + 1.5, 0.5);
        p.emplace_back(2.0 * k + 1.5, 10);
        p.emplace_back(2.0 * k + 0.5, 10);
        p.emplace_back(2.0 * k + 0.5, 0.5);
    }
    p.emplace_back(0, 0.5);
    return p;
}

struct Fixture {
    kxPointVector star1024 = StarPolygon(1024, kxPoint(0, 0), 100, 1);
    kxPointVector comb = CombPolygon();
    kxPolygonSet a{StarPolygon(256, kxPoint(0, 0), 100, 2)};
    kxPolygonSet b{StarPolygon(256, kxPoint(40, 30), 100, 3)};
    ClipperLib::Paths ia, ib;
    bg::model::polygon<bg::model::d2::point_xy<double>> pa, pb;

    Fixture()
    {
        ia = ToPaths(a);
        ib = ToPaths(b);
        pa = ToBoost(a[0]);
        pb = ToBoost(b[0]);
    }
    static ClipperLib::Paths ToPaths(const kxPolygonSet &s)
    {
        ClipperLib::Paths out;
        for (const kxPointVector &poly : s) {
            ClipperLib::Path path;
            for (const kxPoint &p : poly)
                path.emplace_back(std::llrint(p.x / kPitch), std::llrint(p.y / kPitch));
            out.push_back(path);
        }
        return out;
    }
    static bg::model::polygon<bg::model::d2::point_xy<double>> ToBoost(const kxPointVector &poly)
    {
        bg::model::polygon<bg::model::d2::point_xy<double>> out;
        for (const kxPoint &p : poly)
            bg::append(out.outer(), bg::model::d2::point_xy<double>(p.x, p.y));
        bg::correct(out);
        return out;
    }
};

const Fixture &Data()
{
    static const Fixture f;
    return f;
}

void BM_KxIntersectLinePolygon(benchmark::State &state)
{
    const Fixture &f = Data();
    std::vector<double> t;
    for (auto _ : state) {
        kxIntersectLinePolygon(t, kxPoint(-200, -30), kxPoint(200, 50), f.star1024, -1);
        benchmark::DoNotOptimize(t.data());
    }
    state.counters["crossings"] = static_cast<double>(t.size());
}
BENCHMARK(BM_KxIntersectLinePolygon);

void BM_KxIntersectLineComb(benchmark::State &state)
{
    const Fixture &f = Data();
    std::vector<double> t;
    for (auto _ : state) {
        kxIntersectLinePolygon(t, kxPoint(-1, 5), kxPoint(600, 5), f.comb, -1);
        benchmark::DoNotOptimize(t.data());
    }
    state.counters["crossings"] = static_cast<double>(t.size());
    state.counters["vertices"] = static_cast<double>(f.comb.size());
}
BENCHMARK(BM_KxIntersectLineComb);

/// boost::geometry's linestring/polygon intersection on the same star and line, as a scale.
void BM_BoostIntersectLinePolygon(benchmark::State &state)
{
    const Fixture &f = Data();
    typedef bg::model::d2::point_xy<double> P;
    const auto poly = Fixture::ToBoost(f.star1024);
    bg::model::linestring<P> line{P(-200, -30), P(200, 50)};
    for (auto _ : state) {
        bg::model::multi_linestring<bg::model::linestring<P>> out;
        bg::intersection(line, poly, out);
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_BoostIntersectLinePolygon);

template <int Op>
void BM_KxSetOp(benchmark::State &state)
{
    const Fixture &f = Data();
    kxPolygonSet r;
    for (auto _ : state) {
        bool ok;
        if (Op == 0)
            ok = kxAddPolygons(r, f.a, f.b, -1);
        else if (Op == 1)
            ok = kxSubtractPolygons(r, f.a, f.b, -1);
        else
            ok = kxIntersectPolygons(r, f.a, f.b, -1);
        if (!ok) {
            state.SkipWithError("polygon operation failed");
            break;
        }
        benchmark::DoNotOptimize(r.data());
    }
}

template <int Op>
void BM_ClipperSetOp(benchmark::State &state)
{
    const Fixture &f = Data();
    const ClipperLib::ClipType type = Op == 0   ? ClipperLib::ctUnion
                                      : Op == 1 ? ClipperLib::ctDifference
                                                : ClipperLib::ctIntersection;
    for (auto _ : state) {
        ClipperLib::PolyTree tree;
        ClipperLib::Clipper c;
        c.AddPaths(f.ia, ClipperLib::ptSubject, true);
        c.AddPaths(f.ib, ClipperLib::ptClip, true);
        c.Execute(type, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
        benchmark::DoNotOptimize(tree.Total());
    }
}

template <int Op>
void BM_BoostSetOp(benchmark::State &state)
{
    const Fixture &f = Data();
    for (auto _ : state) {
        bg::model::multi_polygon<bg::model::polygon<bg::model::d2::point_xy<double>>> out;
        if (Op == 0)
            bg::union_(f.pa, f.pb, out);
        else if (Op == 1)
            bg::difference(f.pa, f.pb, out);
        else
            bg::intersection(f.pa, f.pb, out);
        benchmark::DoNotOptimize(out.data());
    }
}

BENCHMARK_TEMPLATE(BM_KxSetOp, 0)->Name("BM_KxAddPolygons");
BENCHMARK_TEMPLATE(BM_ClipperSetOp, 0)->Name("BM_ClipperUnion");
BENCHMARK_TEMPLATE(BM_BoostSetOp, 0)->Name("BM_BoostUnion");
BENCHMARK_TEMPLATE(BM_KxSetOp, 1)->Name("BM_KxSubtractPolygons");
BENCHMARK_TEMPLATE(BM_ClipperSetOp, 1)->Name("BM_ClipperDifference");
BENCHMARK_TEMPLATE(BM_BoostSetOp, 1)->Name("BM_BoostDifference");
BENCHMARK_TEMPLATE(BM_KxSetOp, 2)->Name("BM_KxIntersectPolygons");
BENCHMARK_TEMPLATE(BM_ClipperSetOp, 2)->Name("BM_ClipperIntersection");
BENCHMARK_TEMPLATE(BM_BoostSetOp, 2)->Name("BM_BoostIntersection");

} // namespace

KX_BENCH_MAIN(
    {{"line x 1024-gon kx/boost", "BM_KxIntersectLinePolygon", "BM_BoostIntersectLinePolygon"},
     {"union kx/clipper (target <= 1.3)", "BM_KxAddPolygons", "BM_ClipperUnion"},
     {"difference kx/clipper (target <= 1.3)", "BM_KxSubtractPolygons", "BM_ClipperDifference"},
     {"intersection kx/clipper (target <= 1.3)", "BM_KxIntersectPolygons",
      "BM_ClipperIntersection"},
     {"union kx/boost", "BM_KxAddPolygons", "BM_BoostUnion"},
     {"difference kx/boost", "BM_KxSubtractPolygons", "BM_BoostDifference"},
     {"intersection kx/boost", "BM_KxIntersectPolygons", "BM_BoostIntersection"}})
