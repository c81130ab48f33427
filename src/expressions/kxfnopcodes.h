// kxfnopcodes.h - the instruction set of compiled formulas, generated from kxfnopcodes.def: the
// opcode enum, each opcode's kind, base operator, operand form and the parameters it reads, and
// the lookup from an operator and a form to the opcode that implements it.
#ifndef KX_EXPRESSIONS_KXFNOPCODES_H
#define KX_EXPRESSIONS_KXFNOPCODES_H

#include <cstdint>

enum KXOp : int32_t {
#define KX_OP(name, kind, base, form, reads, leaf) op##name,
#include "kxfnopcodes.def"
#undef KX_OP
    kxOpCount
};

/// How an instruction finds its operands (see kxfnopcodes.def).
enum KXOpForm : uint8_t {
    formStack,
    formK,
    formP,
    formPK,
    formPP,
    formKP,
    formMulPP,
    formMulPK,
    formTimesP
};
constexpr int kxOpFormCount = formTimesP + 1;

enum KXOpKind : uint8_t {
    kindOperand,
    kindArith,
    kindCompare,
    kindBuiltin,
    kindFlow,
    kindUnary
};

/// The properties of one opcode.
struct KXOpInfo {
    KXOpKind kind;
    KXOp base;
    KXOpForm form;
    uint8_t reads; ///< 0: no parameter, 1: parameter arg, 2: parameters arg and index2
    bool leaf;     ///< run by the real evaluator's short path (no calls out)
};

constexpr KXOpInfo kxOpInfo[kxOpCount] = {
#define KX_OP(name, k, b, f, r, leaf) {kind##k, op##b, form##f, r, leaf != 0},
#include "kxfnopcodes.def"
#undef KX_OP
};

/// The opcode of `base` in the given form, or -1 when the operator has no such form.
class KXOpForms {
public:
    constexpr KXOpForms() : table_()
    {
        for (int b = 0; b < kxOpCount; ++b)
            for (int f = 0; f < kxOpFormCount; ++f)
                table_[b][f] = -1;
        for (int op = 0; op < kxOpCount; ++op)
            table_[kxOpInfo[op].base][kxOpInfo[op].form] = op;
    }
    constexpr int Of(int base, KXOpForm form) const { return table_[base][form]; }

private:
    int16_t table_[kxOpCount][kxOpFormCount];
};

constexpr KXOpForms kxOpForms;

inline constexpr int kxOpWithForm(int base, KXOpForm form) { return kxOpForms.Of(base, form); }
inline constexpr KXOpKind kxOpKind(int op) { return kxOpInfo[op].kind; }
inline constexpr int kxOpReads(int op) { return kxOpInfo[op].reads; }
inline constexpr bool kxOpIsLeaf(int op) { return kxOpInfo[op].leaf; }

// Every operator's plain form is itself, and no two entries claim the same operator and form.
constexpr bool kxOpFormsConsistent()
{
    for (int op = 0; op < kxOpCount; ++op) {
        const KXOpInfo &info = kxOpInfo[op];
        if (kxOpForms.Of(info.base, info.form) != op)
            return false;
        if (kxOpInfo[info.base].base != info.base || kxOpInfo[info.base].form != formStack)
            return false;
    }
    return true;
}
static_assert(kxOpFormsConsistent(), "kxfnopcodes.def: an operator form is listed twice or its "
                                     "base is not a plain instruction");

#endif
