// Tests of kxPolynomial: Horner values, derivatives and roots through the companion matrix.
#include "kx/foundation/kxerror.h"
#include "kx/numerics/kxpolynomial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using cx = std::complex<double>;

TEST(KXPolynomialTest, ValuesAndDerivatives)
{
    const kxPolynomial p({1, -3, 0, 2}); // 1 - 3x + 2x^3
    EXPECT_EQ(p.Degree(), 3);
    EXPECT_DOUBLE_EQ(p.Value(2.0), 1 - 6 + 16);
    EXPECT_DOUBLE_EQ(p.Derivative(2.0), -3 + 24);
    EXPECT_EQ(p.Derivative().Coefficients(), (std::vector<double>{-3, 0, 6}));
    const cx i(0, 1);
    EXPECT_LT(std::abs(p.ValueC(i) - (1.0 - 3.0 * i - 2.0 * i)), 1e-15);
    EXPECT_EQ(kxPolynomial({0, 0}).Degree(), -1);
    EXPECT_EQ(kxPolynomial({5, 1, 0, 0}).Degree(), 1);
}

TEST(KXPolynomialTest, RootsThroughCompanionMatrix)
{
    // (x - 1)(x + 2)(x - 3.5)(x^2 + 4) = x^5 - 2.5x^4 - 1.5x^3 - 3x^2 - 22x + 28
    const kxPolynomial p({28, -22, -3, -1.5, -2.5, 1, 0}); // trailing zero ignored
    std::vector<cx> roots;
    ASSERT_TRUE(p.Roots(roots));
    ASSERT_EQ(roots.size(), 5u);
    auto byReal = [](cx a, cx b) {
        return a.real() != b.real() ? a.real() < b.real() : a.imag() < b.imag();
    };
    std::sort(roots.begin(), roots.end(), byReal);
    const cx expect[] = {-2.0, cx(0, -2), cx(0, 2), 1.0, 3.5};
    for (int k = 0; k < 5; ++k) {
        EXPECT_LT(std::abs(roots[k] - expect[k]), 1e-12) << k;
        EXPECT_LT(std::abs(p.ValueC(roots[k])), 1e-10) << k;
    }
    // A scaled polynomial has the same roots; a constant has none; zero has none defined.
    ASSERT_TRUE(kxPolynomial({-6, 3}).Roots(roots));
    ASSERT_EQ(roots.size(), 1u);
    EXPECT_NEAR(roots[0].real(), 2.0, 1e-15);
    ASSERT_TRUE(kxPolynomial({4}).Roots(roots));
    EXPECT_TRUE(roots.empty());
    error.reset();
    EXPECT_FALSE(kxPolynomial({0, 0}).Roots(roots));
    EXPECT_STREQ(error.chars(), "the zero polynomial has no defined roots\n");
    error.reset();
}
