// kxarray.h - Array1d<T> and Array2d<T>: fixed-size arrays with caller-chosen index bounds.
//
// Array1d<T> holds the elements lbd..ubd (an empty array has lbd 0, ubd -1). Its storage is
// either owned (allocated by alloc, freed by the array) or external: alloc(lo, hi, storage)
// wraps memory that the caller owns, which the array never frees. Assigning from an array that
// wraps external memory does not copy: the destination becomes a second view of the same
// memory with the same bounds (the caller keeps that memory alive for both). Assigning from an
// owned array copies the elements, taking the source's bounds; storage is reallocated (owned)
// only when the sizes differ or there is none, so an external view of the same size receives
// the copy in the caller's memory and stays a view.
//
// Re-basing an owned array to a new range of the same size (alloc(10, 19) on an array of 10)
// keeps the contents and allocates nothing. Fresh storage is not initialised for plain types.
//
// Misuse (an index outside lbd..ubd, a negative dimension) is fatal through exitfn, exit code
// 1. Internally the storage pointer addresses element lbd; indexing subtracts lbd.
#ifndef KX_FOUNDATION_KXARRAY_H
#define KX_FOUNDATION_KXARRAY_H

#include "kx/foundation/kxerror.h"

#include <algorithm>
#include <cstdio>
#include <type_traits>

template <class T>
class Array1d {
public:
    Array1d() = default;
    /// Allocates lo..hi (empty when hi < lo by exactly one; fatal when by more).
    Array1d(int lo, int hi) { alloc(lo, hi); }
    Array1d(const Array1d &other) { *this = other; }
    virtual ~Array1d() { unalloc(); }

    Array1d &operator=(const Array1d &other);

    /// Owned storage for lo..hi; see the header comment for when contents are kept.
    void alloc(int lo, int hi);
    /// Wraps `external` (element lo at external[0]); the array never frees it.
    void alloc(int lo, int hi, T *external);
    /// Frees owned storage; the array becomes empty.
    void unalloc();

    T &operator[](int i);
    const T &operator[](int i) const;

    int get_lbd() const { return lbd_; }
    int get_ubd() const { return ubd_; }
    int get_dim() const { return ubd_ - lbd_ + 1; }
    /// Storage present (owned or external).
    bool alloced() const { return data_ != nullptr; }
    /// Storage present and owned by this array.
    bool owned() const { return owned_; }

    /// Array1d<char> reads as its character storage (null when empty).
    template <class U = T, class = std::enable_if_t<std::is_same<U, char>::value>>
    operator char *() const
    {
        return data_;
    }

    /// Read or write the elements lbd..ubd as raw binary, sizeof(T) each; nothing without
    /// storage. Return the number of elements transferred.
    int read(FILE *file);
    int write(FILE *file) const;

private:
    [[noreturn]] void IndexFault(int i) const;

    int lbd_ = 0;
    int ubd_ = -1;
    bool owned_ = false;
    T *data_ = nullptr; // element lbd_
};

template <class T>
Array1d<T> &Array1d<T>::operator=(const Array1d &other)
{
    if (this == &other)
        return *this;
    if (!other.data_) {
        unalloc();
        return *this;
    }
    if (!other.owned_) {
        alloc(other.lbd_, other.ubd_, other.data_);
        return *this;
    }
    if (data_ && get_dim() == other.get_dim()) {
        lbd_ = other.lbd_; // same size: copy into the storage in place, even external
        ubd_ = other.ubd_;
    } else {
        alloc(other.lbd_, other.ubd_);
    }
    std::copy_n(other.data_, get_dim(), data_);
    return *this;
}

template <class T>
void Array1d<T>::alloc(int lo, int hi)
{
    const long long dim = static_cast<long long>(hi) - lo + 1;
    if (dim < 0)
        exitfn(1, "error in Array1d<T>::alloc.dimension %d not allowed \n", static_cast<int>(dim));
    if (dim == 0) {
        unalloc();
        return;
    }
    if (data_ && owned_ && dim == get_dim()) {
        lbd_ = lo;
        ubd_ = hi;
        return;
    }
    unalloc();
    data_ = new T[dim];
    owned_ = true;
    lbd_ = lo;
    ubd_ = hi;
}

template <class T>
void Array1d<T>::alloc(int lo, int hi, T *external)
{
    const long long dim = static_cast<long long>(hi) - lo + 1;
    if (dim < 0)
        exitfn(1, "error in Array1d<T>::alloc.dimension %d not allowed \n", static_cast<int>(dim));
    unalloc();
    if (dim == 0 || !external)
        return;
    data_ = external;
    lbd_ = lo;
    ubd_ = hi;
}

template <class T>
void Array1d<T>::unalloc()
{
    if (owned_)
        delete[] data_;
    data_ = nullptr;
    owned_ = false;
    lbd_ = 0;
    ubd_ = -1;
}

template <class T>
void Array1d<T>::IndexFault(int i) const
{
    exitfn(1, "error in Array1d<T>::operator[]. Index %d out of bounds (%d,%d)", i, lbd_, ubd_);
}

template <class T>
inline T &Array1d<T>::operator[](int i)
{
    if (i < lbd_ || i > ubd_)
        IndexFault(i);
    return data_[i - lbd_];
}

template <class T>
inline const T &Array1d<T>::operator[](int i) const
{
    if (i < lbd_ || i > ubd_)
        IndexFault(i);
    return data_[i - lbd_];
}

template <class T>
int Array1d<T>::read(FILE *file)
{
    if (!data_)
        return 0;
    return static_cast<int>(std::fread(data_, sizeof(T), get_dim(), file));
}

template <class T>
int Array1d<T>::write(FILE *file) const
{
    if (!data_)
        return 0;
    return static_cast<int>(std::fwrite(data_, sizeof(T), get_dim(), file));
}

// ---------------------------------------------------------------------------------------------

/// Rows rlo..rhi by columns clo..chi of T, stored row after row in one owned block. An array
/// with no rows or no columns is empty (bounds 0, -1 both ways). Copies are deep.
/// Element (r, c) is at operator()(r, c); row(r) gives the row's storage, element clo first.
template <class T>
class Array2d {
public:
    Array2d() = default;
    Array2d(int rlo, int rhi, int clo, int chi) { alloc(rlo, rhi, clo, chi); }
    Array2d(const Array2d &other) { *this = other; }
    virtual ~Array2d() { unalloc(); }

    Array2d &operator=(const Array2d &other);

    /// Storage for rlo..rhi by clo..chi; a negative dimension either way is fatal. The contents
    /// are kept when both dimensions are unchanged.
    void alloc(int rlo, int rhi, int clo, int chi);
    void unalloc();

    T &operator()(int r, int c);
    const T &operator()(int r, int c) const;
    T *row(int r);
    const T *row(int r) const;

    int get_rlbd() const { return rlbd_; }
    int get_rubd() const { return rubd_; }
    int get_clbd() const { return clbd_; }
    int get_cubd() const { return cubd_; }
    int get_rows() const { return rubd_ - rlbd_ + 1; }
    int get_cols() const { return cubd_ - clbd_ + 1; }
    bool alloced() const { return data_ != nullptr; }

private:
    [[noreturn]] void IndexFault(int r, int c) const;

    int rlbd_ = 0, rubd_ = -1, clbd_ = 0, cubd_ = -1;
    T *data_ = nullptr;
};

template <class T>
Array2d<T> &Array2d<T>::operator=(const Array2d &other)
{
    if (this == &other)
        return *this;
    if (!other.data_) {
        unalloc();
        return *this;
    }
    alloc(other.rlbd_, other.rubd_, other.clbd_, other.cubd_);
    std::copy_n(other.data_, static_cast<long long>(get_rows()) * get_cols(), data_);
    return *this;
}

template <class T>
void Array2d<T>::alloc(int rlo, int rhi, int clo, int chi)
{
    const long long rows = static_cast<long long>(rhi) - rlo + 1;
    const long long cols = static_cast<long long>(chi) - clo + 1;
    if (rows < 0 || cols < 0)
        exitfn(1, "error in Array2d<T>::alloc.dimension %d x %d not allowed \n",
               static_cast<int>(rows), static_cast<int>(cols));
    if (rows == 0 || cols == 0) {
        unalloc();
        return;
    }
    if (!data_ || rows != get_rows() || cols != get_cols()) {
        unalloc();
        data_ = new T[rows * cols];
    }
    rlbd_ = rlo;
    rubd_ = rhi;
    clbd_ = clo;
    cubd_ = chi;
}

template <class T>
void Array2d<T>::unalloc()
{
    delete[] data_;
    data_ = nullptr;
    rlbd_ = clbd_ = 0;
    rubd_ = cubd_ = -1;
}

template <class T>
void Array2d<T>::IndexFault(int r, int c) const
{
    exitfn(1, "error in Array2d<T>::operator(). Index (%d,%d) out of bounds (%d..%d,%d..%d)", r, c,
           rlbd_, rubd_, clbd_, cubd_);
}

template <class T>
inline T &Array2d<T>::operator()(int r, int c)
{
    if (r < rlbd_ || r > rubd_ || c < clbd_ || c > cubd_)
        IndexFault(r, c);
    return data_[static_cast<long long>(r - rlbd_) * get_cols() + (c - clbd_)];
}

template <class T>
inline const T &Array2d<T>::operator()(int r, int c) const
{
    return const_cast<Array2d *>(this)->operator()(r, c);
}

template <class T>
inline T *Array2d<T>::row(int r)
{
    if (r < rlbd_ || r > rubd_)
        IndexFault(r, clbd_);
    return data_ + static_cast<long long>(r - rlbd_) * get_cols();
}

template <class T>
inline const T *Array2d<T>::row(int r) const
{
    return const_cast<Array2d *>(this)->row(r);
}

#endif
