// kxregex.cpp - KXRegex on the PCRE2 8-bit library.
#define PCRE2_CODE_UNIT_WIDTH 8
#include "kx/foundation/kxregex.h"

#include <pcre2.h>

namespace {
pcre2_code *Code(void *p) { return static_cast<pcre2_code *>(p); }
pcre2_match_data *Data(void *p) { return static_cast<pcre2_match_data *>(p); }
} // namespace

KXRegex::KXRegex(const char *text, bool ignoreCase) { Compile(text, ignoreCase); }

KXRegex::KXRegex(const KXRegex &other) { *this = other; }

KXRegex &KXRegex::operator=(const KXRegex &other)
{
    if (this == &other)
        return *this;
    if (other.IsValid()) {
        Compile(other.pattern, other.caseless);
        return *this;
    }
    Free();
    pattern = other.pattern;
    errorText = other.errorText;
    errorOffset = other.errorOffset;
    caseless = other.caseless;
    return *this;
}

KXRegex::~KXRegex() { Free(); }

void KXRegex::Free()
{
    pcre2_match_data_free(Data(matchData));
    pcre2_code_free(Code(code));
    matchData = nullptr;
    code = nullptr;
}

bool KXRegex::Compile(const char *text, bool ignoreCase)
{
    Free();
    pattern = text;
    caseless = ignoreCase;
    errorText = "";
    errorOffset = -1;
    int errorCode = 0;
    PCRE2_SIZE offset = 0;
    pcre2_code *c = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.c_str()),
                                  static_cast<PCRE2_SIZE>(pattern.Length()),
                                  ignoreCase ? PCRE2_CASELESS : 0u, &errorCode, &offset, nullptr);
    if (!c) {
        PCRE2_UCHAR message[256];
        pcre2_get_error_message(errorCode, message, sizeof message);
        errorText = reinterpret_cast<const char *>(message);
        errorOffset = static_cast<int>(offset);
        return false;
    }
    pcre2_jit_compile(c, PCRE2_JIT_COMPLETE); // falls back to the interpreter when unavailable
    code = c;
    matchData = pcre2_match_data_create_from_pattern(c, nullptr);
    return true;
}

int KXRegex::Run(const char *text, int length, int pos, unsigned options, int &matchLength) const
{
    matchLength = 0;
    if (!code || !text || pos < 0 || pos > length)
        return -1;
    const int rc = pcre2_match(Code(code), reinterpret_cast<PCRE2_SPTR>(text),
                               static_cast<PCRE2_SIZE>(length), static_cast<PCRE2_SIZE>(pos),
                               options | PCRE2_NOTEMPTY, Data(matchData), nullptr);
    if (rc < 0)
        return -1;
    const PCRE2_SIZE *ov = pcre2_get_ovector_pointer(Data(matchData));
    matchLength = static_cast<int>(ov[1] - ov[0]);
    return static_cast<int>(ov[0]);
}

int KXRegex::Search(const char *text, int length, int startpos, int &matchLength) const
{
    matchLength = 0;
    if (!code || length <= 0)
        return -1;
    if (startpos >= 0)
        return startpos >= length ? -1 : Run(text, length, startpos, 0, matchLength);
    // Backward: the last start with a match inside the first length + startpos + 1 bytes.
    const int end = length + startpos + 1;
    for (int start = end - 1; start >= 0; --start) {
        const int pos = Run(text, end, start, PCRE2_ANCHORED, matchLength);
        if (pos >= 0)
            return pos;
    }
    matchLength = 0;
    return -1;
}

int KXRegex::Match(const char *text, int length, int pos, bool toEnd) const
{
    int len = 0;
    const unsigned options = PCRE2_ANCHORED | (toEnd ? PCRE2_ENDANCHORED : 0u);
    return Run(text, length, pos, options, len) < 0 ? -1 : len;
}
