// Point containment of shapes: KXRegularPolygon of 8, 64 and 1,024 vertices and a KXPolygon
// star of 1,024 vertices, against boost::geometry::covered_by and a plain crossing-number loop
// over the same vertices, on the same points.
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxregularpolygon.h"

#include "kxbench.h"

#include <boost/geometry.hpp>
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/geometries/polygon.hpp>

#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace bg = boost::geometry;
typedef bg::model::d2::point_xy<double> BoostPoint;
typedef bg::model::polygon<BoostPoint> BoostPolygon;

namespace {

constexpr int kPoints = 4096;

struct Case {
    std::string name;
    std::unique_ptr<KXShape> shape;
    std::vector<kxPoint> vertices;
    BoostPolygon boost;
    std::vector<kxPoint> points;
    std::vector<BoostPoint> boostPoints;
};

std::unique_ptr<KXShape> Regular(int n)
{
    auto r = std::make_unique<KXRegularPolygon>(n);
    r->setSize(2.0, 2.0);
    r->angle = 7.5;
    return r;
}

std::unique_ptr<KXShape> Star(int n)
{
    auto p = std::make_unique<KXPolygon>();
    for (int k = 0; k < n; ++k) {
        const double r = k % 2 ? 0.45 : 1.0, t = k * 6.283185307179586 / n;
        p->AddPoint(r * std::cos(t), r * std::sin(t));
    }
    return p;
}

Case Make(const std::string &name, std::unique_ptr<KXShape> shape, std::vector<kxPoint> vertices,
          unsigned seed)
{
    Case c;
    c.name = name;
    c.shape = std::move(shape);
    c.vertices = std::move(vertices);
    for (const kxPoint &v : c.vertices)
        bg::append(c.boost.outer(), BoostPoint(v.x, v.y));
    bg::correct(c.boost); // orientation and closing point as Boost wants them
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(-1.1, 1.1);
    for (int i = 0; i < kPoints; ++i) {
        c.points.emplace_back(u(rng), u(rng));
        c.boostPoints.emplace_back(c.points.back().x, c.points.back().y);
    }
    return c;
}

std::vector<Case> &Cases()
{
    static std::vector<Case> cases;
    if (cases.empty()) {
        for (int n : {8, 64, 1024}) {
            auto shape = Regular(n);
            auto v = static_cast<KXRegularPolygon &>(*shape).GetVertices();
            cases.push_back(Make("Regular" + std::to_string(n), std::move(shape), v, n));
        }
        auto star = Star(1024);
        auto v = static_cast<KXPolygon &>(*star).GetVertices();
        cases.push_back(Make("Star1024", std::move(star), v, 99));
    }
    return cases;
}

/// The textbook even-odd crossing loop.
bool PlainContains(const std::vector<kxPoint> &v, const kxPoint &p)
{
    bool in = false;
    const size_t n = v.size();
    for (size_t i = 0, j = n - 1; i < n; j = i++) {
        if ((v[i].y > p.y) != (v[j].y > p.y) &&
            p.x < (v[j].x - v[i].x) * (p.y - v[i].y) / (v[j].y - v[i].y) + v[i].x)
            in = !in;
    }
    return in;
}

void BM_Kx(benchmark::State &state, int which)
{
    const Case &c = Cases()[which];
    for (auto _ : state) {
        int inside = 0;
        for (const kxPoint &p : c.points)
            inside += c.shape->Contains(p);
        benchmark::DoNotOptimize(inside);
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void BM_Boost(benchmark::State &state, int which)
{
    const Case &c = Cases()[which];
    for (auto _ : state) {
        int inside = 0;
        for (const BoostPoint &p : c.boostPoints)
            inside += bg::covered_by(p, c.boost);
        benchmark::DoNotOptimize(inside);
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}

void BM_Plain(benchmark::State &state, int which)
{
    const Case &c = Cases()[which];
    for (auto _ : state) {
        int inside = 0;
        for (const kxPoint &p : c.points)
            inside += PlainContains(c.vertices, p);
        benchmark::DoNotOptimize(inside);
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}

/// All three must count the same points inside (the random points avoid the outline).
bool CheckAgreement()
{
    bool ok = true;
    for (const Case &c : Cases()) {
        int kx = 0, boost = 0, plain = 0;
        for (int i = 0; i < kPoints; ++i) {
            kx += c.shape->Contains(c.points[i]);
            boost += bg::covered_by(c.boostPoints[i], c.boost);
            plain += PlainContains(c.vertices, c.points[i]);
        }
        std::printf("%-10s inside: kx %d, boost %d, plain %d of %d\n", c.name.c_str(), kx, boost,
                    plain, kPoints);
        ok = ok && kx == boost && kx == plain;
    }
    return ok;
}

const bool registered = [] {
    for (int i = 0; i < 4; ++i) {
        const std::string name = Cases()[i].name;
        benchmark::RegisterBenchmark(("BM_Kx" + name).c_str(), BM_Kx, i);
        benchmark::RegisterBenchmark(("BM_Boost" + name).c_str(), BM_Boost, i);
        benchmark::RegisterBenchmark(("BM_Plain" + name).c_str(), BM_Plain, i);
    }
    if (!CheckAgreement())
        std::printf("WARNING: the three containment tests disagree\n");
    return true;
}();

} // namespace

KX_BENCH_MAIN({{"regular 8 kx/boost", "BM_KxRegular8", "BM_BoostRegular8"},
               {"regular 8 kx/plain loop", "BM_KxRegular8", "BM_PlainRegular8"},
               {"regular 64 kx/boost", "BM_KxRegular64", "BM_BoostRegular64"},
               {"regular 64 kx/plain loop", "BM_KxRegular64", "BM_PlainRegular64"},
               {"regular 1024 kx/boost", "BM_KxRegular1024", "BM_BoostRegular1024"},
               {"regular 1024 kx/plain loop", "BM_KxRegular1024", "BM_PlainRegular1024"},
               {"star 1024 kx/boost", "BM_KxStar1024", "BM_BoostStar1024"},
               {"star 1024 kx/plain loop", "BM_KxStar1024", "BM_PlainStar1024"}})
