// kxchecksum.h - CheckSum, the 128-bit value by which an object tree detects that its state has
// changed, and the classes built on it: Checkable (an object that computes its checksum from
// what it publishes) and Updatable (an object that remembers the checksum of the state it last
// brought itself up to date for).
//
// CheckSum arithmetic: four 32-bit words w0..w3 (w0 least significant), all 0 at first. Each
// Append of n words first rotates the 128-bit value left by 3 bits (once, even for n = 0), then
// XORs word i into w(i mod 4). An int or bool is one word; a double its 8 bytes as 2 words, a
// complex 4 words, another CheckSum its 4 words; a text is copied, the bytes from its
// terminating NUL up to the next multiple of 4 are set to 0xFE, and ceil((length + 1) / 4)
// words are appended. char and short are appended as int, float as double. Words are taken
// from the bytes in memory order, so checksums of doubles and texts are those of this
// (little-endian) machine.
//
// WriteString writes the value as 32 lower-case hex digits, w3 first (most significant first).
//
// The floating-point guard of getCurrCheckSum: doubles are appended bit for bit, so the same
// state must compute the same bits. The first getCurrCheckSum sets the SSE rounding mode to
// round-to-nearest and clears flush-to-zero and denormals-are-zero (the x86-64 counterpart of
// the x87 precision control), and remembers these bits; every later call restores them when
// other code changed them and, if they will not stick, prints "Oops, still wrong ( %x instead
// of %x )\n" (the bits found, the bits wanted) through wlprintf.
//
// This header and kxobject.h include each other; either may be included first.
#ifndef KX_OBJECTS_KXCHECKSUM_H
#define KX_OBJECTS_KXCHECKSUM_H

#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kx/objects/kxobject.h"

class CheckSum {
public:
    CheckSum() = default;
    /// A checksum with the given words (w0 least significant).
    CheckSum(std::uint32_t w0, std::uint32_t w1, std::uint32_t w2, std::uint32_t w3)
        : lo_(w0 | std::uint64_t(w1) << 32), hi_(w2 | std::uint64_t(w3) << 32)
    {
    }

    void Append(bool value)
    {
        const std::uint32_t word = value ? 1u : 0u;
        Append(&word, 1);
    }
    void Append(int value)
    {
        std::uint32_t word;
        std::memcpy(&word, &value, sizeof word);
        Append(&word, 1);
    }
    void Append(double value)
    {
        std::uint32_t words[2];
        std::memcpy(words, &value, sizeof words);
        Rotate();
        lo_ ^= words[0] | std::uint64_t(words[1]) << 32;
    }
    void Append(const std::complex<double> &value)
    {
        std::uint32_t words[4];
        std::memcpy(words, &value, sizeof words);
        Append(words, 4);
    }
    /// A NUL-terminated text; null counts as the empty text.
    void Append(const char *text) { AppendText(text, text ? std::strlen(text) : 0); }
    void Append(const CheckSum &other)
    {
        Rotate();
        lo_ ^= other.lo_;
        hi_ ^= other.hi_;
    }
    /// The first `length` bytes of `text` as a text of that length (padded as above).
    void AppendText(const char *text, std::size_t length);

    [[nodiscard]] bool operator==(const CheckSum &other) const
    {
        return lo_ == other.lo_ && hi_ == other.hi_;
    }
    [[nodiscard]] bool operator!=(const CheckSum &other) const { return !(*this == other); }

    /// Word i (0..3; w0 least significant); other indices give 0.
    [[nodiscard]] std::uint32_t GetWord(int i) const;
    bool IsZero() const { return lo_ == 0 && hi_ == 0; }
    void Clear() { lo_ = hi_ = 0; }

    /// Writes the 32 hex digits (w3 first) and a NUL into `buffer` of `size` bytes, cut to fit;
    /// returns false when it had to be cut (size below 33).
    bool WriteString(char *buffer, int size) const;

private:
    /// The raw form: rotates once, then XORs word i into w(i mod 4).
    void Append(const std::uint32_t *words, int count);
    /// XORs a word into w(index mod 4).
    void Xor(int index, std::uint32_t word)
    {
        const std::uint64_t w = word;
        switch (index & 3) {
        case 0: lo_ ^= w; break;
        case 1: lo_ ^= w << 32; break;
        case 2: hi_ ^= w; break;
        default: hi_ ^= w << 32; break;
        }
    }
    void Rotate()
    {
        const std::uint64_t lo = lo_;
        lo_ = lo << 3 | hi_ >> 61;
        hi_ = hi_ << 3 | lo >> 61;
    }

    std::uint64_t lo_ = 0; ///< w1:w0
    std::uint64_t hi_ = 0; ///< w3:w2
};

inline void CheckSum::Append(const std::uint32_t *words, int count)
{
    Rotate();
    for (int i = 0; i < count; ++i)
        Xor(i, words[i]);
}

class Updatable;

/// An object whose state is summarised by the checksum of what it publishes.
class Checkable : public KXObject {
    KX_DECLARE_CLASS(Checkable)
public:
    /// Guards the floating-point control state, then computes the checksum of everything the
    /// object publishes (recursively through its published children). A cyclic structure
    /// reports "%s::getCurrCheckSum. Recursive structure!" and gives an all-zero checksum.
    [[nodiscard]] CheckSum getCurrCheckSum();
    /// Sends kxMsgUpdate post-order through the tree to the objects `target` reaches (so every
    /// out-of-date Updatable among them updates itself, children first), then returns
    /// getCurrCheckSum().
    [[nodiscard]] CheckSum getUpdatedCheckSum(const char *target);
    /// Sends kxMsgIsOutOfDate through the tree; true when an Updatable of the tree found its
    /// stored checksum different from its current one.
    [[nodiscard]] bool IsOutOfDate();

    using KXObject::DeclareChild;
    void DeclareChild(Checkable &child) { KXObject::DeclareChild(child); }
    void DeclareChild(Updatable &child);
};

/// An object that keeps the checksum of the state for which it last brought itself up to date.
class Updatable : public Checkable {
    KX_DECLARE_CLASS(Updatable)
public:
    /// Brings the object up to date. Derived classes recompute what they derive from their
    /// state and then call Updatable::Update, which stores the current checksum. `target` is
    /// the filter of the update request (derived classes may use it to limit the work).
    /// Returns true when the object is up to date afterwards.
    virtual bool Update(const char *target);
    /// True when the stored checksum differs from the current one.
    [[nodiscard]] bool IsSelfOutOfDate() { return sum_ != getCurrCheckSum(); }

    const CheckSum &GetCheckSum() const { return sum_; }
    void SetCheckSum(const CheckSum &sum) { sum_ = sum; }

    /// Keeps a copy of the stored checksum; LoadState brings it back.
    void SaveState() override { savedSum_ = sum_; }
    void LoadState() override { sum_ = savedSum_; }
    /// Forgets the stored checksum (zero), so that the object counts as out of date.
    void ResetTop() override { sum_.Clear(); }
    /// Handles kxMsgIsOutOfDate and kxMsgUpdate; other ids go to KXObject::OnMessage.
    void OnMessage(KXMessage &message) override;

private:
    CheckSum sum_;
    CheckSum savedSum_;
};

inline void Checkable::DeclareChild(Updatable &child) { KXObject::DeclareChild(child); }

inline void KXObject::CollectCheckSum(CheckSum &out)
{
    out.Clear();
    KXObjectEvent record = KXObjectEvent::ForCheckSum(out);
    const kxAppendResult pushed = appendEvent(record);
    if (pushed == kxAppendRecursion)
        ReportCheckSumCycle();
    if (pushed != kxAppended)
        return;
    OnPublish();
    eraseTopEvent();
    if (record.recursive)
        out.Clear();
}

// -- the inline checksum paths of the publications ---------------------------------------------
inline void KXObject::OnPublish()
{
    if (CheckSum *sum = CheckSumSink(kxPublishReadOnly)) { // "objtype": the name, folded once
        const std::uint32_t *digest = getClassInfo()->GetNameDigest();
        sum->Append(CheckSum(digest[0], digest[1], digest[2], digest[3]));
        return;
    }
    PublishVar("objtype", getClassName(), "class name of the object", kxPublishReadOnly);
}

inline void KXObject::PublishObj(const char *name, KXObject *child, const char *help, int flags)
{
    if (CheckSum *sum = CheckSumSink(flags)) {
        if (child) {
            CheckSum childSum;
            child->CollectCheckSum(childSum);
            sum->Append(childSum);
        }
        return;
    }
    PublishObjOther(name, child, help, flags);
}

// char and short are appended as int, float as double (the promotions of CheckSum::Append).
template <class T>
inline void KXObject::PublishNumber(const char *name, T &var, const char *help, int flags,
                                    const kxPublishedKind &kind)
{
    if (CheckSum *sum = CheckSumSink(flags))
        sum->Append(var);
    else
        PublishValue(name, help, flags, kind, &var, 0);
}

inline void KXObject::PublishVar(const char *name, bool &var, const char *help, int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedBool);
}

inline void KXObject::PublishVar(const char *name, char &var, const char *help, int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedChar);
}

inline void KXObject::PublishVar(const char *name, short &var, const char *help, int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedShort);
}

inline void KXObject::PublishVar(const char *name, int &var, const char *help, int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedInt);
}

inline void KXObject::PublishVar(const char *name, float &var, const char *help, int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedFloat);
}

inline void KXObject::PublishVar(const char *name, double &var, const char *help, int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedDouble);
}

inline void KXObject::PublishVar(const char *name, std::complex<double> &var, const char *help,
                                 int flags)
{
    PublishNumber(name, var, help, flags, kxPublishedComplex);
}

inline void KXObject::PublishVar(const char *name, char *buffer, int length, const char *help,
                                 int flags)
{
    PublishValue(name, help, flags, kxPublishedCharArray, buffer, length);
}

inline void KXObject::PublishVar(const char *name, KXString &var, const char *help, int flags)
{
    if (CheckSum *sum = CheckSumSink(flags))
        sum->AppendText(var.c_str(), std::size_t(var.Length()));
    else
        PublishValue(name, help, flags, kxPublishedString, &var, 0);
}

inline void KXObject::PublishVar(const char *name, const char *constantText, const char *help,
                                 int flags)
{
    PublishValue(name, help, flags | kxPublishReadOnly, kxPublishedText,
                 const_cast<char *>(constantText), 0);
}

#endif
