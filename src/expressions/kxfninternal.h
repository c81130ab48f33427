// kxfninternal.h - what the parts of the formula engine (built-ins, compiler, optimiser,
// evaluator) share and the installed headers do not show: symbol binding, the texts of the
// faults, value helpers for the real and complex variants, and the readers of parameter values.
#ifndef KX_EXPRESSIONS_KXFNINTERNAL_H
#define KX_EXPRESSIONS_KXFNINTERNAL_H

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <cmath>
#include <complex>
#include <cstring>

// Internal members bound inside the library (no interposition, direct calls).
#if defined(__GNUC__)
#define KX_LIBRARY_INTERNAL __attribute__((visibility("hidden")))
#define KX_NOINLINE __attribute__((noinline))
#define KX_LIKELY(condition) __builtin_expect(!!(condition), 1)
#else
#define KX_NOINLINE
#define KX_LIBRARY_INTERNAL
#define KX_LIKELY(condition) (condition)
#endif

namespace kxfn {

using Cx = std::complex<double>;

// ---------------------------------------------------------------------------------------------
// The texts of the faults a formula reports (with a "%s" for a name where there is one).
constexpr const char *kMissingBracket = "missing bracket\n";
constexpr const char *kMissingSquareBracket = "missing square bracket\n";
constexpr const char *kTooManyIfArguments = "too many arguments to if function\n";
constexpr const char *kTooComplicated = "expression too complicated\n";
constexpr const char *kParseError = "parse error\n";
constexpr const char *kUndefinedFunction = "undefined function \"%s\"\n";
constexpr const char *kWrongArgumentCount = "wrong number of arguments in function \"%s\"\n";
constexpr const char *kTooFewArguments = "too few arguments in function \"%s\"\n";
constexpr const char *kNotAVector = "variable \"%s\" is not a vector\n";
constexpr const char *kUndefinedVariable = "undefined variable \"%s\"\n";
constexpr const char *kIndexOutOfRange = "index %d out of range (%d %d) in variable \"%s\"\n";
constexpr const char *kUnresolvedVariable = "undesolved variable \"%s\"\n";
constexpr const char *kDivisionByZero = "division by zero";
constexpr const char *kConditionError = "conditional operator evaluation error\n";
constexpr const char *kNegativeSqrt = "negative argument in sqrt\n";
constexpr const char *kNegativePower = "negative argument in non-integer power\n";
constexpr const char *kDomainError = "DOMAIN error in function \"%s\"\n";
constexpr const char *kComplexArgument = "cannot pass complex number to function \"%s\"\n";
constexpr const char *kComplexLinInterpPosition =
    "cannot pass complex number in this position to function \"lininterp\"\n";
constexpr const char *kLinInterpNotIncreasing = "the x-arguments must be monotonically increasing";
constexpr const char *kSplineNotIncreasing =
    "spline: the x-arguments must be monotonically increasing";
constexpr const char *kWrongIfArgumentCount = "wrong number of arguments in function \"if\"\n";

// ---------------------------------------------------------------------------------------------
/// Value-stack slots kept on the machine stack; deeper programs get space of their own.
constexpr int kLocalStack = 64;

/// Markers in a parser entry's inlineOp for built-ins the compiler treats specially (above every
/// opcode, which is the inlineOp of the built-ins run as one instruction).
constexpr int kInlineIf = 1000;
constexpr int kInlineSpline = 1001;
constexpr int kInlineMax = 1002;
constexpr int kInlineMin = 1003;
constexpr int kInlineLinInterp = 1004;

// ---------------------------------------------------------------------------------------------
// The real and complex variants seen alike: comparisons and positions use real parts.
inline double Re(double x) { return x; }
inline double Re(const Cx &x) { return x.real(); }
inline bool IsZeroValue(double x) { return x == 0.0; }
inline bool IsZeroValue(const Cx &x) { return x.real() == 0.0 && x.imag() == 0.0; }
inline bool HasImag(double) { return false; }
inline bool HasImag(const Cx &x) { return x.imag() != 0.0; }
inline bool IsIntegral(double x) { return std::isfinite(x) && x == std::floor(x); }

/// A fault of an evaluation: the text goes to the global error record, the value is 0.
template <class T>
T Fault(const char *text)
{
    error.set("%s", text);
    return T();
}

inline bool SameName(const KXString &name, const char *text, int length)
{
    return name.Length() == length && std::memcmp(name.c_str(), text, length) == 0;
}

// ---------------------------------------------------------------------------------------------
/// Where a program finds its parameter values: the instructions hold byte offsets from a base,
/// the value of the first parameter record or the first element of the caller's array.
template <class T>
struct SlotValues {
    const char *base;
    const T &operator()(int offset) const { return *reinterpret_cast<const T *>(base + offset); }
};

} // namespace kxfn

#endif
