// kxfnparser.h - the formula language: parsers holding the built-in and registered functions and
// constants (KXFuncParserR / KXFuncParserC), and compiled expressions (KXExpressionR /
// KXExpressionC) that are compiled once and evaluated many times with fresh parameter values.
//
// Syntax
// ------
// Numbers: decimal with an optional exponent ("1e5", "2.5e-3", ".5"); a letter directly after a
// digit or a full stop belongs to the number, so "2x" is a malformed number, not 2 times x.
// Names: a letter, then letters, digits and underscores; registered constants are written with a
// leading underscore ("_PI"). A name is a declared parameter or a constant; followed by round
// brackets it is a function call, followed by square brackets an element of a vector parameter.
// Blanks may surround any part of a formula.
//
// The text is split at operators, the outermost level first, each side compiled by the same rules:
//   1. a single "=" (not part of "==", "!=", "<=", ">=") splits the text into two sides; with
//      several the text is split at the first, so "a = b = c" is a - (b - c);
//   2. comparisons "==", "!=", "<=", ">=", "<", ">" (left to right);
//   3. "+" and "-" (left to right), a sign being binary unless it is the first or last character,
//      the character before it is "*", "/" or "+", the character after it is "*", "/", "+" or
//      "-", or it belongs to the exponent of a number (2.5e-3 is one number, x2e-3 subtracts 3
//      from x2e);
//   4. "*" and "/" (left to right), never a "*" of "**";
//   5. a leading "+" or "-" applied to the whole rest;
//   6. "**" (right to left): 2**3**2 is 2**(3**2) = 512;
//   7. a number, a name, a call, an indexed name or a bracketed sub-expression.
// Choices made where the language left room:
//   - "**" binds tighter than a leading sign and associates to the right: -2**2 is -4.
//   - "<" and ">" alone are comparisons; a comparison gives 1 or 0.
//   - "a = b" evaluates to a - b, a residual a solver can drive to zero.
//   - Blanks are skipped when looking at the characters around a sign ("a * -b" is a*(-b));
//     the exponent rule looks at the adjacent characters only.
//   - max and min need at least one argument.
//   - spline is the natural cubic spline (second derivative zero at both ends) and extrapolates
//     linearly with the end slopes.
//   - In the complex variant max, min, comparisons, if conditions, sign and the positions of
//     spline and lininterp use real parts; max, min and lininterp reject a non-zero imaginary
//     part where it must be real, spline ignores it. sqrt, ln, log10, asin and acos follow the
//     principal complex branch, so only ln(0) and log10(0) are domain errors there; a negative
//     base with a non-integer power likewise gives the principal complex value. A power
//     whose operands are both real stays real when the result is (so (-2)**2 is exactly 4).
//   - "**" and pow run the routines registered under those names: re-registering either
//     replaces the operator as well.
//   - A power of zero with a negative exponent is not a fault: it gives infinity.
//   - if evaluates only the branch it takes; a condition holds when its value is non-zero, a
//     NaN condition is the "conditional operator evaluation error".
//   - Registered functions are taken to be pure: a call whose arguments use no parameter is
//     computed once at compile time (unless that computation reports an error, which is then
//     left to each evaluation).
//   - Evaluation stops at the first operation that leaves the global error record set (when it
//     was clear as the evaluation began) and returns 0, with one exception: lininterp reports
//     every abscissa that does not increase and still gives its value, and the evaluation goes
//     on (spline stops at once).
//   - A vector parameter named without an index is a "parse error\n".
//
// Compiled form and limits
// ------------------------
// Compile turns the text into a flat postfix program over a value stack; constant sub-formulas
// are folded, binary operators take a constant or parameter operand directly (pushing a
// parameter and combining it with the next operand is one instruction), and spline and lininterp
// tables that are constant are prepared and checked once. Evaluate walks the program with
// threaded dispatch and the top of the stack held in a register, without allocating and
// without reading the text. The program's parameter operands are bound to where the values lie
// (the parameters' records for Evaluate(), the caller's array for Evaluate(values) and for
// Evaluate() while an array is bound with BindValues; a formula evaluated both ways alternately
// is bound again at each switch), and a program of plain arithmetic runs on a path that calls
// nothing out and saves no register. A program may hold up to kxExprMaxCode
// instructions, use up to kxExprMaxStack stack slots and nest up to kxExprMaxDepth brackets,
// calls and signs; beyond any of these Compile reports "expression too complicated\n". So a
// formula of 100,000 nested brackets ends with that error, not with a stack overflow.
//
// Parameters
// ----------
// DeclareParam(name, expression, flags, index) declares a name the formula may use:
//   - expression: empty for a parameter whose value the caller sets (SetValue on GetParam(i),
//     the values array given to Evaluate, or an array bound with BindValues). A non-empty
//     expression makes the name stand for that formula: each use compiles it in place (it may
//     use constants and the parameters declared before it).
//   - flags: kxParamVector declares a vector parameter, bound with SetVector and used as
//     name[index] (index rounded to the nearest integer).
//   - index: the 0-based position in the parameter list, -1 to append. Declaring a name again
//     replaces its expression and flags and keeps its position and value.
// Parameters are indexed from 0 in declaration order. A parameter the formula uses that has no
// value when Evaluate() runs gives "undesolved variable \"%s\"\n".
//
// Errors never throw: Compile returns false and Evaluate returns 0 with the global `error` set to
// the texts of the fault table below; the caller reads and resets `error` after Evaluate. Faults
// of the text itself (found by Compile) carry the syntax code 504 (kxErrSyntax), faults of an
// evaluation (domain errors, division by zero, indices, missing values) the generic code 1. An
// expression that is not compiled compiles itself at its next Evaluate (a failed compilation
// reports its text again at every Evaluate).
//   "missing bracket\n", "missing square bracket\n", "too many arguments to if function\n",
//   "expression too complicated\n", "parse error\n", "undefined function \"%s\"\n",
//   "wrong number of arguments in function \"%s\"\n", "variable \"%s\" is not a vector\n",
//   "undefined variable \"%s\"\n", "index %d out of range (%d %d) in variable \"%s\"\n",
//   "undesolved variable \"%s\"\n", "division by zero", "conditional operator evaluation error\n",
//   and the texts of the built-in functions (domain errors, argument counts of lininterp,
//   spline, max and min).
#ifndef KX_EXPRESSIONS_KXFNPARSER_H
#define KX_EXPRESSIONS_KXFNPARSER_H

#include "kx/foundation/kxstring.h"

#include <climits>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

/// Limits of a compiled program (see "Compiled form and limits" above).
constexpr int kxExprMaxCode = 16384;
constexpr int kxExprMaxStack = 1024;
constexpr int kxExprMaxDepth = 200;
static_assert(kxExprMaxStack < 65536, "stack sizes are kept in 16 bits");

/// DeclareParam flag: the parameter is a vector, used as name[index].
constexpr int kxParamVector = 1;

// ---------------------------------------------------------------------------------------------
/// The evaluated arguments of one call of a built-in or registered function, in order, indexed
/// from 0. A view on the evaluator's stack: valid only during the call.
template <class T>
class KXParListT {
public:
    KXParListT(const T *args, int count) : args_(args), count_(count) {}

    [[nodiscard]] int Count() const { return count_; }
    /// Argument i, 0 <= i < Count().
    const T &operator[](int i) const { return args_[i]; }
    const T *begin() const { return args_; }
    const T *end() const { return args_ + count_; }

private:
    const T *args_;
    int count_;
};

using ParListR = KXParListT<double>;
using ParListC = KXParListT<std::complex<double>>;

// ---------------------------------------------------------------------------------------------
/// A registered function: its routine, its name and its number of arguments (-1: any number).
/// The routine reports a domain error through the global `error` and returns a value anyway.
template <class T>
struct KXFuncDataEltT {
    typedef T (*Routine)(const KXParListT<T> &args);

    Routine routine = nullptr;
    KXString name;
    int nargs = 0;
    /// Names of the arguments where they are documented (those of `if`: "condition",
    /// "expression1", "expression2"); empty otherwise.
    std::vector<KXString> argNames;
    /// Non-zero for a built-in that the evaluator runs inline (same result as the routine).
    int inlineOp = 0;
};

using FuncDataEltR = KXFuncDataEltT<double>;
using FuncDataEltC = KXFuncDataEltT<std::complex<double>>;

// ---------------------------------------------------------------------------------------------
/// A named value: a declared parameter of an expression (name, expression text, the value the
/// caller sets before each evaluation) or a registered constant (empty expression, fixed value,
/// a description).
template <class T>
class KXParameterT {
public:
    KXParameterT() = default;
    KXParameterT(const KXString &name, const KXString &expression, int flags = 0)
        : name_(name), expression_(expression), flags_(flags)
    {
    }

    [[nodiscard]] const KXString &Name() const { return name_; }
    [[nodiscard]] const KXString &Expression() const { return expression_; }
    [[nodiscard]] int Flags() const { return flags_; }
    [[nodiscard]] bool IsVector() const { return (flags_ & kxParamVector) != 0; }
    [[nodiscard]] const KXString &Description() const { return description_; }
    void SetDescription(const KXString &text) { description_ = text; }

    /// The scalar value and whether one was ever set (a set value stays set).
    [[nodiscard]] const T &Value() const { return value_; }
    [[nodiscard]] bool HasValue() const { return hasValue_; }
    void SetValue(const T &value)
    {
        value_ = value;
        hasValue_ = true;
    }

    /// Binds a vector parameter to storage the caller owns and keeps alive while the expression
    /// is evaluated: data[0] is element lbd, data[ubd - lbd] element ubd. A null data unbinds.
    void SetVector(const T *data, int lbd, int ubd)
    {
        data_ = data;
        lbd_ = lbd;
        ubd_ = ubd;
    }
    [[nodiscard]] const T *VectorData() const { return data_; }
    [[nodiscard]] int VectorLbd() const { return lbd_; }
    [[nodiscard]] int VectorUbd() const { return ubd_; }

private:
    template <class>
    friend class KXExpressionT;
    template <class>
    friend class KXFuncParserT;

    KXString name_;
    KXString expression_;
    KXString description_;
    T value_ = T();
    const T *data_ = nullptr;
    int lbd_ = 0;
    int ubd_ = -1;
    int flags_ = 0;
    bool hasValue_ = false;
};

using KXParameterR = KXParameterT<double>;
using KXParameterC = KXParameterT<std::complex<double>>;

// ---------------------------------------------------------------------------------------------
/// The table of functions and constants that expressions are compiled against. The derived
/// KXFuncParserR and KXFuncParserC register the built-ins on construction; further functions and
/// constants may be registered at any time (expressions compiled before keep what they saw).
template <class T>
class KXFuncParserT {
public:
    typedef typename KXFuncDataEltT<T>::Routine Routine;

    virtual ~KXFuncParserT() = default;

    /// Adds a function (nargs -1 for any number of arguments); a name already registered is
    /// replaced. False (nothing registered) for a null routine, an empty name or nargs < -1.
    bool RegisterFunction(Routine routine, const KXString &name, int nargs);
    /// Adds a constant (replacing one of the same name). False for an empty name.
    bool RegisterConstant(const KXString &name, const T &value, const KXString &description);

    [[nodiscard]] bool IsFunctionRegistered(const KXString &name) const;
    [[nodiscard]] bool IsConstantRegistered(const KXString &name) const;

    /// The entry of a function or constant, or null. The pointer is valid until the next
    /// registration.
    [[nodiscard]] const KXFuncDataEltT<T> *FindFunction(const char *name, int length) const;
    [[nodiscard]] const KXParameterT<T> *FindConstant(const char *name, int length) const;

    /// Registered functions in order of registration, indexed from 0.
    [[nodiscard]] int FunctionCount() const { return static_cast<int>(functions_.size()); }
    [[nodiscard]] const KXFuncDataEltT<T> &GetFunction(int i) const { return functions_[i]; }
    [[nodiscard]] int ConstantCount() const { return static_cast<int>(constants_.size()); }
    [[nodiscard]] const KXParameterT<T> &GetConstant(int i) const { return constants_[i]; }

protected:
    KXFuncParserT() = default;
    void RegisterBuiltin(Routine routine, const char *name, int nargs, int inlineOp);

private:
    std::vector<KXFuncDataEltT<T>> functions_;
    std::vector<KXParameterT<T>> constants_;
    /// Bit min(length, 63) is set for the length of every function and constant name, so a
    /// lookup of a name no entry is as long as (most variable names) ends at once.
    uint64_t nameLengths_ = 0;
    static uint64_t LengthBit(int length)
    {
        return uint64_t(1) << (unsigned(length) < 63u ? unsigned(length) : 63u);
    }
};

/// The real parser: sqrt, sign, pow, **, abs, spline, max, min, lininterp, exp, sin, cos, tan,
/// sinh, cosh, tanh, ln, log10, asin, acos, atan, if (in this order) and the constant _PI.
class KXFuncParserR : public KXFuncParserT<double> {
public:
    KXFuncParserR();
};

/// The complex parser: the real parser's functions, then real, imag and arg; the constant _PI.
class KXFuncParserC : public KXFuncParserT<std::complex<double>> {
public:
    KXFuncParserC();
};

/// The one process-wide complex parser (named variables are compiled against it).
KXFuncParserC &kxGetComplexParser();
/// The process-wide real parser used by real expressions made without a parser.
KXFuncParserR &kxGetRealParser();

// ---------------------------------------------------------------------------------------------
/// One instruction of a compiled program (internal to the evaluator).
template <class T>
struct KXExprInstr {
    int32_t op;
    int32_t arg;
    union {
        T constant;
        typename KXFuncDataEltT<T>::Routine routine;
        int32_t index2;
        const void *data; ///< a prepared table or a vector parameter
    };
    KXExprInstr() : op(0), arg(0), constant() {}
};

class CSpline;

/// The names of parameters declared plainly (no formula, no flags) and never handed out through
/// GetParam: one block of zero-terminated names in declaration order, sized exactly (internal to
/// KXExpressionT, which keeps most formulas' parameters this way).
class KXExprNameList {
public:
    KXExprNameList() = default;
    KXExprNameList(const KXExprNameList &other);
    KXExprNameList &operator=(const KXExprNameList &other);
    ~KXExprNameList() { std::free(chars_); }

    [[nodiscard]] int Count() const { return static_cast<int>(count_); }
    void Append(const char *name, int length);
    /// The index of the first of the first `limit` names equal to name[0 .. length), or -1.
    [[nodiscard]] int Find(const char *name, int length, int limit = INT_MAX) const;
    /// Name i, 0 <= i < Count(), zero-terminated.
    [[nodiscard]] const char *Name(int i) const;
    void Clear();

private:
    char *chars_ = nullptr; ///< owned (malloc)
    uint32_t size_ = 0;     ///< bytes in use, terminators included
    uint32_t count_ = 0;
};

/// A formula compiled against a parser. Copies are independent and keep the compiled program.
///
/// Memory: a formula whose parameters are all declared plainly keeps them as names only (see
/// KXExprNameList) until GetParam first hands one out; the program is sized exactly; the
/// tables of spline and lininterp, the stack of very deep programs and the text of a failed
/// compilation live in a block made only for the formulas that need one; BorrowExpression lets
/// an owner that keeps the formula text anyway (a named variable) lend it instead of copying it.
template <class T>
class KXExpressionT {
public:
    explicit KXExpressionT(const KXFuncParserT<T> *parser);
    KXExpressionT(const KXExpressionT &other);
    KXExpressionT &operator=(const KXExpressionT &other);
    virtual ~KXExpressionT();

    /// Sets the formula text; the expression must be compiled again.
    void setExpression(const KXString &text);
    /// Sets the formula text without copying it: `text` stays the caller's, who keeps it alive
    /// and unchanged until this expression is destroyed or given another text. A copy of this
    /// expression takes a copy of the text.
    void BorrowExpression(const KXString &text);
    [[nodiscard]] const KXString &GetExpression() const;

    /// Declares a name the formula may use (see "Parameters" above).
    void DeclareParam(const KXString &name, const KXString &expression, int flags, int index);
    /// Removes every declared parameter.
    void ClearParams();
    [[nodiscard]] int ParamCount() const
    {
        return names_.Count() > 0 ? names_.Count() : static_cast<int>(params_.size());
    }
    /// Parameter i, 0 <= i < ParamCount(), in declaration order.
    [[nodiscard]] KXParameterT<T> &GetParam(int i)
    {
        if (names_.Count() > 0)
            MakeParamRecords();
        return params_[i];
    }
    [[nodiscard]] const KXParameterT<T> &GetParam(int i) const
    {
        return const_cast<KXExpressionT *>(this)->GetParam(i);
    }
    /// The name of parameter i, 0 <= i < ParamCount() (zero-terminated; valid until the
    /// parameters are next declared, cleared or handed out through GetParam).
    [[nodiscard]] const char *ParamName(int i) const
    {
        return names_.Count() > 0 ? names_.Name(i) : params_[i].Name().c_str();
    }
    /// The 0-based index of a declared parameter, or -1.
    [[nodiscard]] int FindParam(const KXString &name) const;

    /// Parses the text against the parser's functions and constants and the declared
    /// parameters. On failure `error` holds the fault and false is returned.
    [[nodiscard]] bool Compile();
    [[nodiscard]] bool IsCompiled() const { return state_ == Compiled; }

    /// The value with the parameters' current values (compiling first when needed).
    T Evaluate();
    /// The value with values[i] for scalar parameter i (the parameters' own values are not
    /// read); `values` must hold ParamCount() entries.
    T Evaluate(const T *values);
    /// Binds the scalar parameters to an array the caller owns, as Evaluate(values) reads it:
    /// from now on Evaluate() reads parameter i from values[i] when it runs, so the caller only
    /// writes fresh values there between evaluations (no SetValue, no per-call set-up). The
    /// array holds ParamCount() entries and must outlive every evaluation made while it is
    /// bound; declaring parameters again does not unbind it. A null `values` unbinds: Evaluate()
    /// reads the parameters' own values again. A copy of the expression is bound to the same
    /// array.
    void BindValues(const T *values);
    /// The array bound by BindValues, or null.
    [[nodiscard]] const T *BoundValues() const { return bound_; }

    /// Number of instructions in the compiled program (0 when not compiled).
    [[nodiscard]] int ProgramSize() const;
    /// True when the compiled program is a single constant.
    [[nodiscard]] bool IsConstant() const;

private:
    enum State : uint8_t {
        NotCompiled,
        Compiled,
        Failed
    };
    /// What the parameter operands of the program are: indices (as compiled) or byte offsets
    /// into the parameter records or into the caller's array of values.
    enum Slots : uint8_t {
        SlotIndex,
        SlotRecords,
        SlotArray
    };
    class Compiler;  ///< text to program, with the optimiser's rewrites
    class Evaluator; ///< runs the program
    /// What only some programs need: prepared spline and lininterp tables, a value stack for
    /// programs too deep for the one on the machine stack, the text of a failed compilation.
    struct Extras {
        std::vector<std::shared_ptr<const CSpline>> tables;
        std::vector<std::shared_ptr<const std::vector<T>>> linTables;
        std::vector<T> stackSpace;
        KXString failure;
    };
    /// Turns the plain names into full parameter records (kept from then on).
    void MakeParamRecords();
    Extras &MakeExtras();
    void ReleaseText();
    /// Instructions of the compiled program, its end instruction included (0: none).
    [[nodiscard]] int ProgramLength() const;
    /// Index of a declared parameter among the first `limit`, or -1.
    [[nodiscard]] int FindParamIn(const char *name, int length, int limit) const;

    // The fields an evaluation reads come first.
    State state_ = NotCompiled;
    bool valuesChecked_ = false; ///< every used scalar parameter was found set
    bool usesParams_ = false;    ///< the program reads a parameter
    bool usesVector_ = false;    ///< the program reads a vector parameter
    bool shortPath_ = false;     ///< the program runs on the evaluator's short path
    bool ownsText_ = false;      ///< text_ was made by setExpression (else lent or null)
    Slots slots_ = SlotIndex;    ///< how the program is bound (valuesChecked_: for Evaluate())
    uint16_t maxStack_ = 0;      ///< stack slots the program needs (at most kxExprMaxStack)
    std::unique_ptr<KXExprInstr<T>[]> code_; ///< ends with the end instruction; null: none
    const char *base_ = nullptr; ///< where Evaluate() finds the values (valuesChecked_ only)
    std::vector<KXParameterT<T>> params_; ///< full records (empty while names_ holds them)
    KXExprNameList names_;                ///< plain parameters by name only
    const KXFuncParserT<T> *parser_;
    const KXString *text_ = nullptr; ///< the formula text; null: empty
    const T *bound_ = nullptr;       ///< the caller's array of values (BindValues); null: none
    std::unique_ptr<Extras> extras_;
};

/// A real formula (weight functions and other formulas real by nature).
class KXExpressionR : public KXExpressionT<double> {
public:
    /// A null parser means kxGetRealParser().
    explicit KXExpressionR(const KXFuncParserR *parser = nullptr);
};

/// A complex formula (named variables are evaluated with it).
class KXExpressionC : public KXExpressionT<std::complex<double>> {
public:
    /// A null parser means kxGetComplexParser().
    explicit KXExpressionC(const KXFuncParserC *parser = nullptr);
};

extern template class KXFuncParserT<double>;
extern template class KXFuncParserT<std::complex<double>>;
extern template class KXExpressionT<double>;
extern template class KXExpressionT<std::complex<double>>;

#endif
