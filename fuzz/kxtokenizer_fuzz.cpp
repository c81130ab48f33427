// Fuzzes KXStringTokenizer and sliceup. The input is split at its first zero byte into the text
// and the delimiters / template. Checks: tokens are never empty and never contain a delimiter
// (unless returned as one), the tokens put together are the text without the dropped
// delimiters, and sliceup's count matches its list.
#include "kx/foundation/kxtokenizer.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(data), size);
    const size_t cut = input.find('\0');
    const std::string text = input.substr(0, cut);
    const std::string second =
        cut == std::string::npos ? std::string(",; ") : input.substr(cut + 1);
    const char *delims = second.c_str(); // up to the next zero byte

    for (bool returnDelims : {false, true}) {
        KXStringTokenizer tok(text.c_str(), delims, returnDelims);
        std::string joined;
        int seen = 0;
        while (tok.HasMoreTokens()) {
            const KXString t = tok.GetNextToken();
            ++seen;
            if (t.Empty())
                std::abort();
            const bool isDelim = t.Length() == 1 && std::strchr(delims, t[0]);
            if (!isDelim && std::strpbrk(t, delims) && *delims)
                std::abort();
            if (isDelim && !returnDelims)
                std::abort();
            joined += t.c_str();
        }
        if (seen != tok.CountTokens() || !tok.GetNextToken().Empty())
            std::abort();
        std::string expected;
        for (char c : text)
            if (returnDelims || !*delims || !std::strchr(delims, c))
                expected += c;
        if (joined != expected)
            std::abort();
    }

    int count = -1;
    StringTok *list = sliceup(text.c_str(), delims, count);
    int records = 0;
    size_t total = 0;
    for (const StringTok *p = list; p; p = p->next, ++records)
        total += std::strlen(p->text);
    if (records != count + 1 || total > text.size())
        std::abort();
    delete list;
    return 0;
}
