// The code generator of the formula compiler and its fused-instruction rewrites.
#define KX_UNIT "kxfnparserComm"

#include "kxfnoptimiser.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace kxfn {

template <class T>
KXExprInstr<T> &KXExprEmitter<T>::Emit(int op, int arg, int pops, int pushes)
{
    if (Size() >= kxExprMaxCode)
        ReportFault(kTooComplicated);
    stack_ += pushes - pops;
    if (stack_ > kxExprMaxStack)
        ReportFault(kTooComplicated);
    maxStack_ = std::max(maxStack_, stack_);
    code_.emplace_back();
    code_.back().op = op;
    code_.back().arg = arg;
    return code_.back();
}

template <class T>
void KXExprEmitter<T>::DropLast()
{
    code_.pop_back();
    --stack_;
}

template <class T>
bool KXExprEmitter<T>::LastAreConstantsBefore(int end, int n) const
{
    if (end - n < barrier_)
        return false;
    for (int i = end - n; i < end; ++i)
        if (code_[i].op != opConst)
            return false;
    return true;
}

template <class T>
bool KXExprEmitter<T>::ParamBeforeLast() const
{
    return Size() - 2 >= barrier_ && code_[Size() - 2].op == opParam;
}

template <class T>
void KXExprEmitter<T>::FoldTail(int n)
{
    const int size = Size();
    if (failed_ || int(error) != 0 || !LastAreConstantsBefore(size - 1, n))
        return;
    T value;
    if (!Fold(code_.data() + (size - 1 - n), n + 1, value))
        return;
    code_.resize(size - n);
    code_.back().op = opConst;
    code_.back().arg = 0;
    code_.back().constant = value;
}

template <class T>
void KXExprEmitter<T>::EmitBinary(int op)
{
    if (failed_)
        return;
    if (FoldConstantOperands(op) || SquareOf(op) || SumOfProducts(op) || ConstantOpParameter(op) ||
        DivisionByPowerOfTwo(op) || OperandInInstruction(op) || ComparisonWithConstant(op))
        return;
    Emit(op, 0, 2, 1);
}

// Two constant operands: the operator is computed now.
template <class T>
bool KXExprEmitter<T>::FoldConstantOperands(int op)
{
    if (!LastAreConstantsBefore(Size(), 2))
        return false;
    Emit(op, 0, 2, 1);
    FoldTail(2);
    return true;
}

// x**2 is x*x: a parameter squared is one instruction, anything else squares the top.
template <class T>
bool KXExprEmitter<T>::SquareOf(int op)
{
    if (op != opPow || !LastIs(opConst) || !(code_.back().constant == T(2.0)))
        return false;
    DropLast();
    if (LastIs(opParam)) {
        code_.back().op = opMulPP;
        code_.back().index2 = code_.back().arg;
    } else {
        Emit(opSqr, 0, 1, 1);
    }
    return true;
}

// A sum of products: the product just pushed is added to the top instead, and a product just
// made on the top by a parameter factor is added to the value below it in the same step.
template <class T>
bool KXExprEmitter<T>::SumOfProducts(int op)
{
    if ((op != opAdd && op != opSub) || stack_ < 2)
        return false;
    KXOpForm form;
    if (LastIs(opMulPP))
        form = formMulPP;
    else if (LastIs(opMulPK))
        form = formMulPK;
    else if (LastIs(opMulP))
        form = formTimesP;
    else
        return false;
    code_.back().op = kxOpWithForm(op, form);
    --stack_;
    return true;
}

// constant op parameter: one push (the parameter first where the operator commutes).
template <class T>
bool KXExprEmitter<T>::ConstantOpParameter(int op)
{
    if (kxOpKind(op) != kindArith || !LastIs(opParam) || Size() - 2 < barrier_ ||
        code_[Size() - 2].op != opConst)
        return false;
    const int param = code_.back().arg;
    DropLast();
    KXExprInstr<T> &in = code_.back();
    in.arg = param;
    const bool commutes = op == opAdd || op == opMul;
    in.op = kxOpWithForm(op, commutes ? formPK : formKP);
    return true;
}

// x / 2**k is x * 2**-k, exactly, for the real variant.
template <class T>
bool KXExprEmitter<T>::DivisionByPowerOfTwo(int op)
{
    if constexpr (std::is_same<T, double>::value) {
        if (op != opDiv || !LastIs(opConst))
            return false;
        const double d = code_.back().constant;
        int exponent;
        if (!std::isfinite(d) || d == 0.0 || std::fabs(std::frexp(d, &exponent)) != 0.5)
            return false;
        const double reciprocal = 1.0 / d;
        if (!std::isfinite(reciprocal) || reciprocal * d != 1.0)
            return false;
        code_.back().constant = reciprocal;
        return OperandInInstruction(opMul);
    }
    return false;
}

// A constant or parameter right operand goes into the instruction, and a parameter left operand
// before it too.
template <class T>
bool KXExprEmitter<T>::OperandInInstruction(int op)
{
    if (kxOpKind(op) != kindArith || !(LastIs(opConst) || LastIs(opParam)))
        return false;
    const bool constant = LastIs(opConst);
    code_.back().op = kxOpWithForm(op, constant ? formK : formP);
    --stack_;
    if (!ParamBeforeLast())
        return true;
    KXExprInstr<T> fused = code_.back();
    fused.op = kxOpWithForm(op, constant ? formPK : formPP);
    if (!constant)
        fused.index2 = code_.back().arg;
    fused.arg = code_[Size() - 2].arg;
    code_.pop_back();
    code_.back() = fused;
    return true;
}

// A comparison with a constant, of the top or of a parameter pushed just before.
template <class T>
bool KXExprEmitter<T>::ComparisonWithConstant(int op)
{
    if (kxOpKind(op) != kindCompare || !LastIs(opConst))
        return false;
    code_.back().op = kxOpWithForm(op, formK);
    --stack_;
    if (ParamBeforeLast()) {
        const T k = code_.back().constant;
        code_.pop_back();
        code_.back().op = kxOpWithForm(op, formPK);
        code_.back().constant = k;
    }
    return true;
}

template <class T>
void KXExprEmitter<T>::EmitNeg()
{
    if (LastIs(opConst)) {
        code_.back().constant = T() - code_.back().constant;
        return;
    }
    Emit(opNeg, 0, 1, 1);
}

template class KXExprEmitter<double>;
template class KXExprEmitter<Cx>;

} // namespace kxfn
