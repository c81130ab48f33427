// kxshapetest_util.h - what the tests of the shapes share: a fixture that captures the message
// window and clears the error record and the syntax-error counter, with helpers to parse and
// write shapes, define variables, build polygons and compare rectangles.
#ifndef KX_TESTS_KXSHAPETEST_UTIL_H
#define KX_TESTS_KXSHAPETEST_UTIL_H

#include "kx/geometry/kxellipse.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxrectangle.h"
#include "kx/geometry/kxregularpolygon.h"
#include "kx/geometry/kxshape.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/foundation/kxunits.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

inline std::vector<std::string> printed;
inline void Capture(int, const char *line) { printed.emplace_back(line); }

class ShapeFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils("test", KXString("v"), 1, nullptr, nullptr, nullptr, Capture, nullptr);
        printed.clear();
        error.reset();
        ResetSyntaxErrFlag();
    }
    void TearDown() override { error.reset(); }

    static std::string Printed()
    {
        std::string all;
        for (const std::string &s : printed)
            all += s;
        return all;
    }
    static std::unique_ptr<KXShape> Parse(const char *text, kxNameSpace *ns = nullptr)
    {
        return std::unique_ptr<KXShape>(KXShape::ParseShape(ns, text));
    }
    static std::string Def(const KXShape &s) { return s.getDefString().c_str(); }
};

inline kxNamedVariable *AddVariable(kxNameSpace &ns, const char *name, const char *value)
{
    kxNamedVariable *v = new kxNamedVariable(&ns); // owned by the namespace
    EXPECT_TRUE(v->SetName(name));
    v->SetValueOrExpression(value);
    return v;
}

inline constexpr double kPi = 3.141592653589793;

inline KXPolygon MakePolygon(std::initializer_list<kxPoint> pts)
{
    KXPolygon p;
    for (const kxPoint &q : pts)
        p.AddPoint(q.x, q.y);
    return p;
}

inline void ExpectRect(const kxRect &r, double l, double t, double rt, double b, double tol = 1e-12)
{
    EXPECT_NEAR(r.left, l, tol);
    EXPECT_NEAR(r.top, t, tol);
    EXPECT_NEAR(r.right, rt, tol);
    EXPECT_NEAR(r.bottom, b, tol);
}

#endif
