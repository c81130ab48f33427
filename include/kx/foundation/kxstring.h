// kxstring.h - KXString, the library's one text type: a byte string with an explicit length,
// an always-present terminating zero byte and a growth policy of its own; KXSubString views on
// it. The free functions that write numbers to text and read them back are declared in
// kxnumtext.h, which this header includes.
//
// Representation and ownership
// ----------------------------
// A KXString holds exactly one pointer to a KXStrRep block (length, capacity, characters and a
// terminating zero). There is no reference count and no copy-on-write: copying a string copies
// its characters into a block of its own. Every empty string that never owned a block points
// at one shared, static, empty representation that is never written and never freed; any
// operation that writes allocates a fresh block first. Moving a string hands its block over
// and leaves the source on the shared empty representation.
//
// Allocation rule: for a wanted length n the block size b starts at 16 and is doubled (at least
// once) until b >= n + 16; the recorded capacity is b - 16, so capacities run 16, 48, 112,
// 240, ... A block that is large enough is reused in place, shortening never reallocates, and
// a block size above 0x40000002 is refused with "Requested length out of range".
//
// Positions are 0-based; -1 means "not found". Searches (Index, Contains, At, Before, Through,
// After, From, Del by pattern) take a start position: 0 or more searches forward from it, a
// negative one searches backward for the last match that ends at or before position
// Length() + start (so -1 finds the last occurrence). An empty pattern or an empty string finds
// nothing.
//
// Faults (an index outside 0 .. Length()-1, an impossible length) go through KXString::Error,
// which hands "KXString" and the message to kxLibraryError (fatal, exit code 1).
//
// Choices made where the behaviour was open:
// - The exact comparisons (the six relational operators, CompareTo(exact)) compare as
//   zero-terminated texts: bytes up to the first difference or the first zero byte, so a string
//   with an embedded zero compares equal to its part ahead of it; a view counts as ending in a
//   zero byte. The first difference is taken as a signed 8-bit value (wrapped to -128 .. 127),
//   so bytes 128 or more apart order in reverse; this is deliberate.
// - CompareTo(ignoreCase) and FCompare return the difference of the first differing folded
//   bytes as unsigned byte values (not wrapped), else the difference of the lengths.
// - Freq counts every position where the pattern occurs, overlapping ones included ("aaaa"
//   holds "aa" three times), while GSub replaces non-overlapping matches from left to right.
// - First(text) and Last(text) are the first and last occurrences of the whole text.
// - Contains(pattern, pos) is true when the pattern occurs starting at pos (for a negative pos:
//   ending at position Length() + pos).
// - A null `const char *` is accepted everywhere as the empty text.
// - The constructor from one character is explicit, so that integers never turn into strings
//   by accident.
// - Assigning an empty text to a string that owns a block keeps the block (length 0); only a
//   string that never owned one stays on the shared empty representation.
// - Alloc fills grown bytes with zeros. Insert and Replace at a position outside
//   0 .. Length() report "invalid index"; Del with such a position does nothing.
// - Views are read-only and have no conversion to `const char *` (a view is not
//   zero-terminated); they convert to KXString by construction or assignment.
#ifndef KX_FOUNDATION_KXSTRING_H
#define KX_FOUNDATION_KXSTRING_H

#include "kx/foundation/kxnumtext.h"

#include <complex>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

class KXRegex;
class KXString;
class KXSubString;

/// The character block of a KXString, allocated as one piece: two header words, then the
/// characters followed by a zero byte. `chars` extends past its declared size to capacity + 1.
struct KXStrRep {
    uint32_t length;   ///< characters in use
    uint32_t capacity; ///< largest length that fits without reallocation
    char chars[1];     ///< the characters and the terminating zero

    /// Block size b for a wanted length n (allocation rule); 0 when the size overflows.
    [[nodiscard]] static uint32_t BlockSize(uint32_t n);
};

/// The shared empty representation (length 0, capacity 0). Never written, never freed.
extern KXStrRep kxEmptyStrRep;

/// Index of the first of the n bytes at a and b where they differ or a holds a zero byte (n
/// when there is none). Scans sixteen bytes at a time (SSE2), then eight, and takes the last
/// part of the range as one more overlapping piece instead of byte by byte: the bytes it reads
/// again are already known to match and be non-zero, so they cannot be the stop.
[[nodiscard]] inline int kxFirstStop(const char *a, const char *b, int n) noexcept
{
#if defined(__SSE2__)
    if (n >= 16) {
        const __m128i zero = _mm_setzero_si128();
        auto stopMask = [&](int at) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + at));
            const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + at));
            return ~(static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, y))) &
                     ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, zero)))) &
                   0xFFFFu;
        };
        int i = 0;
        for (; i + 16 <= n; i += 16)
            if (const unsigned stop = stopMask(i))
                return i + __builtin_ctz(stop);
        if (i == n)
            return n;
        const unsigned stop = stopMask(n - 16);
        return stop ? n - 16 + __builtin_ctz(stop) : n;
    }
#endif
#if !(defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)
    if (n >= 8) {
        // The lowest flagged byte of `zeros` is the first zero byte of x (borrows only run upward).
        auto stopBits = [&](int at) {
            uint64_t x, y;
            std::memcpy(&x, a + at, 8);
            std::memcpy(&y, b + at, 8);
            const uint64_t zeros = (x - 0x0101010101010101ull) & ~x & 0x8080808080808080ull;
            return (x ^ y) | zeros;
        };
        int i = 0;
        for (; i + 8 <= n; i += 8)
            if (const uint64_t stop = stopBits(i))
                return i + (__builtin_ctzll(stop) >> 3);
        if (i == n)
            return n;
        const uint64_t stop = stopBits(n - 8);
        return stop ? n - 8 + (__builtin_ctzll(stop) >> 3) : n;
    }
#endif
    for (int i = 0; i < n; ++i)
        if (a[i] != b[i] || a[i] == '\0')
            return i;
    return n;
}

/// Exact comparison of two byte ranges as zero-terminated texts: each text ends at its first
/// zero byte (embedded or the terminator; a range counts as followed by one). The result is the
/// first difference as a signed 8-bit value (0 when equal); its sign orders them.
[[nodiscard]] inline int kxCompareBytes(const char *a, int la, const char *b, int lb) noexcept
{
    // Unsigned positions: d is never negative, and saying so keeps the optimiser from warning
    // about reads before a literal "" when lb is 0.
    const unsigned d = static_cast<unsigned>(kxFirstStop(a, b, la < lb ? la : lb));
    const unsigned char x = d < static_cast<unsigned>(la) ? static_cast<unsigned char>(a[d]) : 0;
    const unsigned char y = d < static_cast<unsigned>(lb) ? static_cast<unsigned char>(b[d]) : 0;
    return static_cast<signed char>(static_cast<unsigned char>(x - y));
}

class KXString {
public:
    enum CaseCompare {
        exact = 0,
        ignoreCase = 1
    };
    enum StripType {
        leading = 1,
        trailing = 2,
        both = 3
    };

    // -- construction and assignment -----------------------------------------------------
    constexpr KXString() noexcept : rep(&kxEmptyStrRep) {}
    KXString(const KXString &other);
    KXString(KXString &&other) noexcept : rep(other.rep) { other.rep = &kxEmptyStrRep; }
    KXString(const char *text);
    KXString(const char *text, int length);
    KXString(const KXSubString &view);
    explicit KXString(char c);
    ~KXString() { Release(); }

    KXString &operator=(const KXString &other);
    KXString &operator=(KXString &&other) noexcept;
    KXString &operator=(const char *text);
    KXString &operator=(const KXSubString &view);
    KXString &operator=(char c);

    /// Replaces the contents by `length` bytes at `text` (which may lie inside this string).
    KXString &Assign(const char *text, int length);

    /// Resizes to length n, keeping the contents as far as they fit (new bytes are zero).
    void Alloc(int n);
    /// The capacity of the owned block (0 for the shared empty representation).
    int Allocation() const noexcept { return static_cast<int>(rep->capacity); }
    int Length() const noexcept { return static_cast<int>(rep->length); }
    bool Empty() const noexcept { return rep->length == 0; }
    /// True for a string that owns no block (the shared empty representation).
    bool IsNull() const noexcept { return rep == nullptr || rep == &kxEmptyStrRep; }
    bool IsDefined() const noexcept { return !IsNull(); }
    /// The representation itself (for inspection; the string owns it).
    const KXStrRep *Rep() const noexcept { return rep; }

    /// The characters, zero-terminated; valid until the string is next changed or destroyed.
    operator const char *() const noexcept { return rep->chars; }
    const char *c_str() const noexcept { return rep->chars; }

    // -- element access ("invalid index" outside 0 .. Length()-1) ---------------------------
    char &operator[](int i)
    {
        if (static_cast<uint32_t>(i) >= rep->length)
            return BadIndex();
        return rep->chars[i];
    }
    char operator[](int i) const { return Elem(i); }
    [[nodiscard]] char Elem(int i) const
    {
        if (static_cast<uint32_t>(i) >= rep->length)
            return BadIndex();
        return rep->chars[i];
    }
    char Firstchar() const { return Elem(0); }
    char Lastchar() const { return Elem(Length() - 1); }

    // -- concatenation ------------------------------------------------------------------------
    KXString &Append(const char *text, int length)
    {
        if (length <= 0)
            return *this;
        const uint32_t newLength = rep->length + static_cast<uint32_t>(length);
        if (newLength > rep->capacity || newLength < rep->length)
            return AppendGrow(text, length);
        std::memcpy(rep->chars + rep->length, text, static_cast<size_t>(length));
        rep->chars[newLength] = '\0';
        rep->length = newLength;
        return *this;
    }
    KXString &Append(const char *text)
    {
        return text ? Append(text, static_cast<int>(std::strlen(text))) : *this;
    }
    KXString &Append(const KXString &s) { return Append(s.rep->chars, s.Length()); }
    KXString &operator+=(const KXString &s) { return Append(s.rep->chars, s.Length()); }
    KXString &operator+=(const KXSubString &view);
    KXString &operator+=(const char *text) { return Append(text); }
    KXString &operator+=(char c)
    {
        if (rep->length >= rep->capacity)
            return Append(&c, 1);
        rep->chars[rep->length++] = c;
        rep->chars[rep->length] = '\0';
        return *this;
    }

    KXString &Prepend(const char *text);
    KXString &Prepend(const KXString &s);
    KXString &Prepend(const KXSubString &view);
    KXString &Prepend(char c);

    /// Replaces the contents by the pieces a, b and c joined (any may lie inside this string).
    void Scat(const char *a, int la, const char *b, int lb, const char *c = nullptr, int lc = 0);
    /// Puts `length` bytes at `text` in front of the contents.
    void Sprepend(const char *text, int length);

    // -- editing ------------------------------------------------------------------------------
    /// Inserts before position pos (0 .. Length()); other positions report "invalid index".
    void Insert(int pos, const char *text);
    void Insert(int pos, const KXString &s);
    /// Replaces the len characters at pos (clipped to the end) by the text.
    void Replace(int pos, int len, const char *text);
    void Replace(int pos, int len, const KXString &s);
    void Replace(int pos, int len, const char *text, int textLength);
    /// Deletes the len characters at pos (clipped to the end); nothing outside the string.
    void Del(int pos, int len);
    void Remove(int pos, int len) { Del(pos, len); }
    /// Deletes the first match found from startpos (search rule above).
    void Del(char c, int startpos = 0);
    void Del(const char *pattern, int startpos = 0);
    void Del(const KXString &pattern, int startpos = 0);
    void Del(const KXSubString &pattern, int startpos = 0);
    void Del(const KXRegex &pattern, int startpos = 0);
    /// Replaces every non-overlapping match, left to right; returns the number replaced.
    int GSub(const char *pattern, const char *replacement);
    int GSub(const char *pattern, const KXString &replacement);
    int GSub(const KXString &pattern, const char *replacement);
    int GSub(const KXString &pattern, const KXString &replacement);
    int GSub(const KXSubString &pattern, const char *replacement);
    int GSub(const KXSubString &pattern, const KXString &replacement);
    int GSub(const KXRegex &pattern, const char *replacement);
    int GSub(const KXRegex &pattern, const KXString &replacement);

    void Reverse();
    /// Folds a-z to A-Z (Downcase: A-Z to a-z) only; other bytes are left alone.
    void Upcase();
    void Downcase();
    /// Makes a lower-case letter that begins a word upper-case and the rest of the word
    /// (letters, digits, apostrophes) lower-case.
    void Capitalize();

    // -- searching (positions, -1 when not found) ---------------------------------------------
    [[nodiscard]] int Index(char c, int startpos = 0) const
    {
        if (startpos < 0)
            return IndexBackward(c, startpos);
        if (startpos >= Length())
            return -1;
        const void *p =
            std::memchr(rep->chars + startpos, c, rep->length - static_cast<uint32_t>(startpos));
        return p ? static_cast<int>(static_cast<const char *>(p) - rep->chars) : -1;
    }
    [[nodiscard]] int Index(const char *pattern, int startpos = 0) const
    {
        return Search(pattern, pattern ? static_cast<int>(std::strlen(pattern)) : 0, startpos);
    }
    [[nodiscard]] int Index(const KXString &pattern, int startpos = 0) const
    {
        return Search(pattern.rep->chars, pattern.Length(), startpos);
    }
    [[nodiscard]] int Index(const KXSubString &pattern, int startpos = 0) const;
    [[nodiscard]] int Index(const KXRegex &pattern, int startpos = 0) const;
    [[nodiscard]] int Index(const char *pattern, int startpos, CaseCompare cmp) const;
    [[nodiscard]] int Index(const KXString &pattern, int startpos, CaseCompare cmp) const;
    /// The search primitive: `length` bytes at `pattern`, search rule as above. Forward exact
    /// searches scan for the first character with memchr and compare the rest with memcmp.
    [[nodiscard]] int Search(const char *pattern, int length, int startpos = 0,
                             CaseCompare cmp = exact) const
    {
        if (cmp != exact || startpos < 0 || length < 2 || !pattern)
            return SearchOther(pattern, length, startpos, cmp);
        const char *const s = rep->chars;
        if (startpos > Length() - length)
            return -1;
        const char *const last = s + rep->length - length; // the last possible start
        for (const char *p = s + startpos; p <= last; ++p) {
            p = static_cast<const char *>(
                std::memchr(p, pattern[0], static_cast<size_t>(last - p) + 1));
            if (!p)
                return -1;
            if (std::memcmp(p + 1, pattern + 1, static_cast<size_t>(length) - 1) == 0)
                return static_cast<int>(p - s);
        }
        return -1;
    }

    [[nodiscard]] int Contains(char c) const { return Index(c) >= 0; }
    [[nodiscard]] int Contains(const char *pattern) const { return Index(pattern) >= 0; }
    [[nodiscard]] int Contains(const KXString &pattern) const { return Index(pattern) >= 0; }
    [[nodiscard]] int Contains(const KXSubString &pattern) const { return Index(pattern) >= 0; }
    [[nodiscard]] int Contains(const KXRegex &pattern) const { return Index(pattern) >= 0; }
    [[nodiscard]] int Contains(const char *pattern, CaseCompare cmp) const
    {
        return Index(pattern, 0, cmp) >= 0;
    }
    [[nodiscard]] int Contains(const KXString &pattern, CaseCompare cmp) const
    {
        return Index(pattern, 0, cmp) >= 0;
    }
    /// 1 when the pattern occurs starting at pos (negative pos: ending at Length() + pos).
    [[nodiscard]] int Contains(char c, int pos) const;
    [[nodiscard]] int Contains(const char *pattern, int pos) const;
    [[nodiscard]] int Contains(const KXString &pattern, int pos) const;
    [[nodiscard]] int Contains(const KXSubString &pattern, int pos) const;
    [[nodiscard]] int Contains(const KXRegex &pattern, int pos) const;
    /// 1 when the pattern covers exactly pos .. end (negative pos: exactly 0 .. Length() + pos).
    [[nodiscard]] int Matches(char c, int pos = 0) const;
    [[nodiscard]] int Matches(const char *pattern, int pos = 0) const;
    [[nodiscard]] int Matches(const KXString &pattern, int pos = 0) const;
    [[nodiscard]] int Matches(const KXSubString &pattern, int pos = 0) const;
    [[nodiscard]] int Matches(const KXRegex &pattern, int pos = 0) const;

    [[nodiscard]] int First(char c) const { return Index(c, 0); }
    [[nodiscard]] int First(const char *text) const { return Index(text, 0); }
    [[nodiscard]] int First(const KXString &s) const { return Index(s, 0); }
    [[nodiscard]] int Last(char c) const { return Index(c, -1); }
    [[nodiscard]] int Last(const char *text) const { return Index(text, -1); }
    [[nodiscard]] int Last(const KXString &s) const { return Index(s, -1); }

    /// Number of positions where the pattern occurs (overlapping occurrences included).
    [[nodiscard]] int Freq(char c) const;
    [[nodiscard]] int Freq(const char *pattern) const;
    [[nodiscard]] int Freq(const KXString &pattern) const;
    [[nodiscard]] int Freq(const KXSubString &pattern) const;

    // -- sub-strings (views never outlive this string) ----------------------------------------
    /// The view of len characters at pos; the empty view unless it lies wholly inside.
    [[nodiscard]] KXSubString operator()(int pos, int len) const;
    /// A copy of the same stretch.
    [[nodiscard]] KXString SubString(int pos, int len) const;

    [[nodiscard]] KXSubString At(int pos, int len) const;
    [[nodiscard]] KXSubString At(char c, int startpos = 0) const;
    [[nodiscard]] KXSubString At(const char *pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString At(const KXString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString At(const KXSubString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString At(const KXRegex &pattern, int startpos = 0) const;

    /// Everything ahead of pos / up to and including pos / behind pos / from pos on.
    [[nodiscard]] KXSubString Before(int pos) const;
    [[nodiscard]] KXSubString Through(int pos) const;
    [[nodiscard]] KXSubString After(int pos) const;
    [[nodiscard]] KXSubString From(int pos) const;
    /// The same around the first match from startpos; the empty view when there is none.
    [[nodiscard]] KXSubString Before(char c, int startpos = 0) const;
    [[nodiscard]] KXSubString Before(const char *pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Before(const KXString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Before(const KXSubString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Before(const KXRegex &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Through(char c, int startpos = 0) const;
    [[nodiscard]] KXSubString Through(const char *pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Through(const KXString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Through(const KXSubString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString Through(const KXRegex &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString After(char c, int startpos = 0) const;
    [[nodiscard]] KXSubString After(const char *pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString After(const KXString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString After(const KXSubString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString After(const KXRegex &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString From(char c, int startpos = 0) const;
    [[nodiscard]] KXSubString From(const char *pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString From(const KXString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString From(const KXSubString &pattern, int startpos = 0) const;
    [[nodiscard]] KXSubString From(const KXRegex &pattern, int startpos = 0) const;

    /// The view without the leading and/or trailing run of c (the string is not changed).
    [[nodiscard]] KXSubString Strip(StripType type, char c = ' ') const;

    // -- classification (all true for the empty string) ---------------------------------------
    bool IsAscii() const;
    bool IsWord() const;
    bool IsNumber() const;
    /// Checks the invariants of the representation.
    bool OK() const;

    // -- comparison ---------------------------------------------------------------------------
    /// exact: the signed 8-bit difference of the first differing bytes (0 when equal).
    /// ignoreCase: a-z folded to A-Z, the difference of the first differing folded bytes, else
    /// the difference of the lengths.
    [[nodiscard]] int CompareTo(const KXString &other, CaseCompare cmp = exact) const
    {
        if (cmp == exact)
            return kxCompareBytes(rep->chars, Length(), other.rep->chars, other.Length());
        return CompareIgnoringCase(other.rep->chars, other.Length());
    }
    [[nodiscard]] int CompareTo(const char *other, CaseCompare cmp = exact) const;

    // -- formatting ---------------------------------------------------------------------------
    /// Replaces the contents by the formatted text; returns its length.
    int sprintf(const char *fmt, ...) __attribute__((format(printf, 2, 3)));

    /// Hands "KXString" and the message to the library error handler (fatal).
    static void Error(const char *message);

private:
    static char &BadIndex();
    KXString &AppendGrow(const char *text, int length);
    int CompareIgnoringCase(const char *other, int length) const;
    int IndexBackward(char c, int startpos) const;
    int SearchOther(const char *pattern, int length, int startpos, CaseCompare cmp) const;
    /// Makes room for length n (allocation rule), keeping the contents; false when refused.
    bool Resize(uint32_t n);
    void Release() noexcept;
    KXSubString View(int pos, int len) const;
    KXSubString BeforeMatch(int pos) const;
    KXSubString ThroughMatch(int pos, int len) const;
    KXSubString AfterMatch(int pos, int len) const;
    KXSubString FromMatch(int pos) const;
    int MatchAt(const char *pattern, int length, int pos, bool whole) const;
    int Count(const char *pattern, int length) const;
    int ReplaceAll(const char *pattern, int length, const char *replacement, int replacementLength);
    int RegexSearch(const KXRegex &pattern, int startpos, int &matchLength) const;

    KXStrRep *rep;
};

/// A view on part of a KXString: the owner, a start position and a length. It copies nothing
/// and must not outlive the owner or be used after the owner changes. A request that does not
/// lie wholly inside the owner gives the empty view (on a shared empty string, position 0,
/// length 0).
class KXSubString {
public:
    KXSubString(const KXString &owner, int position, int length) noexcept
        : str(owner), pos(position), len(length)
    {
    }

    /// The first character of the view (not zero-terminated at the view's end).
    const char *Data() const noexcept { return str.c_str() + pos; }
    int Length() const noexcept { return len; }
    bool Empty() const noexcept { return len == 0; }
    int Position() const noexcept { return pos; }
    const KXString &Owner() const noexcept { return str; }
    [[nodiscard]] char operator[](int i) const;
    [[nodiscard]] int Index(char c, int startpos = 0) const;
    [[nodiscard]] int Index(const char *pattern, int startpos = 0) const;
    [[nodiscard]] int Contains(const char *pattern) const { return Index(pattern) >= 0; }
    bool OK() const;

    /// The shared empty string that empty views refer to.
    static const KXString &EmptyString();

private:
    const KXString &str;
    int pos;
    int len;
};

inline KXString &KXString::operator+=(const KXSubString &view)
{
    return Append(view.Data(), view.Length());
}

// -- comparison -------------------------------------------------------------------------------
/// Equality as zero-terminated texts (see kxCompareBytes).
inline bool kxEqualBytes(const char *a, int la, const char *b, int lb) noexcept
{
    return kxCompareBytes(a, la, b, lb) == 0;
}

#define KX_STRING_COMPARISONS(LeftType, RightType, LEFT, RIGHT)                                    \
    inline bool operator==(LeftType x, RightType y) { return kxEqualBytes(LEFT(x), RIGHT(y)); }    \
    inline bool operator!=(LeftType x, RightType y) { return !kxEqualBytes(LEFT(x), RIGHT(y)); }   \
    inline bool operator<(LeftType x, RightType y)                                                 \
    {                                                                                              \
        return kxCompareBytes(LEFT(x), RIGHT(y)) < 0;                                              \
    }                                                                                              \
    inline bool operator<=(LeftType x, RightType y)                                                \
    {                                                                                              \
        return kxCompareBytes(LEFT(x), RIGHT(y)) <= 0;                                             \
    }                                                                                              \
    inline bool operator>(LeftType x, RightType y)                                                 \
    {                                                                                              \
        return kxCompareBytes(LEFT(x), RIGHT(y)) > 0;                                              \
    }                                                                                              \
    inline bool operator>=(LeftType x, RightType y)                                                \
    {                                                                                              \
        return kxCompareBytes(LEFT(x), RIGHT(y)) >= 0;                                             \
    }
#define KX_STR_BYTES(s) (s).c_str(), (s).Length()
#define KX_SUB_BYTES(s) (s).Data(), (s).Length()
#define KX_TEXT_BYTES(t) ((t) ? (t) : ""), ((t) ? static_cast<int>(std::strlen(t)) : 0)
KX_STRING_COMPARISONS(const KXString &, const KXString &, KX_STR_BYTES, KX_STR_BYTES)
KX_STRING_COMPARISONS(const KXString &, const KXSubString &, KX_STR_BYTES, KX_SUB_BYTES)
KX_STRING_COMPARISONS(const KXString &, const char *, KX_STR_BYTES, KX_TEXT_BYTES)
KX_STRING_COMPARISONS(const KXSubString &, const KXString &, KX_SUB_BYTES, KX_STR_BYTES)
KX_STRING_COMPARISONS(const KXSubString &, const KXSubString &, KX_SUB_BYTES, KX_SUB_BYTES)
KX_STRING_COMPARISONS(const KXSubString &, const char *, KX_SUB_BYTES, KX_TEXT_BYTES)
KX_STRING_COMPARISONS(const char *, const KXString &, KX_TEXT_BYTES, KX_STR_BYTES)
KX_STRING_COMPARISONS(const char *, const KXSubString &, KX_TEXT_BYTES, KX_SUB_BYTES)
#undef KX_STRING_COMPARISONS
#undef KX_STR_BYTES
#undef KX_SUB_BYTES
#undef KX_TEXT_BYTES

/// Compares without regard to case (a-z folded to A-Z): the difference of the first differing
/// folded bytes, else the difference of the lengths.
[[nodiscard]] int FCompare(const char *a, const char *b);

// -- concatenation ----------------------------------------------------------------------------
KXString operator+(const KXString &a, const KXString &b);
KXString operator+(const KXString &a, const KXSubString &b);
KXString operator+(const KXString &a, const char *b);
KXString operator+(const KXString &a, char b);
KXString operator+(const KXSubString &a, const KXString &b);
KXString operator+(const KXSubString &a, const KXSubString &b);
KXString operator+(const KXSubString &a, const char *b);
KXString operator+(const KXSubString &a, char b);
KXString operator+(const char *a, const KXString &b);
KXString operator+(const char *a, const KXSubString &b);
/// Moves the left string's block on when it has room (a + b + c chains stay cheap).
KXString operator+(KXString &&a, const KXString &b);
KXString operator+(KXString &&a, const char *b);
KXString operator+(KXString &&a, char b);

// -- other free functions ---------------------------------------------------------------------
[[nodiscard]] KXString Reverse(const KXString &s);
[[nodiscard]] KXString Upcase(const KXString &s);
[[nodiscard]] KXString Downcase(const KXString &s);
[[nodiscard]] KXString Capitalize(const KXString &s);

/// n copies of c (n below 1: the empty string); n copies of s.
[[nodiscard]] KXString KX_Replicate(char c, int n);
[[nodiscard]] KXString KX_Replicate(const KXString &s, int n);

/// Removes leading, then trailing, blanks, tabs, carriage returns and line feeds.
void minimisestring(KXString &s);
/// Cuts from the end of a zero-terminated text every trailing c or blank (writes zero bytes).
void minimisestring(char *text, char c);
/// Deletes every "//" comment up to (not including) its line feed, then every line feed.
void RemoveComments(KXString &s);

#endif
