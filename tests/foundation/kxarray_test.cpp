#include "kx/foundation/kxarray.h"

#include "kxfatal_test_util.h"

#include <gtest/gtest.h>

#include <complex>
#include <cstdio>
#include <cstring>

// Every member of the instances the library uses must compile.
template class Array1d<int>;
template class Array1d<float>;
template class Array1d<double>;
template class Array1d<char>;
template class Array1d<char *>;
template class Array1d<std::complex<double>>;
template class Array2d<double>;

TEST(Array1dTest, BoundsAndRebasing)
{
    Array1d<int> empty(1, 0);
    EXPECT_FALSE(empty.alloced());
    EXPECT_EQ(empty.get_lbd(), 0);
    EXPECT_EQ(empty.get_ubd(), -1);
    EXPECT_EQ(empty.get_dim(), 0);

    Array1d<int> a(-2, 7);
    EXPECT_TRUE(a.alloced());
    EXPECT_TRUE(a.owned());
    EXPECT_EQ(a.get_dim(), 10);
    for (int i = -2; i <= 7; ++i)
        a[i] = i * i;
    EXPECT_EQ(a[-2], 4);
    EXPECT_EQ(a[7], 49);

    // Same size, new range: contents kept, no reallocation.
    const int *before = &a[-2];
    a.alloc(10, 19);
    EXPECT_EQ(&a[10], before);
    EXPECT_EQ(a.get_lbd(), 10);
    EXPECT_EQ(a.get_ubd(), 19);
    EXPECT_EQ(a[10], 4);
    EXPECT_EQ(a[19], 49);

    a.alloc(0, 2); // other size: fresh storage
    EXPECT_EQ(a.get_dim(), 3);
    a.alloc(3, 2); // dimension 0 empties
    EXPECT_FALSE(a.alloced());
    EXPECT_EQ(a.get_ubd(), -1);

    Array1d<std::complex<double>> c(1, 2);
    c[2] = {1.5, -2};
    EXPECT_EQ(c[2].imag(), -2);

    Array1d<char> text(0, 5);
    std::strcpy(static_cast<char *>(text), "hello");
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(text[1], 'e');
}

TEST(Array1dTest, ExternalStorageIsSharedOnAssignment)
{
    double storage[4] = {1, 2, 3, 4};
    Array1d<double> *view = new Array1d<double>;
    view->alloc(5, 8, storage);
    EXPECT_TRUE(view->alloced());
    EXPECT_FALSE(view->owned());
    EXPECT_EQ((*view)[5], 1);
    EXPECT_EQ((*view)[8], 4);

    Array1d<double> second(0, 99); // owned storage is freed, not leaked
    second = *view;
    EXPECT_FALSE(second.owned());
    EXPECT_EQ(second.get_lbd(), 5);
    second[6] = 20;
    EXPECT_EQ(storage[1], 20);
    EXPECT_EQ((*view)[6], 20);
    delete view; // frees nothing: storage is the caller's
    EXPECT_EQ(second[8], 4);

    // Re-basing an external view of the same size must not take ownership.
    second.alloc(0, 3);
    EXPECT_TRUE(second.owned());

    // A copy of an owned array is a deep copy with the source's bounds.
    Array1d<double> owned(2, 4);
    owned[2] = 7;
    owned[3] = 8;
    owned[4] = 9;
    Array1d<double> copy;
    copy = owned;
    EXPECT_TRUE(copy.owned());
    EXPECT_EQ(copy.get_lbd(), 2);
    copy[3] = -1;
    EXPECT_EQ(owned[3], 8);
    Array1d<double> constructed(owned);
    EXPECT_EQ(constructed[4], 9);

    // An owned source of the same size is copied into a view's external memory.
    double target[3] = {0, 0, 0};
    Array1d<double> intoView;
    intoView.alloc(0, 2, target);
    intoView = owned;
    EXPECT_FALSE(intoView.owned());
    EXPECT_EQ(intoView.get_lbd(), 2);
    EXPECT_EQ(target[0], 7);
    EXPECT_EQ(target[2], 9);

    Array1d<double> &alias = copy;
    copy = alias;
    EXPECT_EQ(copy[3], -1);

    copy = Array1d<double>(); // an empty source empties
    EXPECT_FALSE(copy.alloced());

    Array1d<double> wrapEmpty;
    wrapEmpty.alloc(1, 0, storage);
    EXPECT_FALSE(wrapEmpty.alloced());
}

TEST(Array1dTest, BinaryReadWrite)
{
    FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    Array1d<int> out(1, 3);
    out[1] = 11;
    out[2] = -22;
    out[3] = 33;
    EXPECT_EQ(out.write(f), 3);
    Array1d<int> none;
    EXPECT_EQ(none.write(f), 0);
    EXPECT_EQ(std::ftell(f), static_cast<long>(3 * sizeof(int)));

    std::rewind(f);
    Array1d<int> in(0, 2);
    EXPECT_EQ(in.read(f), 3);
    EXPECT_EQ(in[0], 11);
    EXPECT_EQ(in[1], -22);
    EXPECT_EQ(in[2], 33);
    EXPECT_EQ(none.read(f), 0);
    std::fclose(f);
}

TEST(Array2dTest, RowsColumnsAndCopies)
{
    Array2d<int> m(1, 3, 0, 1);
    EXPECT_EQ(m.get_rows(), 3);
    EXPECT_EQ(m.get_cols(), 2);
    for (int r = 1; r <= 3; ++r)
        for (int c = 0; c <= 1; ++c)
            m(r, c) = r * 10 + c;
    EXPECT_EQ(m(3, 1), 31);
    EXPECT_EQ(m.row(2)[1], 21);

    Array2d<int> copy(m);
    copy(1, 0) = -5;
    EXPECT_EQ(m(1, 0), 10);
    EXPECT_EQ(copy(2, 1), 21);

    const int *start = &m(1, 0);
    m.alloc(0, 2, 5, 6); // same shape: contents kept
    EXPECT_EQ(&m(0, 5), start);
    EXPECT_EQ(m(2, 6), 31);

    m.alloc(0, -1, 0, 4);
    EXPECT_FALSE(m.alloced());
    EXPECT_EQ(m.get_rows(), 0);
}

TEST(Array1dDeathTest, MisuseIsFatal)
{
    Array1d<int> a(3, 5);
    EXPECT_KX_FATAL(a[2], "error in Array1d<T>::operator[]. Index 2 out of bounds (3,5)");
    EXPECT_KX_FATAL(a[6], "error in Array1d<T>::operator[]. Index 6 out of bounds (3,5)");
    Array1d<int> empty;
    EXPECT_KX_FATAL(empty[0], "error in Array1d<T>::operator[]. Index 0 out of bounds (0,-1)");
    EXPECT_KX_FATAL(a.alloc(5, 3), "error in Array1d<T>::alloc.dimension -1 not allowed \n");
    EXPECT_KX_FATAL((Array1d<char>(0, -5)),
                    "error in Array1d<T>::alloc.dimension -4 not allowed \n");
}

TEST(Array2dDeathTest, MisuseIsFatal)
{
    Array2d<int> m(0, 1, 0, 1);
    EXPECT_KX_FATAL(m(2, 0),
                    "error in Array2d<T>::operator(). Index (2,0) out of bounds (0..1,0..1)");
    EXPECT_KX_FATAL(m.alloc(0, -2, 0, 0),
                    "error in Array2d<T>::alloc.dimension -1 x 1 not allowed \n");
}
