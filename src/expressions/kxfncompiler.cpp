// The compiler of formulas: the parser that turns the text into the program an expression keeps
// (see kxfncompiler.h), the folding of constant operations through the evaluator, and Compile().
#define KX_UNIT "kxfnparserComm"

#include "kxfncompiler.h"

#include "kxfnbuiltins.h"
#include "kxfnevaluator.h"
#include "kxfninternal.h"
#include "kxfnopcodes.h"
#include "kxfnoptimiser.h"

#include "kx/expressions/kxcubicspline.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

using kxfn::Cx;
using kxfn::kLocalStack;

template <class T>
class KXExpressionT<T>::Compiler : public kxfn::KXExprEmitter<T> {
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
            return Fail(kxfn::kParseError);
        return true;
    }

private:
    using Emitter = kxfn::KXExprEmitter<T>;
    using Emitter::barrier_;
    using Emitter::code_;
    using Emitter::Emit;
    using Emitter::EmitBinary;
    using Emitter::EmitConst;
    using Emitter::EmitNeg;
    using Emitter::failed_;
    using Emitter::FoldTail;
    using Emitter::LastAreConstantsBefore;
    using Emitter::LastIs;
    using Emitter::stack_;

    struct Source {
        const char *s = nullptr;
        std::vector<int> match; // partner of each bracket, -1 elsewhere
    };
    struct Split {
        int pos;
        int len;
        int op;
    };

    /// One more level of nesting (brackets, calls, signs, named sub-formulas) for its
    /// lifetime; beyond kxExprMaxDepth levels the formula is "expression too complicated".
    class DepthGuard {
    public:
        explicit DepthGuard(Compiler &c) : c_(c)
        {
            if (++c_.depth_ > kxExprMaxDepth)
                c_.Fail(kxfn::kTooComplicated);
        }
        ~DepthGuard() { --c_.depth_; }
        DepthGuard(const DepthGuard &) = delete;
        DepthGuard &operator=(const DepthGuard &) = delete;
        [[nodiscard]] bool Ok() const { return c_.depth_ <= kxExprMaxDepth; }

    private:
        Compiler &c_;
    };

    KXExpressionT &e_;
    int depth_ = 0;
    int visible_ = INT_MAX; // parameters visible by name (limited inside named sub-formulas)

    bool ReportFault(const char *text) override { return Fail(text); }
    bool Fold(const KXExprInstr<T> *code, int count, T &value) override;

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
                    return Fail(c == ')' ? kxfn::kMissingBracket : kxfn::kMissingSquareBracket);
                const char o = src.s[open.back()];
                if ((o == '(') != (c == ')'))
                    return Fail(o == '(' ? kxfn::kMissingBracket : kxfn::kMissingSquareBracket);
                src.match[i] = open.back();
                src.match[open.back()] = i;
                open.pop_back();
            }
        }
        if (!open.empty())
            return Fail(src.s[open.back()] == '(' ? kxfn::kMissingBracket
                                                  : kxfn::kMissingSquareBracket);
        return true;
    }

    static void Trim(const Source &src, int &b, int &e)
    {
        while (b < e && kxfn::IsBlank(src.s[b]))
            ++b;
        while (e > b && kxfn::IsBlank(src.s[e - 1]))
            --e;
    }

    // ---- levels ----------------------------------------------------------------------------
    void Parse(const Source &src, int b, int e)
    {
        if (failed_)
            return;
        DepthGuard guard(*this);
        if (!guard.Ok())
            return;
        Trim(src, b, e);
        ParseEquation(src, b, e);
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
                i = i + 1; // "==": step over both characters
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
                splits.push_back({i, 2,
                                  c == '='   ? opEq
                                  : c == '!' ? opNe
                                  : c == '<' ? opLe
                                             : opGe});
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
            if (!kxfn::IsBlank(src.s[j]))
                return src.s[j];
        return '\0';
    }

    static char NextChar(const Source &src, int i, int e)
    {
        for (int j = i + 1; j < e; ++j)
            if (!kxfn::IsBlank(src.s[j]))
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
        if ((e != 'e' && e != 'E') || !(kxfn::IsDigit(d) || d == '.'))
            return false;
        int j = i - 2;
        while (j > b && (kxfn::IsDigit(src.s[j - 1]) || src.s[j - 1] == '.'))
            --j;
        if (j == b)
            return true;
        const char before = src.s[j - 1];
        return before == '(' || before == '+' || before == '-' || before == '*' || before == '/' ||
               kxfn::IsBlank(before);
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
                const bool power =
                    (i > b && src.s[i - 1] == '*') || (i + 1 < e && src.s[i + 1] == '*');
                if (!power)
                    splits.push_back({i, 1, opMul});
            }
        }
        std::reverse(splits.begin(), splits.end());
        CompileOperands(src, b, e, splits, &Compiler::ParseSign);
    }

    typedef void (Compiler::*Level)(const Source &, int, int);

    // Compiles operand 0, then for each split its right operand and the operator.
    void CompileOperands(const Source &src, int b, int e, const std::vector<Split> &splits,
                         Level next)
    {
        int start = b;
        for (size_t k = 0; k <= splits.size() && !failed_; ++k) {
            int end = k < splits.size() ? splits[k].pos : e;
            int ob = start;
            int oe = end;
            Trim(src, ob, oe);
            if (ob >= oe) {
                Fail(kxfn::kParseError);
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
            Fail(kxfn::kParseError);
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
                Fail(kxfn::kParseError);
                return;
            }
            ParsePrimary(src, lb, le);
            {
                DepthGuard guard(*this);
                if (guard.Ok())
                    ParseSign(src, rb, re);
            }
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
            Fail(kxfn::kWrongArgumentCount, "**", 2);
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
                Fail(kxfn::kParseError);
                return;
            }
            int ib = b + 1;
            int ie = e - 1;
            Trim(src, ib, ie);
            if (ib >= ie) {
                Fail(kxfn::kParseError);
                return;
            }
            Parse(src, ib, ie);
            return;
        }
        if (kxfn::IsDigit(c) || c == '.') {
            ParseNumber(src, b, e);
            return;
        }
        if (!kxfn::IsLetter(c) && c != '_') {
            Fail(kxfn::kParseError);
            return;
        }
        int n = b;
        while (n < e && kxfn::IsNameChar(src.s[n]))
            ++n;
        const char *name = src.s + b;
        const int length = n - b;
        while (n < e && kxfn::IsBlank(src.s[n]))
            ++n;
        if (n == e) {
            ParseName(name, length);
            return;
        }
        if (src.match[n] != e - 1) {
            Fail(kxfn::kParseError);
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
        while (i < e && kxfn::IsDigit(src.s[i]))
            ++i, ++digits;
        if (i < e && src.s[i] == '.') {
            ++i;
            while (i < e && kxfn::IsDigit(src.s[i]))
                ++i, ++digits;
        }
        if (digits > 0 && i < e && (src.s[i] == 'e' || src.s[i] == 'E')) {
            ++i;
            if (i < e && (src.s[i] == '+' || src.s[i] == '-'))
                ++i;
            int expDigits = 0;
            while (i < e && kxfn::IsDigit(src.s[i]))
                ++i, ++expDigits;
            if (expDigits == 0)
                digits = 0;
        }
        if (digits == 0 || i != e) {
            Fail(kxfn::kParseError);
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
                Fail(kxfn::kParseError);
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
        Fail(kxfn::kUndefinedVariable, name, length);
    }

    // A parameter declared with a formula: that formula is compiled in place of its name.
    void ParseNamedFormula(int p)
    {
        DepthGuard guard(*this);
        if (!guard.Ok())
            return;
        const KXString &text = e_.params_[p].Expression();
        Source sub;
        const int savedVisible = visible_;
        visible_ = p;
        if (Open(text, sub))
            Parse(sub, 0, text.Length());
        visible_ = savedVisible;
    }

    void ParseIndex(const Source &src, const char *name, int length, int ib, int ie)
    {
        const int p = FindVisibleParam(name, length);
        if (p < 0) {
            if (e_.parser_->FindConstant(name, length))
                Fail(kxfn::kNotAVector, name, length);
            else
                Fail(kxfn::kUndefinedVariable, name, length);
            return;
        }
        if (!IsVectorParam(p)) {
            Fail(kxfn::kNotAVector, name, length);
            return;
        }
        Trim(src, ib, ie);
        if (ib >= ie) {
            Fail(kxfn::kParseError);
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
            Fail(kxfn::kUndefinedFunction, name, length);
            return;
        }
        const std::vector<std::pair<int, int>> args = SplitArguments(src, ab, ae);
        const int n = static_cast<int>(args.size());
        for (const auto &arg : args) {
            int b = arg.first;
            int e = arg.second;
            Trim(src, b, e);
            if (b >= e) {
                Fail(kxfn::kParseError);
                return;
            }
        }
        if (f->inlineOp == kxfn::kInlineIf && n > 3) {
            Fail(kxfn::kTooManyIfArguments);
            return;
        }
        if (f->nargs >= 0 && n != f->nargs) {
            Fail(kxfn::kWrongArgumentCount, name, length);
            return;
        }
        DepthGuard guard(*this);
        if (!guard.Ok())
            return;
        if (f->inlineOp == kxfn::kInlineIf)
            CompileIf(src, args);
        else
            CompileCall(src, *f, args);
    }

    bool ParseArgument(const Source &src, std::pair<int, int> arg)
    {
        int b = arg.first;
        int e = arg.second;
        Trim(src, b, e);
        ParseEquation(src, b, e);
        return !failed_;
    }

    void CompileCall(const Source &src, const KXFuncDataEltT<T> &f,
                     const std::vector<std::pair<int, int>> &args)
    {
        for (const auto &arg : args)
            if (!ParseArgument(src, arg))
                return;
        const int n = static_cast<int>(args.size());
        if (f.inlineOp == opPow) {
            EmitBinary(opPow);
            return;
        }
        if (f.inlineOp < kxOpCount && kxOpKind(f.inlineOp) == kindUnary) {
            Emit(f.inlineOp, 0, 1, 1);
            FoldTail(1);
            return;
        }
        if (f.inlineOp == kxfn::kInlineMax || f.inlineOp == kxfn::kInlineMin) {
            const bool isMax = f.inlineOp == kxfn::kInlineMax;
            if (n == 2 && LastIs(opConst) && !kxfn::HasImag(code_.back().constant) &&
                !LastAreConstantsBefore(static_cast<int>(code_.size()), 2)) {
                code_.back().op = isMax ? opMaxK : opMinK;
                --stack_;
                return;
            }
            Emit(isMax ? opMax : opMin, n, n, 1);
            FoldTail(n);
            return;
        }
        if (f.inlineOp == kxfn::kInlineLinInterp) {
            Emit(opLinInterpN, n, n, 1);
            FoldTail(n);
            if (LastIs(opLinInterpN))
                PrepareLinInterpTable(n);
            return;
        }
        Emit(opCall, n, n, 1).routine = f.routine;
        FoldTail(n);
        if (f.inlineOp == kxfn::kInlineSpline && LastIs(opCall))
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
            if (kxfn::HasImag((*table)[i]))
                return;
            if (i > 0 && !(kxfn::Re((*table)[i]) > kxfn::Re((*table)[i - 2])))
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
            xs[i] = kxfn::Re(table[1 + 2 * i]);
            re[i] = kxfn::Re(table[2 + 2 * i]);
            im[i] = std::imag(table[2 + 2 * i]);
        }
        auto reSpline = std::make_shared<CSpline>();
        if (!reSpline->Set(xs.data(), re.data(), points))
            return; // the evaluation reports the faulty table
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

    // if(condition, expression1, expression2): only the branch taken is evaluated; a constant
    // condition keeps only the code of its branch.
    void CompileIf(const Source &src, const std::vector<std::pair<int, int>> &args)
    {
        if (!ParseArgument(src, args[0]))
            return;
        if (LastIs(opConst) && !std::isnan(kxfn::Re(code_.back().constant))) {
            const bool holds = kxfn::Re(code_.back().constant) != 0.0;
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
        --stack_; // the second branch pushes in place of the first
        code_[jumpIfFalse].arg = static_cast<int>(code_.size()) - jumpIfFalse; // relative
        barrier_ = static_cast<int>(code_.size());
        if (!ParseArgument(src, args[2]))
            return;
        code_[jump].arg = static_cast<int>(code_.size()) - jump;
        barrier_ = static_cast<int>(code_.size());
    }
};

template <class T>
bool KXExpressionT<T>::Compiler::Fold(const KXExprInstr<T> *code, int count, T &value)
{
    if (count > kLocalStack && static_cast<int>(e_.MakeExtras().stackSpace.size()) < count + 2)
        e_.extras_->stackSpace.resize(count + 2);
    std::vector<KXExprInstr<T>> slice(code, code + count);
    slice.emplace_back();
    slice.back().op = opEnd;
    T *deep = count > kLocalStack ? e_.extras_->stackSpace.data() : nullptr;
    value = Evaluator::Run(slice.data(), deep, kxfn::SlotValues<T>{nullptr});
    if (int(error) != 0) {
        error.reset();
        return false;
    }
    return true;
}

template <class T>
bool KXExpressionT<T>::Compile()
{
    code_.reset();
    extras_.reset();
    valuesChecked_ = false;
    maxStack_ = 0;
    usesParams_ = usesVector_ = shortPath_ = false;
    Compiler compiler(*this);
    if (!compiler.Run()) {
        if (extras_) { // keeps the failure text only
            extras_->tables.clear();
            extras_->linTables.clear();
            extras_->stackSpace = std::vector<T>();
        }
        state_ = Failed;
        return false;
    }
    std::vector<KXExprInstr<T>> &program = compiler.Program();
    for (const KXExprInstr<T> &in : program) {
        for (int k = 0; k < kxOpReads(in.op); ++k) {
            usesParams_ = true;
            const int i = k == 0 ? in.arg : in.index2;
            if (names_.Count() == 0 && params_[i].IsVector())
                usesVector_ = true;
        }
    }
    maxStack_ = static_cast<uint16_t>(compiler.MaxStack()); // within kxExprMaxStack
    if (maxStack_ > kLocalStack)
        MakeExtras().stackSpace.resize(maxStack_ + 2);
    else if (extras_)
        extras_->stackSpace = std::vector<T>();
    if (extras_ && extras_->tables.empty() && extras_->linTables.empty() &&
        extras_->stackSpace.empty())
        extras_.reset();
    program.emplace_back();
    program.back().op = opEnd;
    code_.reset(new KXExprInstr<T>[program.size()]);
    std::copy(program.begin(), program.end(), code_.get());
    valuesChecked_ = false;
    slots_ = SlotIndex;
    Evaluator::Bind(*this, SlotArray);
    shortPath_ = Evaluator::TakesShortPath(*this);
    state_ = Compiled;
    return true;
}

template bool KXExpressionT<double>::Compile();
template bool KXExpressionT<Cx>::Compile();
template class KXExpressionT<double>::Compiler;
template class KXExpressionT<Cx>::Compiler;
