// The formula language: built-in functions, the parsers' tables, the compiler from text to a
// flat postfix program, and the evaluator that walks that program.
#define KX_UNIT "kxfnparserComm"

#include "kx/expressions/kxfnparser.h"

#include "kx/expressions/kxcubicspline.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxmath.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <type_traits>

using Cx = std::complex<double>;

namespace {

// ---------------------------------------------------------------------------------------------
// Instruction set. Binary operators come in three forms: both operands on the stack, the right
// operand a constant in the instruction (K), or the right operand a parameter (P).
enum Op : int32_t {
    opConst,
    opParam,       // arg: parameter index
    opVecElem,     // arg: parameter index; pops the index, pushes the element
    opNeg,
    opSqr,
    opAdd, opSub, opMul, opDiv, opPow,
    opAddK, opSubK, opMulK, opDivK, opPowK,
    opAddP, opSubP, opMulP, opDivP, opPowP,
    opAddPK, opSubPK, opMulPK, opDivPK, opPowPK,   // push param arg op constant
    opAddPP, opSubPP, opMulPP, opDivPP, opPowPP,   // push param arg op param index2
    opSubKP, opDivKP, opPowKP,                     // push constant op param arg
    opAddMulPP, opSubMulPP,                        // top +/-= param arg * param index2
    opAddMulPK, opSubMulPK,                        // top +/-= param arg * constant
    opEq, opNe, opLt, opLe, opGt, opGe,
    opEqK, opNeK, opLtK, opLeK, opGtK, opGeK,
    opEqPK, opNePK, opLtPK, opLePK, opGtPK, opGePK,   // push param arg compared with constant
    opMax, opMin,  // arg: argument count
    opMaxK, opMinK,  // top against the constant
    opLinInterp,   // arg: index of the prepared table; pops x
    opLinInterpN,  // arg: argument count; goes on after a faulty abscissa
    opJumpIfFalse, // arg: target
    opJump,        // arg: target
    opCall,        // routine, arg: argument count
    opSpline,      // arg: index of the prepared table(s); pops x
    // Inline built-ins of one argument (also the inlineOp of their parser entries).
    opSqrt, opSign, opAbs, opExp, opSin, opCos, opTan, opSinh, opCosh, opTanh, opLn, opLog10,
    opAsin, opAcos, opAtan, opReal, opImag, opArg,
    opEnd          // closes every program
};
constexpr int kFormK = opAddK - opAdd;
constexpr int kFormP = opAddP - opAdd;
constexpr int kFormPK = opAddPK - opAdd;
constexpr int kFormPP = opAddPP - opAdd;
constexpr int kCompareK = opEqK - opEq;
constexpr int kComparePK = opEqPK - opEq;
constexpr int kLocalStack = 64;   // value-stack slots kept on the machine stack

// Markers in a parser entry's inlineOp for built-ins the compiler treats specially.
constexpr int kInlineIf = 1000;
constexpr int kInlineSpline = 1001;
constexpr int kInlineMax = 1002;
constexpr int kInlineMin = 1003;
constexpr int kInlineLinInterp = 1004;

inline double Re(double x) { return x; }
inline double Re(const Cx &x) { return x.real(); }
inline bool IsZeroValue(double x) { return x == 0.0; }
inline bool IsZeroValue(const Cx &x) { return x.real() == 0.0 && x.imag() == 0.0; }
inline bool HasImag(double) { return false; }
inline bool HasImag(const Cx &x) { return x.imag() != 0.0; }
inline bool IsIntegral(double x) { return std::isfinite(x) && x == std::floor(x); }

// A fault of an evaluation: the text goes to the global error record, the value is 0.
template <class T>
T Fault(const char *text)
{
    error.set("%s", text);
    return T();
}

// ---------------------------------------------------------------------------------------------
// Power, unary built-ins: false (with the error record set) on a domain error.
inline bool PowerOf(double a, double b, double &result)
{
    if (a < 0.0 && !IsIntegral(b)) {
        error.set("negative argument in non-integer power\n");
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

bool DomainError(const char *name)
{
    error.set("DOMAIN error in function \"%s\"\n", name);
    return false;
}

bool ApplyUnary(int op, double &x)
{
    switch (op) {
    case opSqrt:
        if (x < 0.0) {
            error.set("negative argument in sqrt\n");
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

// Largest or smallest of n arguments (real parts); false with the error record set for no
// argument or a complex one.
template <class T>
bool MaxMinOf(const T *args, int n, bool isMax, T &result)
{
    const char *name = isMax ? "max" : "min";
    if (n < 1) {
        error.set("too few arguments in function \"%s\"\n", name);
        return false;
    }
    double best = Re(args[0]);
    for (int i = 0; i < n; ++i) {
        if (HasImag(args[i])) {
            error.set("cannot pass complex number to function \"%s\"\n", name);
            return false;
        }
        const double v = Re(args[i]);
        if (isMax ? v > best : v < best)
            best = v;
    }
    result = T(best);
    return true;
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
        error.set("too few arguments in function \"%s\"\n", name);
        return false;
    }
    if (args.Count() % 2 == 0) {
        error.set("wrong number of arguments in function \"%s\"\n", name);
        return false;
    }
    return true;
}

// Linear interpolation in the table x1, y1, x2, y2, ... of `points` pairs: the segment whose
// right end is the first abscissa not below x, the first or last one extended outside.
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

// lininterp over its arguments. Faults of the layout or a complex position are hard (`hard` set,
// value 0); abscissae that do not increase are reported, one text per fault, and the value is
// still computed.
template <class T>
T LinInterpChecked(const T *args, int n, bool &hard)
{
    hard = true;
    if (!CheckTableCount(KXParListT<T>(args, n), "lininterp"))
        return T();
    const int points = (n - 1) / 2;
    for (int i = 0; i <= points; ++i) {
        if (HasImag(args[i == 0 ? 0 : 2 * i - 1])) {
            error.set("cannot pass complex number in this position to function \"lininterp\"\n");
            return T();
        }
    }
    hard = false;
    const T *table = args + 1;
    for (int i = 1; i < points; ++i)
        if (!(Re(table[2 * i]) > Re(table[2 * i - 2])))
            error.set("the x-arguments must be monotonically increasing");
    return LinInterpTable(table, points, Re(args[0]));
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
        return Fault<T>("spline: the x-arguments must be monotonically increasing");
    return SplineAt(args);
}

template <class T>
T IfRoutine(const KXParListT<T> &args)
{
    if (args.Count() != 3)
        return Fault<T>("wrong number of arguments in function \"if\"\n");
    const double c = Re(args[0]);
    if (std::isnan(c))
        return Fault<T>("conditional operator evaluation error\n");
    return c != 0.0 ? args[1] : args[2];
}

template <class T>
void RegisterCommonBuiltins(KXFuncParserT<T> &p, void (KXFuncParserT<T>::*reg)(
                                typename KXFuncParserT<T>::Routine, const char *, int, int))
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

bool SameName(const KXString &name, const char *text, int length)
{
    return name.Length() == length && std::memcmp(name.c_str(), text, length) == 0;
}

// Parameter values read from the parameters themselves, or from an array the caller gives.
template <class T>
struct OwnValues {
    const KXParameterT<T> *params;
    const T &operator()(int i) const { return params[i].Value(); }
};

template <class T>
struct ArrayValues {
    const T *values;
    const T &operator()(int i) const { return values[i]; }
};

inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }
inline bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
inline bool IsNameChar(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }

} // namespace

// =============================================================================================
// Parser tables.
template <class T>
void KXFuncParserT<T>::RegisterBuiltin(Routine routine, const char *name, int nargs, int inlineOp)
{
    KXFuncDataEltT<T> elt;
    elt.routine = routine;
    elt.name = name;
    elt.nargs = nargs;
    elt.inlineOp = inlineOp;
    if (inlineOp == kInlineIf)
        elt.argNames = {"condition", "expression1", "expression2"};
    functions_.push_back(elt);
}

template <class T>
bool KXFuncParserT<T>::RegisterFunction(Routine routine, const KXString &name, int nargs)
{
    if (!routine || name.Length() == 0 || nargs < -1)
        return false;
    for (KXFuncDataEltT<T> &f : functions_) {
        if (f.name == name) {
            f.routine = routine;
            f.nargs = nargs;
            f.inlineOp = 0;
            f.argNames.clear();
            return true;
        }
    }
    KXFuncDataEltT<T> elt;
    elt.routine = routine;
    elt.name = name;
    elt.nargs = nargs;
    functions_.push_back(elt);
    return true;
}

template <class T>
bool KXFuncParserT<T>::RegisterConstant(const KXString &name, const T &value,
                                        const KXString &description)
{
    if (name.Length() == 0)
        return false;
    for (KXParameterT<T> &c : constants_) {
        if (c.name_ == name) {
            c.value_ = value;
            c.description_ = description;
            return true;
        }
    }
    KXParameterT<T> constant(name, KXString());
    constant.SetValue(value);
    constant.SetDescription(description);
    constants_.push_back(constant);
    return true;
}

template <class T>
const KXFuncDataEltT<T> *KXFuncParserT<T>::FindFunction(const char *name, int length) const
{
    for (const KXFuncDataEltT<T> &f : functions_)
        if (SameName(f.name, name, length))
            return &f;
    return nullptr;
}

template <class T>
const KXParameterT<T> *KXFuncParserT<T>::FindConstant(const char *name, int length) const
{
    for (const KXParameterT<T> &c : constants_)
        if (SameName(c.name_, name, length))
            return &c;
    return nullptr;
}

template <class T>
bool KXFuncParserT<T>::IsFunctionRegistered(const KXString &name) const
{
    return FindFunction(name.c_str(), name.Length()) != nullptr;
}

template <class T>
bool KXFuncParserT<T>::IsConstantRegistered(const KXString &name) const
{
    return FindConstant(name.c_str(), name.Length()) != nullptr;
}

KXFuncParserR::KXFuncParserR()
{
    RegisterCommonBuiltins<double>(*this, &KXFuncParserR::RegisterBuiltin);
    RegisterConstant("_PI", 3.141592653589793, "pi");
}

KXFuncParserC::KXFuncParserC()
{
    RegisterCommonBuiltins<Cx>(*this, &KXFuncParserC::RegisterBuiltin);
    RegisterBuiltin(UnaryRoutine<Cx, opReal>, "real", 1, opReal);
    RegisterBuiltin(UnaryRoutine<Cx, opImag>, "imag", 1, opImag);
    RegisterBuiltin(UnaryRoutine<Cx, opArg>, "arg", 1, opArg);
    RegisterConstant("_PI", Cx(3.141592653589793, 0.0), "pi");
}

KXFuncParserC &kxGetComplexParser()
{
    static KXFuncParserC parser;
    return parser;
}

KXFuncParserR &kxGetRealParser()
{
    static KXFuncParserR parser;
    return parser;
}

// =============================================================================================
// Compiler: recursive descent over the text, splitting at operators outermost level first.
// Brackets are matched once per text, so every scan steps over a bracketed group in one move
// and each level costs the length of its own top-level text only. Operators of one level are
// collected in a single scan and their operands compiled left to right (no recursion per
// operator); recursion happens only into brackets, calls, signs, "**" and named sub-formulas,
// and is bounded by kxExprMaxDepth.
template <class T>
class KXExpressionT<T>::Compiler {
public:
    explicit Compiler(KXExpressionT &expr) : e_(expr) {}

    bool Run()
    {
        Source src;
        const KXString &text = e_.GetExpression();
        if (!Open(text, src))
            return false;
        Parse(src, 0, text.Length());
        if (failed_)
            return false;
        if (stack_ != 1)
            return Fail("parse error\n");
        return true;
    }

    /// The program built by a successful Run (without its end instruction), and the stack it
    /// needs.
    std::vector<KXExprInstr<T>> &Program() { return code_; }
    int MaxStack() const { return maxStack_; }

private:
    struct Source {
        const char *s = nullptr;
        std::vector<int> match;   // partner of each bracket, -1 elsewhere
    };
    struct Split {
        int pos;
        int len;
        int op;
    };

    KXExpressionT &e_;
    std::vector<KXExprInstr<T>> code_;
    int depth_ = 0;
    int stack_ = 0;
    int maxStack_ = 0;
    int barrier_ = 0;        // first instruction that folding may consume (after the last label)
    int visible_ = INT_MAX;  // parameters visible by name (limited inside named sub-formulas)
    bool failed_ = false;

    bool Fail(const char *fmt, const char *name = nullptr, int length = 0)
    {
        if (failed_)
            return false;
        failed_ = true;
        KXString text;
        if (name)
            text.sprintf(fmt, std::string(name, length).c_str());
        else
            text = fmt;
        e_.MakeExtras().failure = text;
        error.Raise(kxErrSyntax, "%s", text.c_str());
        return false;
    }

    bool Open(const KXString &text, Source &src)
    {
        src.s = text.c_str();
        const int n = text.Length();
        src.match.assign(n, -1);
        std::vector<int> open;
        for (int i = 0; i < n; ++i) {
            const char c = src.s[i];
            if (c == '(' || c == '[') {
                open.push_back(i);
            } else if (c == ')' || c == ']') {
                if (open.empty())
                    return Fail(c == ')' ? "missing bracket\n" : "missing square bracket\n");
                const char o = src.s[open.back()];
                if ((o == '(') != (c == ')'))
                    return Fail(o == '(' ? "missing bracket\n" : "missing square bracket\n");
                src.match[i] = open.back();
                src.match[open.back()] = i;
                open.pop_back();
            }
        }
        if (!open.empty())
            return Fail(src.s[open.back()] == '(' ? "missing bracket\n" : "missing square bracket\n");
        return true;
    }

    static void Trim(const Source &src, int &b, int &e)
    {
        while (b < e && IsBlank(src.s[b]))
            ++b;
        while (e > b && IsBlank(src.s[e - 1]))
            --e;
    }

    // ---- emission --------------------------------------------------------------------------
    KXExprInstr<T> &Emit(int op, int arg, int pops, int pushes)
    {
        if (static_cast<int>(code_.size()) >= kxExprMaxCode)
            Fail("expression too complicated\n");
        stack_ += pushes - pops;
        if (stack_ > kxExprMaxStack)
            Fail("expression too complicated\n");
        maxStack_ = std::max(maxStack_, stack_);
        code_.emplace_back();
        code_.back().op = op;
        code_.back().arg = arg;
        return code_.back();
    }

    void EmitConst(const T &value) { Emit(opConst, 0, 0, 1).constant = value; }

    // Folds the last instruction with the n constants before it into one constant, unless the
    // computation reports an error (which is then left to every evaluation).
    void FoldTail(int n)
    {
        const int size = static_cast<int>(code_.size());
        if (failed_ || int(error) != 0 || !LastAreConstantsBefore(size - 1, n))
            return;
        if (n + 1 > kLocalStack && static_cast<int>(e_.MakeExtras().stackSpace.size()) < n + 3)
            e_.extras_->stackSpace.resize(n + 3);
        std::vector<KXExprInstr<T>> slice(code_.begin() + (size - 1 - n), code_.end());
        slice.emplace_back();
        slice.back().op = opEnd;
        const T value = e_.Run(slice.data(), n + 1, ArrayValues<T>{nullptr});
        if (int(error) != 0) {
            error.reset();
            return;
        }
        code_.resize(size - n);
        code_.back().op = opConst;
        code_.back().arg = 0;
        code_.back().constant = value;
    }

    bool LastIs(int op) const
    {
        return static_cast<int>(code_.size()) > barrier_ && code_.back().op == op;
    }

    // Emits a binary operator, folding two constant operands and taking a constant or
    // parameter right operand (and a parameter left operand before it) into the instruction.
    void EmitBinary(int op)
    {
        if (failed_)
            return;
        if (LastAreConstantsBefore(static_cast<int>(code_.size()), 2)) {
            Emit(op, 0, 2, 1);
            FoldTail(2);
            return;
        }
        const bool arithmetic = op >= opAdd && op <= opPow;
        if (op == opPow && LastIs(opConst) && code_.back().constant == T(2.0)) {
            code_.pop_back();
            --stack_;
            if (LastIs(opParam)) {
                code_.back().op = opMulPP;
                code_.back().index2 = code_.back().arg;
            } else {
                Emit(opSqr, 0, 1, 1);
            }
            return;
        }
        const int size = static_cast<int>(code_.size());
        if ((op == opAdd || op == opSub) && (LastIs(opMulPP) || LastIs(opMulPK)) && stack_ >= 2) {
            // a sum of products: the product is added to the top instead of being pushed.
            const bool pp = code_.back().op == opMulPP;
            code_.back().op = op == opAdd ? (pp ? opAddMulPP : opAddMulPK) : (pp ? opSubMulPP : opSubMulPK);
            --stack_;
            return;
        }
        if (arithmetic && LastIs(opParam) && size - 2 >= barrier_ && code_[size - 2].op == opConst) {
            // constant op parameter: one push.
            const int param = code_.back().arg;
            code_.pop_back();
            --stack_;
            KXExprInstr<T> &in = code_.back();
            in.arg = param;
            if (op == opAdd || op == opMul)
                in.op = op + kFormPK;
            else
                in.op = op == opSub ? opSubKP : op == opDiv ? opDivKP : opPowKP;
            return;
        }
        if (arithmetic && (LastIs(opConst) || LastIs(opParam))) {
            const bool constant = LastIs(opConst);
            code_.back().op = op + (constant ? kFormK : kFormP);
            --stack_;
            if (size - 2 >= barrier_ && code_[size - 2].op == opParam) {
                KXExprInstr<T> fused = code_.back();
                fused.op = op + (constant ? kFormPK : kFormPP);
                if (!constant)
                    fused.index2 = code_.back().arg;
                fused.arg = code_[size - 2].arg;
                code_.pop_back();
                code_.back() = fused;
            }
            return;
        }
        if (op >= opEq && op <= opGe && LastIs(opConst)) {
            code_.back().op = op + kCompareK;
            --stack_;
            if (size - 2 >= barrier_ && code_[size - 2].op == opParam) {
                const T k = code_.back().constant;
                code_.pop_back();
                code_.back().op = op + kComparePK;
                code_.back().constant = k;
            }
            return;
        }
        Emit(op, 0, 2, 1);
    }

    void EmitNeg()
    {
        if (LastIs(opConst)) {
            code_.back().constant = T() - code_.back().constant;
            return;
        }
        Emit(opNeg, 0, 1, 1);
    }

    // ---- levels ----------------------------------------------------------------------------
    void Parse(const Source &src, int b, int e)
    {
        if (failed_)
            return;
        if (++depth_ > kxExprMaxDepth) {
            Fail("expression too complicated\n");
            --depth_;
            return;
        }
        Trim(src, b, e);
        ParseEquation(src, b, e);
        --depth_;
    }

    // Steps over a bracketed group when scanning forwards (returns the position after it).
    static int SkipForward(const Source &src, int i)
    {
        const char c = src.s[i];
        return (c == '(' || c == '[') ? src.match[i] + 1 : i + 1;
    }

    // Position of the character to the left of i at bracket depth zero, stepping over groups.
    static int StepBack(const Source &src, int i)
    {
        const char c = src.s[i];
        return (c == ')' || c == ']') ? src.match[i] - 1 : i - 1;
    }

    void ParseEquation(const Source &src, int b, int e)
    {
        for (int i = b; i < e; i = SkipForward(src, i)) {
            if (src.s[i] != '=')
                continue;
            const char prev = i > b ? src.s[i - 1] : '\0';
            const char next = i + 1 < e ? src.s[i + 1] : '\0';
            if (prev == '!' || prev == '=' || prev == '<' || prev == '>')
                continue;
            if (next == '=') {
                i = i + 1;   // "==": step over both characters
                continue;
            }
            ParseCompare(src, b, i);
            Parse(src, i + 1, e);
            EmitBinary(opSub);
            return;
        }
        ParseCompare(src, b, e);
    }

    void ParseCompare(const Source &src, int b, int e)
    {
        std::vector<Split> splits;
        for (int i = b; i < e; i = SkipForward(src, i)) {
            const char c = src.s[i];
            const char next = i + 1 < e ? src.s[i + 1] : '\0';
            if (next == '=' && (c == '=' || c == '!' || c == '<' || c == '>')) {
                splits.push_back({i, 2, c == '=' ? opEq : c == '!' ? opNe : c == '<' ? opLe : opGe});
                ++i;
            } else if (c == '<' || c == '>') {
                splits.push_back({i, 1, c == '<' ? opLt : opGt});
            }
        }
        CompileOperands(src, b, e, splits, &Compiler::ParseAdditive);
    }

    // The non-blank character before position i (not before b), or 0.
    static char PrevChar(const Source &src, int b, int i)
    {
        for (int j = i - 1; j >= b; --j)
            if (!IsBlank(src.s[j]))
                return src.s[j];
        return '\0';
    }

    static char NextChar(const Source &src, int i, int e)
    {
        for (int j = i + 1; j < e; ++j)
            if (!IsBlank(src.s[j]))
                return src.s[j];
        return '\0';
    }

    // The sign at i belongs to the exponent of a number such as 2.5e-3.
    static bool IsExponentSign(const Source &src, int b, int i)
    {
        if (i - 2 < b)
            return false;
        const char e = src.s[i - 1];
        const char d = src.s[i - 2];
        if ((e != 'e' && e != 'E') || !(IsDigit(d) || d == '.'))
            return false;
        int j = i - 2;
        while (j > b && (IsDigit(src.s[j - 1]) || src.s[j - 1] == '.'))
            --j;
        if (j == b)
            return true;
        const char before = src.s[j - 1];
        return before == '(' || before == '+' || before == '-' || before == '*' || before == '/' ||
               IsBlank(before);
    }

    bool IsBinarySign(const Source &src, int b, int e, int i) const
    {
        if (i == b || i == e - 1)
            return false;
        const char prev = PrevChar(src, b, i);
        if (prev == '*' || prev == '/' || prev == '+')
            return false;
        const char next = NextChar(src, i, e);
        if (next == '*' || next == '/' || next == '+' || next == '-')
            return false;
        return !IsExponentSign(src, b, i);
    }

    void ParseAdditive(const Source &src, int b, int e)
    {
        std::vector<Split> splits;
        for (int i = e - 1; i >= b; i = StepBack(src, i)) {
            const char c = src.s[i];
            if ((c == '+' || c == '-') && IsBinarySign(src, b, e, i))
                splits.push_back({i, 1, c == '+' ? opAdd : opSub});
        }
        std::reverse(splits.begin(), splits.end());
        CompileOperands(src, b, e, splits, &Compiler::ParseMultiplicative);
    }

    void ParseMultiplicative(const Source &src, int b, int e)
    {
        std::vector<Split> splits;
        for (int i = e - 1; i >= b; i = StepBack(src, i)) {
            const char c = src.s[i];
            if (c == '/') {
                splits.push_back({i, 1, opDiv});
            } else if (c == '*') {
                const bool power = (i > b && src.s[i - 1] == '*') || (i + 1 < e && src.s[i + 1] == '*');
                if (!power)
                    splits.push_back({i, 1, opMul});
            }
        }
        std::reverse(splits.begin(), splits.end());
        CompileOperands(src, b, e, splits, &Compiler::ParseSign);
    }

    typedef void (Compiler::*Level)(const Source &, int, int);

    // Compiles operand 0, then for each split its right operand and the operator.
    void CompileOperands(const Source &src, int b, int e, const std::vector<Split> &splits, Level next)
    {
        int start = b;
        for (size_t k = 0; k <= splits.size() && !failed_; ++k) {
            int end = k < splits.size() ? splits[k].pos : e;
            int ob = start;
            int oe = end;
            Trim(src, ob, oe);
            if (ob >= oe) {
                Fail("parse error\n");
                return;
            }
            (this->*next)(src, ob, oe);
            if (k > 0)
                EmitBinary(splits[k - 1].op);
            if (k < splits.size())
                start = splits[k].pos + splits[k].len;
        }
    }

    // A leading sign applies to the whole rest. The rest, having no split point of the levels
    // above (its text had none), goes straight on to this level again, so a run of signs is
    // taken in one loop.
    void ParseSign(const Source &src, int b, int e)
    {
        bool negate = false;
        while (b < e && (src.s[b] == '+' || src.s[b] == '-')) {
            negate = negate != (src.s[b] == '-');
            ++b;
            Trim(src, b, e);
        }
        if (b >= e) {
            Fail("parse error\n");
            return;
        }
        ParsePower(src, b, e);
        if (negate)
            EmitNeg();
    }

    void ParsePower(const Source &src, int b, int e)
    {
        for (int i = b; i + 1 < e; i = SkipForward(src, i)) {
            if (src.s[i] != '*' || src.s[i + 1] != '*')
                continue;
            int lb = b;
            int le = i;
            int rb = i + 2;
            int re = e;
            Trim(src, lb, le);
            Trim(src, rb, re);
            if (lb >= le || rb >= re) {
                Fail("parse error\n");
                return;
            }
            ParsePrimary(src, lb, le);
            if (++depth_ > kxExprMaxDepth) {
                Fail("expression too complicated\n");
            } else {
                ParseSign(src, rb, re);
            }
            --depth_;
            EmitPower();
            return;
        }
        ParsePrimary(src, b, e);
    }

    // "**" runs whatever routine is registered under that name (the built-in power inline).
    void EmitPower()
    {
        const KXFuncDataEltT<T> *f = e_.parser_->FindFunction("**", 2);
        if (!f || f->inlineOp == opPow) {
            EmitBinary(opPow);
            return;
        }
        if (f->nargs != 2 && f->nargs != -1) {
            Fail("wrong number of arguments in function \"%s\"\n", "**", 2);
            return;
        }
        Emit(opCall, 2, 2, 1).routine = f->routine;
        FoldTail(2);
    }

    // ---- primaries -------------------------------------------------------------------------
    void ParsePrimary(const Source &src, int b, int e)
    {
        if (failed_)
            return;
        const char c = src.s[b];
        if (c == '(') {
            if (src.match[b] != e - 1) {
                Fail("parse error\n");
                return;
            }
            int ib = b + 1;
            int ie = e - 1;
            Trim(src, ib, ie);
            if (ib >= ie) {
                Fail("parse error\n");
                return;
            }
            Parse(src, ib, ie);
            return;
        }
        if (IsDigit(c) || c == '.') {
            ParseNumber(src, b, e);
            return;
        }
        if (!IsLetter(c) && c != '_') {
            Fail("parse error\n");
            return;
        }
        int n = b;
        while (n < e && IsNameChar(src.s[n]))
            ++n;
        const char *name = src.s + b;
        const int length = n - b;
        while (n < e && IsBlank(src.s[n]))
            ++n;
        if (n == e) {
            ParseName(name, length);
            return;
        }
        if (src.match[n] != e - 1) {
            Fail("parse error\n");
            return;
        }
        if (src.s[n] == '(')
            ParseCall(src, name, length, n + 1, e - 1);
        else
            ParseIndex(src, name, length, n + 1, e - 1);
    }

    void ParseNumber(const Source &src, int b, int e)
    {
        // digits [. digits] [e|E [+|-] digits], at least one mantissa digit.
        int i = b;
        int digits = 0;
        while (i < e && IsDigit(src.s[i]))
            ++i, ++digits;
        if (i < e && src.s[i] == '.') {
            ++i;
            while (i < e && IsDigit(src.s[i]))
                ++i, ++digits;
        }
        if (digits > 0 && i < e && (src.s[i] == 'e' || src.s[i] == 'E')) {
            ++i;
            if (i < e && (src.s[i] == '+' || src.s[i] == '-'))
                ++i;
            int expDigits = 0;
            while (i < e && IsDigit(src.s[i]))
                ++i, ++expDigits;
            if (expDigits == 0)
                digits = 0;
        }
        if (digits == 0 || i != e) {
            Fail("parse error\n");
            return;
        }
        const std::string text(src.s + b, e - b);
        EmitConst(T(std::strtod(text.c_str(), nullptr)));
    }

    int FindVisibleParam(const char *name, int length) const
    {
        return e_.FindParamIn(name, length, visible_);
    }

    // Plain parameters (kept as names only) are scalars without a formula.
    bool IsVectorParam(int p) const { return e_.names_.Count() == 0 && e_.params_[p].IsVector(); }
    bool HasFormula(int p) const
    {
        return e_.names_.Count() == 0 && e_.params_[p].Expression().Length() > 0;
    }

    void ParseName(const char *name, int length)
    {
        const int p = FindVisibleParam(name, length);
        if (p >= 0) {
            if (IsVectorParam(p)) {
                Fail("parse error\n");
                return;
            }
            if (HasFormula(p)) {
                ParseNamedFormula(p);
                return;
            }
            Emit(opParam, p, 0, 1);
            return;
        }
        if (const KXParameterT<T> *constant = e_.parser_->FindConstant(name, length)) {
            EmitConst(constant->Value());
            return;
        }
        Fail("undefined variable \"%s\"\n", name, length);
    }

    // A parameter declared with a formula: that formula is compiled in place of its name.
    void ParseNamedFormula(int p)
    {
        if (++depth_ > kxExprMaxDepth) {
            Fail("expression too complicated\n");
            --depth_;
            return;
        }
        const KXString &text = e_.params_[p].Expression();
        Source sub;
        const int savedVisible = visible_;
        visible_ = p;
        if (Open(text, sub))
            Parse(sub, 0, text.Length());
        visible_ = savedVisible;
        --depth_;
    }

    void ParseIndex(const Source &src, const char *name, int length, int ib, int ie)
    {
        const int p = FindVisibleParam(name, length);
        if (p < 0) {
            if (e_.parser_->FindConstant(name, length))
                Fail("variable \"%s\" is not a vector\n", name, length);
            else
                Fail("undefined variable \"%s\"\n", name, length);
            return;
        }
        if (!IsVectorParam(p)) {
            Fail("variable \"%s\" is not a vector\n", name, length);
            return;
        }
        Trim(src, ib, ie);
        if (ib >= ie) {
            Fail("parse error\n");
            return;
        }
        Parse(src, ib, ie);
        Emit(opVecElem, p, 1, 1);
    }

    // Splits the argument text at commas of bracket depth zero.
    static std::vector<std::pair<int, int>> SplitArguments(const Source &src, int b, int e)
    {
        std::vector<std::pair<int, int>> args;
        int tb = b;
        int te = e;
        Trim(src, tb, te);
        if (tb >= te)
            return args;
        int start = b;
        for (int i = b; i < e; i = SkipForward(src, i)) {
            if (src.s[i] == ',') {
                args.emplace_back(start, i);
                start = i + 1;
            }
        }
        args.emplace_back(start, e);
        return args;
    }

    void ParseCall(const Source &src, const char *name, int length, int ab, int ae)
    {
        const KXFuncDataEltT<T> *f = e_.parser_->FindFunction(name, length);
        if (!f) {
            Fail("undefined function \"%s\"\n", name, length);
            return;
        }
        const std::vector<std::pair<int, int>> args = SplitArguments(src, ab, ae);
        const int n = static_cast<int>(args.size());
        for (const auto &arg : args) {
            int b = arg.first;
            int e = arg.second;
            Trim(src, b, e);
            if (b >= e) {
                Fail("parse error\n");
                return;
            }
        }
        if (f->inlineOp == kInlineIf && n > 3) {
            Fail("too many arguments to if function\n");
            return;
        }
        if (f->nargs >= 0 && n != f->nargs) {
            Fail("wrong number of arguments in function \"%s\"\n", name, length);
            return;
        }
        if (++depth_ > kxExprMaxDepth) {
            Fail("expression too complicated\n");
            --depth_;
            return;
        }
        if (f->inlineOp == kInlineIf)
            CompileIf(src, args);
        else
            CompileCall(src, *f, args);
        --depth_;
    }

    bool ParseArgument(const Source &src, std::pair<int, int> arg)
    {
        int b = arg.first;
        int e = arg.second;
        Trim(src, b, e);
        ParseEquation(src, b, e);
        return !failed_;
    }

    void CompileCall(const Source &src, const KXFuncDataEltT<T> &f, const std::vector<std::pair<int, int>> &args)
    {
        for (const auto &arg : args)
            if (!ParseArgument(src, arg))
                return;
        const int n = static_cast<int>(args.size());
        if (f.inlineOp == opPow) {
            EmitBinary(opPow);
            return;
        }
        if (f.inlineOp >= opSqrt && f.inlineOp <= opArg) {
            Emit(f.inlineOp, 0, 1, 1);
            FoldTail(1);
            return;
        }
        if (f.inlineOp == kInlineMax || f.inlineOp == kInlineMin) {
            const bool isMax = f.inlineOp == kInlineMax;
            if (n == 2 && LastIs(opConst) && !HasImag(code_.back().constant) &&
                !LastAreConstantsBefore(static_cast<int>(code_.size()), 2)) {
                code_.back().op = isMax ? opMaxK : opMinK;
                --stack_;
                return;
            }
            Emit(isMax ? opMax : opMin, n, n, 1);
            FoldTail(n);
            return;
        }
        if (f.inlineOp == kInlineLinInterp) {
            Emit(opLinInterpN, n, n, 1);
            FoldTail(n);
            if (LastIs(opLinInterpN))
                PrepareLinInterpTable(n);
            return;
        }
        Emit(opCall, n, n, 1).routine = f.routine;
        FoldTail(n);
        if (f.inlineOp == kInlineSpline && LastIs(opCall))
            PrepareSplineTable(n);
    }

    // lininterp(x, x1, y1, ...) whose table is constant, real where it must be and increasing:
    // the table is kept and checked once.
    void PrepareLinInterpTable(int n)
    {
        const int size = static_cast<int>(code_.size());
        if (n < 5 || n % 2 == 0 || !LastAreConstantsBefore(size - 1, n - 1))
            return;
        const int first = size - n;
        auto table = std::make_shared<std::vector<T>>(n - 1);
        for (int i = 0; i < n - 1; ++i)
            (*table)[i] = code_[first + i].constant;
        for (int i = 0; i < n - 1; i += 2) {
            if (HasImag((*table)[i]))
                return;
            if (i > 0 && !(Re((*table)[i]) > Re((*table)[i - 2])))
                return;
        }
        std::vector<std::shared_ptr<const std::vector<T>>> &linTables = e_.MakeExtras().linTables;
        const int index = static_cast<int>(linTables.size());
        linTables.push_back(table);
        code_.resize(first);
        Emit(opLinInterp, index, 1, 1);
    }

    // spline(x, x1, y1, ...) whose table is constant: the spline is built once.
    void PrepareSplineTable(int n)
    {
        const int size = static_cast<int>(code_.size());
        if (n < 5 || n % 2 == 0 || !LastAreConstantsBefore(size - 1, n - 1))
            return;
        const int first = size - 1 - (n - 1);
        std::vector<T> table(n);
        for (int i = 1; i < n; ++i)
            table[i] = code_[first + i - 1].constant;
        const int points = (n - 1) / 2;
        std::vector<double> xs(points), re(points), im(points);
        for (int i = 0; i < points; ++i) {
            xs[i] = Re(table[1 + 2 * i]);
            re[i] = Re(table[2 + 2 * i]);
            im[i] = std::imag(table[2 + 2 * i]);
        }
        auto reSpline = std::make_shared<CSpline>();
        if (!reSpline->Set(xs.data(), re.data(), points))
            return;   // the evaluation reports the faulty table
        std::vector<std::shared_ptr<const CSpline>> &tables = e_.MakeExtras().tables;
        const int index = static_cast<int>(tables.size());
        tables.push_back(reSpline);
        if (!std::is_same<T, double>::value) {
            auto imSpline = std::make_shared<CSpline>();
            (void)imSpline->Set(xs.data(), im.data(), points);
            tables.push_back(imSpline);
        }
        code_.resize(first);
        Emit(opSpline, index, 1, 1);
    }

    // True when the n instructions before position end are constants that folding may consume.
    bool LastAreConstantsBefore(int end, int n) const
    {
        if (end - n < barrier_)
            return false;
        for (int i = end - n; i < end; ++i)
            if (code_[i].op != opConst)
                return false;
        return true;
    }

    // if(condition, expression1, expression2): only the branch taken is evaluated; a constant
    // condition keeps only the code of its branch.
    void CompileIf(const Source &src, const std::vector<std::pair<int, int>> &args)
    {
        if (!ParseArgument(src, args[0]))
            return;
        if (LastIs(opConst) && !std::isnan(Re(code_.back().constant))) {
            const bool holds = Re(code_.back().constant) != 0.0;
            code_.pop_back();
            --stack_;
            const int start = static_cast<int>(code_.size());
            if (!ParseArgument(src, args[1]))
                return;
            const int end = static_cast<int>(code_.size());
            if (!holds) {
                code_.resize(start);
                --stack_;
                barrier_ = std::min(barrier_, start);
            }
            if (!ParseArgument(src, args[2]))
                return;
            if (holds) {
                code_.resize(end);
                --stack_;
            }
            barrier_ = std::min(barrier_, static_cast<int>(code_.size()));
            return;
        }
        const int jumpIfFalse = static_cast<int>(code_.size());
        Emit(opJumpIfFalse, 0, 1, 0);
        if (!ParseArgument(src, args[1]))
            return;
        const int jump = static_cast<int>(code_.size());
        Emit(opJump, 0, 0, 0);
        --stack_;   // the second branch pushes in place of the first
        code_[jumpIfFalse].arg = static_cast<int>(code_.size());
        barrier_ = static_cast<int>(code_.size());
        if (!ParseArgument(src, args[2]))
            return;
        code_[jump].arg = static_cast<int>(code_.size());
        barrier_ = static_cast<int>(code_.size());
    }
};

// =============================================================================================
// Expression.

template <class T>
KXExpressionT<T>::KXExpressionT(const KXFuncParserT<T> *parser) : parser_(parser)
{
}

template <class T>
KXExpressionT<T>::KXExpressionT(const KXExpressionT &other)
    : state_(other.state_),
      valuesChecked_(other.valuesChecked_),
      usesParams_(other.usesParams_),
      usesVector_(other.usesVector_),
      ownsText_(other.text_ != nullptr),
      maxStack_(other.maxStack_),
      params_(other.params_),
      names_(other.names_),
      parser_(other.parser_),
      text_(other.text_ ? new KXString(*other.text_) : nullptr),
      extras_(other.extras_ ? new Extras(*other.extras_) : nullptr)
{
    const int length = other.ProgramLength();
    if (length > 0) {
        code_.reset(new KXExprInstr<T>[length]);
        std::copy(other.code_.get(), other.code_.get() + length, code_.get());
    }
}

template <class T>
KXExpressionT<T>::~KXExpressionT()
{
    ReleaseText();
}

template <class T>
KXExpressionT<T> &KXExpressionT<T>::operator=(const KXExpressionT &other)
{
    if (this == &other)
        return *this;
    KXExpressionT copy(other);
    std::swap(state_, copy.state_);
    std::swap(valuesChecked_, copy.valuesChecked_);
    std::swap(usesParams_, copy.usesParams_);
    std::swap(usesVector_, copy.usesVector_);
    std::swap(ownsText_, copy.ownsText_);
    std::swap(maxStack_, copy.maxStack_);
    code_.swap(copy.code_);
    params_.swap(copy.params_);
    std::swap(names_, copy.names_);
    std::swap(parser_, copy.parser_);
    std::swap(text_, copy.text_);
    extras_.swap(copy.extras_);
    return *this;
}

KXExpressionR::KXExpressionR(const KXFuncParserR *parser)
    : KXExpressionT<double>(parser ? parser : &kxGetRealParser())
{
}

KXExpressionC::KXExpressionC(const KXFuncParserC *parser)
    : KXExpressionT<Cx>(parser ? parser : &kxGetComplexParser())
{
}

template <class T>
void KXExpressionT<T>::ReleaseText()
{
    if (ownsText_)
        delete text_;
    text_ = nullptr;
    ownsText_ = false;
}

template <class T>
const KXString &KXExpressionT<T>::GetExpression() const
{
    return text_ ? *text_ : KXSubString::EmptyString();
}

template <class T>
void KXExpressionT<T>::setExpression(const KXString &text)
{
    KXString *copy = new KXString(text);   // before releasing: `text` may be the current one
    ReleaseText();
    text_ = copy;
    ownsText_ = true;
    state_ = NotCompiled;
    code_.reset();
}

template <class T>
void KXExpressionT<T>::BorrowExpression(const KXString &text)
{
    if (&text != text_)
        ReleaseText();
    text_ = &text;
    state_ = NotCompiled;
    code_.reset();
}

template <class T>
typename KXExpressionT<T>::Extras &KXExpressionT<T>::MakeExtras()
{
    if (!extras_)
        extras_.reset(new Extras());
    return *extras_;
}

template <class T>
int KXExpressionT<T>::FindParamIn(const char *name, int length, int limit) const
{
    if (names_.Count() > 0)
        return names_.Find(name, length, limit);
    const int count = std::min(limit, static_cast<int>(params_.size()));
    for (int i = 0; i < count; ++i)
        if (SameName(params_[i].name_, name, length))
            return i;
    return -1;
}

template <class T>
int KXExpressionT<T>::FindParam(const KXString &name) const
{
    return FindParamIn(name.c_str(), name.Length(), INT_MAX);
}

template <class T>
void KXExpressionT<T>::MakeParamRecords()
{
    std::vector<KXParameterT<T>> records;
    records.reserve(names_.Count());
    for (int i = 0; i < names_.Count(); ++i)
        records.emplace_back(KXString(names_.Name(i)), KXString());
    params_.swap(records);
    names_.Clear();
}

template <class T>
void KXExpressionT<T>::DeclareParam(const KXString &name, const KXString &expression, int flags,
                                    int index)
{
    state_ = NotCompiled;
    code_.reset();
    const int existing = FindParam(name);
    // A parameter without formula or flags is kept as its name while all the others are too.
    const bool plain = expression.Length() == 0 && flags == 0 &&
                       std::memchr(name.c_str(), '\0', name.Length()) == nullptr;
    const bool named = params_.empty();
    if (plain && named && existing >= 0)
        return;   // declared again as it was
    const int count = ParamCount();
    const int at = (index < 0 || index > count) ? count : index;
    if (plain && named && at == count) {
        names_.Append(name.c_str(), name.Length());
        return;
    }
    if (names_.Count() > 0)
        MakeParamRecords();
    if (existing >= 0) {
        params_[existing].expression_ = expression;
        params_[existing].flags_ = flags;
        return;
    }
    params_.insert(params_.begin() + at, KXParameterT<T>(name, expression, flags));
}

template <class T>
void KXExpressionT<T>::ClearParams()
{
    params_.clear();
    names_.Clear();
    state_ = NotCompiled;
    code_.reset();
}

namespace {

// The parameters an instruction reads (at most two); returns their number.
template <class T>
int ParamsReadBy(const KXExprInstr<T> &in, int used[2])
{
    int n = 0;
    if (in.op == opParam || in.op == opVecElem || (in.op >= opAddP && in.op <= opSubMulPK) ||
        (in.op >= opEqPK && in.op <= opGePK))
        used[n++] = in.arg;
    if ((in.op >= opAddPP && in.op <= opPowPP) || in.op == opAddMulPP || in.op == opSubMulPP)
        used[n++] = in.index2;
    return n;
}

} // namespace

template <class T>
bool KXExpressionT<T>::Compile()
{
    code_.reset();
    extras_.reset();
    maxStack_ = 0;
    usesParams_ = usesVector_ = false;
    Compiler compiler(*this);
    if (!compiler.Run()) {
        if (extras_) {   // keeps the failure text only
            extras_->tables.clear();
            extras_->linTables.clear();
            extras_->stackSpace = std::vector<T>();
        }
        state_ = Failed;
        return false;
    }
    std::vector<KXExprInstr<T>> &program = compiler.Program();
    for (const KXExprInstr<T> &in : program) {
        int used[2];
        const int n = ParamsReadBy(in, used);
        for (int k = 0; k < n; ++k) {
            usesParams_ = true;
            if (names_.Count() == 0 && params_[used[k]].IsVector())
                usesVector_ = true;
        }
    }
    maxStack_ = static_cast<uint16_t>(compiler.MaxStack());   // within kxExprMaxStack
    if (maxStack_ > kLocalStack)
        MakeExtras().stackSpace.resize(maxStack_ + 2);
    else if (extras_)
        extras_->stackSpace = std::vector<T>();
    if (extras_ && extras_->tables.empty() && extras_->linTables.empty() && extras_->stackSpace.empty())
        extras_.reset();
    program.emplace_back();
    program.back().op = opEnd;
    code_.reset(new KXExprInstr<T>[program.size()]);
    std::copy(program.begin(), program.end(), code_.get());
    valuesChecked_ = false;
    state_ = Compiled;
    return true;
}

template <class T>
bool KXExpressionT<T>::IsConstant() const
{
    return state_ == Compiled && code_[0].op == opConst && code_[1].op == opEnd;
}

template <class T>
int KXExpressionT<T>::ProgramLength() const
{
    if (!code_)
        return 0;
    int n = 0;
    while (code_[n].op != opEnd)
        ++n;
    return n + 1;
}

template <class T>
int KXExpressionT<T>::ProgramSize() const
{
    const int length = ProgramLength();
    return length > 0 ? length - 1 : 0;
}

// Scalar parameters, once found set, stay set until the next compilation, so they are checked
// until the first success; vectors may be unbound again and are checked every time. The
// parameters are checked in the order in which the program first reads them.
template <class T>
bool KXExpressionT<T>::CheckUsedValues(bool scalarsGiven) const
{
    const bool records = names_.Count() == 0;
    for (const KXExprInstr<T> *in = code_.get(); in->op != opEnd; ++in) {
        int used[2];
        const int n = ParamsReadBy(*in, used);
        for (int k = 0; k < n; ++k) {
            const int i = used[k];
            bool missing = !scalarsGiven;   // a plain name never has a value of its own
            if (records) {
                const KXParameterT<T> &p = params_[i];
                missing = p.IsVector() ? p.data_ == nullptr : (!scalarsGiven && !p.hasValue_);
            }
            if (missing) {
                error.set("undesolved variable \"%s\"\n", ParamName(i));
                return false;
            }
        }
    }
    return true;
}

template <class T>
bool KXExpressionT<T>::Prepare()
{
    if (state_ == NotCompiled)
        return Compile();
    if (state_ == Failed) {
        error.Raise(kxErrSyntax, "%s", extras_ ? extras_->failure.c_str() : "");
        return false;
    }
    return true;
}

template <class T>
T KXExpressionT<T>::Evaluate()
{
    if (!valuesChecked_ || state_ != Compiled) {
        if (!Prepare() || !CheckUsedValues(false))
            return T();
        valuesChecked_ = !usesVector_;
    }
    return Run(code_.get(), maxStack_, OwnValues<T>{params_.data()});
}

template <class T>
T KXExpressionT<T>::Evaluate(const T *values)
{
    if (state_ != Compiled || usesVector_) {
        if (!Prepare() || !CheckUsedValues(true))
            return T();
    }
    KX_CHECK_MSG(values || !usesParams_, T(), "no parameter values given");
    return Run(code_.get(), maxStack_, ArrayValues<T>{values});
}

// ---------------------------------------------------------------------------------------------
// The names of plain parameters.

KXExprNameList::KXExprNameList(const KXExprNameList &other) : size_(other.size_), count_(other.count_)
{
    if (size_ == 0)
        return;
    chars_ = static_cast<char *>(std::malloc(size_));
    if (!chars_)
        throw std::bad_alloc();
    std::memcpy(chars_, other.chars_, size_);
}

KXExprNameList &KXExprNameList::operator=(const KXExprNameList &other)
{
    if (this != &other) {
        KXExprNameList copy(other);
        std::swap(chars_, copy.chars_);
        std::swap(size_, copy.size_);
        std::swap(count_, copy.count_);
    }
    return *this;
}

void KXExprNameList::Append(const char *name, int length)
{
    const uint32_t size = size_ + static_cast<uint32_t>(length) + 1;
    char *chars = static_cast<char *>(std::realloc(chars_, size));
    if (!chars)
        throw std::bad_alloc();
    chars_ = chars;
    std::memcpy(chars_ + size_, name, static_cast<size_t>(length));
    chars_[size - 1] = '\0';
    size_ = size;
    ++count_;
}

int KXExprNameList::Find(const char *name, int length, int limit) const
{
    const char *p = chars_;
    const int count = std::min(limit, Count());
    for (int i = 0; i < count; ++i) {
        const size_t n = std::strlen(p);
        if (n == static_cast<size_t>(length) && std::memcmp(p, name, n) == 0)
            return i;
        p += n + 1;
    }
    return -1;
}

const char *KXExprNameList::Name(int i) const
{
    const char *p = chars_;
    for (; i > 0; --i)
        p += std::strlen(p) + 1;
    return p;
}

void KXExprNameList::Clear()
{
    std::free(chars_);
    chars_ = nullptr;
    size_ = 0;
    count_ = 0;
}

// The evaluator: one pass over the program with a value stack on the machine stack, its top
// element cached in `top` (the values below it are stack[2] .. *sp; the first push parks the
// empty initial top in stack[1], so depth d has sp at stack + d). It stops at the first
// operation that leaves the error record set (when it was clear at the start).
template <class T>
template <class Values>
T KXExpressionT<T>::Run(const KXExprInstr<T> *code, int stackSize, const Values &values) const
{
    // Depth d uses slots 1 .. d, and a call spills one more. Deep programs use the space
    // reserved when they were compiled; slot 0 is never used.
    alignas(T) unsigned char raw[sizeof(T) * (kLocalStack + 2)];
    T *const stack = stackSize <= kLocalStack ? reinterpret_cast<T *>(raw) : extras_->stackSpace.data();
    T *sp = stack;
    T top = T();
#define KX_PUSH(value)        \
    do {                      \
        const T pushed = (value); \
        *++sp = top;          \
        top = pushed;         \
    } while (0)
    // Threaded dispatch: each handler jumps straight to the handler of the next instruction.
    static const void *const handlers[] = {
        &&L_opConst, &&L_opParam, &&L_opVecElem, &&L_opNeg, &&L_opSqr, &&L_opAdd, &&L_opSub,
        &&L_opMul, &&L_opDiv, &&L_opPow, &&L_opAddK, &&L_opSubK, &&L_opMulK, &&L_opDivK, &&L_opPowK,
        &&L_opAddP, &&L_opSubP, &&L_opMulP, &&L_opDivP, &&L_opPowP, &&L_opAddPK, &&L_opSubPK,
        &&L_opMulPK, &&L_opDivPK, &&L_opPowPK, &&L_opAddPP, &&L_opSubPP, &&L_opMulPP, &&L_opDivPP,
        &&L_opPowPP, &&L_opSubKP, &&L_opDivKP, &&L_opPowKP, &&L_opAddMulPP, &&L_opSubMulPP, &&L_opAddMulPK, &&L_opSubMulPK, &&L_opEq, &&L_opNe, &&L_opLt, &&L_opLe,
        &&L_opGt, &&L_opGe, &&L_opEqK, &&L_opNeK, &&L_opLtK, &&L_opLeK, &&L_opGtK, &&L_opGeK,
        &&L_opEqPK, &&L_opNePK, &&L_opLtPK, &&L_opLePK, &&L_opGtPK, &&L_opGePK, &&L_opMax,
        &&L_opMin, &&L_opMaxK, &&L_opMinK, &&L_opLinInterp, &&L_opLinInterpN, &&L_opJumpIfFalse, &&L_opJump,
        &&L_opCall, &&L_opSpline, &&L_opSqrt, &&L_default, &&L_default, &&L_opExp, &&L_opSin,
        &&L_opCos, &&L_default, &&L_default, &&L_default, &&L_default, &&L_default, &&L_default,
        &&L_default, &&L_default, &&L_default, &&L_default, &&L_default, &&L_default, &&L_opEnd};
    static_assert(sizeof(handlers) / sizeof(handlers[0]) == opEnd + 1, "one handler per op");
#define KX_NEXT()                    \
    do {                             \
        ++in;                        \
        goto *handlers[in->op];      \
    } while (0)
    const KXExprInstr<T> *in = code;
    goto *handlers[in->op];
    {

        L_opConst: KX_PUSH(in->constant); KX_NEXT();
        L_opParam: KX_PUSH(values(in->arg)); KX_NEXT();
        L_opNeg: top = T() - top; KX_NEXT();   // 0 - x keeps a zero imaginary part positive
        L_opSqr: top = top * top; KX_NEXT();
        L_opAdd: top = *sp-- + top; KX_NEXT();
        L_opSub: top = *sp-- - top; KX_NEXT();
        L_opMul: top = *sp-- * top; KX_NEXT();
        L_opDiv:
            if (IsZeroValue(top))
                return Fault<T>("division by zero");
            top = *sp-- / top;
            KX_NEXT();
        L_opPow: {
            T r;
            if (!PowerOf(*sp, top, r))
                return T();
            top = r;
            --sp;
            KX_NEXT();
        }
        L_opAddK: top += in->constant; KX_NEXT();
        L_opSubK: top -= in->constant; KX_NEXT();
        L_opMulK: top *= in->constant; KX_NEXT();
        L_opDivK:
            if (IsZeroValue(in->constant))
                return Fault<T>("division by zero");
            top /= in->constant;
            KX_NEXT();
        L_opPowK: {
            T r;
            if (!PowerOf(top, in->constant, r))
                return T();
            top = r;
            KX_NEXT();
        }
        L_opAddP: top += values(in->arg); KX_NEXT();
        L_opSubP: top -= values(in->arg); KX_NEXT();
        L_opMulP: top *= values(in->arg); KX_NEXT();
        L_opDivP: {
            const T &d = values(in->arg);
            if (IsZeroValue(d))
                return Fault<T>("division by zero");
            top /= d;
            KX_NEXT();
        }
        L_opPowP: {
            T r;
            if (!PowerOf(top, values(in->arg), r))
                return T();
            top = r;
            KX_NEXT();
        }
        L_opAddPK: KX_PUSH(values(in->arg) + in->constant); KX_NEXT();
        L_opSubPK: KX_PUSH(values(in->arg) - in->constant); KX_NEXT();
        L_opMulPK: KX_PUSH(values(in->arg) * in->constant); KX_NEXT();
        L_opDivPK:
            if (IsZeroValue(in->constant))
                return Fault<T>("division by zero");
            KX_PUSH(values(in->arg) / in->constant);
            KX_NEXT();
        L_opPowPK: {
            T r;
            if (!PowerOf(values(in->arg), in->constant, r))
                return T();
            KX_PUSH(r);
            KX_NEXT();
        }
        L_opAddPP: KX_PUSH(values(in->arg) + values(in->index2)); KX_NEXT();
        L_opSubPP: KX_PUSH(values(in->arg) - values(in->index2)); KX_NEXT();
        L_opMulPP: KX_PUSH(values(in->arg) * values(in->index2)); KX_NEXT();
        L_opDivPP: {
            const T &d = values(in->index2);
            if (IsZeroValue(d))
                return Fault<T>("division by zero");
            KX_PUSH(values(in->arg) / d);
            KX_NEXT();
        }
        L_opPowPP: {
            T r;
            if (!PowerOf(values(in->arg), values(in->index2), r))
                return T();
            KX_PUSH(r);
            KX_NEXT();
        }
        L_opSubKP: KX_PUSH(in->constant - values(in->arg)); KX_NEXT();
        L_opAddMulPP: top += values(in->arg) * values(in->index2); KX_NEXT();
        L_opSubMulPP: top -= values(in->arg) * values(in->index2); KX_NEXT();
        L_opAddMulPK: top += values(in->arg) * in->constant; KX_NEXT();
        L_opSubMulPK: top -= values(in->arg) * in->constant; KX_NEXT();
        L_opDivKP: {
            const T &d = values(in->arg);
            if (IsZeroValue(d))
                return Fault<T>("division by zero");
            KX_PUSH(in->constant / d);
            KX_NEXT();
        }
        L_opPowKP: {
            T r;
            if (!PowerOf(in->constant, values(in->arg), r))
                return T();
            KX_PUSH(r);
            KX_NEXT();
        }
        L_opEqPK: KX_PUSH(Re(values(in->arg)) == Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        L_opNePK: KX_PUSH(Re(values(in->arg)) != Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        L_opLtPK: KX_PUSH(Re(values(in->arg)) < Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        L_opLePK: KX_PUSH(Re(values(in->arg)) <= Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        L_opGtPK: KX_PUSH(Re(values(in->arg)) > Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        L_opGePK: KX_PUSH(Re(values(in->arg)) >= Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        L_opEq: top = Re(*sp--) == Re(top) ? 1.0 : 0.0; KX_NEXT();
        L_opNe: top = Re(*sp--) != Re(top) ? 1.0 : 0.0; KX_NEXT();
        L_opLt: top = Re(*sp--) < Re(top) ? 1.0 : 0.0; KX_NEXT();
        L_opLe: top = Re(*sp--) <= Re(top) ? 1.0 : 0.0; KX_NEXT();
        L_opGt: top = Re(*sp--) > Re(top) ? 1.0 : 0.0; KX_NEXT();
        L_opGe: top = Re(*sp--) >= Re(top) ? 1.0 : 0.0; KX_NEXT();
        L_opEqK: top = Re(top) == Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        L_opNeK: top = Re(top) != Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        L_opLtK: top = Re(top) < Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        L_opLeK: top = Re(top) <= Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        L_opGtK: top = Re(top) > Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        L_opGeK: top = Re(top) >= Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        L_opJumpIfFalse: {
            const double c = Re(top);
            top = *sp--;
            if (std::isnan(c))
                return Fault<T>("conditional operator evaluation error\n");
            if (c == 0.0)
                in = code + in->arg - 1;
            KX_NEXT();
        }
        L_opJump: in = code + in->arg - 1; KX_NEXT();
        L_opCall: {
            // The arguments are the n topmost values: spill the cached top to make them one run.
            const int n = in->arg;
            *++sp = top;
            sp -= n;
            const int before = int(error);
            top = in->routine(KXParListT<T>(sp + 1, n));
            if (before == 0 && int(error) != 0)
                return T();
            KX_NEXT();
        }
        L_opMax:
        L_opMin: {
            const int n = in->arg;
            *++sp = top;
            sp -= n;
            T r;
            if (!MaxMinOf(sp + 1, n, in->op == opMax, r))
                return T();
            top = r;
            KX_NEXT();
        }
        L_opMaxK:
        L_opMinK:
            if (HasImag(top))
                return Fault<T>(in->op == opMaxK ? "cannot pass complex number to function \"max\"\n"
                                                : "cannot pass complex number to function \"min\"\n");
            if (in->op == opMaxK ? Re(in->constant) > Re(top) : Re(in->constant) < Re(top))
                top = in->constant;
            else
                top = Re(top);
            KX_NEXT();
        L_opSpline: {
            const double x = Re(top);
            if constexpr (std::is_same<T, double>::value)
                top = extras_->tables[in->arg]->Evaluate(x);
            else
                top = T(extras_->tables[in->arg]->Evaluate(x), extras_->tables[in->arg + 1]->Evaluate(x));
            KX_NEXT();
        }
        L_opLinInterpN: {
            const int n = in->arg;
            *++sp = top;
            sp -= n;
            bool hard;
            const T r = LinInterpChecked(sp + 1, n, hard);
            if (hard)
                return T();
            top = r;
            KX_NEXT();
        }
        L_opLinInterp: {
            if (HasImag(top))
                return Fault<T>("cannot pass complex number in this position to function \"lininterp\"\n");
            const std::vector<T> &table = *extras_->linTables[in->arg];
            top = LinInterpTable(table.data(), static_cast<int>(table.size()) / 2, Re(top));
            KX_NEXT();
        }
        L_opVecElem: {
            const KXParameterT<T> &p = params_[in->arg];
            const double at = Re(top);
            const int i = std::isnan(at) ? INT_MIN
                          : at <= INT_MIN ? INT_MIN
                          : at >= INT_MAX ? INT_MAX
                                          : kxRoundDoubleToNearestInt(at);
            if (i < p.lbd_ || i > p.ubd_) {
                error.set("index %d out of range (%d %d) in variable \"%s\"\n", i, p.lbd_, p.ubd_,
                          p.name_.c_str());
                return T();
            }
            top = p.data_[i - p.lbd_];
            KX_NEXT();
        }
        L_opSqrt:
            if constexpr (std::is_same<T, double>::value) {
                if (top < 0.0)
                    return Fault<T>("negative argument in sqrt\n");
            }
            top = std::sqrt(top);
            KX_NEXT();
        L_opSin: top = std::sin(top); KX_NEXT();
        L_opCos: top = std::cos(top); KX_NEXT();
        L_opExp: top = std::exp(top); KX_NEXT();
        L_default: {
            T x = top;
            if (!ApplyUnary(in->op, x))
                return T();
            top = x;
            KX_NEXT();
        }
        L_opEnd:
            goto finished;
    }
finished:
#undef KX_NEXT
#undef KX_PUSH
    return sp == stack + 1 ? top : T();
}

template class KXFuncParserT<double>;
template class KXFuncParserT<Cx>;
template class KXExpressionT<double>;
template class KXExpressionT<Cx>;
