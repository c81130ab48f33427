// kxregex.h - KXRegex, the regular expression that KXString's pattern overloads accept.
//
// Dialect: PCRE2 (Perl-compatible regular expressions) in its 8-bit library, matching bytes
// without UTF or Unicode properties, like KXString itself: "." is any byte except a line feed,
// \d \w \s are ASCII classes, character classes, alternation, greedy and lazy quantifiers,
// groups, anchors ^ $ \b, look-ahead and look-behind are all available. The only option is
// case-insensitive matching (ASCII letters). Empty matches never count: a pattern that could
// match nothing is made to match at least one byte or fail.
//
// A KXRegex that failed to compile (IsValid() false, ErrorText() tells why) matches nothing.
// Searching keeps scratch match data inside the object, so one KXRegex must not be used from
// two threads at once (the library is single-threaded).
#ifndef KX_FOUNDATION_KXREGEX_H
#define KX_FOUNDATION_KXREGEX_H

#include "kx/foundation/kxstring.h"

class KXRegex {
public:
    KXRegex() = default;
    /// Compiles the pattern at once; check IsValid().
    explicit KXRegex(const char *pattern, bool ignoreCase = false);
    KXRegex(const KXRegex &other);
    KXRegex &operator=(const KXRegex &other);
    ~KXRegex();

    /// Replaces the pattern; false (and ErrorText() set) when it does not compile.
    bool Compile(const char *pattern, bool ignoreCase = false);
    bool IsValid() const { return code != nullptr; }
    const KXString &Pattern() const { return pattern; }
    bool IgnoresCase() const { return caseless; }
    /// The compiler's message and the offset in the pattern where it stopped ("" and -1 when
    /// the pattern compiled).
    const KXString &ErrorText() const { return errorText; }
    int ErrorOffset() const { return errorOffset; }

    /// The position of a match in the `length` bytes at `text` (or -1), with its length in
    /// matchLength. startpos >= 0 finds the first match starting at or after startpos; a
    /// negative startpos finds the match with the last start that ends at or before position
    /// length + startpos.
    [[nodiscard]] int Search(const char *text, int length, int startpos, int &matchLength) const;
    /// The length of a match starting exactly at pos (or -1). With toEnd the match must also
    /// end exactly at `length`.
    [[nodiscard]] int Match(const char *text, int length, int pos, bool toEnd = false) const;

private:
    void Free();
    int Run(const char *text, int length, int pos, unsigned options, int &matchLength) const;

    KXString pattern;
    KXString errorText;
    int errorOffset = -1;
    bool caseless = false;
    void *code = nullptr;      // pcre2_code_8 *
    void *matchData = nullptr; // pcre2_match_data_8 *, scratch
};

#endif
