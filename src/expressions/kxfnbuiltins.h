// kxfnbuiltins.h - the built-in functions of the formula language: the routines registered in
// the parsers' tables and the pieces of them that the evaluator runs inline (power, the unary
// functions, max and min, linear interpolation). Every routine reports a domain error through
// the global `error` and returns a value anyway.
#ifndef KX_EXPRESSIONS_KXFNBUILTINS_H
#define KX_EXPRESSIONS_KXFNBUILTINS_H

#include "kxfninternal.h"

namespace kxfn {

/// a**b, false (with the error record set) for a negative real base and a non-integer power.
/// In the complex variant a power whose operands are both real stays real when the result is.
inline bool PowerOf(double a, double b, double &result)
{
    if (a < 0.0 && !IsIntegral(b)) {
        error.set("%s", kNegativePower);
        return false;
    }
    result = std::pow(a, b);
    return true;
}

inline bool PowerOf(const Cx &a, const Cx &b, Cx &result)
{
    if (a.imag() == 0.0 && b.imag() == 0.0 && (a.real() >= 0.0 || IsIntegral(b.real()))) {
        result = Cx(std::pow(a.real(), b.real()), 0.0);
        return true;
    }
    result = std::pow(a, b);
    return true;
}

/// Applies the one-argument built-in `op` (an opcode of kind Unary) to x in place; false with
/// the error record set on a domain error.
bool ApplyUnary(int op, double &x);
bool ApplyUnary(int op, Cx &x);

/// Largest or smallest of n arguments (real parts); false with the error record set for no
/// argument or a complex one.
template <class T>
bool MaxMinOf(const T *args, int n, bool isMax, T &result);

/// Linear interpolation in the table x1, y1, x2, y2, ... of `points` pairs: the segment whose
/// right end is the first abscissa not below x, the first or last one extended outside.
template <class T>
T LinInterpTable(const T *table, int points, double x)
{
    int below = 0;
    for (int i = 0; i < points; ++i)
        if (Re(table[2 * i]) < x)
            ++below;
    const int right = below < 1 ? 1 : (below > points - 1 ? points - 1 : below);
    const double x0 = Re(table[2 * right - 2]);
    const double x1 = Re(table[2 * right]);
    const T &y0 = table[2 * right - 1];
    if (x1 == x0)
        return y0;
    return y0 + (table[2 * right + 1] - y0) * ((x - x0) / (x1 - x0));
}

/// The same for a table [table, end) of two points or more whose abscissae are known to
/// increase strictly: the abscissae below x are the leading ones, so the search for the right
/// end of the segment stops at the first that is not (or at the last point).
template <class T>
T LinInterpIncreasing(const T *table, const T *end, double x)
{
    const T *right = table + 2;
    while (right < end - 2 && Re(*right) < x)
        right += 2;
    const double x0 = Re(right[-2]);
    const T &y0 = right[-1];
    return y0 + (right[1] - y0) * ((x - x0) / (Re(right[0]) - x0));
}

/// lininterp over its arguments. Faults of the layout or a complex position are hard (`hard`
/// set, value 0); abscissae that do not increase are reported, one text per fault, and the value
/// is still computed.
template <class T>
T LinInterpChecked(const T *args, int n, bool &hard);

/// Registers the built-ins common to both variants, in their documented order, through the
/// parser's protected registration member.
template <class T>
void RegisterCommonBuiltins(KXFuncParserT<T> &p,
                            void (KXFuncParserT<T>::*reg)(typename KXFuncParserT<T>::Routine,
                                                          const char *, int, int));

/// The routines of the complex-only built-ins real, imag and arg.
Cx RealRoutine(const ParListC &args);
Cx ImagRoutine(const ParListC &args);
Cx ArgRoutine(const ParListC &args);

} // namespace kxfn

#endif
