// Tests of the interval set along a line: union, difference, exclusive-or, intersection,
// storage in a caller's array and the mode of DoLineShapeIntersect.
#include "kx/geometry/kxlineshapeintersections.h"

#include <gtest/gtest.h>

#include <random>

namespace {

typedef std::vector<double> Bounds;

} // namespace

TEST(KXLineShapeIntersectionsTest, ClosedIntervalsAndSetOperands)
{
    kxLineShapeIntersections s;
    s.Add(5, 6);
    s.Add(2, 1); // either order
    s.Add(2, 3); // touching intervals merge
    EXPECT_EQ(Bounds({1, 3, 5, 6}), s.GetBoundaries());
    s.Remove(0, 1); // removing up to a boundary leaves it
    EXPECT_EQ(Bounds({1, 3, 5, 6}), s.GetBoundaries());
    s.Intersect(6, 9); // only a touching point is common: nothing left
    EXPECT_EQ(0, s.GetNumIntersections());

    kxLineShapeIntersections a, b;
    a.Add(0, 4);
    a.Add(6, 10);
    b.Add(3, 7);
    kxLineShapeIntersections both(a);
    both.Intersect(b);
    EXPECT_EQ(Bounds({3, 4, 6, 7}), both.GetBoundaries());
    a.Add(b);
    EXPECT_EQ(Bounds({0, 10}), a.GetBoundaries());
    double t1 = -1, t2 = -1;
    EXPECT_FALSE(a.GetIntersection(1, t1, t2));
    EXPECT_FALSE(a.GetIntersection(-1, t1, t2));
    EXPECT_EQ(-1.0, t2);
}

TEST(KXLineShapeIntersectionsTest, ToggleWithTolerance)
{
    kxLineShapeIntersections s;
    s.Toggle(0, 2);
    s.Toggle(1, 3);
    s.Toggle(1, 2); // fills the gap exactly: the shared boundaries cancel
    EXPECT_EQ(Bounds({0, 3}), s.GetBoundaries());
    s.Toggle(3 + 1e-9, 4); // a gap smaller than tol closes with tol, stays without
    EXPECT_EQ(2, s.GetNumIntersections());
    s.Toggle(3 + 1e-9, 4);
    s.Toggle(3 + 1e-9, 4, 1e-6);
    EXPECT_EQ(Bounds({0, 4}), s.GetBoundaries());
}

TEST(KXLineShapeIntersectionsTest, CallerStorageAppendAndModes)
{
    std::vector<double> mine{99};
    kxLineShapeIntersections s(&mine);
    s.Clear();
    EXPECT_TRUE(mine.empty());
    s.Append(1);
    s.Append(2);
    s.Append(4, 3);
    EXPECT_EQ(Bounds({1, 2, 3, 4}), mine);
    s.Append(7); // unpaired: not counted, dropped by the next operation
    EXPECT_EQ(2, s.GetNumIntersections());
    s.Add(2, 3);
    EXPECT_EQ(Bounds({1, 4}), mine);

    kxLineShapeIntersections copy(s); // a copy owns its own array
    copy.Add(10, 11);
    EXPECT_EQ(Bounds({1, 4}), mine);
    s = copy; // assignment writes into the caller's array
    EXPECT_EQ(Bounds({1, 4, 10, 11}), mine);

    // A caller's List<double> (from 1) starts the set and follows every change.
    List<double> list;
    list.append(5);
    list.append(6);
    auto listBounds = [&list] {
        Bounds b;
        for (int i = 1; i <= list.size(); ++i)
            b.push_back(list[i]);
        return b;
    };
    kxLineShapeIntersections onList(&list);
    EXPECT_EQ(1, onList.GetNumIntersections());
    onList.Append(8, 7);
    EXPECT_EQ(Bounds({5, 6, 7, 8}), listBounds());
    onList.Add(6, 7);
    EXPECT_EQ(Bounds({5, 8}), listBounds());
    onList = copy;
    EXPECT_EQ(Bounds({1, 4, 10, 11}), listBounds());
    onList.Clear();
    EXPECT_EQ(0, list.size());

    kxLineShapeIntersections m;
    EXPECT_EQ(1, m.DoLineShapeIntersect(0, 10));
    m.SetMode(kxLineShapeIntersections::kxRemoveMode);
    EXPECT_EQ(2, m.DoLineShapeIntersect(4, 5));
    m.SetMode(kxLineShapeIntersections::kxToggleMode);
    EXPECT_EQ(1, m.DoLineShapeIntersect(4, 5));
    m.SetMode(kxLineShapeIntersections::kxIntersectMode);
    EXPECT_EQ(1, m.DoLineShapeIntersect(8, 20));
    EXPECT_EQ(Bounds({8, 10}), m.GetBoundaries());
}

// Random operations on intervals with integer ends, given in either order, checked against a
// boolean model of the unit cells; boundaries must be strictly increasing, so touching
// intervals merge and empty ones vanish.
TEST(KXLineShapeIntersectionsTest, RandomOperationsMatchModel)
{
    constexpr int kCells = 40;
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> end(0, kCells), pick(0, 5);
    for (int round = 0; round < 200; ++round) {
        kxLineShapeIntersections s;
        std::vector<bool> model(kCells, false); // cell i is [i, i + 1]
        for (int step = 0; step < 12; ++step) {
            const int a = end(rng), b = end(rng), op = pick(rng);
            for (int i = 0; i < kCells; ++i) {
                const bool in = i >= std::min(a, b) && i < std::max(a, b);
                model[i] = op == 0 || op == 4 ? model[i] || in
                           : op == 1          ? model[i] && !in
                           : op == 2          ? model[i] != in
                                              : model[i] && in;
            }
            kxLineShapeIntersections other; // ops 4 and 5 take the interval as a set
            other.Add(a, b);
            switch (op) {
            case 0: s.Add(a, b); break;
            case 1: s.Remove(a, b); break;
            case 2: s.Toggle(a, b); break;
            case 3: s.Intersect(a, b); break;
            case 4: s.Add(other); break;
            default: s.Intersect(other); break;
            }
            const std::vector<double> &bd = s.GetBoundaries();
            ASSERT_EQ(0u, bd.size() % 2);
            for (size_t k = 1; k < bd.size(); ++k)
                ASSERT_LT(bd[k - 1], bd[k]);
            for (int i = 0; i < kCells; ++i) {
                bool in = false;
                for (int k = 0; k < s.GetNumIntersections(); ++k) {
                    double t1 = 0, t2 = 0;
                    ASSERT_TRUE(s.GetIntersection(k, t1, t2));
                    in = in || (t1 <= i + 0.5 && i + 0.5 <= t2);
                }
                ASSERT_EQ(model[i], in) << "round " << round << " step " << step << " cell " << i;
            }
        }
    }
}
