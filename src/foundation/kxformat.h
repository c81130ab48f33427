// kxformat.h - printf-style formatting into a std::string, shared by the foundation sources that
// build messages and lines of any length.
#ifndef KX_FOUNDATION_KXFORMAT_H
#define KX_FOUNDATION_KXFORMAT_H

#include <cstdarg>
#include <string>

/// Formats `fmt` with `args` into a string of whatever length the text needs; an encoding error
/// gives an empty string. `args` is consumed as by vsnprintf.
[[nodiscard]] std::string kxFormatV(const char *fmt, va_list args);

#endif
