// kxtokenizer.h - the two tokenizers: KXStringTokenizer (split at delimiter characters) and
// sliceup (cut a line into pieces by a "%" template) with its StringTok list.
#ifndef KX_FOUNDATION_KXTOKENIZER_H
#define KX_FOUNDATION_KXTOKENIZER_H

#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"

/// Splits a text at every character that occurs in the delimiter text. Empty tokens (between
/// adjacent delimiters or at the ends) are not produced; with returnDelims each delimiter is
/// also produced, as a one-character token in its place. The tokens are made at construction
/// and kept in a List (positions from 1) with a cursor starting at 1; copying copies both.
class KXStringTokenizer {
public:
    explicit KXStringTokenizer(const char *text, const char *delimiters = " \t\r\n",
                               bool returnDelims = false);

    /// True while the cursor is not beyond the last token.
    bool HasMoreTokens() const { return cursor <= tokens.size(); }
    /// The token at the cursor, which then advances; the empty string when none is left.
    KXString GetNextToken();
    /// Number of tokens made (read or not).
    int CountTokens() const { return tokens.size(); }
    /// Tokens not read yet.
    int CountRemaining() const { return HasMoreTokens() ? tokens.size() - cursor + 1 : 0; }

private:
    List<KXString> tokens;
    int cursor = 1;
};

/// One piece made by sliceup: a heap copy of the text and the link to the next record. The
/// record owns both: deleting the first record frees the whole list.
struct StringTok {
    char *text = nullptr;
    StringTok *next = nullptr;

    StringTok() = default;
    StringTok(const char *piece, int length);
    StringTok(const StringTok &) = delete;
    StringTok &operator=(const StringTok &) = delete;
    ~StringTok();
};

/// Slices a line by a template. The first record holds the line's leading blanks and tabs (its
/// indentation). Each "%" in the pattern stands for one piece; the characters after it, up to
/// the next "%", end that piece. A piece is gathered until, at bracket depth 0 and outside
/// double quotes, one of its end characters is met (consumed, not kept); no end characters, or
/// the end of the line, end it too. Only the kind of bracket that opened the outermost level
/// counts for the depth. When the first end character is a blank, blanks and tabs after the
/// end are skipped. Pieces are made only while the line has characters left: count receives
/// the number of pieces made (the indentation record not counted). The caller owns the result
/// (delete the first record); it is never null.
[[nodiscard]] StringTok *sliceup(const char *text, const char *pattern, int &count);

#endif
