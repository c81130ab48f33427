// The opcode list: the operator forms the code generator asks for exist, and the list's
// properties answer as the evaluator and the parameter checks rely on.
#include "expressions/kxfnopcodes.h"

#include <gtest/gtest.h>

TEST(KXOpFormsTest, FormsTheCodeGeneratorUsesExist)
{
    for (int op : {opAdd, opSub, opMul, opDiv, opPow}) {
        EXPECT_EQ(kxOpKind(op), kindArith) << op;
        for (KXOpForm form : {formStack, formK, formP, formPK, formPP}) {
            const int fused = kxOpWithForm(op, form);
            ASSERT_GE(fused, 0) << op << " " << form;
            EXPECT_EQ(kxOpInfo[fused].base, op);
            EXPECT_EQ(kxOpInfo[fused].form, form);
        }
    }
    // constant op parameter: the operators that do not commute have their own form.
    for (int op : {opSub, opDiv, opPow})
        EXPECT_GE(kxOpWithForm(op, formKP), 0) << op;
    for (int op : {opAdd, opMul})
        EXPECT_EQ(kxOpWithForm(op, formKP), -1) << op;
    for (int op : {opAdd, opSub}) {
        EXPECT_GE(kxOpWithForm(op, formMulPP), 0) << op;
        EXPECT_GE(kxOpWithForm(op, formMulPK), 0) << op;
        EXPECT_GE(kxOpWithForm(op, formTimesP), 0) << op;
    }
    for (int op : {opEq, opNe, opLt, opLe, opGt, opGe}) {
        EXPECT_EQ(kxOpKind(op), kindCompare) << op;
        EXPECT_GE(kxOpWithForm(op, formK), 0) << op;
        EXPECT_GE(kxOpWithForm(op, formPK), 0) << op;
        EXPECT_EQ(kxOpWithForm(op, formP), -1) << op;
    }
    EXPECT_GE(kxOpWithForm(opMax, formK), 0);
    EXPECT_GE(kxOpWithForm(opMin, formK), 0);
}

TEST(KXOpFormsTest, ParametersReadFollowTheForm)
{
    for (int op = 0; op < kxOpCount; ++op) {
        const KXOpInfo &info = kxOpInfo[op];
        int expected = 0;
        switch (info.form) {
        case formP:
        case formPK:
        case formKP:
        case formMulPK:
        case formTimesP: expected = 1; break;
        case formPP:
        case formMulPP: expected = 2; break;
        case formStack:
        case formK: expected = (op == opParam || op == opVecElem) ? 1 : 0; break;
        }
        EXPECT_EQ(kxOpReads(op), expected) << op;
    }
    // The built-ins run inline are one-argument instructions of their own kind.
    int unary = 0;
    for (int op = 0; op < kxOpCount; ++op)
        unary += kxOpKind(op) == kindUnary;
    EXPECT_EQ(unary, 18);
    EXPECT_EQ(kxOpKind(opSqrt), kindUnary);
    EXPECT_EQ(kxOpKind(opArg), kindUnary);
}
