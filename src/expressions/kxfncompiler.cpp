// The compiler of formulas: the entry point that turns the text into the program an expression
// keeps, and the folding of constant operations through the evaluator.
#define KX_UNIT "kxfnparserComm"

#include "kxfncompiler.h"

#include "kxfnevaluator.h"

using kxfn::Cx;
using kxfn::kLocalStack;

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
