// The evaluator of compiled formulas: the entry points that check a formula before running it.
#define KX_UNIT "kxfnparserComm"

#include "kxfnevaluator.h"

using kxfn::Cx;
using kxfn::SlotValues;

namespace {

// Byte distance from a parameter record to its value.
template <class T>
int ValueShift()
{
    static const KXParameterT<T> probe;
    return static_cast<int>(reinterpret_cast<const char *>(&probe.Value()) -
                            reinterpret_cast<const char *>(&probe));
}

} // namespace

template <class T>
bool KXExpressionT<T>::Evaluator::Prepare(KXExpressionT &e)
{
    if (e.state_ == NotCompiled)
        return e.Compile();
    if (e.state_ == Failed) {
        error.Raise(kxErrSyntax, "%s", e.extras_ ? e.extras_->failure.c_str() : "");
        return false;
    }
    return true;
}

// Scalar parameters, once found set, stay set until the next compilation, so they are checked
// until the first success; vectors may be unbound again and are checked every time. The
// parameters are checked in the order in which the program first reads them.
template <class T>
bool KXExpressionT<T>::Evaluator::CheckUsedValues(const KXExpressionT &e, bool scalarsGiven)
{
    const bool records = e.names_.Count() == 0;
    for (const KXExprInstr<T> *in = e.code_.get(); in->op != opEnd; ++in) {
        for (int k = 0; k < kxOpReads(in->op); ++k) {
            const int v = k == 0 ? in->arg : in->index2;
            const int i = in->op == opVecElem ? v : ParamIndex(e, v);
            bool missing = !scalarsGiven; // a plain name never has a value of its own
            if (records) {
                const KXParameterT<T> &p = e.params_[i];
                missing = p.IsVector() ? p.data_ == nullptr : (!scalarsGiven && !p.hasValue_);
            }
            if (missing) {
                error.set(kxfn::kUnresolvedVariable, e.ParamName(i));
                return false;
            }
        }
    }
    return true;
}

template <class T>
int KXExpressionT<T>::Evaluator::ParamIndex(const KXExpressionT &e, int v)
{
    if (e.slots_ == SlotRecords)
        return (v - ValueShift<T>()) / static_cast<int>(sizeof(KXParameterT<T>));
    if (e.slots_ == SlotArray)
        return v / static_cast<int>(sizeof(T));
    return v;
}

template <class T>
void KXExpressionT<T>::Evaluator::Bind(KXExpressionT &e, Slots layout)
{
    const int stride =
        static_cast<int>(layout == SlotRecords ? sizeof(KXParameterT<T>) : sizeof(T));
    const int shift = layout == SlotRecords ? ValueShift<T>() : 0;
    for (KXExprInstr<T> *in = e.code_.get(); in->op != opEnd; ++in) {
        switch (in->op) {
        case opVecElem: in->data = &e.params_[in->arg]; continue;
        case opSpline: in->data = &e.extras_->tables[in->arg]; continue;
        case opLinInterp: in->data = e.extras_->linTables[in->arg].get(); continue;
        default: break;
        }
        const int reads = kxOpReads(in->op);
        if (reads >= 1)
            in->arg = ParamIndex(e, in->arg) * stride + shift;
        if (reads == 2)
            in->index2 = ParamIndex(e, in->index2) * stride + shift;
    }
    e.slots_ = layout;
}

template <class T>
bool KXExpressionT<T>::Evaluator::TakesShortPath(const KXExpressionT &e)
{
#ifdef KX_THREADED_DISPATCH
    if (!std::is_same<T, double>::value || e.maxStack_ > kxfn::kLocalStack || !e.code_)
        return false;
    for (const KXExprInstr<T> *in = e.code_.get();; ++in) {
        if (!kxOpIsLeaf(in->op))
            return false;
        if (in->op == opEnd)
            return true;
    }
#else
    (void)e;
    return false;
#endif
}

template <class T>
T KXExpressionT<T>::Evaluator::CheckAndRun(KXExpressionT &e)
{
    const bool bound = e.bound_ != nullptr;
    if (!Prepare(e) || !CheckUsedValues(e, bound))
        return T();
    const Slots layout = bound ? SlotArray : SlotRecords;
    if (e.slots_ != layout)
        Bind(e, layout);
    e.valuesChecked_ = !e.usesVector_;
    e.base_ = ValuesBase(e);
    if (e.shortPath_)
        return RunShort(e.code_.get(), SlotValues<T>{e.base_});
    return Run(e.code_.get(), DeepStack(e), SlotValues<T>{e.base_});
}

template <class T>
T KXExpressionT<T>::Evaluator::CheckOrRun(KXExpressionT &e)
{
    if (!e.valuesChecked_)
        return CheckAndRun(e);
    return Run(e.code_.get(), DeepStack(e), SlotValues<T>{e.base_});
}

// The usual case, a compiled formula of plain arithmetic bound to where its values lie (the
// parameter records, found set, or the caller's bound array), goes straight to the program.
template <class T>
T KXExpressionT<T>::Evaluate()
{
    // valuesChecked_ is cleared whenever the program, the binding or the records change.
    if (KX_LIKELY(valuesChecked_ && shortPath_))
        return Evaluator::RunShort(code_.get(), SlotValues<T>{base_});
    return Evaluator::CheckOrRun(*this);
}

template <class T>
T KXExpressionT<T>::Evaluate(const T *values)
{
    if (state_ != Compiled || usesVector_ || slots_ != SlotArray) {
        if (!Evaluator::Prepare(*this) || !Evaluator::CheckUsedValues(*this, true))
            return T();
        if (slots_ != SlotArray) {
            Evaluator::Bind(*this, SlotArray);
            valuesChecked_ = false; // Evaluate() binds to the records again
        }
    }
    KX_CHECK_MSG(values || !usesParams_, T(), "no parameter values given");
    const SlotValues<T> slots{reinterpret_cast<const char *>(values)};
    if (shortPath_)
        return Evaluator::RunShort(code_.get(), slots);
    return Evaluator::Run(code_.get(), Evaluator::DeepStack(*this), slots);
}

template double KXExpressionT<double>::Evaluate();
template double KXExpressionT<double>::Evaluate(const double *);
template Cx KXExpressionT<Cx>::Evaluate();
template Cx KXExpressionT<Cx>::Evaluate(const Cx *);
template class KXExpressionT<double>::Evaluator;
template class KXExpressionT<Cx>::Evaluator;
