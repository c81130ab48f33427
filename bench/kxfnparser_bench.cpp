// Formula evaluation and compilation: kx expressions against muparser and against the same
// formula written in C++. Every evaluation first gives the parameters fresh values:
//   BM_Native   computes them into an array and passes it to the C++ formula;
//   BM_Kx       computes them into the array bound to the expression with BindValues, then
//               calls Evaluate(), which reads the bound array;
//   BM_Mu       computes them into the variables bound to muparser with DefineVar, then calls
//               Eval(), which reads the bound variables;
//   BM_KxArray  computes them into an array and passes it to Evaluate(values).
// Every side computes the values with the same Vary loop, straight into where its formula
// reads them.
#include "kx/expressions/kxcubicspline.h"
#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include "kxbench.h"

#ifdef KX_HAVE_MUPARSER
#include <muParser.h>
#endif

#include <cmath>
#include <complex>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Cx = std::complex<double>;
constexpr double kPi = 3.141592653589793;
constexpr int kMaxParams = 5;

// The 10-point tables of the lininterp and spline formulas.
const double kTabX[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
const double kTabY[10] = {0, 1.2, 2.1, 2.7, 3.1, 3.3, 3.2, 2.8, 2.0, 1.1};

std::string TableText()
{
    std::string text;
    for (int i = 0; i < 10; ++i)
        text += ", " + std::to_string(kTabX[i]) + ", " + std::to_string(kTabY[i]);
    return text;
}

double NativeLinInterp(double x)
{
    int below = 0;
    while (below < 10 && kTabX[below] < x)
        ++below;
    const int r = below < 1 ? 1 : (below > 9 ? 9 : below);
    return kTabY[r - 1] +
           (kTabY[r] - kTabY[r - 1]) * (x - kTabX[r - 1]) / (kTabX[r] - kTabX[r - 1]);
}

const CSpline &NativeSpline()
{
    static CSpline spline = [] {
        CSpline s;
        (void)s.Set(kTabX, kTabY, 10);
        return s;
    }();
    return spline;
}

struct Formula {
    const char *name;
    std::string kx; // kx text
    std::string mu; // muparser text, empty for complex formulas
    std::vector<const char *> params;
    std::vector<double> base; // parameter values, varied slightly per evaluation
    double (*native)(const double *v);
};

std::vector<Formula> &Formulas()
{
    static std::vector<Formula> formulas = {
        {"dimensions",
         "w/2 + gap*n - offset",
         "w/2 + gap*n - offset",
         {"w", "gap", "n", "offset"},
         {4.0, 0.5, 3.0, 0.25},
         [](const double *v) { return v[0] / 2 + v[1] * v[2] - v[3]; }},
        {"diagonal",
         "sqrt(w*w+h*h)",
         "sqrt(w*w+h*h)",
         {"w", "h"},
         {3.0, 4.0},
         [](const double *v) { return std::sqrt(v[0] * v[0] + v[1] * v[1]); }},
        {"degrees",
         "r*cos(theta*_PI/180) + r*sin(theta*_PI/180)",
         "r*cos(theta*_pi/180) + r*sin(theta*_pi/180)",
         {"r", "theta"},
         {2.0, 30.0},
         [](const double *v) {
             return v[0] * std::cos(v[1] * kPi / 180) + v[0] * std::sin(v[1] * kPi / 180);
         }},
        {"branch",
         "if(x > 0.5, x*2, 1 - x)",
         "x > 0.5 ? x*2 : 1 - x",
         {"x"},
         {0.4},
         [](const double *v) { return v[0] > 0.5 ? v[0] * 2 : 1 - v[0]; }},
        {"gaussian",
         "n0 + dn*exp(-(x/w)**2)",
         "n0 + dn*exp(-((x/w)^2))",
         {"n0", "dn", "x", "w"},
         {3.2, 0.1, 0.7, 1.5},
         [](const double *v) { return v[0] + v[1] * std::exp(-((v[2] / v[3]) * (v[2] / v[3]))); }},
        {"polynomial",
         "a0 + a1*x + a2*x*x + a3*x*x*x",
         "a0 + a1*x + a2*x*x + a3*x*x*x",
         {"a0", "a1", "a2", "a3", "x"},
         {1.0, 0.5, 0.25, 0.125, 1.3},
         [](const double *v) {
             const double x = v[4];
             return v[0] + v[1] * x + v[2] * x * x + v[3] * x * x * x;
         }},
        {"clamp",
         "max(w - 2*t, 0.1) + min(h, 3)",
         "max(w - 2*t, 0.1) + min(h, 3)",
         {"w", "t", "h"},
         {1.0, 0.3, 2.5},
         [](const double *v) { return std::max(v[0] - 2 * v[1], 0.1) + std::min(v[2], 3.0); }},
        {"lininterp10",
         "lininterp(x" + TableText() + ")",
         "lininterp(x" + TableText() + ")",
         {"x"},
         {4.3},
         [](const double *v) { return NativeLinInterp(v[0]); }},
        {"spline10",
         "spline(x" + TableText() + ")",
         "spline(x" + TableText() + ")",
         {"x"},
         {4.3},
         [](const double *v) { return NativeSpline().Evaluate(v[0]); }},
    };
    return formulas;
}

// Fresh parameter values for evaluation i.
inline void Vary(const Formula &f, int64_t i, double *v)
{
    const double scale = 1.0 + 0.001 * static_cast<double>(i & 255);
    for (size_t k = 0; k < f.base.size(); ++k)
        v[k] = f.base[k] * scale;
}

void KxEvaluate(benchmark::State &state, const Formula *f)
{
    KXExpressionR e;
    e.setExpression(f->kx.c_str());
    for (const char *p : f->params)
        e.DeclareParam(p, "", 0, -1);
    if (!e.Compile()) {
        state.SkipWithError(error.chars());
        return;
    }
    double slots[kMaxParams] = {};
    e.BindValues(slots);
    int64_t i = 0;
    for (auto _ : state) {
        Vary(*f, i++, slots);
        benchmark::DoNotOptimize(e.Evaluate());
    }
    if (int(error) != 0)
        state.SkipWithError(error.chars());
}

// The values reach the formula through the caller's array, as a named variable passes them.
void KxArrayEvaluate(benchmark::State &state, const Formula *f)
{
    KXExpressionR e;
    e.setExpression(f->kx.c_str());
    for (const char *p : f->params)
        e.DeclareParam(p, "", 0, -1);
    if (!e.Compile()) {
        state.SkipWithError(error.chars());
        return;
    }
    double v[kMaxParams];
    int64_t i = 0;
    for (auto _ : state) {
        Vary(*f, i++, v);
        benchmark::DoNotOptimize(v);
        benchmark::DoNotOptimize(e.Evaluate(v));
    }
    if (int(error) != 0)
        state.SkipWithError(error.chars());
}

void NativeEvaluate(benchmark::State &state, const Formula *f)
{
    double v[kMaxParams];
    int64_t i = 0;
    for (auto _ : state) {
        Vary(*f, i++, v);
        benchmark::DoNotOptimize(v);
        benchmark::DoNotOptimize(f->native(v));
    }
}

void KxCompile(benchmark::State &state, const Formula *f)
{
    for (auto _ : state) {
        KXExpressionR e;
        e.setExpression(f->kx.c_str());
        for (const char *p : f->params)
            e.DeclareParam(p, "", 0, -1);
        benchmark::DoNotOptimize(e.Compile());
    }
}

#ifdef KX_HAVE_MUPARSER
double MuLinInterp(const double *a, int n)
{
    // Same algorithm as the kx built-in (table checked on each call).
    const int points = (n - 1) / 2;
    int below = 0;
    for (int i = 0; i < points; ++i)
        if (a[1 + 2 * i] < a[0])
            ++below;
    const int r = below < 1 ? 1 : (below > points - 1 ? points - 1 : below);
    const double x0 = a[2 * r - 1], x1 = a[2 * r + 1];
    return a[2 * r] + (a[2 * r + 2] - a[2 * r]) * (a[0] - x0) / (x1 - x0);
}

double MuSpline(const double *a, int n)
{
    // The natural spline through the table given in the arguments, built on each call.
    const int points = (n - 1) / 2;
    double m[64], work[64];
    CSpline::SecondDerivatives(a + 1, a + 2, points, 2, m, work);
    return CSpline::Value(a + 1, a + 2, points, 2, m, a[0]);
}

struct MuSetup {
    mu::Parser parser;
    double v[kMaxParams] = {};

    explicit MuSetup(const Formula &f)
    {
        parser.DefineFun("lininterp", MuLinInterp);
        parser.DefineFun("spline", MuSpline);
        for (size_t k = 0; k < f.params.size(); ++k)
            parser.DefineVar(f.params[k], &v[k]);
        parser.SetExpr(f.mu);
    }
};

void MuEvaluate(benchmark::State &state, const Formula *f)
{
    MuSetup mu(*f);
    try {
        mu.parser.Eval();
    } catch (mu::Parser::exception_type &ex) {
        state.SkipWithError(ex.GetMsg().c_str());
        return;
    }
    int64_t i = 0;
    for (auto _ : state) {
        Vary(*f, i++, mu.v);
        benchmark::DoNotOptimize(mu.parser.Eval());
    }
}

void MuCompile(benchmark::State &state, const Formula *f)
{
    for (auto _ : state) {
        MuSetup mu(*f);
        benchmark::DoNotOptimize(mu.parser.Eval());
    }
}
#endif

// Complex refractive-index formula: the propagation index of a slab mode, kx complex only.
const char *kComplexText = "sqrt(n*n - (lambda/(2*w))**2)";

void KxComplexEvaluate(benchmark::State &state)
{
    KXExpressionC e;
    e.setExpression(kComplexText);
    e.DeclareParam("n", "", 0, -1);
    e.DeclareParam("lambda", "", 0, -1);
    e.DeclareParam("w", "", 0, -1);
    if (!e.Compile()) {
        state.SkipWithError(error.chars());
        return;
    }
    Cx slots[3];
    e.BindValues(slots);
    int64_t i = 0;
    for (auto _ : state) {
        const double s = 1.0 + 0.001 * static_cast<double>(i++ & 255);
        slots[0] = Cx(3.48 * s, 0.01);
        slots[1] = Cx(1.55 * s, 0.0);
        slots[2] = Cx(0.5, 0.0);
        benchmark::DoNotOptimize(e.Evaluate());
    }
}

void NativeComplexEvaluate(benchmark::State &state)
{
    int64_t i = 0;
    for (auto _ : state) {
        const double s = 1.0 + 0.001 * static_cast<double>(i++ & 255);
        Cx n(3.48 * s, 0.01), lambda(1.55 * s, 0.0), w(0.5, 0.0);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(lambda);
        benchmark::DoNotOptimize(w);
        const Cx q = lambda / (2.0 * w);
        benchmark::DoNotOptimize(std::sqrt(n * n - q * q));
    }
}

void KxComplexCompile(benchmark::State &state)
{
    for (auto _ : state) {
        KXExpressionC e;
        e.setExpression(kComplexText);
        e.DeclareParam("n", "", 0, -1);
        e.DeclareParam("lambda", "", 0, -1);
        e.DeclareParam("w", "", 0, -1);
        benchmark::DoNotOptimize(e.Compile());
    }
}

// KX_BENCH_ITERATIONS=n runs every benchmark for exactly n iterations, so that an instruction
// count (bench/callgrind_formula.sh) can be divided by the iterations.
benchmark::internal::Benchmark *Fixed(benchmark::internal::Benchmark *b)
{
    if (const char *n = std::getenv("KX_BENCH_ITERATIONS"))
        b->Iterations(std::atoll(n));
    return b;
}

std::vector<kxbench::Ratio> RegisterAll()
{
    std::vector<kxbench::Ratio> ratios;
    for (Formula &f : Formulas()) {
        const std::string n = f.name;
        Fixed(benchmark::RegisterBenchmark(("BM_Kx/" + n).c_str(), KxEvaluate, &f));
        Fixed(benchmark::RegisterBenchmark(("BM_Native/" + n).c_str(), NativeEvaluate, &f));
        Fixed(benchmark::RegisterBenchmark(("BM_KxArray/" + n).c_str(), KxArrayEvaluate, &f));
        ratios.push_back({n + " kx array/native", "BM_KxArray/" + n, "BM_Native/" + n});
#ifdef KX_HAVE_MUPARSER
        Fixed(benchmark::RegisterBenchmark(("BM_Mu/" + n).c_str(), MuEvaluate, &f));
        ratios.push_back({n + " kx/muparser", "BM_Kx/" + n, "BM_Mu/" + n});
#endif
        ratios.push_back({n + " kx/native", "BM_Kx/" + n, "BM_Native/" + n});
    }
    Fixed(benchmark::RegisterBenchmark("BM_Kx/complex_index", KxComplexEvaluate));
    Fixed(benchmark::RegisterBenchmark("BM_Native/complex_index", NativeComplexEvaluate));
    ratios.push_back({"complex_index kx/native", "BM_Kx/complex_index", "BM_Native/complex_index"});
    for (Formula &f : Formulas()) {
        const std::string n = f.name;
        Fixed(benchmark::RegisterBenchmark(("BM_KxCompile/" + n).c_str(), KxCompile, &f));
#ifdef KX_HAVE_MUPARSER
        Fixed(benchmark::RegisterBenchmark(("BM_MuCompile/" + n).c_str(), MuCompile, &f));
        ratios.push_back(
            {"compile " + n + " kx/muparser", "BM_KxCompile/" + n, "BM_MuCompile/" + n});
#endif
    }
    Fixed(benchmark::RegisterBenchmark("BM_KxCompile/complex_index", KxComplexCompile));
    return ratios;
}

} // namespace

KX_BENCH_MAIN(RegisterAll())
