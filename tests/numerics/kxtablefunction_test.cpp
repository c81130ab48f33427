// Tests of kxTable1D and kxTable2D: reading tables with comments and bad lines (one message
// per bad line), sorting, the grid checks, and the four interpolations with their derivatives.
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/numerics/kxtablefunction.h"

#include <gtest/gtest.h>

#include "../kxoutputcapture.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

namespace {

int Count(const std::string &text, const std::string &what)
{
    int n = 0;
    for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1))
        ++n;
    return n;
}

} // namespace

TEST(KXTable1DTest, ReadsTextWithCommentsAndBadLines)
{
    MessageCapture messages;
    ResetSyntaxErrFlag();
    error.reset();
    kxTable1D t(kxTableLinear);
    const char *text = "# wavelength  index\n"
                       "3, 30\n"
                       "\n"
                       "1\t10\r\n"
                       "  ! another comment\n"
                       "2 ; 20\n"
                       "4 40 7\n" // three numbers
                       "5 abc\n"  // not a number
                       "6\n"      // one number
                       "2 21\n"   // repeated abscissa
                       "7 nan\n"  // not finite
                       "4.5 45";  // last line without a newline
    EXPECT_FALSE(t.ReadText(text, "n.txt"));
    EXPECT_EQ(int(error), kxErrSyntax);
    EXPECT_STREQ(error.chars(), "5 bad line(s) in table \"n.txt\"\n");
    error.reset();
    EXPECT_EQ(GetSyntaxErrCount(), 5);
    const std::string said = messages.Take();
    EXPECT_NE(said.find("n.txt line 7: expected 2 numbers: \"4 40 7\""), std::string::npos) << said;
    EXPECT_NE(said.find("n.txt line 8: expected 2 numbers: \"5 abc\""), std::string::npos);
    EXPECT_NE(said.find("n.txt line 9: expected 2 numbers: \"6\""), std::string::npos);
    EXPECT_NE(said.find("n.txt line 10: abscissa 2 repeats line 6"), std::string::npos);
    EXPECT_NE(said.find("n.txt line 11: expected 2 numbers"), std::string::npos);
    EXPECT_EQ(Count(said, "n.txt line"), 5);

    // The good lines make the table, sorted by x.
    ASSERT_EQ(t.Count(), 4);
    EXPECT_EQ(t.X(), (std::vector<double>{1, 2, 3, 4.5}));
    EXPECT_EQ(t.Y(), (std::vector<double>{10, 20, 30, 45}));
    EXPECT_DOUBLE_EQ(t.Value(2.5), 25.0);
    EXPECT_DOUBLE_EQ(t.Derivative(2.5), 10.0);
    EXPECT_DOUBLE_EQ(t.Value(0), 0.0);  // continues the first segment
    EXPECT_DOUBLE_EQ(t.Value(6), 60.0); // and the last

    // Too few points, and an unreadable file.
    EXPECT_FALSE(t.ReadText("# nothing\n1 2\n", "one.txt"));
    EXPECT_STREQ(error.chars(), "table \"one.txt\" needs at least 2 points\n");
    EXPECT_EQ(t.Count(), 0);
    EXPECT_EQ(t.Value(1.0), 0.0);
    error.reset();
    EXPECT_FALSE(t.ReadFile("/nonexistent/table.txt"));
    EXPECT_EQ(int(error), kxErrFile);
    error.reset();
    ResetSyntaxErrFlag();
}

TEST(KXTable1DTest, SplineFromFileMatchesASmoothFunction)
{
    char path[] = "/tmp/kxtable1dXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    std::FILE *f = fdopen(fd, "w");
    for (int i = 40; i >= 0; --i) { // written backwards: the reader sorts
        const double x = i * 0.1;
        std::fprintf(f, "%.17g %.17g\n", x, std::sin(x));
    }
    std::fclose(f);
    kxTable1D t;
    ASSERT_TRUE(t.ReadFile(path));
    std::remove(path);
    EXPECT_EQ(t.Mode(), kxTableSpline);
    for (double x = 0.3; x < 3.8; x += 0.37) {
        EXPECT_NEAR(t.Value(x), std::sin(x), 2e-5) << x;
        EXPECT_NEAR(t.Derivative(x), std::cos(x), 5e-4) << x;
    }
    // Linear interpolation of the same table is far less accurate between the nodes.
    t.SetMode(kxTableLinear);
    EXPECT_GT(std::fabs(t.Value(1.05) - std::sin(1.05)), 1e-4);
    EXPECT_TRUE(t.HasDerivative());
    EXPECT_EQ(t.Dimension(), 1);
}

TEST(KXTable2DTest, GridReadingAndChecks)
{
    MessageCapture messages;
    ResetSyntaxErrFlag();
    error.reset();
    kxTable2D t(kxTableBilinear);
    // z = 1 + 2x + 3y + xy on x in {0, 1, 3}, y in {0, 2}, lines in any order.
    const char *text = "3 2 19\n0 0 1\n1 0 3\n3 0 7\n0 2 7\n1 2 11\n"
                       "1 2 99\n" // repeated grid point
                       "1 2\n";   // two numbers
    EXPECT_FALSE(t.ReadText(text, "g.txt"));
    EXPECT_STREQ(error.chars(), "2 bad line(s) in table \"g.txt\"\n");
    error.reset();
    const std::string said = messages.Take();
    EXPECT_NE(said.find("g.txt line 7: grid point (1, 2) repeats line 6"), std::string::npos)
        << said;
    EXPECT_NE(said.find("g.txt line 8: expected 3 numbers: \"1 2\""), std::string::npos);
    ASSERT_EQ(t.CountX(), 3);
    ASSERT_EQ(t.CountY(), 2);
    EXPECT_EQ(t.Node(2, 1), 19.0);
    // Bilinear interpolation is exact for this function, derivatives too.
    for (double x : {0.25, 1.5, 2.9})
        for (double y : {0.5, 1.75}) {
            EXPECT_NEAR(t.Value(x, y), 1 + 2 * x + 3 * y + x * y, 1e-13);
            EXPECT_NEAR(t.Derivative(x, y, 0), 2 + y, 1e-13);
            EXPECT_NEAR(t.Derivative(x, y, 1), 3 + x, 1e-13);
        }

    EXPECT_FALSE(t.ReadText("0 0 1\n1 0 2\n0 1 3\n", "hole.txt"));
    EXPECT_STREQ(error.chars(), "table \"hole.txt\" misses the grid point (1, 1)\n");
    error.reset();
    EXPECT_FALSE(t.ReadText("0 0 1\n0 1 2\n", "line.txt"));
    EXPECT_STREQ(error.chars(), "table \"line.txt\" needs at least 2 points\n");
    error.reset();
    ResetSyntaxErrFlag();
}

TEST(KXTable2DTest, BicubicFollowsASmoothSurface)
{
    // sin x sin y has zero second derivatives on the grid's edges, as the natural splines assume.
    std::vector<double> xs, ys, z;
    for (int i = 0; i <= 30; ++i)
        xs.push_back(i * M_PI / 30);
    for (int j = 0; j <= 20; ++j)
        ys.push_back(j * M_PI / 20);
    for (double y : ys)
        for (double x : xs)
            z.push_back(std::sin(x) * std::sin(y));
    kxTable2D t;
    ASSERT_TRUE(t.Set(xs, ys, z));
    for (double x : {0.05, 1.23, 2.41})
        for (double y : {0.07, 1.5, 3.1}) {
            EXPECT_NEAR(t.Value(x, y), std::sin(x) * std::sin(y), 2e-5) << x << " " << y;
            EXPECT_NEAR(t.Derivative(x, y, 0), std::cos(x) * std::sin(y), 5e-4);
            EXPECT_NEAR(t.Derivative(x, y, 1), std::sin(x) * std::cos(y), 5e-4);
        }
    // Exact at the nodes; bilinear is far off between them.
    EXPECT_NEAR(t.Value(xs[7], ys[4]), z[7 + 4 * 31], 1e-14);
    const double f = std::sin(1.3) * std::sin(0.9);
    const double bicubicError = std::fabs(t.Value(1.3, 0.9) - f);
    t.SetMode(kxTableBilinear);
    EXPECT_GT(std::fabs(t.Value(1.3, 0.9) - f), 20 * bicubicError);
    error.reset();
    EXPECT_FALSE(t.Set(xs, ys, std::vector<double>(5)));
    EXPECT_EQ(int(error), 1);
    error.reset();
}
