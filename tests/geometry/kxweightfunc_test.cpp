// Tests of taper weight components and the interpolation command.
#include "kx/geometry/kxweightfunc.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace {

std::vector<std::string> printed;

void Capture(int, const char *line) { printed.emplace_back(line); }

class WeightFuncTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils("test", KXString("v"), 1, nullptr, nullptr, nullptr, Capture, nullptr);
        printed.clear();
        error.reset();
        ResetSyntaxErrFlag();
    }
    void TearDown() override { error.reset(); }

    std::string Printed() const
    {
        std::string all;
        for (const std::string &s : printed)
            all += s;
        return all;
    }
};

} // namespace

TEST_F(WeightFuncTest, KindsGiveTheirCurves)
{
    WeightFunc f; // defaults: LIN for all three
    WeightType w = f.WeightVal(0.25);
    EXPECT_DOUBLE_EQ(w.wx, 0.25);
    EXPECT_DOUBLE_EQ(w.wy, 0.25);
    EXPECT_DOUBLE_EQ(w.w, 0.25);

    ASSERT_TRUE(f.SetCommand("flat 0.3"));
    EXPECT_DOUBLE_EQ(f.WeightVal(0.9).w, 0.3);

    ASSERT_TRUE(f.SetCommand("EXP 2"));
    EXPECT_DOUBLE_EQ(f.WeightVal(0.5).w, (std::exp(1.0) - 1) / (std::exp(2.0) - 1));
    EXPECT_DOUBLE_EQ(f.WeightVal(1.0).w, 1.0);
    ASSERT_TRUE(f.SetCommand("EXP 1e-9")); // too small a rate: linear
    EXPECT_DOUBLE_EQ(f.WeightVal(0.37).w, 0.37);

    ASSERT_TRUE(f.SetCommand("POWER 2.9")); // truncated to 2
    EXPECT_DOUBLE_EQ(f.WeightVal(0.5).w, 0.75);
    ASSERT_TRUE(f.SetCommand("POWER -4")); // at least 1
    EXPECT_DOUBLE_EQ(f.WeightVal(0.5).w, 0.5);
    ASSERT_TRUE(f.SetCommand("POWER 1e300")); // huge exponents do not overflow the count
    EXPECT_DOUBLE_EQ(f.WeightVal(0.5).w, 1.0);

    ASSERT_TRUE(f.SetCommand("SFUNC"));
    EXPECT_NEAR(f.WeightVal(0.5).w, 0.5, 1e-15);
    EXPECT_NEAR(f.WeightVal(0.25).w, (1 - std::cos(3.141592653589793 / 4)) / 2, 1e-15);

    // A kind above 6 (set directly) yields 0; so does any component while an error is pending.
    f.GetDefault().kind = 9;
    EXPECT_EQ(f.WeightVal(0.5).w, 0.0);
    ASSERT_TRUE(f.SetCommand("LIN"));
    error.set("pending");
    EXPECT_EQ(f.WeightVal(0.5).w, 0.0);
}

TEST_F(WeightFuncTest, ComponentsAndRanges)
{
    WeightFunc f("D: LIN  X: FLAT 0.25  y : SFUNC RANGE 0 0.5");
    EXPECT_EQ(f.GetDefault().kind, DWeightFac::LIN);
    EXPECT_EQ(f.GetX().kind, DWeightFac::FLAT);
    EXPECT_EQ(f.GetY().kind, DWeightFac::SFUNC);
    WeightType w = f.WeightVal(1.0);
    EXPECT_DOUBLE_EQ(w.wx, 0.25);
    EXPECT_NEAR(w.wy, 0.5, 1e-15); // u = 0.5 at t = 1
    EXPECT_DOUBLE_EQ(w.w, 1.0);

    // x and y follow the default when not given; RANGE maps t onto part of the axis.
    ASSERT_TRUE(f.SetCommand("range 0.2 0.6 lin"));
    w = f.WeightVal(0.5);
    EXPECT_DOUBLE_EQ(w.w, 0.4);
    EXPECT_DOUBLE_EQ(w.wx, 0.4);
    EXPECT_DOUBLE_EQ(w.wy, 0.4);
    EXPECT_EQ(f.GetX().kind, DWeightFac::SAME);
    EXPECT_EQ(Printed(), "");

    // Silly ranges warn but are kept.
    ASSERT_TRUE(f.SetCommand("RANGE 0.5 0.5"));
    EXPECT_EQ(Printed(), "WARNING: silly range in Weighting Function\n");
    EXPECT_DOUBLE_EQ(f.WeightVal(0.9).w, 0.5);
    printed.clear();
    ASSERT_TRUE(f.SetCommand("RANGE -0.1 1"));
    ASSERT_TRUE(f.SetCommand("RANGE 0 1.5"));
    EXPECT_EQ(printed.size(), 2u);
    EXPECT_FALSE(GetSyntaxErrFlag());
}

TEST_F(WeightFuncTest, SyntaxErrorsAreReported)
{
    WeightFunc f;
    EXPECT_FALSE(f.SetCommand("LIN bogus"));
    EXPECT_EQ(Printed(), "Unrecognised symbol \"bogus\"\n"
                         "There were syntax error(s) in interpolation command:\n"
                         "   \"LIN bogus\"\n");
    EXPECT_EQ(GetSyntaxErrCount(), 2);
    printed.clear();
    EXPECT_FALSE(f.SetCommand("FLAT"));
    EXPECT_FALSE(f.SetCommand("EXP abc"));
    EXPECT_FALSE(f.SetCommand("RANGE 0"));
    EXPECT_FALSE(f.SetCommand("X LIN")); // a selector needs its colon
    EXPECT_NE(Printed().find("Unrecognised symbol \"abc\"\n"), std::string::npos);
    // A command too long to quote whole is cut, not fatal.
    const std::string longCommand = "LIN " + std::string(3000, 'q');
    EXPECT_FALSE(f.SetCommand(longCommand.c_str()));
    EXPECT_NE(Printed().find("qqq...\"\n"), std::string::npos);
    // The error state after a failed parse is the defaults.
    EXPECT_DOUBLE_EQ(f.WeightVal(0.3).w, 0.3);
}

TEST_F(WeightFuncTest, FormulaWithParameters)
{
    WeightFunc f("FORMULA \"a*t*t + b\" a=0.5 b=0.25 X: FORMULA u");
    ASSERT_FALSE(GetSyntaxErrFlag());
    ASSERT_EQ(f.GetParams().size(), 2);
    WeightType w = f.WeightVal(0.5);
    EXPECT_DOUBLE_EQ(w.w, 0.5 * 0.25 + 0.25);
    EXPECT_DOUBLE_EQ(w.wx, 0.5);
    EXPECT_DOUBLE_EQ(w.wy, w.w);
    EXPECT_EQ(static_cast<int>(error), 0);

    // A failing evaluation (here a domain error) is cleared and its value kept.
    ASSERT_TRUE(f.SetCommand("FORMULA sqrt(x-1)"));
    (void)f.WeightVal(0.5);
    EXPECT_EQ(static_cast<int>(error), 0);

    // A formula that does not compile cannot be prepared.
    ASSERT_TRUE(f.SetCommand("FORMULA (x"));
    EXPECT_EQ(f.WeightVal(0.5).w, 0.0);
    EXPECT_NE(std::string(error.chars()).find("Failure preparing Weighting Function\n"),
              std::string::npos);
    error.reset();

    // OnEvaluate re-parses and re-prepares.
    ASSERT_TRUE(f.SetCommand("FORMULA 2*s"));
    f.OnEvaluate();
    EXPECT_TRUE(f.GetDefault().prepared);
    EXPECT_DOUBLE_EQ(f.WeightVal(0.25).w, 0.5);
}

TEST_F(WeightFuncTest, FileThroughTheSpline)
{
    const std::string path = ::testing::TempDir() + "kxweight_pairs.txt";
    std::FILE *out = std::fopen(path.c_str(), "w");
    ASSERT_NE(out, nullptr);
    std::fputs("0 0\n0.5, 0.8\n1 1\n", out);
    std::fclose(out);
    WeightFunc f(("FILE \"" + path + "\"").c_str());
    ASSERT_FALSE(GetSyntaxErrFlag());
    EXPECT_DOUBLE_EQ(f.WeightVal(0.5).w, 0.8); // the spline passes through its points
    EXPECT_DOUBLE_EQ(f.WeightVal(1.0).w, 1.0);
    const double mid = f.WeightVal(0.25).w;
    EXPECT_GT(mid, 0.4); // above the chord: the curve bends through (0.5, 0.8)
    EXPECT_LT(mid, 0.8);

    WeightFunc missing("FILE /nonexistent/kxweights");
    EXPECT_EQ(missing.WeightVal(0.5).w, 0.0);
    EXPECT_STREQ(error.chars(), "Failure preparing Weighting Function\n");
    error.reset();
    std::remove(path.c_str());
}

TEST_F(WeightFuncTest, FileMustBeARegularTableFile)
{
    WeightFunc dir(("FILE " + ::testing::TempDir()).c_str()); // a directory
    EXPECT_EQ(dir.WeightVal(0.5).w, 0.0);
    EXPECT_STREQ(error.chars(), "Failure preparing Weighting Function\n");
    error.reset();
    const std::string path = ::testing::TempDir() + "kxweight_bad.txt";
    std::FILE *out = std::fopen(path.c_str(), "w");
    ASSERT_NE(out, nullptr);
    std::fputs("0 0\n0.5 oops\n1 1\n", out);
    std::fclose(out);
    WeightFunc bad(("FILE " + path).c_str());
    EXPECT_EQ(bad.WeightVal(0.5).w, 0.0);
    EXPECT_STREQ(error.chars(), "Failure preparing Weighting Function\n");
    error.reset();
    std::remove(path.c_str());
}
