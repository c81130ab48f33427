// Tests of CheckSum, Checkable and Updatable.
#include "kxtestobjects.h"

using CheckSumTest = ObjectFixture;
using CheckableTest = ObjectFixture;
using UpdatableTest = ObjectFixture;

TEST_F(CheckSumTest, CheckSumArithmetic)
{
    EXPECT_TRUE(Sum(0).IsZero());
    EXPECT_EQ(Sum(1, 1), CheckSum(9, 0, 0, 0));
    // The rotation happens on every Append and carries across all four words, w3 into w0.
    CheckSum carry(0xE0000000u, 0, 0, 0x20000000u);
    carry.Append(CheckSum());
    EXPECT_EQ(carry, CheckSum(1, 7, 0, 0));

    EXPECT_EQ(Sum("abc"), CheckSum(0xFE636261u, 0, 0, 0));
    EXPECT_EQ(Sum("abcd"), CheckSum(0x64636261u, 0xFEFEFEFEu, 0, 0));
    EXPECT_EQ(Sum(""), CheckSum(0xFEFEFEFEu, 0, 0, 0));
    const CheckSum wrapped = Sum("abcdefghijklmnop"); // 5 words: the fifth goes into w0 again
    EXPECT_EQ(wrapped.GetWord(0), 0x64636261u ^ 0xFEFEFEFEu);
    EXPECT_EQ(wrapped.GetWord(3), 0x706f6e6du);
    EXPECT_EQ(Sum(1.0), CheckSum(0, 0x3FF00000u, 0, 0));
    EXPECT_EQ(Sum(std::complex<double>(1.0, 2.0)), CheckSum(0, 0x3FF00000u, 0, 0x40000000u));
    EXPECT_EQ(Sum(true), CheckSum(1, 0, 0, 0));
    EXPECT_NE(Sum(true), Sum(1.0));

    char buffer[40];
    EXPECT_TRUE(CheckSum(1, 2, 3, 0xABCDEF01u).WriteString(buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "abcdef01000000030000000200000001");
    EXPECT_FALSE(CheckSum(1, 2, 3, 4).WriteString(buffer, 9));
    EXPECT_STREQ(buffer, "00000004");
}

TEST_F(CheckableTest, CheckSumFollowsPublishedState)
{
    tstLeaf leaf, parent;
    const CheckSum expected = Sum("tstLeaf", 0.25, 8.0); // "objtype", d, twice len
    EXPECT_EQ(leaf.getCurrCheckSum(), expected);
    parent.other = &leaf;
    EXPECT_EQ(parent.getCurrCheckSum(), Sum("tstLeaf", 0.25, 8.0, expected));

    tstShape shape;
    const CheckSum before = shape.getCurrCheckSum();
    shape.scratch = 99; // not part of the checksum
    EXPECT_EQ(shape.getCurrCheckSum(), before);
    for (auto change : std::vector<std::function<void(tstShape &)>>{
             [](tstShape &s) { s.width = 1.5000000000000002; }, [](tstShape &s) { s.count = 4; },
             [](tstShape &s) { s.label = "box2"; }, [](tstShape &s) { s.code[2] = 'c'; }}) {
        tstShape changed;
        change(changed);
        EXPECT_NE(changed.getCurrCheckSum(), before);
    }
    EXPECT_NE(tstRect().getCurrCheckSum(), before); // same data, other "objtype"
    EXPECT_EQ(int(error), 0);
}

TEST_F(UpdatableTest, UpdatableTracksItsState)
{
    tstCalc calc;
    EXPECT_TRUE(calc.IsOutOfDate()); // nothing stored yet
    EXPECT_EQ(calc.getUpdatedCheckSum(nullptr), calc.GetCheckSum());
    EXPECT_FALSE(calc.IsOutOfDate());
    (void)calc.getUpdatedCheckSum(nullptr); // up to date: no recomputation
    EXPECT_EQ(calc.updates, 1);

    calc.SaveState();
    calc.input = 2;
    EXPECT_TRUE(calc.IsOutOfDate());
    (void)calc.getUpdatedCheckSum("tstShape"); // filtered out
    EXPECT_EQ(calc.updates, 1);
    (void)calc.getUpdatedCheckSum("Updatable");
    EXPECT_EQ(calc.updates, 2);
    EXPECT_FALSE(calc.IsOutOfDate());
    calc.LoadState(); // back to the checksum of input 1
    EXPECT_TRUE(calc.IsOutOfDate());
    calc.input = 1;
    EXPECT_FALSE(calc.IsOutOfDate());
    calc.ResetAll(nullptr); // ResetTop forgets the stored checksum
    EXPECT_TRUE(calc.IsOutOfDate());

    // A tree is out of date when any of its Updatables is.
    tstShape owner;
    owner.children = {&calc};
    (void)owner.getUpdatedCheckSum(nullptr);
    EXPECT_FALSE(owner.IsOutOfDate());
    calc.input = 3;
    EXPECT_TRUE(owner.IsOutOfDate());
}
