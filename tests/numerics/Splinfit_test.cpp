// Tests of kxSplineFit: exact recovery of a natural spline, fitting noisy data within the noise,
// weights, and the refusals (knots, data, too few points near knots).
#include "kx/foundation/kxerror.h"
#include "kx/numerics/Splinfit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

TEST(KXSplineFitTest, RecoversASplineAndFitsNoisyData)
{
    error.reset();
    // Data sampled from a natural spline through the knots are fitted exactly.
    const std::vector<double> knots = {0, 1, 2.5, 4, 6};
    const std::vector<double> values = {1, -2, 0.5, 3, 2};
    CSpline truth;
    ASSERT_TRUE(truth.Set(knots.data(), values.data(), 5));
    std::vector<double> x, y;
    for (int i = 0; i <= 60; ++i) {
        x.push_back(0.1 * i);
        y.push_back(truth.Evaluate(0.1 * i));
    }
    CSpline fit;
    std::vector<double> fitted;
    ASSERT_TRUE(kxSplineFit(x, y, knots, fit, &fitted));
    for (int k = 0; k < 5; ++k)
        EXPECT_NEAR(fitted[k], values[k], 1e-12);
    EXPECT_NEAR(fit.Evaluate(3.3), truth.Evaluate(3.3), 1e-12);

    // Noisy samples of a smooth function: the fit stays within the noise of the function, and
    // much closer to it than the data are.
    std::mt19937 rng(99);
    std::normal_distribution<double> noise(0.0, 0.05);
    x.clear();
    y.clear();
    for (int i = 0; i < 400; ++i) {
        const double t = 2 * M_PI * i / 399.0;
        x.push_back(t);
        y.push_back(std::sin(t) + noise(rng));
    }
    std::vector<double> k2;
    for (int i = 0; i <= 8; ++i)
        k2.push_back(2 * M_PI * i / 8);
    ASSERT_TRUE(kxSplineFit(x, y, k2, fit));
    double worst = 0;
    for (double t = 0.2; t < 6.1; t += 0.1)
        worst = std::max(worst, std::fabs(fit.Evaluate(t) - std::sin(t)));
    EXPECT_LT(worst, 0.03);

    // Weights: a heavily weighted point is matched almost exactly.
    std::vector<double> w(x.size(), 1.0);
    w[200] = 1e4;
    ASSERT_TRUE(kxSplineFit(x, y, k2, fit, nullptr, &w));
    EXPECT_NEAR(fit.Evaluate(x[200]), y[200], 1e-3);
    EXPECT_EQ(int(error), 0);
}

TEST(KXSplineFitTest, Refusals)
{
    error.reset();
    CSpline fit;
    const std::vector<double> x = {0, 1, 2, 3}, y = {0, 1, 4, 9};
    EXPECT_FALSE(kxSplineFit(x, y, {0, 2, 1}, fit));
    EXPECT_STREQ(error.chars(), "spline fit knots must increase strictly (3 knots)\n");
    error.reset();
    EXPECT_FALSE(kxSplineFit(x, {0, 1}, {0, 3}, fit));
    EXPECT_STREQ(error.chars(), "spline fit data are not valid\n");
    error.reset();
    EXPECT_FALSE(kxSplineFit(x, {0, 1, NAN, 9}, {0, 3}, fit));
    EXPECT_EQ(int(error), 1);
    error.reset();
    // All data between two of six knots cannot fix the knot values far from them.
    EXPECT_FALSE(kxSplineFit({0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8}, {1, 2, 3, 4, 5, 6, 7, 8},
                             {0, 1, 2, 3, 4, 5}, fit));
    EXPECT_NE(std::string(error.chars()).find("rank deficient"), std::string::npos)
        << error.chars();
    error.reset();
}
