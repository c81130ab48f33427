// Tests of axis limits, tick choice and tick labels.
#include "kx/graph/qvaxis.h"

#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

std::vector<std::string> Labels(const std::vector<qvTick> &ticks)
{
    std::vector<std::string> out;
    for (const qvTick &t : ticks)
        if (!t.label.empty())
            out.push_back(t.label);
    return out;
}

} // namespace

TEST(QVAxisTest, LinearTicksOnAwkwardRanges)
{
    // -3..7: step 1 would give 11 ticks (too many for 8), so 2: -2, 0, ..., 6.
    std::vector<qvTick> t = qvAxis::LinearTicks(-3, 7, 8);
    ASSERT_EQ(t.size(), 5u);
    EXPECT_EQ(Labels(t), (std::vector<std::string>{"-2", "0", "2", "4", "6"}));
    // With room for 11 ticks every integer is labelled, "0" never "-0".
    t = qvAxis::LinearTicks(-3, 7, 11);
    ASSERT_EQ(t.size(), 11u);
    EXPECT_EQ(t[3].label, "0");

    // 1e-12..1e-11: scientific labels, distinct, in order, each a multiple of the step.
    t = qvAxis::LinearTicks(1e-12, 1e-11, 8);
    ASSERT_GE(t.size(), 4u);
    ASSERT_LE(t.size(), 8u);
    for (size_t i = 1; i < t.size(); ++i) {
        EXPECT_LT(t[i - 1].value, t[i].value);
        EXPECT_NE(t[i - 1].label, t[i].label);
    }
    EXPECT_EQ(t.front().label, "2e-12");
    EXPECT_EQ(t.back().label, "1.0e-11");
    EXPECT_NEAR(std::stod(t[1].label), t[1].value, 1e-25);

    // A step of 2.5 keeps one decimal; 0.1 steps show one decimal without rounding noise.
    EXPECT_EQ(Labels(qvAxis::LinearTicks(0, 10, 5)),
              (std::vector<std::string>{"0.0", "2.5", "5.0", "7.5", "10.0"}));
    EXPECT_EQ(Labels(qvAxis::LinearTicks(0.1, 0.5, 5)),
              (std::vector<std::string>{"0.1", "0.2", "0.3", "0.4", "0.5"}));
    // Large values switch to scientific notation.
    EXPECT_EQ(Labels(qvAxis::LinearTicks(0, 3e6, 4)),
              (std::vector<std::string>{"0", "1e+06", "2e+06", "3e+06"}));
    // An empty or non-finite range gives no ticks.
    EXPECT_TRUE(qvAxis::LinearTicks(1, 1, 8).empty());
    EXPECT_TRUE(qvAxis::LinearTicks(0, INFINITY, 8).empty());
}

TEST(QVAxisTest, LogTicks)
{
    // 1..1e9: ten decades, more than 8 ticks allowed, so every second decade, no minor ticks.
    std::vector<qvTick> t = qvAxis::LogTicks(1, 1e9, 8);
    EXPECT_EQ(Labels(t), (std::vector<std::string>{"1", "100", "10000", "1e6", "1e8"}));
    EXPECT_EQ(t.size(), 5u);
    // 1..1000: each decade labelled, minor ticks 2..9 unlabelled.
    t = qvAxis::LogTicks(1, 1000, 8);
    EXPECT_EQ(Labels(t), (std::vector<std::string>{"1", "10", "100", "1000"}));
    EXPECT_EQ(t.size(), 4u + 3 * 8);
    // Small decades are written in full down to 0.001, then as powers.
    EXPECT_EQ(Labels(qvAxis::LogTicks(1e-5, 1e-2, 8)),
              (std::vector<std::string>{"1e-5", "1e-4", "0.001", "0.01"}));
    EXPECT_TRUE(qvAxis::LogTicks(0, 10, 8).empty());
}

TEST(QVAxisTest, ResolveLimits)
{
    qvAxis a("x", qvSideBottom);
    ASSERT_TRUE(a.Resolve(0.3, 9.1));
    EXPECT_DOUBLE_EQ(a.Lo(), 0);
    EXPECT_DOUBLE_EQ(a.Hi(), 10);
    EXPECT_DOUBLE_EQ(a.Fraction(5), 0.5);
    // One value is widened around it.
    ASSERT_TRUE(a.Resolve(4, 4));
    EXPECT_LT(a.Lo(), 4);
    EXPECT_GT(a.Hi(), 4);
    // Fixed limits win over the data; only the automatic end follows it.
    a.SetLimits(-1, 1);
    a.autoMax = true;
    ASSERT_TRUE(a.Resolve(0, 50));
    EXPECT_EQ(a.Lo(), -1);
    EXPECT_EQ(a.Hi(), 50);

    qvAxis l("y", qvSideLeft);
    l.log = true;
    ASSERT_TRUE(l.Resolve(3, 2e4));
    EXPECT_DOUBLE_EQ(l.Lo(), 1);
    EXPECT_DOUBLE_EQ(l.Hi(), 1e5);
    EXPECT_NEAR(l.Fraction(100), 0.4, 1e-12);
    EXPECT_TRUE(std::isnan(l.Fraction(-1)));

    error.reset();
    EXPECT_FALSE(l.Resolve(-5, 0));
    EXPECT_STREQ(error.chars(), "Logarithmic axis \"y\" has no positive data");
    error.reset();
    l.SetLimits(-1, 10);
    EXPECT_FALSE(l.Resolve(1, 10));
    EXPECT_NE(std::string(error.chars()).find("needs positive limits"), std::string::npos);
    error.reset();
    a.SetLimits(2, 2);
    EXPECT_FALSE(a.Resolve(0, 1));
    EXPECT_NE(std::string(error.chars()).find("no usable range"), std::string::npos);
    error.reset();
}
