// kxstring.cpp - KXString storage, editing, searching and comparison; KXSubString views.
#include "kx/foundation/kxstring.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxregex.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <utility>

KXStrRep kxEmptyStrRep = {0, 0, {0}};

namespace {

constexpr uint32_t kMaxBlockSize = 0x40000002u;

bool IsLower(unsigned char c) { return c >= 'a' && c <= 'z'; }
bool IsUpper(unsigned char c) { return c >= 'A' && c <= 'Z'; }
bool IsLetter(unsigned char c) { return IsLower(c) || IsUpper(c); }
bool IsDigit(unsigned char c) { return c >= '0' && c <= '9'; }
unsigned char FoldUp(unsigned char c)
{
    return IsLower(c) ? static_cast<unsigned char>(c - 32) : c;
}
unsigned char FoldDown(unsigned char c)
{
    return IsUpper(c) ? static_cast<unsigned char>(c + 32) : c;
}

int TextLength(const char *text) { return text ? static_cast<int>(std::strlen(text)) : 0; }

/// memcpy that accepts a null source when there is nothing to copy.
void CopyBytes(char *dst, const char *src, size_t n)
{
    if (n > 0)
        std::memcpy(dst, src, n);
}

/// A block for length n under the allocation rule, length and terminator not yet set; null
/// (after reporting) when the size is refused.
KXStrRep *NewRep(uint32_t n)
{
    const uint32_t b = KXStrRep::BlockSize(n);
    if (b < 4 || b > kMaxBlockSize) {
        KXString::Error("Requested length out of range");
        return nullptr;
    }
    auto *r = static_cast<KXStrRep *>(std::malloc(b - 4));
    if (!r) {
        KXString::Error("Requested length out of range");
        return nullptr;
    }
    r->capacity = b - 16;
    return r;
}

/// A total length as a 32-bit value, or UINT32_MAX (refused by NewRep) when it overflows int.
uint32_t TotalLength(long long total)
{
    return total < 0 || total > INT_MAX ? UINT32_MAX : static_cast<uint32_t>(total);
}

int CompareFolded(const char *a, int la, const char *b, int lb)
{
    const int n = la < lb ? la : lb;
    for (int i = 0; i < n; ++i) {
        const int ca = FoldUp(static_cast<unsigned char>(a[i]));
        const int cb = FoldUp(static_cast<unsigned char>(b[i]));
        if (ca != cb)
            return ca - cb;
    }
    return la - lb;
}

bool EqualFolded(const char *a, const char *b, int n)
{
    for (int i = 0; i < n; ++i)
        if (FoldUp(static_cast<unsigned char>(a[i])) != FoldUp(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

uint32_t KXStrRep::BlockSize(uint32_t n)
{
    if (n == 0)
        return 16;
    if (n > UINT32_MAX - 16)
        return 0;
    const uint32_t wanted = n + 16;
    uint32_t b = 16;
    do
        b <<= 1;
    while (b != 0 && b < wanted);
    return b;
}

// -- faults -----------------------------------------------------------------------------------

void KXString::Error(const char *message) { kxLibraryError("KXString", message); }

char &KXString::BadIndex()
{
    Error("invalid index");
    static char scratch;
    scratch = '\0';
    return scratch;
}

// -- storage ----------------------------------------------------------------------------------

void KXString::Release() noexcept
{
    if (rep && rep != &kxEmptyStrRep)
        std::free(rep);
    rep = &kxEmptyStrRep;
}

bool KXString::Resize(uint32_t n)
{
    if (rep != &kxEmptyStrRep && n <= rep->capacity) {
        rep->length = n;
        rep->chars[n] = '\0';
        return true;
    }
    if (n == 0)
        return true; // the shared empty representation already has length 0
    KXStrRep *r = NewRep(n);
    if (!r)
        return false;
    const uint32_t keep = rep->length < n ? rep->length : n;
    std::memcpy(r->chars, rep->chars, keep);
    r->length = n;
    r->chars[n] = '\0';
    Release();
    rep = r;
    return true;
}

KXString::KXString(const KXString &other) : rep(&kxEmptyStrRep)
{
    Assign(other.rep->chars, other.Length());
}

KXString::KXString(const char *text) : rep(&kxEmptyStrRep) { Assign(text, TextLength(text)); }

KXString::KXString(const char *text, int length) : rep(&kxEmptyStrRep) { Assign(text, length); }

KXString::KXString(const KXSubString &view) : rep(&kxEmptyStrRep)
{
    Assign(view.Data(), view.Length());
}

KXString::KXString(char c) : rep(&kxEmptyStrRep) { Assign(&c, 1); }

KXString &KXString::operator=(const KXString &other)
{
    if (this != &other)
        Assign(other.rep->chars, other.Length());
    return *this;
}

KXString &KXString::operator=(KXString &&other) noexcept
{
    if (this != &other) {
        Release();
        rep = other.rep;
        other.rep = &kxEmptyStrRep;
    }
    return *this;
}

KXString &KXString::operator=(const char *text) { return Assign(text, TextLength(text)); }
KXString &KXString::operator=(const KXSubString &view)
{
    return Assign(view.Data(), view.Length());
}
KXString &KXString::operator=(char c) { return Assign(&c, 1); }

KXString &KXString::Assign(const char *text, int length)
{
    if (!text || length < 0)
        length = 0;
    const uint32_t n = static_cast<uint32_t>(length);
    if (rep != &kxEmptyStrRep && n <= rep->capacity) {
        std::memmove(rep->chars, text ? text : "", n); // the text may lie inside this block
        rep->length = n;
        rep->chars[n] = '\0';
        return *this;
    }
    if (n == 0)
        return *this;
    KXStrRep *r = NewRep(n);
    if (!r)
        return *this;
    std::memcpy(r->chars, text, n);
    r->length = n;
    r->chars[n] = '\0';
    Release();
    rep = r;
    return *this;
}

void KXString::Alloc(int n)
{
    const uint32_t old = rep->length;
    if (!Resize(static_cast<uint32_t>(n)))
        return;
    if (rep->length > old)
        std::memset(rep->chars + old, 0, rep->length - old);
}

KXString &KXString::AppendGrow(const char *text, int length)
{
    KXStrRep *r = NewRep(TotalLength(static_cast<long long>(rep->length) + length));
    if (!r)
        return *this;
    std::memcpy(r->chars, rep->chars, rep->length);
    std::memcpy(r->chars + rep->length, text, static_cast<size_t>(length)); // before freeing
    r->length = rep->length + static_cast<uint32_t>(length);
    r->chars[r->length] = '\0';
    Release();
    rep = r;
    return *this;
}

void KXString::Scat(const char *a, int la, const char *b, int lb, const char *c, int lc)
{
    la = a && la > 0 ? la : 0;
    lb = b && lb > 0 ? lb : 0;
    lc = c && lc > 0 ? lc : 0;
    const uint32_t total = TotalLength(static_cast<long long>(la) + lb + lc);
    const auto inside = [this](const char *p) {
        const auto q = reinterpret_cast<uintptr_t>(p);
        const auto lo = reinterpret_cast<uintptr_t>(rep->chars);
        return p && q >= lo && q <= lo + rep->capacity;
    };
    KXStrRep *r = rep;
    if (rep != &kxEmptyStrRep && total <= rep->capacity && (inside(a) || inside(b) || inside(c))) {
        // The block is kept: join the pieces elsewhere first, then copy the result back.
        KXString joined;
        joined.Scat(a, la, b, lb, c, lc);
        Assign(joined.rep->chars, joined.Length());
        return;
    }
    if (rep == &kxEmptyStrRep || total > rep->capacity) {
        if (total == 0) {
            Assign(nullptr, 0);
            return;
        }
        r = NewRep(total);
        if (!r)
            return;
    }
    CopyBytes(r->chars, a, static_cast<size_t>(la));
    CopyBytes(r->chars + la, b, static_cast<size_t>(lb));
    CopyBytes(r->chars + la + lb, c, static_cast<size_t>(lc));
    r->length = total;
    r->chars[total] = '\0';
    if (r != rep) {
        Release();
        rep = r;
    }
}

void KXString::Sprepend(const char *text, int length) { Replace(0, 0, text, length); }

KXString &KXString::Prepend(const char *text)
{
    Sprepend(text, TextLength(text));
    return *this;
}
KXString &KXString::Prepend(const KXString &s)
{
    Sprepend(s.rep->chars, s.Length());
    return *this;
}
KXString &KXString::Prepend(const KXSubString &view)
{
    Sprepend(view.Data(), view.Length());
    return *this;
}
KXString &KXString::Prepend(char c)
{
    Sprepend(&c, 1);
    return *this;
}

// -- editing ----------------------------------------------------------------------------------

void KXString::Replace(int pos, int len, const char *text, int textLength)
{
    const int n = Length();
    if (static_cast<unsigned>(pos) > static_cast<unsigned>(n)) {
        Error("invalid index");
        return;
    }
    len = len < 0 ? 0 : (len > n - pos ? n - pos : len);
    textLength = text && textLength > 0 ? textLength : 0;
    if (len == 0 && textLength == 0)
        return;
    const uint32_t newLength = TotalLength(static_cast<long long>(n) - len + textLength);
    const auto t = reinterpret_cast<uintptr_t>(text);
    const auto lo = reinterpret_cast<uintptr_t>(rep->chars);
    const bool inside = textLength > 0 && t >= lo && t <= lo + rep->capacity;
    if (rep != &kxEmptyStrRep && newLength <= rep->capacity) {
        if (inside) {
            // The block is kept: the text moves while the tail shifts, so copy it out first.
            const KXString copy(text, textLength);
            Replace(pos, len, copy.rep->chars, textLength);
            return;
        }
        std::memmove(rep->chars + pos + textLength, rep->chars + pos + len,
                     static_cast<size_t>(n - pos - len) + 1);
        CopyBytes(rep->chars + pos, text, static_cast<size_t>(textLength));
        rep->length = newLength;
        return;
    }
    if (newLength == 0) {
        Assign(nullptr, 0);
        return;
    }
    KXStrRep *r = NewRep(newLength);
    if (!r)
        return;
    std::memcpy(r->chars, rep->chars, static_cast<size_t>(pos));
    CopyBytes(r->chars + pos, text, static_cast<size_t>(textLength));
    std::memcpy(r->chars + pos + textLength, rep->chars + pos + len,
                static_cast<size_t>(n - pos - len));
    r->length = newLength;
    r->chars[newLength] = '\0';
    Release();
    rep = r;
}

void KXString::Replace(int pos, int len, const char *text)
{
    Replace(pos, len, text, TextLength(text));
}
void KXString::Replace(int pos, int len, const KXString &s)
{
    Replace(pos, len, s.rep->chars, s.Length());
}
void KXString::Insert(int pos, const char *text) { Replace(pos, 0, text, TextLength(text)); }
void KXString::Insert(int pos, const KXString &s) { Replace(pos, 0, s.rep->chars, s.Length()); }

void KXString::Del(int pos, int len)
{
    if (pos < 0 || pos >= Length() || len <= 0)
        return;
    Replace(pos, len, nullptr, 0);
}

void KXString::Del(char c, int startpos) { Del(Index(c, startpos), 1); }

void KXString::Del(const char *pattern, int startpos)
{
    const int len = TextLength(pattern);
    Del(Search(pattern, len, startpos), len);
}

void KXString::Del(const KXString &pattern, int startpos)
{
    Del(Search(pattern.rep->chars, pattern.Length(), startpos), pattern.Length());
}

void KXString::Del(const KXSubString &pattern, int startpos)
{
    Del(Search(pattern.Data(), pattern.Length(), startpos), pattern.Length());
}

void KXString::Del(const KXRegex &pattern, int startpos)
{
    int len = 0;
    const int pos = RegexSearch(pattern, startpos, len);
    Del(pos, len);
}

int KXString::ReplaceAll(const char *pattern, int length, const char *replacement,
                         int replacementLength)
{
    if (length <= 0 || Empty())
        return 0;
    KXString out;
    int count = 0;
    int from = 0;
    for (int p; (p = Search(pattern, length, from)) >= 0; from = p + length, ++count) {
        out.Append(rep->chars + from, p - from);
        out.Append(replacement, replacementLength);
    }
    if (count == 0)
        return 0;
    out.Append(rep->chars + from, Length() - from);
    Assign(out.rep->chars, out.Length());
    return count;
}

int KXString::GSub(const char *pattern, const char *replacement)
{
    return ReplaceAll(pattern, TextLength(pattern), replacement, TextLength(replacement));
}
int KXString::GSub(const char *pattern, const KXString &replacement)
{
    return ReplaceAll(pattern, TextLength(pattern), replacement.rep->chars, replacement.Length());
}
int KXString::GSub(const KXString &pattern, const char *replacement)
{
    return ReplaceAll(pattern.rep->chars, pattern.Length(), replacement, TextLength(replacement));
}
int KXString::GSub(const KXString &pattern, const KXString &replacement)
{
    return ReplaceAll(pattern.rep->chars, pattern.Length(), replacement.rep->chars,
                      replacement.Length());
}
int KXString::GSub(const KXSubString &pattern, const char *replacement)
{
    return ReplaceAll(pattern.Data(), pattern.Length(), replacement, TextLength(replacement));
}
int KXString::GSub(const KXSubString &pattern, const KXString &replacement)
{
    return ReplaceAll(pattern.Data(), pattern.Length(), replacement.rep->chars,
                      replacement.Length());
}
int KXString::GSub(const KXRegex &pattern, const char *replacement)
{
    return GSub(pattern, KXString(replacement));
}

int KXString::GSub(const KXRegex &pattern, const KXString &replacement)
{
    if (Empty())
        return 0;
    KXString out;
    int count = 0;
    int from = 0;
    int len = 0;
    for (int p; from < Length() && (p = RegexSearch(pattern, from, len)) >= 0;
         from = p + len, ++count) {
        out.Append(rep->chars + from, p - from);
        out.Append(replacement);
    }
    if (count == 0)
        return 0;
    out.Append(rep->chars + from, Length() - from);
    Assign(out.rep->chars, out.Length());
    return count;
}

void KXString::Reverse()
{
    char *lo = rep->chars;
    char *hi = rep->chars + rep->length;
    while (lo + 1 < hi) {
        const char t = *lo;
        *lo++ = *--hi;
        *hi = t;
    }
}

void KXString::Upcase()
{
    for (uint32_t i = 0; i < rep->length; ++i)
        rep->chars[i] = static_cast<char>(FoldUp(static_cast<unsigned char>(rep->chars[i])));
}

void KXString::Downcase()
{
    for (uint32_t i = 0; i < rep->length; ++i)
        rep->chars[i] = static_cast<char>(FoldDown(static_cast<unsigned char>(rep->chars[i])));
}

void KXString::Capitalize()
{
    char *p = rep->chars;
    char *const end = p + rep->length;
    while (p < end) {
        const auto c = static_cast<unsigned char>(*p);
        if (!IsLetter(c)) {
            ++p;
            continue;
        }
        *p = static_cast<char>(FoldUp(c));
        for (++p; p < end; ++p) {
            const auto w = static_cast<unsigned char>(*p);
            if (!IsLetter(w) && !IsDigit(w) && w != '\'')
                break;
            *p = static_cast<char>(FoldDown(w));
        }
    }
}

// -- searching --------------------------------------------------------------------------------

namespace {

/// The search rule for one byte in the n bytes at s.
int FindByte(const char *s, int n, char c, int startpos)
{
    if (startpos >= 0) {
        if (startpos >= n)
            return -1;
        const void *p = std::memchr(s + startpos, c, static_cast<size_t>(n - startpos));
        return p ? static_cast<int>(static_cast<const char *>(p) - s) : -1;
    }
    const int last = n + startpos; // the match must end at or before this position
    if (last < 0)
        return -1;
    const void *p = memrchr(s, c, static_cast<size_t>(last) + 1);
    return p ? static_cast<int>(static_cast<const char *>(p) - s) : -1;
}

/// The search rule for `length` bytes at `pattern` in the n bytes at s: a first-character
/// scan, then a comparison of the rest.
int FindBytes(const char *s, int n, const char *pattern, int length, int startpos, bool fold)
{
    if (!pattern || length <= 0 || n == 0 || length > n)
        return -1;
    if (length == 1 && !fold)
        return FindByte(s, n, pattern[0], startpos);
    if (startpos >= 0) {
        if (startpos > n - length)
            return -1;
        if (fold) {
            for (int i = startpos; i <= n - length; ++i)
                if (EqualFolded(s + i, pattern, length))
                    return i;
            return -1;
        }
        const char *const last = s + n - length; // the last possible start
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
    // Backward: the last start whose match ends at or before position n + startpos.
    int i = n + startpos - length + 1;
    if (i > n - length)
        i = n - length;
    if (fold) {
        for (; i >= 0; --i)
            if (EqualFolded(s + i, pattern, length))
                return i;
        return -1;
    }
    for (; i >= 0; --i) {
        const void *p = memrchr(s, pattern[0], static_cast<size_t>(i) + 1);
        if (!p)
            return -1;
        i = static_cast<int>(static_cast<const char *>(p) - s);
        if (std::memcmp(s + i + 1, pattern + 1, static_cast<size_t>(length) - 1) == 0)
            return i;
    }
    return -1;
}

} // namespace

int KXString::IndexBackward(char c, int startpos) const
{
    return FindByte(rep->chars, Length(), c, startpos);
}

int KXString::SearchOther(const char *pattern, int length, int startpos, CaseCompare cmp) const
{
    return FindBytes(rep->chars, Length(), pattern, length, startpos, cmp == ignoreCase);
}

int KXString::Index(const KXSubString &pattern, int startpos) const
{
    return Search(pattern.Data(), pattern.Length(), startpos);
}
int KXString::Index(const char *pattern, int startpos, CaseCompare cmp) const
{
    return Search(pattern, TextLength(pattern), startpos, cmp);
}
int KXString::Index(const KXString &pattern, int startpos, CaseCompare cmp) const
{
    return Search(pattern.rep->chars, pattern.Length(), startpos, cmp);
}

int KXString::RegexSearch(const KXRegex &pattern, int startpos, int &matchLength) const
{
    matchLength = 0;
    if (Empty())
        return -1;
    return pattern.Search(rep->chars, Length(), startpos, matchLength);
}

int KXString::Index(const KXRegex &pattern, int startpos) const
{
    int len = 0;
    return RegexSearch(pattern, startpos, len);
}

int KXString::MatchAt(const char *pattern, int length, int pos, bool whole) const
{
    const int n = Length();
    if (!pattern || length <= 0 || n == 0)
        return 0;
    int start = pos;
    if (pos < 0) {
        start = n + pos - length + 1;
        if (whole && start != 0)
            return 0;
    } else if (whole && n - pos != length) {
        return 0;
    }
    if (start < 0 || start > n - length)
        return 0;
    return std::memcmp(rep->chars + start, pattern, static_cast<size_t>(length)) == 0;
}

int KXString::Contains(char c, int pos) const { return MatchAt(&c, 1, pos, false); }
int KXString::Contains(const char *pattern, int pos) const
{
    return MatchAt(pattern, TextLength(pattern), pos, false);
}
int KXString::Contains(const KXString &pattern, int pos) const
{
    return MatchAt(pattern.rep->chars, pattern.Length(), pos, false);
}
int KXString::Contains(const KXSubString &pattern, int pos) const
{
    return MatchAt(pattern.Data(), pattern.Length(), pos, false);
}
int KXString::Matches(char c, int pos) const { return MatchAt(&c, 1, pos, true); }
int KXString::Matches(const char *pattern, int pos) const
{
    return MatchAt(pattern, TextLength(pattern), pos, true);
}
int KXString::Matches(const KXString &pattern, int pos) const
{
    return MatchAt(pattern.rep->chars, pattern.Length(), pos, true);
}
int KXString::Matches(const KXSubString &pattern, int pos) const
{
    return MatchAt(pattern.Data(), pattern.Length(), pos, true);
}

int KXString::Contains(const KXRegex &pattern, int pos) const
{
    const int n = Length();
    if (n == 0)
        return 0;
    if (pos >= 0)
        return pos < n && pattern.Match(rep->chars, n, pos) > 0;
    const int end = n + pos + 1; // a match must end exactly here
    for (int start = 0; start < end; ++start)
        if (pattern.Match(rep->chars, end, start, true) > 0)
            return 1;
    return 0;
}

int KXString::Matches(const KXRegex &pattern, int pos) const
{
    const int n = Length();
    if (n == 0)
        return 0;
    if (pos >= 0)
        return pos < n && pattern.Match(rep->chars, n, pos, true) > 0;
    const int end = n + pos + 1;
    return end > 0 && pattern.Match(rep->chars, end, 0, true) > 0;
}

int KXString::Freq(char c) const
{
    int count = 0;
    const char *p = rep->chars;
    const char *const end = p + rep->length;
    while ((p = static_cast<const char *>(std::memchr(p, c, static_cast<size_t>(end - p)))) !=
           nullptr) {
        ++count;
        ++p;
    }
    return count;
}

int KXString::Count(const char *pattern, int length) const
{
    int count = 0;
    if (length <= 0)
        return 0;
    for (int p = 0; (p = Search(pattern, length, p)) >= 0; ++p)
        ++count;
    return count;
}

int KXString::Freq(const char *pattern) const { return Count(pattern, TextLength(pattern)); }
int KXString::Freq(const KXString &pattern) const
{
    return Count(pattern.rep->chars, pattern.Length());
}
int KXString::Freq(const KXSubString &pattern) const
{
    return Count(pattern.Data(), pattern.Length());
}

// -- sub-strings ------------------------------------------------------------------------------

KXSubString KXString::View(int pos, int len) const
{
    if (pos < 0 || len < 0 || pos > Length() - len)
        return KXSubString(KXSubString::EmptyString(), 0, 0);
    return KXSubString(*this, pos, len);
}

KXSubString KXString::operator()(int pos, int len) const { return View(pos, len); }
KXSubString KXString::At(int pos, int len) const { return View(pos, len); }

KXString KXString::SubString(int pos, int len) const
{
    const KXSubString v = View(pos, len);
    return KXString(v.Data(), v.Length());
}

KXSubString KXString::BeforeMatch(int pos) const { return pos < 0 ? View(-1, 0) : View(0, pos); }
KXSubString KXString::ThroughMatch(int pos, int len) const
{
    return pos < 0 ? View(-1, 0) : View(0, pos + len);
}
KXSubString KXString::AfterMatch(int pos, int len) const
{
    return pos < 0 ? View(-1, 0) : View(pos + len, Length() - pos - len);
}
KXSubString KXString::FromMatch(int pos) const
{
    return pos < 0 ? View(-1, 0) : View(pos, Length() - pos);
}

KXSubString KXString::Before(int pos) const { return BeforeMatch(pos); }
KXSubString KXString::Through(int pos) const { return ThroughMatch(pos, 1); }
KXSubString KXString::After(int pos) const { return AfterMatch(pos, 1); }
KXSubString KXString::From(int pos) const { return FromMatch(pos); }

// The pattern overloads of At, Before, Through, After and From: one search, then a view.
#define KX_PATTERN_VIEWS(Type, BYTES)                                                              \
    KXSubString KXString::At(Type pattern, int startpos) const                                     \
    {                                                                                              \
        const char *p = nullptr;                                                                   \
        int len = 0;                                                                               \
        BYTES(pattern, p, len);                                                                    \
        const int pos = Search(p, len, startpos);                                                  \
        return pos < 0 ? View(-1, 0) : View(pos, len);                                             \
    }                                                                                              \
    KXSubString KXString::Before(Type pattern, int startpos) const                                 \
    {                                                                                              \
        const char *p = nullptr;                                                                   \
        int len = 0;                                                                               \
        BYTES(pattern, p, len);                                                                    \
        return BeforeMatch(Search(p, len, startpos));                                              \
    }                                                                                              \
    KXSubString KXString::Through(Type pattern, int startpos) const                                \
    {                                                                                              \
        const char *p = nullptr;                                                                   \
        int len = 0;                                                                               \
        BYTES(pattern, p, len);                                                                    \
        return ThroughMatch(Search(p, len, startpos), len);                                        \
    }                                                                                              \
    KXSubString KXString::After(Type pattern, int startpos) const                                  \
    {                                                                                              \
        const char *p = nullptr;                                                                   \
        int len = 0;                                                                               \
        BYTES(pattern, p, len);                                                                    \
        return AfterMatch(Search(p, len, startpos), len);                                          \
    }                                                                                              \
    KXSubString KXString::From(Type pattern, int startpos) const                                   \
    {                                                                                              \
        const char *p = nullptr;                                                                   \
        int len = 0;                                                                               \
        BYTES(pattern, p, len);                                                                    \
        return FromMatch(Search(p, len, startpos));                                                \
    }
#define KX_CHAR_BYTES(x, p, len) (p = &x, len = 1)
#define KX_TEXT_BYTES(x, p, len) (p = x, len = TextLength(x))
#define KX_STRING_BYTES(x, p, len) (p = x.c_str(), len = x.Length())
#define KX_VIEW_BYTES(x, p, len) (p = x.Data(), len = x.Length())
KX_PATTERN_VIEWS(char, KX_CHAR_BYTES)
KX_PATTERN_VIEWS(const char *, KX_TEXT_BYTES)
KX_PATTERN_VIEWS(const KXString &, KX_STRING_BYTES)
KX_PATTERN_VIEWS(const KXSubString &, KX_VIEW_BYTES)
#undef KX_PATTERN_VIEWS
#undef KX_CHAR_BYTES
#undef KX_TEXT_BYTES
#undef KX_STRING_BYTES
#undef KX_VIEW_BYTES

KXSubString KXString::At(const KXRegex &pattern, int startpos) const
{
    int len = 0;
    const int pos = RegexSearch(pattern, startpos, len);
    return pos < 0 ? View(-1, 0) : View(pos, len);
}
KXSubString KXString::Before(const KXRegex &pattern, int startpos) const
{
    int len = 0;
    return BeforeMatch(RegexSearch(pattern, startpos, len));
}
KXSubString KXString::Through(const KXRegex &pattern, int startpos) const
{
    int len = 0;
    const int pos = RegexSearch(pattern, startpos, len);
    return ThroughMatch(pos, len);
}
KXSubString KXString::After(const KXRegex &pattern, int startpos) const
{
    int len = 0;
    const int pos = RegexSearch(pattern, startpos, len);
    return AfterMatch(pos, len);
}
KXSubString KXString::From(const KXRegex &pattern, int startpos) const
{
    int len = 0;
    return FromMatch(RegexSearch(pattern, startpos, len));
}

KXSubString KXString::Strip(StripType type, char c) const
{
    int b = 0;
    int e = Length();
    if (type & leading)
        while (b < e && rep->chars[b] == c)
            ++b;
    if (type & trailing)
        while (e > b && rep->chars[e - 1] == c)
            --e;
    return View(b, e - b);
}

// -- classification ---------------------------------------------------------------------------

bool KXString::IsAscii() const
{
    for (uint32_t i = 0; i < rep->length; ++i)
        if (static_cast<unsigned char>(rep->chars[i]) >= 128)
            return false;
    return true;
}

bool KXString::IsWord() const
{
    for (uint32_t i = 0; i < rep->length; ++i)
        if (!IsLetter(static_cast<unsigned char>(rep->chars[i])))
            return false;
    return true;
}

bool KXString::IsNumber() const
{
    for (uint32_t i = 0; i < rep->length; ++i)
        if (!IsDigit(static_cast<unsigned char>(rep->chars[i])))
            return false;
    return true;
}

bool KXString::OK() const
{
    if (!rep)
        return false;
    if (rep == &kxEmptyStrRep)
        return rep->length == 0 && rep->capacity == 0 && rep->chars[0] == '\0';
    return rep->length <= rep->capacity && rep->capacity <= kMaxBlockSize - 16 &&
           rep->chars[rep->length] == '\0';
}

// -- comparison -------------------------------------------------------------------------------

int KXString::CompareIgnoringCase(const char *other, int length) const
{
    return CompareFolded(rep->chars, Length(), other, length);
}

int KXString::CompareTo(const char *other, CaseCompare cmp) const
{
    const char *t = other ? other : "";
    if (cmp == ignoreCase)
        return CompareFolded(rep->chars, Length(), t, TextLength(t));
    return kxCompareBytes(rep->chars, Length(), t, TextLength(t));
}

int FCompare(const char *a, const char *b)
{
    return CompareFolded(a ? a : "", TextLength(a), b ? b : "", TextLength(b));
}

// -- formatting -------------------------------------------------------------------------------

int KXString::sprintf(const char *fmt, ...)
{
    char buffer[1024];
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(buffer, sizeof buffer, fmt, args);
    va_end(args);
    if (n < 0) {
        Assign(nullptr, 0);
        return 0;
    }
    if (n < static_cast<int>(sizeof buffer)) {
        Assign(buffer, n);
        return n;
    }
    size_t size = 2 * sizeof buffer;
    while (size <= static_cast<size_t>(n))
        size *= 2;
    char *heap = static_cast<char *>(std::malloc(size));
    if (!heap) {
        Error("Requested length out of range");
        return 0;
    }
    va_start(args, fmt);
    const int m = std::vsnprintf(heap, size, fmt, args);
    va_end(args);
    Assign(heap, m < 0 ? 0 : m);
    std::free(heap);
    return m < 0 ? 0 : m;
}

// -- KXSubString ------------------------------------------------------------------------------

const KXString &KXSubString::EmptyString()
{
    static const KXString empty;
    return empty;
}

char KXSubString::operator[](int i) const
{
    if (static_cast<unsigned>(i) >= static_cast<unsigned>(len)) {
        KXString::Error("invalid index");
        return '\0';
    }
    return Data()[i];
}

int KXSubString::Index(char c, int startpos) const { return FindByte(Data(), len, c, startpos); }

int KXSubString::Index(const char *pattern, int startpos) const
{
    return FindBytes(Data(), len, pattern, TextLength(pattern), startpos, false);
}

bool KXSubString::OK() const
{
    return str.OK() && pos >= 0 && len >= 0 && pos <= str.Length() - len;
}

// -- concatenation ----------------------------------------------------------------------------

namespace {
KXString Joined(const char *a, int la, const char *b, int lb)
{
    KXString r;
    r.Scat(a, la, b, lb);
    return r;
}
} // namespace

KXString operator+(const KXString &a, const KXString &b)
{
    return Joined(a.c_str(), a.Length(), b.c_str(), b.Length());
}
KXString operator+(const KXString &a, const KXSubString &b)
{
    return Joined(a.c_str(), a.Length(), b.Data(), b.Length());
}
KXString operator+(const KXString &a, const char *b)
{
    return Joined(a.c_str(), a.Length(), b, TextLength(b));
}
KXString operator+(const KXString &a, char b) { return Joined(a.c_str(), a.Length(), &b, 1); }
KXString operator+(const KXSubString &a, const KXString &b)
{
    return Joined(a.Data(), a.Length(), b.c_str(), b.Length());
}
KXString operator+(const KXSubString &a, const KXSubString &b)
{
    return Joined(a.Data(), a.Length(), b.Data(), b.Length());
}
KXString operator+(const KXSubString &a, const char *b)
{
    return Joined(a.Data(), a.Length(), b, TextLength(b));
}
KXString operator+(const KXSubString &a, char b) { return Joined(a.Data(), a.Length(), &b, 1); }
KXString operator+(const char *a, const KXString &b)
{
    return Joined(a, TextLength(a), b.c_str(), b.Length());
}
KXString operator+(const char *a, const KXSubString &b)
{
    return Joined(a, TextLength(a), b.Data(), b.Length());
}
KXString operator+(KXString &&a, const KXString &b) { return std::move(a.Append(b)); }
KXString operator+(KXString &&a, const char *b) { return std::move(a.Append(b)); }
KXString operator+(KXString &&a, char b) { return std::move(a += b); }

// -- other free functions ---------------------------------------------------------------------

KXString Reverse(const KXString &s)
{
    KXString r(s);
    r.Reverse();
    return r;
}
KXString Upcase(const KXString &s)
{
    KXString r(s);
    r.Upcase();
    return r;
}
KXString Downcase(const KXString &s)
{
    KXString r(s);
    r.Downcase();
    return r;
}
KXString Capitalize(const KXString &s)
{
    KXString r(s);
    r.Capitalize();
    return r;
}

KXString KX_Replicate(char c, int n)
{
    KXString r;
    if (n < 1)
        return r;
    r.Alloc(n);
    if (r.Length() == n)
        std::memset(&r[0], c, static_cast<size_t>(n));
    return r;
}

KXString KX_Replicate(const KXString &s, int n)
{
    KXString r;
    if (n < 1 || s.Empty())
        return r;
    const long long total = static_cast<long long>(s.Length()) * n;
    if (total > INT_MAX) {
        KXString::Error("Requested length out of range");
        return r;
    }
    r.Alloc(static_cast<int>(total));
    if (r.Length() != total)
        return r;
    for (int i = 0; i < n; ++i)
        std::memcpy(&r[i * s.Length()], s.c_str(), static_cast<size_t>(s.Length()));
    return r;
}

void minimisestring(KXString &s)
{
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    const char *p = s.c_str();
    int b = 0;
    int e = s.Length();
    while (b < e && blank(p[b]))
        ++b;
    while (e > b && blank(p[e - 1]))
        --e;
    if (b > 0 || e < s.Length())
        s.Assign(p + b, e - b);
}

void minimisestring(char *text, char c)
{
    if (!text)
        return;
    for (size_t n = std::strlen(text); n > 0 && (text[n - 1] == c || text[n - 1] == ' '); --n)
        text[n - 1] = '\0';
}

void RemoveComments(KXString &s)
{
    for (int p; (p = s.Index("//")) >= 0;) {
        const int eol = s.Index('\n', p);
        s.Del(p, (eol < 0 ? s.Length() : eol) - p);
    }
    s.GSub("\n", "");
}
