// kxfntesthelpers.h - one-line evaluation of real and complex formulas for the tests of the
// formula engine: compile, set the given parameters, evaluate, and return the value or the
// fault text (the error record is left clear).
#ifndef KX_TESTS_EXPRESSIONS_KXFNTESTHELPERS_H
#define KX_TESTS_EXPRESSIONS_KXFNTESTHELPERS_H

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <complex>
#include <initializer_list>
#include <string>
#include <utility>

using Cx = std::complex<double>;

// Compiles and evaluates a real formula with the given parameters; the error text (if any) is
// left in `fault` and the error record cleared.
struct Result {
    double value;
    std::string fault;
};

inline Result EvalR(const char *text,
                    std::initializer_list<std::pair<const char *, double>> params = {})
{
    error.reset();
    KXExpressionR e;
    e.setExpression(text);
    for (const auto &p : params)
        e.DeclareParam(p.first, "", 0, -1);
    for (const auto &p : params)
        e.GetParam(e.FindParam(p.first)).SetValue(p.second);
    Result r{e.Evaluate(), error.chars()};
    error.reset();
    return r;
}

inline double R(const char *text,
                std::initializer_list<std::pair<const char *, double>> params = {})
{
    Result r = EvalR(text, params);
    EXPECT_EQ(r.fault, "") << text;
    return r.value;
}

inline std::string FaultR(const char *text,
                          std::initializer_list<std::pair<const char *, double>> params = {})
{
    return EvalR(text, params).fault;
}

inline Cx C(const char *text, std::initializer_list<std::pair<const char *, Cx>> params = {})
{
    error.reset();
    KXExpressionC e;
    e.setExpression(text);
    for (const auto &p : params)
        e.DeclareParam(p.first, "", 0, -1);
    for (const auto &p : params)
        e.GetParam(e.FindParam(p.first)).SetValue(p.second);
    Cx v = e.Evaluate();
    EXPECT_EQ(std::string(error.chars()), "") << text;
    error.reset();
    return v;
}

inline std::string FaultC(const char *text,
                          std::initializer_list<std::pair<const char *, Cx>> params = {})
{
    error.reset();
    KXExpressionC e;
    e.setExpression(text);
    for (const auto &p : params)
        e.DeclareParam(p.first, "", 0, -1);
    for (const auto &p : params)
        e.GetParam(e.FindParam(p.first)).SetValue(p.second);
    e.Evaluate();
    std::string fault = error.chars();
    error.reset();
    return fault;
}

#endif
