#include "kx/expressions/kxcubicspline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

TEST(CSplineTest, ConstructionChecksTheTable)
{
    const double x[] = {0, 1, 2, 2, 3};
    const double y[] = {0, 1, 0, 1, 0};
    CSpline s;
    EXPECT_FALSE(s.Set(x, y, 1));
    EXPECT_FALSE(s.Set(x, y, 4)); // 2 repeated
    EXPECT_EQ(s.Count(), 0);
    EXPECT_EQ(s.Evaluate(1.0), 0.0);
    EXPECT_TRUE(s.Set(x, y, 3));
    EXPECT_EQ(s.Count(), 3);
    const double down[] = {3, 2, 1};
    EXPECT_FALSE(s.Set(down, y, 3));
    EXPECT_EQ(s.Count(), 0); // a refused table empties the spline

    EXPECT_TRUE(CSpline::IsMonotonic(x, 3));
    EXPECT_FALSE(CSpline::IsMonotonic(x, 4));
    EXPECT_FALSE(CSpline::IsMonotonic(x, 0));
    EXPECT_TRUE(CSpline::IsMonotonic(x, 1));
    const double withNan[] = {0, NAN, 2};
    EXPECT_FALSE(CSpline::IsMonotonic(withNan, 3));
    const double interleaved[] = {0, 9, 1, 8, 2, 7};
    EXPECT_TRUE(CSpline::IsMonotonic(interleaved, 3, 2));
    EXPECT_FALSE(CSpline::IsMonotonic(interleaved + 1, 3, 2));
}

TEST(CSplineTest, InterpolatesWithNaturalEndsAndLinearExtrapolation)
{
    // Through (0,0) (1,1) (2,0) the natural spline has m = (0, -3, 0).
    const double x[] = {0, 1, 2};
    const double y[] = {0, 1, 0};
    CSpline s;
    ASSERT_TRUE(s.Set(x, y, 3));
    for (int i = 0; i < 3; ++i)
        EXPECT_DOUBLE_EQ(s.Evaluate(x[i]), y[i]);
    EXPECT_DOUBLE_EQ(s.Evaluate(0.5), 0.6875);
    EXPECT_DOUBLE_EQ(s.Evaluate(1.5), 0.6875);
    EXPECT_DOUBLE_EQ(s.Derivative(0.0), 1.5);
    EXPECT_DOUBLE_EQ(s.Derivative(2.0), -1.5);
    EXPECT_DOUBLE_EQ(s.Derivative(1.0), 0.0);
    EXPECT_DOUBLE_EQ(s.Evaluate(-2.0), -3.0);
    EXPECT_DOUBLE_EQ(s.Evaluate(4.0), -3.0);
    EXPECT_DOUBLE_EQ(s.Derivative(-5.0), 1.5);

    // Two points: the straight line.
    CSpline line;
    ASSERT_TRUE(line.Set(x, y, 2));
    EXPECT_DOUBLE_EQ(line.Evaluate(0.25), 0.25);
    EXPECT_DOUBLE_EQ(line.Evaluate(3.0), 3.0);
}

TEST(CSplineTest, ApproximatesASmoothFunctionOnAnUnevenGrid)
{
    std::vector<double> x, y;
    for (double t = 0.0; t <= 3.0; t += (x.size() % 2 ? 0.05 : 0.08)) {
        x.push_back(t);
        y.push_back(std::sin(t));
    }
    CSpline s;
    ASSERT_TRUE(s.Set(x.data(), y.data(), static_cast<int>(x.size())));
    double worst = 0.0;
    for (double t = 0.3; t <= 2.7; t += 0.0137)
        worst = std::max(worst, std::fabs(s.Evaluate(t) - std::sin(t)));
    EXPECT_LT(worst, 1e-5);
    EXPECT_NEAR(s.Derivative(1.0), std::cos(1.0), 1e-4);

    // The kernels on an interleaved table give the same values as the owning class.
    std::vector<double> table;
    for (size_t i = 0; i < x.size(); ++i) {
        table.push_back(x[i]);
        table.push_back(y[i]);
    }
    const int n = static_cast<int>(x.size());
    std::vector<double> m(n), work(n);
    CSpline::SecondDerivatives(table.data(), table.data() + 1, n, 2, m.data(), work.data());
    for (double t = -1.0; t <= 4.0; t += 0.21)
        EXPECT_DOUBLE_EQ(CSpline::Value(table.data(), table.data() + 1, n, 2, m.data(), t),
                         s.Evaluate(t));
}
