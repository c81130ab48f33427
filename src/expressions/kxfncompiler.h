// kxfncompiler.h - the formula compiler's character classes. The compiler itself is the nested
// class KXExpressionT<T>::Compiler, defined in kxfncompiler.cpp next to Compile(), its one user:
// recursive descent over the text, splitting at operators outermost level first, that hands the
// operators and operands it finds to the code generator (kxfnoptimiser.h) in postfix order.
// Brackets are matched once per text, so every scan steps over a bracketed group in one move and
// each level costs the length of its own top-level text only. Operators of one level are
// collected in a single scan and their operands compiled left to right (no recursion per
// operator); recursion happens only into brackets, calls, signs, "**" and named sub-formulas,
// and is bounded by kxExprMaxDepth through one guard object.
#ifndef KX_EXPRESSIONS_KXFNCOMPILER_H
#define KX_EXPRESSIONS_KXFNCOMPILER_H

namespace kxfn {

inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }
inline bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
inline bool IsNameChar(char c) { return IsLetter(c) || IsDigit(c) || c == '_'; }

} // namespace kxfn

#endif
