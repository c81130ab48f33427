// Tests of colour schemes and colour texts.
#include "kx/graph/qvcolourmap.h"

#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(QVColourMapTest, EndPointsAndReversal)
{
    qvColourMap m;
    EXPECT_EQ(m.GetName(), "viridis");
    EXPECT_EQ(qvColourToText(m.Map(0)), "#440154");
    EXPECT_EQ(qvColourToText(m.Map(1)), "#fde725");
    EXPECT_EQ(qvColourToText(m.Map(-5)), "#440154"); // clamped
    EXPECT_EQ(m.Map(NAN).a, 0);
    ASSERT_TRUE(m.SetScheme("Magma_r"));
    EXPECT_TRUE(m.IsReversed());
    EXPECT_EQ(qvColourToText(m.Map(1)), "#000004");
    EXPECT_EQ(qvColourToText(m.Map(0)), "#fcfdbf");
    ASSERT_TRUE(m.SetScheme("grey"));
    EXPECT_EQ(qvColourToText(m.Map(0.5)), "#808080");
    // The packed pixel agrees with the colour.
    EXPECT_EQ(m.MapPixel(1), 0xffffffffu);
    EXPECT_EQ(m.MapPixel(0), 0xff000000u);
    m.SetReversed(true);
    EXPECT_EQ(m.MapPixel(0), 0xffffffffu);
    ASSERT_TRUE(m.SetScheme("diverging"));
    qvColour mid = m.Map(0.5), lo = m.Map(0), hi = m.Map(1);
    EXPECT_GT(lo.b, lo.r);
    EXPECT_GT(hi.r, hi.b);
    EXPECT_NEAR(mid.r, mid.b, 0.01); // neutral in the middle
    ASSERT_TRUE(m.SetScheme("rainbow"));
    EXPECT_EQ(qvColourToText(m.Map(0)), "#0000ff");
    EXPECT_EQ(qvColourToText(m.Map(1)), "#ff0000");

    error.reset();
    EXPECT_FALSE(m.SetScheme("jet"));
    EXPECT_STREQ(error.chars(), "Unknown colour scheme \"jet\"");
    EXPECT_EQ(m.GetName(), "rainbow");
    error.reset();
}

TEST(QVColourMapTest, UniformSchemesHaveMonotonicLightness)
{
    for (const char *name : {"viridis", "magma", "plasma", "inferno", "cividis", "grey"}) {
        qvColourMap m;
        ASSERT_TRUE(m.SetScheme(name));
        double prev = -1;
        for (int i = 0; i <= 255; ++i) {
            double l = qvLightness(m.Map(i / 255.0));
            EXPECT_GE(l, prev - 0.3) << name << " at " << i; // table rounding only
            prev = l;
        }
        EXPECT_GT(qvLightness(m.Map(1)) - qvLightness(m.Map(0)), 50) << name;
    }
    // Rainbow is not uniform: its lightness goes up and down.
    qvColourMap r;
    ASSERT_TRUE(r.SetScheme("rainbow"));
    EXPECT_GT(qvLightness(r.Map(0.6)), qvLightness(r.Map(1)));
}

TEST(QVColourMapTest, UserSchemesAndColourTexts)
{
    qvColour a, b;
    ASSERT_TRUE(qvParseColour("#ff0000", a));
    ASSERT_TRUE(qvParseColour("black", b));
    qvColourMap m;
    ASSERT_TRUE(m.SetColours({a, b}));
    EXPECT_EQ(m.GetName(), "user");
    EXPECT_EQ(qvColourToText(m.Map(0.5)), "#800000");
    error.reset();
    EXPECT_FALSE(m.SetColours({a}));
    EXPECT_TRUE(error != 0);
    error.reset();

    qvColour c;
    EXPECT_TRUE(qvParseColour("#11223380", c));
    EXPECT_EQ(qvColourToText(c), "#11223380");
    EXPECT_FALSE(qvParseColour("#12345", c));
    EXPECT_FALSE(qvParseColour("#gg0000", c));
    EXPECT_FALSE(qvParseColour("chartreuse", c));
    EXPECT_FALSE(qvParseColour(nullptr, c));
    EXPECT_NEAR(qvLightness({1, 1, 1, 1}), 100, 1e-6);
    EXPECT_NEAR(qvLightness({0, 0, 0, 1}), 0, 1e-6);
}
