// The built-in functions of the formula language.
#define KX_UNIT "kxfnparserComm"

#include "kxfnbuiltins.h"

#include "kx/expressions/kxcubicspline.h"
#include "kxfnopcodes.h"

#include <vector>

namespace kxfn {

namespace {

bool DomainError(const char *name)
{
    error.set(kDomainError, name);
    return false;
}

// ---------------------------------------------------------------------------------------------
// Built-in routines, as registered in the parsers' tables.
template <class T, int OP>
T UnaryRoutine(const KXParListT<T> &args)
{
    T x = args[0];
    return ApplyUnary(OP, x) ? x : T();
}

template <class T>
T PowRoutine(const KXParListT<T> &args)
{
    T r;
    return PowerOf(args[0], args[1], r) ? r : T();
}

template <class T, bool isMax>
T MaxMinRoutine(const KXParListT<T> &args)
{
    T result;
    return MaxMinOf(args.begin(), args.Count(), isMax, result) ? result : T();
}

// Checks the layout (x, x1, y1, x2, y2, ...) of lininterp and spline.
template <class T>
bool CheckTableCount(const KXParListT<T> &args, const char *name)
{
    if (args.Count() < 5) {
        error.set(kTooFewArguments, name);
        return false;
    }
    if (args.Count() % 2 == 0) {
        error.set(kWrongArgumentCount, name);
        return false;
    }
    return true;
}

template <class T>
T LinInterpRoutine(const KXParListT<T> &args)
{
    bool hard;
    return LinInterpChecked(args.begin(), args.Count(), hard);
}

// Scratch for the spline of a table given in the arguments: on the stack for usual sizes.
class SplineScratch {
public:
    explicit SplineScratch(int n)
    {
        if (n > kLocal) {
            static thread_local std::vector<double> heap;
            if (static_cast<int>(heap.size()) < 2 * n)
                heap.resize(2 * n);
            m_ = heap.data();
        }
        work_ = m_ + n;
    }
    double *M() { return m_; }
    double *Work() { return work_; }

private:
    static constexpr int kLocal = 128;
    double local_[2 * kLocal];
    double *m_ = local_;
    double *work_;
};

double SplineValue(const double *x, const double *y, int n, int stride, double at)
{
    SplineScratch scratch(n);
    CSpline::SecondDerivatives(x, y, n, stride, scratch.M(), scratch.Work());
    return CSpline::Value(x, y, n, stride, scratch.M(), at);
}

double SplineAt(const ParListR &args)
{
    const int n = (args.Count() - 1) / 2;
    return SplineValue(args.begin() + 1, args.begin() + 2, n, 2, args[0]);
}

Cx SplineAt(const ParListC &args)
{
    // Real and imaginary parts are splined separately over the real parts of the abscissae.
    const int n = (args.Count() - 1) / 2;
    const double *d = reinterpret_cast<const double *>(args.begin());
    const double re = SplineValue(d + 2, d + 4, n, 4, args[0].real());
    const double im = SplineValue(d + 2, d + 5, n, 4, args[0].real());
    return Cx(re, im);
}

template <class T>
bool SplineAbscissaeIncrease(const KXParListT<T> &args)
{
    const int n = (args.Count() - 1) / 2;
    for (int i = 1; i < n; ++i)
        if (!(Re(args[1 + 2 * i]) > Re(args[2 * i - 1])))
            return false;
    return true;
}

template <class T>
T SplineRoutine(const KXParListT<T> &args)
{
    if (!CheckTableCount(args, "spline"))
        return T();
    if (!SplineAbscissaeIncrease(args))
        return Fault<T>(kSplineNotIncreasing);
    return SplineAt(args);
}

template <class T>
T IfRoutine(const KXParListT<T> &args)
{
    if (args.Count() != 3)
        return Fault<T>(kWrongIfArgumentCount);
    const double c = Re(args[0]);
    if (std::isnan(c))
        return Fault<T>(kConditionError);
    return c != 0.0 ? args[1] : args[2];
}

} // namespace

bool ApplyUnary(int op, double &x)
{
    switch (op) {
    case opSqrt:
        if (x < 0.0) {
            error.set("%s", kNegativeSqrt);
            return false;
        }
        x = std::sqrt(x);
        return true;
    case opSign: x = x > 0.0 ? 1.0 : (x < 0.0 ? -1.0 : 0.0); return true;
    case opAbs: x = std::fabs(x); return true;
    case opExp: x = std::exp(x); return true;
    case opSin: x = std::sin(x); return true;
    case opCos: x = std::cos(x); return true;
    case opTan: x = std::tan(x); return true;
    case opSinh: x = std::sinh(x); return true;
    case opCosh: x = std::cosh(x); return true;
    case opTanh: x = std::tanh(x); return true;
    case opLn:
        if (x <= 0.0)
            return DomainError("ln");
        x = std::log(x);
        return true;
    case opLog10:
        if (x <= 0.0)
            return DomainError("log10");
        x = std::log10(x);
        return true;
    case opAsin:
        if (x < -1.0 || x > 1.0)
            return DomainError("asin");
        x = std::asin(x);
        return true;
    case opAcos:
        if (x < -1.0 || x > 1.0)
            return DomainError("acos");
        x = std::acos(x);
        return true;
    case opAtan: x = std::atan(x); return true;
    default: break;
    }
    KX_CODE_ERROR("unknown inline function");
    return false;
}

bool ApplyUnary(int op, Cx &x)
{
    switch (op) {
    case opSqrt: x = std::sqrt(x); return true;
    case opSign: x = x.real() > 0.0 ? 1.0 : (x.real() < 0.0 ? -1.0 : 0.0); return true;
    case opAbs: x = std::abs(x); return true;
    case opExp: x = std::exp(x); return true;
    case opSin: x = std::sin(x); return true;
    case opCos: x = std::cos(x); return true;
    case opTan: x = std::tan(x); return true;
    case opSinh: x = std::sinh(x); return true;
    case opCosh: x = std::cosh(x); return true;
    case opTanh: x = std::tanh(x); return true;
    case opLn:
        if (IsZeroValue(x))
            return DomainError("ln");
        x = std::log(x);
        return true;
    case opLog10:
        if (IsZeroValue(x))
            return DomainError("log10");
        x = std::log10(x);
        return true;
    case opAsin: x = std::asin(x); return true;
    case opAcos: x = std::acos(x); return true;
    case opAtan: x = std::atan(x); return true;
    case opReal: x = x.real(); return true;
    case opImag: x = x.imag(); return true;
    case opArg: x = std::arg(x); return true;
    default: break;
    }
    KX_CODE_ERROR("unknown inline function");
    return false;
}

template <class T>
bool MaxMinOf(const T *args, int n, bool isMax, T &result)
{
    const char *name = isMax ? "max" : "min";
    if (n < 1) {
        error.set(kTooFewArguments, name);
        return false;
    }
    double best = Re(args[0]);
    for (int i = 0; i < n; ++i) {
        if (HasImag(args[i])) {
            error.set(kComplexArgument, name);
            return false;
        }
        const double v = Re(args[i]);
        if (isMax ? v > best : v < best)
            best = v;
    }
    result = T(best);
    return true;
}

template <class T>
T LinInterpChecked(const T *args, int n, bool &hard)
{
    hard = true;
    if (!CheckTableCount(KXParListT<T>(args, n), "lininterp"))
        return T();
    const int points = (n - 1) / 2;
    for (int i = 0; i <= points; ++i) {
        if (HasImag(args[i == 0 ? 0 : 2 * i - 1])) {
            error.set("%s", kComplexLinInterpPosition);
            return T();
        }
    }
    hard = false;
    const T *table = args + 1;
    for (int i = 1; i < points; ++i)
        if (!(Re(table[2 * i]) > Re(table[2 * i - 2])))
            error.set("%s", kLinInterpNotIncreasing);
    return LinInterpTable(table, points, Re(args[0]));
}

template <class T>
void RegisterCommonBuiltins(KXFuncParserT<T> &p,
                            void (KXFuncParserT<T>::*reg)(typename KXFuncParserT<T>::Routine,
                                                          const char *, int, int))
{
    (p.*reg)(UnaryRoutine<T, opSqrt>, "sqrt", 1, opSqrt);
    (p.*reg)(UnaryRoutine<T, opSign>, "sign", 1, opSign);
    (p.*reg)(PowRoutine<T>, "pow", 2, opPow);
    (p.*reg)(PowRoutine<T>, "**", 2, opPow);
    (p.*reg)(UnaryRoutine<T, opAbs>, "abs", 1, opAbs);
    (p.*reg)(SplineRoutine<T>, "spline", -1, kInlineSpline);
    (p.*reg)(MaxMinRoutine<T, true>, "max", -1, kInlineMax);
    (p.*reg)(MaxMinRoutine<T, false>, "min", -1, kInlineMin);
    (p.*reg)(LinInterpRoutine<T>, "lininterp", -1, kInlineLinInterp);
    (p.*reg)(UnaryRoutine<T, opExp>, "exp", 1, opExp);
    (p.*reg)(UnaryRoutine<T, opSin>, "sin", 1, opSin);
    (p.*reg)(UnaryRoutine<T, opCos>, "cos", 1, opCos);
    (p.*reg)(UnaryRoutine<T, opTan>, "tan", 1, opTan);
    (p.*reg)(UnaryRoutine<T, opSinh>, "sinh", 1, opSinh);
    (p.*reg)(UnaryRoutine<T, opCosh>, "cosh", 1, opCosh);
    (p.*reg)(UnaryRoutine<T, opTanh>, "tanh", 1, opTanh);
    (p.*reg)(UnaryRoutine<T, opLn>, "ln", 1, opLn);
    (p.*reg)(UnaryRoutine<T, opLog10>, "log10", 1, opLog10);
    (p.*reg)(UnaryRoutine<T, opAsin>, "asin", 1, opAsin);
    (p.*reg)(UnaryRoutine<T, opAcos>, "acos", 1, opAcos);
    (p.*reg)(UnaryRoutine<T, opAtan>, "atan", 1, opAtan);
    (p.*reg)(IfRoutine<T>, "if", 3, kInlineIf);
}

Cx RealRoutine(const ParListC &args) { return UnaryRoutine<Cx, opReal>(args); }
Cx ImagRoutine(const ParListC &args) { return UnaryRoutine<Cx, opImag>(args); }
Cx ArgRoutine(const ParListC &args) { return UnaryRoutine<Cx, opArg>(args); }

template bool MaxMinOf(const double *, int, bool, double &);
template bool MaxMinOf(const Cx *, int, bool, Cx &);
template double LinInterpChecked(const double *, int, bool &);
template Cx LinInterpChecked(const Cx *, int, bool &);
template void RegisterCommonBuiltins(KXFuncParserT<double> &,
                                     void (KXFuncParserT<double>::*)(KXFuncParserT<double>::Routine,
                                                                     const char *, int, int));
template void RegisterCommonBuiltins(KXFuncParserT<Cx> &,
                                     void (KXFuncParserT<Cx>::*)(KXFuncParserT<Cx>::Routine,
                                                                 const char *, int, int));

} // namespace kxfn
