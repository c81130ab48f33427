// kxdynarray.h - append-only arrays indexed from 0 whose elements never move.
//
// The arrays grow in blocks of a fixed number of elements: block 0 is allocated at the first
// Add, and the addresses of blocks 1, 2, ... are kept in a table that is itself a
// kxVoidPointerArray with the same block size. Blocks are never reallocated, so a reference to
// an element stays valid until Clear or destruction, and Add never copies earlier elements.
//
// kxIntArray, kxBoolArray, kxDoubleArray, kxVoidPointerArray and kxGarbageArrayArray are the
// instances in use; kxDynArray<T> is the template underneath them. Copies are deep (the copy
// has its own blocks with the same block size).
//
// An index outside 0..Size()-1 is fatal through exitfn, exit code 1.
#ifndef KX_FOUNDATION_KXDYNARRAY_H
#define KX_FOUNDATION_KXDYNARRAY_H

#include "kx/foundation/kxerror.h"

#include <cstddef>

template <class T>
class kxDynArray {
public:
    /// Elements per block (64 when not given); a block size below 1 is taken as 1.
    explicit kxDynArray(int blockSize = 64) : blockSize_(blockSize < 1 ? 1 : blockSize) {}
    kxDynArray(const kxDynArray &other) : kxDynArray(other.blockSize_) { CopyFrom(other); }
    kxDynArray &operator=(const kxDynArray &other);
    ~kxDynArray() { FreeBlocks(first_, further_); }

    /// Appends a copy of `value`; returns its 0-based index.
    int Add(const T &value)
    {
        if (next_ == end_)
            StartBlock(NewBlock(first_, further_, blockSize_));
        *next_ = value;
        return static_cast<int>(blockBase_ + (next_++ - block_));
    }

    /// The element at 0-based i (0 <= i < Size()).
    T &operator[](int i) const;

    int Size() const { return block_ ? static_cast<int>(blockBase_ + (next_ - block_)) : 0; }
    int BlockSize() const { return blockSize_; }

    /// Frees every block and the block table; Size() becomes 0.
    void Clear();

private:
    // The slow paths take the block pointers by value and never see `this`, so that an array
    // filled in a loop can live in registers (its address never escapes).
    struct Grown {
        T *block;
        kxDynArray<void *> *further;
    };
    static Grown NewBlock(T *first, kxDynArray<void *> *further, int blockSize);
    static void FreeBlocks(T *first, kxDynArray<void *> *further);
    [[noreturn]] static void IndexFault(int i, int count);
    void StartBlock(Grown grown)
    {
        if (!first_) {
            first_ = grown.block;
            blockBase_ = 0;
        } else {
            further_ = grown.further;
            blockBase_ += blockSize_;
        }
        block_ = next_ = grown.block;
        end_ = grown.block + blockSize_;
    }
    void CopyFrom(const kxDynArray &other);

    int blockSize_;
    T *first_ = nullptr;                    // block 0
    kxDynArray<void *> *further_ = nullptr; // addresses of blocks 1, 2, ...
    // The block being filled. The fill state is kept in pointers and a ptrdiff_t so that
    // storing an element (an int, say) cannot alias it and Add stays as cheap as a vector's.
    T *block_ = nullptr;
    T *next_ = nullptr;            // next free slot
    T *end_ = nullptr;             // one past the block's last slot
    std::ptrdiff_t blockBase_ = 0; // index of block_[0]
};

template <class T>
kxDynArray<T> &kxDynArray<T>::operator=(const kxDynArray &other)
{
    if (this == &other)
        return *this;
    Clear();
    blockSize_ = other.blockSize_;
    CopyFrom(other);
    return *this;
}

template <class T>
void kxDynArray<T>::CopyFrom(const kxDynArray &other)
{
    const int n = other.Size();
    for (int i = 0; i < n; ++i)
        Add(other[i]);
}

template <class T>
typename kxDynArray<T>::Grown kxDynArray<T>::NewBlock(T *first, kxDynArray<void *> *further,
                                                      int blockSize)
{
    T *block = new T[blockSize];
    if (first) {
        if (!further)
            further = new kxDynArray<void *>(blockSize);
        further->Add(block);
    }
    return {block, further};
}

template <class T>
void kxDynArray<T>::FreeBlocks(T *first, kxDynArray<void *> *further)
{
    if (further) {
        for (int b = 0; b < further->Size(); ++b)
            delete[] static_cast<T *>((*further)[b]);
        delete further;
    }
    delete[] first;
}

template <class T>
void kxDynArray<T>::IndexFault(int i, int count)
{
    exitfn(1, "Dynamic array index %d out of bounds 0 <= index < %d\n", i, count);
}

template <class T>
inline T &kxDynArray<T>::operator[](int i) const
{
    const int count = Size();
    if (i < 0 || i >= count)
        IndexFault(i, count);
    const int block = i / blockSize_;
    const int slot = i % blockSize_;
    if (block == 0)
        return first_[slot];
    return static_cast<T *>((*further_)[block - 1])[slot];
}

template <class T>
inline void kxDynArray<T>::Clear()
{
    FreeBlocks(first_, further_);
    first_ = nullptr;
    further_ = nullptr;
    block_ = next_ = end_ = nullptr;
    blockBase_ = 0;
}

// ---------------------------------------------------------------------------------------------

/// A registered pointer and whether it is still to be freed.
struct kxGarbageArray {
    void *pointer = nullptr;
    bool live = false;
};

class kxIntArray : public kxDynArray<int> {
public:
    using kxDynArray<int>::kxDynArray;
};

class kxBoolArray : public kxDynArray<bool> {
public:
    using kxDynArray<bool>::kxDynArray;
};

class kxDoubleArray : public kxDynArray<double> {
public:
    using kxDynArray<double>::kxDynArray;
};

class kxVoidPointerArray : public kxDynArray<void *> {
public:
    using kxDynArray<void *>::kxDynArray;
};

class kxGarbageArrayArray : public kxDynArray<kxGarbageArray> {
public:
    using kxDynArray<kxGarbageArray>::kxDynArray;
};

#endif
