// kxtokenizer.cpp - KXStringTokenizer and sliceup.
#include "kx/foundation/kxtokenizer.h"

#include <cstring>

KXStringTokenizer::KXStringTokenizer(const char *text, const char *delimiters, bool returnDelims)
{
    if (!text)
        return;
    const char *delims = delimiters ? delimiters : "";
    const char *start = text;
    for (const char *p = text;; ++p) {
        const bool atEnd = *p == '\0';
        if (!atEnd && !std::strchr(delims, *p))
            continue;
        if (p > start)
            tokens.append(KXString(start, static_cast<int>(p - start)));
        if (atEnd)
            break;
        if (returnDelims)
            tokens.append(KXString(*p));
        start = p + 1;
    }
}

KXString KXStringTokenizer::GetNextToken()
{
    if (!HasMoreTokens())
        return KXString();
    return tokens[cursor++];
}

StringTok::StringTok(const char *piece, int length) : text(new char[length + 1])
{
    std::memcpy(text, piece, static_cast<size_t>(length));
    text[length] = '\0';
}

StringTok::~StringTok()
{
    delete[] text;
    // Free the rest of the list iteratively, so that a long list cannot exhaust the stack.
    StringTok *p = next;
    while (p) {
        StringTok *following = p->next;
        p->next = nullptr;
        delete p;
        p = following;
    }
}

namespace {

bool IsOpening(char c) { return c == '(' || c == '[' || c == '{'; }

char ClosingOf(char open) { return open == '(' ? ')' : open == '[' ? ']' : '}'; }

/// Gathers one piece from `p` up to one of the `ends` (length endCount) met at depth 0 outside
/// quotes, or to the end of the text. Returns the position of the end character (or of the
/// terminating zero).
const char *GatherPiece(const char *p, const char *ends, size_t endCount)
{
    int depth = 0;
    char open = 0;
    bool quoted = false;
    for (; *p; ++p) {
        const char c = *p;
        if (c == '"') {
            quoted = !quoted;
            continue;
        }
        if (quoted)
            continue;
        if (depth == 0) {
            if (std::memchr(ends, c, endCount))
                return p;
            if (IsOpening(c)) {
                open = c;
                depth = 1;
            }
        } else if (c == open) {
            ++depth;
        } else if (c == ClosingOf(open)) {
            --depth;
        }
    }
    return p;
}

} // namespace

StringTok *sliceup(const char *text, const char *pattern, int &count)
{
    count = 0;
    const char *p = text ? text : "";
    const char *indentEnd = p + std::strspn(p, " \t");
    auto *first = new StringTok(p, static_cast<int>(indentEnd - p));
    p = indentEnd;
    StringTok *last = first;
    for (const char *mark = pattern ? std::strchr(pattern, '%') : nullptr; mark && *p;
         mark = std::strchr(mark + 1, '%')) {
        const char *ends = mark + 1;
        const size_t endCount = std::strcspn(ends, "%");
        const char *end = GatherPiece(p, ends, endCount);
        last->next = new StringTok(p, static_cast<int>(end - p));
        last = last->next;
        ++count;
        p = *end ? end + 1 : end;
        if (endCount > 0 && ends[0] == ' ')
            p += std::strspn(p, " \t");
    }
    return first;
}
