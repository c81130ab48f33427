// kxformat.cpp - printf-style formatting into a std::string of any length.
#include "foundation/kxformat.h"

#include <cstdio>

std::string kxFormatV(const char *fmt, va_list args)
{
    char small[1024];
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    if (n < 0)
        return std::string();
    if (size_t(n) < sizeof small)
        return std::string(small, size_t(n));
    std::string big(size_t(n) + 1, '\0');
    std::vsnprintf(&big[0], big.size(), fmt, args);
    big.resize(size_t(n));
    return big;
}
