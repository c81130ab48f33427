// Tests of kxLevenbergMarquardt: recovering the parameters of a noisy exponential model within
// the noise, the iteration bound and the stop reports, refusals by the residual function.
#include "kx/foundation/kxerror.h"
#include "kx/numerics/kxlevmar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

struct Data {
    std::vector<double> t, y;
};

// y = a exp(-b t) + c with Gaussian noise of deviation sigma.
Data MakeData(double a, double b, double c, double sigma, int m)
{
    std::mt19937 rng(2024);
    std::normal_distribution<double> noise(0.0, sigma);
    Data d;
    for (int i = 0; i < m; ++i) {
        const double t = 5.0 * i / (m - 1);
        d.t.push_back(t);
        d.y.push_back(a * std::exp(-b * t) + c + noise(rng));
    }
    return d;
}

kxResidualFunction Model(const Data &d)
{
    return [&d](const std::vector<double> &p, std::vector<double> &r) {
        for (size_t i = 0; i < d.t.size(); ++i)
            r[i] = p[0] * std::exp(-p[1] * d.t[i]) + p[2] - d.y[i];
        return true;
    };
}

} // namespace

TEST(KXLevenbergMarquardtTest, RecoversParametersWithinTheNoise)
{
    error.reset();
    const double sigma = 0.01;
    const Data d = MakeData(2.5, 1.3, 0.5, sigma, 200);
    std::vector<double> p = {1.0, 0.5, 0.0};
    kxLMReport report;
    ASSERT_TRUE(kxLevenbergMarquardt(Model(d), 200, p, report)) << report.reason.c_str();
    EXPECT_GE(report.info, 1);
    EXPECT_LE(report.info, 4);
    EXPECT_FALSE(report.reason.Empty());
    EXPECT_GT(report.iterations, 0);
    // Parameter errors of a few sigma / sqrt(m) times the model's sensitivity.
    EXPECT_NEAR(p[0], 2.5, 0.01);
    EXPECT_NEAR(p[1], 1.3, 0.01);
    EXPECT_NEAR(p[2], 0.5, 0.01);
    // The residual norm at the optimum is the noise's: sigma sqrt(m - n).
    EXPECT_NEAR(report.residualNorm, sigma * std::sqrt(197.0), 0.3 * sigma * std::sqrt(197.0));

    // Without noise the fit is exact.
    const Data exact = MakeData(2.5, 1.3, 0.5, 0.0, 50);
    p = {1.0, 0.5, 0.0};
    ASSERT_TRUE(kxLevenbergMarquardt(Model(exact), 50, p, report));
    EXPECT_NEAR(p[1], 1.3, 1e-9);
    EXPECT_LT(report.residualNorm, 1e-9);
    EXPECT_EQ(int(error), 0);
}

TEST(KXLevenbergMarquardtTest, StopsAndSaysWhy)
{
    error.reset();
    const Data d = MakeData(2.5, 1.3, 0.5, 0.01, 100);
    std::vector<double> p = {1.0, 0.1, 0.0};
    kxLMReport report;
    kxLMOptions once;
    once.maxIterations = 1;
    EXPECT_FALSE(kxLevenbergMarquardt(Model(d), 100, p, report, once));
    EXPECT_EQ(report.info, 5);
    EXPECT_STREQ(report.reason.c_str(), "iteration limit reached");
    EXPECT_STREQ(error.chars(), "fit stopped: iteration limit reached\n");
    EXPECT_LE(report.evaluations, 1 * (3 + 1) + 1);
    EXPECT_EQ(report.iterations, 1);
    error.reset();

    // The residual function may stop the minimisation, and non-finite residuals stop it too.
    int calls = 0;
    auto stopping = [&](const std::vector<double> &, std::vector<double> &r) {
        r.assign(r.size(), 1.0);
        return ++calls < 3;
    };
    p = {1.0, 1.0};
    EXPECT_FALSE(kxLevenbergMarquardt(stopping, 4, p, report));
    EXPECT_EQ(report.info, -1);
    EXPECT_STREQ(report.reason.c_str(), "stopped by the residual function");
    error.reset();
    auto nan = [](const std::vector<double> &q, std::vector<double> &r) {
        r[0] = std::log(q[0]); // NaN once q[0] < 0
        r[1] = q[0] + 5;
        return true;
    };
    p = {1.0};
    EXPECT_FALSE(kxLevenbergMarquardt(nan, 2, p, report));
    EXPECT_STREQ(report.reason.c_str(), "the residual function gave a value that is not finite");
    error.reset();

    // More parameters than residuals is improper input.
    p = {1.0, 2.0, 3.0};
    EXPECT_FALSE(kxLevenbergMarquardt(Model(d), 2, p, report));
    EXPECT_EQ(report.info, 0);
    EXPECT_NE(std::string(error.chars()).find("improper input"), std::string::npos);
    error.reset();
}
