#include "kx/foundation/kxdynarray.h"

#include "kxfatal_test_util.h"

#include <gtest/gtest.h>

#include <vector>

TEST(KXDynArrayTest, AddIndexAndStableAddresses)
{
    kxIntArray a(3);
    std::vector<int *> addresses;
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(a.Add(i * 7), i);
        addresses.push_back(&a[i]);
    }
    EXPECT_EQ(a.Size(), 20);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(a[i], i * 7);
        EXPECT_EQ(&a[i], addresses[i]); // growing never moved an element
    }
    a[19] = -1;
    EXPECT_EQ(a[19], -1);

    a.Clear();
    EXPECT_EQ(a.Size(), 0);
    EXPECT_EQ(a.Add(5), 0);
    EXPECT_EQ(a[0], 5);

    kxDoubleArray zero(0); // block size 0 behaves as 1
    EXPECT_EQ(zero.BlockSize(), 1);
    for (int i = 0; i < 5; ++i)
        zero.Add(i + 0.5);
    EXPECT_EQ(zero[4], 4.5);
    kxBoolArray negative(-7);
    EXPECT_EQ(negative.BlockSize(), 1);
    negative.Add(true);
    negative.Add(false);
    EXPECT_TRUE(negative[0]);
    EXPECT_FALSE(negative[1]);

    int x = 1, y = 2;
    kxVoidPointerArray pointers(2);
    pointers.Add(&x);
    pointers.Add(&y);
    pointers.Add(nullptr);
    EXPECT_EQ(pointers[1], &y);
    EXPECT_EQ(pointers[2], nullptr);
}

TEST(KXDynArrayTest, CopiesAreDeep)
{
    kxIntArray a(4);
    for (int i = 0; i < 10; ++i)
        a.Add(i);
    kxIntArray b(a);
    EXPECT_EQ(b.Size(), 10);
    EXPECT_EQ(b.BlockSize(), 4);
    b[3] = 99;
    EXPECT_EQ(a[3], 3);
    kxIntArray c(100);
    c.Add(1);
    c = a;
    EXPECT_EQ(c.Size(), 10);
    EXPECT_EQ(c.BlockSize(), 4);
    EXPECT_EQ(c[9], 9);
    EXPECT_NE(&c[9], &a[9]);
}

TEST(KXDynArrayDeathTest, IndexOutOfBoundsIsFatal)
{
    kxIntArray a(2);
    EXPECT_KX_FATAL(a[0], "Dynamic array index 0 out of bounds 0 <= index < 0\n");
    a.Add(1);
    a.Add(2);
    a.Add(3);
    EXPECT_KX_FATAL(a[3], "Dynamic array index 3 out of bounds 0 <= index < 3\n");
    EXPECT_KX_FATAL(a[-1], "Dynamic array index -1 out of bounds 0 <= index < 3\n");
}
