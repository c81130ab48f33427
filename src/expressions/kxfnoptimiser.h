// kxfnoptimiser.h - the code generator of the formula compiler with its rewrites: it appends
// instructions to a program and, as each operator arrives, folds constant operands and fuses
// the operator with the constant or parameter operands just emitted into one instruction of a
// richer form (see the forms in kxfnopcodes.def). Each rewrite is one small member that either
// applies (and returns true) or leaves the program as it was.
#ifndef KX_EXPRESSIONS_KXFNOPTIMISER_H
#define KX_EXPRESSIONS_KXFNOPTIMISER_H

#include "kxfninternal.h"
#include "kxfnopcodes.h"

#include <vector>

namespace kxfn {

template <class T>
class KXExprEmitter {
public:
    virtual ~KXExprEmitter() = default;

    /// The program emitted so far (no end instruction) and the stack it needs.
    std::vector<KXExprInstr<T>> &Program() { return code_; }
    [[nodiscard]] int MaxStack() const { return maxStack_; }

protected:
    /// Reports a fault of the formula (the first one only); returns false.
    virtual bool ReportFault(const char *text) = 0;
    /// Runs `count` instructions that compute one value from constants; false (with the error
    /// record left clear) when that computation reports an error.
    virtual bool Fold(const KXExprInstr<T> *code, int count, T &value) = 0;

    /// Appends an instruction that pops `pops` values and pushes `pushes`; "expression too
    /// complicated\n" beyond the limits of a program.
    KXExprInstr<T> &Emit(int op, int arg, int pops, int pushes);
    void EmitConst(const T &value) { Emit(opConst, 0, 0, 1).constant = value; }
    /// Emits a binary operator (an opcode of kind Arith or Compare in its plain form).
    void EmitBinary(int op);
    void EmitNeg();
    /// Folds the last instruction with the n constants before it into one constant, unless the
    /// computation reports an error (which is then left to every evaluation).
    void FoldTail(int n);

    [[nodiscard]] bool LastIs(int op) const
    {
        return static_cast<int>(code_.size()) > barrier_ && code_.back().op == op;
    }
    /// True when the n instructions before position end are constants that folding may consume.
    [[nodiscard]] bool LastAreConstantsBefore(int end, int n) const;
    [[nodiscard]] int Size() const { return static_cast<int>(code_.size()); }
    /// Drops the last instruction, which pushed one value.
    void DropLast();

    std::vector<KXExprInstr<T>> code_;
    int stack_ = 0; ///< values on the stack after the code so far
    int maxStack_ = 0;
    int barrier_ = 0; ///< first instruction that rewrites may consume (after the last label)
    bool failed_ = false;

private:
    // The rewrites of EmitBinary, tried in this order.
    bool FoldConstantOperands(int op);
    bool SquareOf(int op);
    bool SumOfProducts(int op);
    bool ConstantOpParameter(int op);
    bool DivisionByPowerOfTwo(int op);
    bool OperandInInstruction(int op);
    bool ComparisonWithConstant(int op);
    /// The instruction before the last one is a parameter that a rewrite may consume.
    [[nodiscard]] bool ParamBeforeLast() const;
};

} // namespace kxfn

#endif
