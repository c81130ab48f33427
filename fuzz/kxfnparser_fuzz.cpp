// Compiles and evaluates arbitrary text as a real and as a complex formula, with a few declared
// parameters (scalars, a vector, a named sub-formula). Any outcome is fine except a crash, a
// sanitizer report or unbounded recursion.
#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

template <class Expr, class T>
void Exercise(const std::string &text, const T &x)
{
    static const T vector[4] = {T(1.0), T(-2.0), T(0.5), T(0.0)};
    Expr e;
    e.setExpression(text.c_str());
    e.DeclareParam("x", "", 0, -1);
    e.DeclareParam("y", "", 0, -1);
    e.DeclareParam("v", "", kxParamVector, -1);
    e.DeclareParam("d", "x*2 + y", 0, -1);
    e.GetParam(0).SetValue(x);
    e.GetParam(1).SetValue(T(0.0));
    e.GetParam(2).SetVector(vector, 1, 4);
    error.reset();
    if (e.Compile()) {
        (void)e.Evaluate();
        error.reset();
        const T values[4] = {T(0.0), x, T(0.0), T(0.0)};
        (void)e.Evaluate(values);
        Expr copy(e);
        (void)copy.Evaluate();
        error.reset();
        e.BindValues(values); // Evaluate() reads the bound array, then the records again
        (void)e.Evaluate();
        error.reset();
        e.BindValues(nullptr);
        (void)e.Evaluate();
    } else {
        (void)e.Evaluate(); // reports the compilation fault again
    }
    error.reset();
}

// Builds a formula from the language's tokens, one byte per token, so that mutations reach deep
// into the grammar even where the library itself carries no coverage instrumentation.
std::string TokenText(const uint8_t *data, size_t size)
{
    static const char *const tokens[] = {
        "x",     "y",          "d",     "v[",    "]",     "(",    ")",     ",",       "+",
        "-",     "*",          "/",     "**",    "=",     "==",   "!=",    "<",       ">",
        "<=",    ">=",         " ",     "0",     "1",     "2",    "0.5",   "1e5",     "2.5e-3",
        "x2e-3", "_PI",        "PI",    "sqrt(", "sign(", "pow(", "abs(",  "spline(", "max(",
        "min(",  "lininterp(", "exp(",  "sin(",  "cos(",  "tan(", "sinh(", "cosh(",   "tanh(",
        "ln(",   "log10(",     "asin(", "acos(", "atan(", "if(",  "real(", "imag(",   "arg(",
        "nope(", "e",          ".",     "[",     "!",     "1/0",  "-1"};
    const size_t count = sizeof(tokens) / sizeof(tokens[0]);
    std::string text;
    for (size_t i = 0; i < size; ++i)
        text += tokens[data[i] % count];
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    std::string text;
    if (data[0] & 1) {
        text = TokenText(data + 1, size - 1);
    } else {
        text.assign(reinterpret_cast<const char *>(data + 1), size - 1);
        if (text.find('\0') != std::string::npos)
            return 0; // a formula is a zero-terminated text
    }
    Exercise<KXExpressionR>(text, 1.5);
    Exercise<KXExpressionC>(text, std::complex<double>(0.5, -1.0));
    return 0;
}
