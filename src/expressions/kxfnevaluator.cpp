// The evaluator of compiled formulas: the entry points that check a formula before running it.
#define KX_UNIT "kxfnparserComm"

#include "kxfnevaluator.h"

using kxfn::ArrayValues;
using kxfn::Cx;
using kxfn::OwnValues;

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
            const int i = k == 0 ? in->arg : in->index2;
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
T KXExpressionT<T>::Evaluator::CheckAndRun(KXExpressionT &e)
{
    if (!Prepare(e) || !CheckUsedValues(e, false))
        return T();
    e.valuesChecked_ = !e.usesVector_;
    return Run(e, e.code_.get(), e.maxStack_, OwnValues<T>{e.params_.data()});
}

// The usual case, a compiled formula whose values were found set, goes straight to the program.
template <class T>
T KXExpressionT<T>::Evaluate()
{
    if (!valuesChecked_ || state_ != Compiled)
        return Evaluator::CheckAndRun(*this);
    return Evaluator::Run(*this, code_.get(), maxStack_, OwnValues<T>{params_.data()});
}

template <class T>
T KXExpressionT<T>::Evaluate(const T *values)
{
    if (state_ != Compiled || usesVector_) {
        if (!Evaluator::Prepare(*this) || !Evaluator::CheckUsedValues(*this, true))
            return T();
    }
    KX_CHECK_MSG(values || !usesParams_, T(), "no parameter values given");
    return Evaluator::Run(*this, code_.get(), maxStack_, ArrayValues<T>{values});
}

template double KXExpressionT<double>::Evaluate();
template double KXExpressionT<double>::Evaluate(const double *);
template Cx KXExpressionT<Cx>::Evaluate();
template Cx KXExpressionT<Cx>::Evaluate(const Cx *);
template class KXExpressionT<double>::Evaluator;
template class KXExpressionT<Cx>::Evaluator;
