// kxlinescan.h - line scanning over raw block text, shared by FBuff and TextBlock.
#ifndef KX_FOUNDATION_KXLINESCAN_H
#define KX_FOUNDATION_KXLINESCAN_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kxLineScan {

constexpr size_t kMaxText = UINT32_MAX - 1; // positions are 32-bit

/// Blanks inside a line: a "\r" before the newline counts as one.
inline bool IsLineBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// End of the line starting at `from`: just past its "\n", or the end of the text.
inline uint32_t LineEndIn(const char *t, uint32_t len, uint32_t from)
{
    if (from >= len)
        return len;
    const void *nl = std::memchr(t + from, '\n', len - from);
    return nl ? uint32_t(static_cast<const char *>(nl) - t) + 1 : len;
}

/// Position past the blank and whole comment lines starting at `from`.
inline uint32_t SkipCommentLinesIn(const char *t, uint32_t len, uint32_t from)
{
    while (from < len) {
        uint32_t p = from;
        while (p < len && IsLineBlank(t[p]))
            ++p;
        if (p >= len)
            return len;
        if (t[p] == '\n') {
            from = p + 1;
            continue;
        }
        if (t[p] != '/' || p + 1 >= len || t[p + 1] != '/')
            return from;
        from = LineEndIn(t, len, p);
    }
    return from;
}

} // namespace kxLineScan

#endif
