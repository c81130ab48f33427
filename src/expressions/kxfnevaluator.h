// kxfnevaluator.h - the evaluator of compiled formulas: one pass over the program with a value
// stack on the machine stack, its top element cached in a register. Instructions are dispatched
// through a table of label addresses where the compiler offers computed goto (GCC, Clang), and
// through a portable switch otherwise or when KX_FORCE_SWITCH_DISPATCH is defined; both are made
// from the one list of opcodes, so a handler missing in either fails to compile (the threaded
// form) or warns under -Wswitch (the switch form).
#ifndef KX_EXPRESSIONS_KXFNEVALUATOR_H
#define KX_EXPRESSIONS_KXFNEVALUATOR_H

#include "kxfnbuiltins.h"
#include "kxfninternal.h"
#include "kxfnopcodes.h"

#include "kx/expressions/kxcubicspline.h"
#include "kx/foundation/kxmath.h"

#include <climits>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <cmath>
#include <memory>
#include <type_traits>
#include <vector>

#if defined(__GNUC__) && !defined(KX_FORCE_SWITCH_DISPATCH)
#define KX_THREADED_DISPATCH 1
#endif
// GCC merges the identical tails of handlers (a push and the dispatch) into one shared block,
// which costs every push a jump more; each handler keeps its own tail.
#if defined(KX_THREADED_DISPATCH) && !defined(__clang__)
#define KX_OWN_HANDLER_TAILS __attribute__((optimize("no-crossjumping", "no-tree-tail-merge")))
#else
#define KX_OWN_HANDLER_TAILS
#endif

template <class T>
class KXExpressionT<T>::Evaluator {
public:
    /// Runs a program that ends with its end instruction, reading the parameters through
    /// `values`; it stops at the first operation that leaves the error record set (when it was
    /// clear at the start) and returns 0. deepStack: the stack space of a program too deep for
    /// the machine stack, else null.
    static T Run(const KXExprInstr<T> *code, T *deepStack, kxfn::SlotValues<T> values)
    {
        return Execute<false>(code, deepStack, values);
    }
    /// The short path for programs made only of leaf instructions (see kxfnopcodes.def) that
    /// fit on the machine stack: no call out on the way, so no registers to save; at a fault it
    /// gives up and hands the program to Run, which runs it again and reports the fault.
    static T RunShort(const KXExprInstr<T> *code, kxfn::SlotValues<T> values)
    {
        return Execute<true>(code, nullptr, values);
    }
    /// True when RunShort may run the program of e.
    static bool TakesShortPath(const KXExpressionT &e);
    /// Binds the program to the layout of the values it will read (parameter records or the
    /// caller's array) and to the tables and vector parameters of `e`.
    KX_LIBRARY_INTERNAL static void Bind(KXExpressionT &e, Slots layout);
    /// The stack space of a deep program (null for one that fits on the machine stack).
    static T *DeepStack(const KXExpressionT &e)
    {
        return e.maxStack_ > kxfn::kLocalStack ? e.extras_->stackSpace.data() : nullptr;
    }
    /// Where Evaluate() finds the values: the caller's bound array, else the records.
    static const char *ValuesBase(const KXExpressionT &e)
    {
        return e.bound_ ? reinterpret_cast<const char *>(e.bound_)
                        : reinterpret_cast<const char *>(e.params_.data());
    }
    /// The index of the parameter that operand value v of a bound program refers to.
    static int ParamIndex(const KXExpressionT &e, int v);
    /// Compiles when needed; false (error record set) when the formula does not compile.
    KX_LIBRARY_INTERNAL static bool Prepare(KXExpressionT &e);
    /// False (error record set) when a parameter the program reads has no value.
    KX_LIBRARY_INTERNAL static bool CheckUsedValues(const KXExpressionT &e, bool scalarsGiven);
    /// Evaluate() of a formula not known to be compiled with its values set.
    KX_LIBRARY_INTERNAL KX_NOINLINE static T CheckAndRun(KXExpressionT &e);
    /// Evaluate() of a formula that is not checked or not on the short path.
    KX_LIBRARY_INTERNAL KX_NOINLINE static T CheckOrRun(KXExpressionT &e);

private:
    template <bool Leaf>
    KX_LIBRARY_INTERNAL KX_OWN_HANDLER_TAILS static T
    Execute(const KXExprInstr<T> *code, T *deepStack, kxfn::SlotValues<T> values);
    static T ComplexArgument(const char *function)
    {
        error.set(kxfn::kComplexArgument, function);
        return T();
    }
};

// Depth d uses slots 1 .. d of the value stack (the values below the top are stack[2] .. *sp;
// the first push parks the empty initial top in stack[1], so depth d has sp at stack + d), and a
// call spills one more. Deep programs use the space reserved when they were compiled; slot 0 is
// never used. The compiler leaves exactly one value, so the end instruction returns the top.
// clang-format off
template <class T>
template <bool Leaf>
T KXExpressionT<T>::Evaluator::Execute(const KXExprInstr<T> *code, T *deepStack,
                                       kxfn::SlotValues<T> values)
{
    using namespace kxfn;
    using SplinePtr = std::shared_ptr<const CSpline>;
    alignas(T) unsigned char raw[sizeof(T) * (kLocalStack + 2)];
    T *sp = (Leaf || !deepStack) ? reinterpret_cast<T *>(raw) : deepStack;
    T top = T();
    const KXExprInstr<T> *in = code;
#define KX_PUSH(value)            \
    do {                          \
        const T pushed = (value); \
        *++sp = top;              \
        top = pushed;             \
    } while (0)
#ifdef KX_THREADED_DISPATCH
    // Each handler jumps straight to the handler of the next instruction. On the short path the
    // instructions that are not leaves give up at once, and their handlers are left out.
    const void *const *handlers;
    if constexpr (Leaf) {
#define KX_LEAF_HANDLER_1(name) &&L_##name
#define KX_LEAF_HANDLER_0(name) &&L_GiveUp
#define KX_OP(name, kind, base, form, reads, leaf) KX_LEAF_HANDLER_##leaf(name),
        static const void *const shortTable[] = {
#include "kxfnopcodes.def"
        };
#undef KX_OP
#undef KX_LEAF_HANDLER_0
#undef KX_LEAF_HANDLER_1
        static_assert(sizeof(shortTable) / sizeof(shortTable[0]) == kxOpCount, "one per opcode");
        handlers = shortTable;
    } else {
#define KX_OP(name, kind, base, form, reads, leaf) &&L_##name,
        static const void *const fullTable[] = {
#include "kxfnopcodes.def"
        };
#undef KX_OP
        static_assert(sizeof(fullTable) / sizeof(fullTable[0]) == kxOpCount, "one per opcode");
        handlers = fullTable;
    }
#define KX_GIVE_UP_OR(statement) \
    {                            \
        if constexpr (Leaf)      \
            goto L_GiveUp;       \
        else                     \
            statement;           \
    }
#define KX_CASE(name) L_##name: __attribute__((unused));
#define KX_FAULT(text) KX_GIVE_UP_OR(return Fault<T>(text))
#define KX_NEXT()               \
    {                           \
        ++in;                   \
        goto *handlers[in->op]; \
    }
    goto *handlers[in->op];
    {
#else
#define KX_CASE(name) case op##name:
#define KX_GIVE_UP_OR(statement) { statement; }
#define KX_FAULT(text) KX_GIVE_UP_OR(return Fault<T>(text))
#define KX_NEXT() \
    {             \
        ++in;     \
        continue; \
    }
    for (;;) {
        switch (static_cast<KXOp>(in->op)) {
#endif
        KX_CASE(Const) KX_PUSH(in->constant); KX_NEXT();
        KX_CASE(Param) KX_PUSH(values(in->arg)); KX_NEXT();
        KX_CASE(Neg) top = T() - top; KX_NEXT();   // 0 - x keeps a zero imaginary part positive
        KX_CASE(Sqr) top = top * top; KX_NEXT();
        KX_CASE(Add) top = *sp-- + top; KX_NEXT();
        KX_CASE(Sub) top = *sp-- - top; KX_NEXT();
        KX_CASE(Mul) top = *sp-- * top; KX_NEXT();
        KX_CASE(Div)
            if (IsZeroValue(top))
                KX_FAULT(kDivisionByZero);
            top = *sp-- / top;
            KX_NEXT();
        KX_CASE(Pow) {
            T r;
            if (!PowerOf(*sp, top, r))
                return T();
            top = r;
            --sp;
            KX_NEXT();
        }
        KX_CASE(AddK) top += in->constant; KX_NEXT();
        KX_CASE(SubK) top -= in->constant; KX_NEXT();
        KX_CASE(MulK) top *= in->constant; KX_NEXT();
        KX_CASE(DivK)
            if (IsZeroValue(in->constant))
                KX_FAULT(kDivisionByZero);
            top /= in->constant;
            KX_NEXT();
        KX_CASE(PowK) {
            T r;
            if (!PowerOf(top, in->constant, r))
                return T();
            top = r;
            KX_NEXT();
        }
        KX_CASE(AddP) top += values(in->arg); KX_NEXT();
        KX_CASE(SubP) top -= values(in->arg); KX_NEXT();
        KX_CASE(MulP) top *= values(in->arg); KX_NEXT();
        KX_CASE(DivP) {
            const T &d = values(in->arg);
            if (IsZeroValue(d))
                KX_FAULT(kDivisionByZero);
            top /= d;
            KX_NEXT();
        }
        KX_CASE(PowP) {
            T r;
            if (!PowerOf(top, values(in->arg), r))
                return T();
            top = r;
            KX_NEXT();
        }
        KX_CASE(AddPK) KX_PUSH(values(in->arg) + in->constant); KX_NEXT();
        KX_CASE(SubPK) KX_PUSH(values(in->arg) - in->constant); KX_NEXT();
        KX_CASE(MulPK) KX_PUSH(values(in->arg) * in->constant); KX_NEXT();
        KX_CASE(DivPK)
            if (IsZeroValue(in->constant))
                KX_FAULT(kDivisionByZero);
            KX_PUSH(values(in->arg) / in->constant);
            KX_NEXT();
        KX_CASE(PowPK) {
            T r;
            if (!PowerOf(values(in->arg), in->constant, r))
                return T();
            KX_PUSH(r);
            KX_NEXT();
        }
        KX_CASE(AddPP) KX_PUSH(values(in->arg) + values(in->index2)); KX_NEXT();
        KX_CASE(SubPP) KX_PUSH(values(in->arg) - values(in->index2)); KX_NEXT();
        KX_CASE(MulPP) KX_PUSH(values(in->arg) * values(in->index2)); KX_NEXT();
        KX_CASE(DivPP) {
            const T &d = values(in->index2);
            if (IsZeroValue(d))
                KX_FAULT(kDivisionByZero);
            KX_PUSH(values(in->arg) / d);
            KX_NEXT();
        }
        KX_CASE(PowPP) {
            T r;
            if (!PowerOf(values(in->arg), values(in->index2), r))
                return T();
            KX_PUSH(r);
            KX_NEXT();
        }
        KX_CASE(SubKP) KX_PUSH(in->constant - values(in->arg)); KX_NEXT();
        KX_CASE(AddMulPP) top += values(in->arg) * values(in->index2); KX_NEXT();
        KX_CASE(SubMulPP) top -= values(in->arg) * values(in->index2); KX_NEXT();
        KX_CASE(AddMulPK) top += values(in->arg) * in->constant; KX_NEXT();
        KX_CASE(SubMulPK) top -= values(in->arg) * in->constant; KX_NEXT();
        KX_CASE(AddTimesP) top = *sp-- + top * values(in->arg); KX_NEXT();
        KX_CASE(SubTimesP) top = *sp-- - top * values(in->arg); KX_NEXT();
        KX_CASE(DivKP) {
            const T &d = values(in->arg);
            if (IsZeroValue(d))
                KX_FAULT(kDivisionByZero);
            KX_PUSH(in->constant / d);
            KX_NEXT();
        }
        KX_CASE(PowKP) {
            T r;
            if (!PowerOf(in->constant, values(in->arg), r))
                return T();
            KX_PUSH(r);
            KX_NEXT();
        }
        KX_CASE(EqPK) KX_PUSH(Re(values(in->arg)) == Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        KX_CASE(NePK) KX_PUSH(Re(values(in->arg)) != Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        KX_CASE(LtPK) KX_PUSH(Re(values(in->arg)) < Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        KX_CASE(LePK) KX_PUSH(Re(values(in->arg)) <= Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        KX_CASE(GtPK) KX_PUSH(Re(values(in->arg)) > Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        KX_CASE(GePK) KX_PUSH(Re(values(in->arg)) >= Re(in->constant) ? 1.0 : 0.0); KX_NEXT();
        KX_CASE(Eq) top = Re(*sp--) == Re(top) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(Ne) top = Re(*sp--) != Re(top) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(Lt) top = Re(*sp--) < Re(top) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(Le) top = Re(*sp--) <= Re(top) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(Gt) top = Re(*sp--) > Re(top) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(Ge) top = Re(*sp--) >= Re(top) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(EqK) top = Re(top) == Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(NeK) top = Re(top) != Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(LtK) top = Re(top) < Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(LeK) top = Re(top) <= Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(GtK) top = Re(top) > Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(GeK) top = Re(top) >= Re(in->constant) ? 1.0 : 0.0; KX_NEXT();
        KX_CASE(JumpIfFalse) {
            const double c = Re(top);
            top = *sp--;
            if (std::isnan(c))
                KX_FAULT(kConditionError);
            if (c == 0.0)
                in += in->arg - 1;
            KX_NEXT();
        }
        KX_CASE(Jump) in += in->arg - 1; KX_NEXT();
        KX_CASE(Call) {
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
        KX_CASE(Max)
        KX_CASE(Min) {
            const int n = in->arg;
            *++sp = top;
            sp -= n;
            T r;
            if (!MaxMinOf(sp + 1, n, in->op == opMax, r))
                return T();
            top = r;
            KX_NEXT();
        }
        KX_CASE(MaxK)
            if (HasImag(top))
                KX_GIVE_UP_OR(return ComplexArgument("max"));
            if (Re(in->constant) > Re(top))
                top = in->constant;
            else
                top = Re(top);
            KX_NEXT();
        KX_CASE(MinK)
            if (HasImag(top))
                KX_GIVE_UP_OR(return ComplexArgument("min"));
            if (Re(in->constant) < Re(top))
                top = in->constant;
            else
                top = Re(top);
            KX_NEXT();
        KX_CASE(Spline) {
            const double x = Re(top);
            if constexpr (std::is_same<T, double>::value)
                top = static_cast<const SplinePtr *>(in->data)[0]->Evaluate(x);
            else
                top = T(static_cast<const SplinePtr *>(in->data)[0]->Evaluate(x),
                        static_cast<const SplinePtr *>(in->data)[1]->Evaluate(x));
            KX_NEXT();
        }
        KX_CASE(LinInterpN) {
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
        KX_CASE(LinInterp) {
            if (HasImag(top))
                KX_FAULT(kComplexLinInterpPosition);
            const std::vector<T> &table = *static_cast<const std::vector<T> *>(in->data);
            top = LinInterpIncreasing(table.data(), table.data() + table.size(), Re(top));
            KX_NEXT();
        }
        KX_CASE(VecElem) {
            const KXParameterT<T> &p = *static_cast<const KXParameterT<T> *>(in->data);
            const double at = Re(top);
            const int i = std::isnan(at) ? INT_MIN
                          : at <= INT_MIN ? INT_MIN
                          : at >= INT_MAX ? INT_MAX
                                          : kxRoundDoubleToNearestInt(at);
            if (i < p.lbd_ || i > p.ubd_) {
                error.set(kIndexOutOfRange, i, p.lbd_, p.ubd_, p.name_.c_str());
                return T();
            }
            top = p.data_[i - p.lbd_];
            KX_NEXT();
        }
        KX_CASE(Sqrt)
            if constexpr (std::is_same<T, double>::value) {
                if (top < 0.0)
                    KX_FAULT(kNegativeSqrt);
#if defined(KX_THREADED_DISPATCH) && defined(__SSE2__)
                if constexpr (Leaf) {   // without the errno call of std::sqrt for a NaN
                    top = _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(top)));
                    KX_NEXT();
                }
#endif
            }
            top = std::sqrt(top);
            KX_NEXT();
        KX_CASE(Sin) top = std::sin(top); KX_NEXT();
        KX_CASE(Cos) top = std::cos(top); KX_NEXT();
        KX_CASE(Exp) top = std::exp(top); KX_NEXT();
        KX_CASE(Sign) KX_CASE(Abs) KX_CASE(Tan) KX_CASE(Sinh) KX_CASE(Cosh) KX_CASE(Tanh)
        KX_CASE(Ln) KX_CASE(Log10) KX_CASE(Asin) KX_CASE(Acos) KX_CASE(Atan) KX_CASE(Real)
        KX_CASE(Imag) KX_CASE(Arg) {
            T x = top;
            if (!ApplyUnary(in->op, x))
                return T();
            top = x;
            KX_NEXT();
        }
        KX_CASE(End)
            return top;
#ifndef KX_THREADED_DISPATCH
        case kxOpCount:
            break;
        }
        KX_CODE_ERROR("unknown instruction");
        return T();
#endif
    }
#ifdef KX_THREADED_DISPATCH
L_GiveUp: __attribute__((unused));
    return Execute<false>(code, Leaf ? nullptr : deepStack, values); // Leaf: always shallow
#endif
#undef KX_CASE
#undef KX_NEXT
#undef KX_PUSH
#undef KX_FAULT
#undef KX_GIVE_UP_OR
}
// clang-format on

#endif
