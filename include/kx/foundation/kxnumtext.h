// kxnumtext.h - how numbers are written to and read from text: numtoA, kxNumberToString and
// kxWriteNumber; the scanning readers atoD, atoF, atoI, hexatoI and atoCx; the strict reader of
// user input, kxStringToNumber; and kxComplexToNumber, which narrows a complex value to a
// parameter's type. kxstring.h includes this header, so KXString users have these functions.
#ifndef KX_FOUNDATION_KXNUMTEXT_H
#define KX_FOUNDATION_KXNUMTEXT_H

#include <complex>

class KXString;

// -- number to text ---------------------------------------------------------------------------
// numtoA: "%d", "%g", "%.16lg", "(%.16lg,%.16lg)" - the form that survives a write and read.
// kxNumberToString: "%d", "%.8g", "%.8g", "(%.8g, %.8g)" - for display.
// kxWriteNumber: "%d", "%lf", "%lf", "(%lf, %lf)" - fixed notation, six decimals.
[[nodiscard]] KXString numtoA(int value);
[[nodiscard]] KXString numtoA(float value);
[[nodiscard]] KXString numtoA(double value);
[[nodiscard]] KXString numtoA(const std::complex<double> &value);
/// "%x".
[[nodiscard]] KXString hexnumtoA(int value);
[[nodiscard]] KXString kxNumberToString(int value);
[[nodiscard]] KXString kxNumberToString(float value);
[[nodiscard]] KXString kxNumberToString(double value);
[[nodiscard]] KXString kxNumberToString(const std::complex<double> &value);
[[nodiscard]] KXString kxWriteNumber(int value);
[[nodiscard]] KXString kxWriteNumber(float value);
[[nodiscard]] KXString kxWriteNumber(double value);
[[nodiscard]] KXString kxWriteNumber(const std::complex<double> &value);

// -- text to number: scanning readers ---------------------------------------------------------
// Leading blanks are skipped and trailing text ignored (scanf semantics). The forms with an
// error flag set it to 0 on success and 1 on failure. On failure the result is 0.
[[nodiscard]] double atoD(const char *text);
double atoD(const char *text, int &err);
/// "%lf" narrowed to float.
[[nodiscard]] float atoF(const char *text);
float atoF(const char *text, int &err);
/// "%d".
[[nodiscard]] int atoI(const char *text);
int atoI(const char *text, int &err);
/// Base 16, leading "0x" allowed; the 32 low bits of the value (so "ffffffff" is -1). The
/// error flag is always 0.
[[nodiscard]] int hexatoI(const char *text);
int hexatoI(const char *text, int &err);
/// "(%lf,%lf)" after any leading blanks, real part first; both parts must convert.
[[nodiscard]] std::complex<double> atoCx(const char *text);
std::complex<double> atoCx(const char *text, int &err);

// -- text to number: the strict reader of user input ------------------------------------------
// A plain number: optional blanks, an optional sign, digits with an optional decimal point, an
// optional exponent (e or E, optional sign, digits, magnitude at most 308), optional trailing
// blanks. Deliberate leniencies: "." and "-." read as 0, "1e" reads as 1, a sign followed by
// blanks reads as 0. int: the value must lie within -2147483647 .. 2147483647 and is rounded to
// the nearest integer. complex: a real number (imaginary part 0), or "(" real "," imaginary ")"
// with blanks around, each part read as a real number. Returns false and leaves `value`
// unchanged on failure.
[[nodiscard]] bool kxStringToNumber(const char *text, int &value);
[[nodiscard]] bool kxStringToNumber(const char *text, float &value);
[[nodiscard]] bool kxStringToNumber(const char *text, double &value);
[[nodiscard]] bool kxStringToNumber(const char *text, std::complex<double> &value);

/// Narrows a complex value to a parameter's type: int takes the real part clamped to
/// -2147483647 .. 2147483647 and rounded to the nearest integer (NaN gives 0); float and
/// double take the real part; complex is unchanged.
void kxComplexToNumber(const std::complex<double> &z, int &value);
void kxComplexToNumber(const std::complex<double> &z, float &value);
void kxComplexToNumber(const std::complex<double> &z, double &value);
void kxComplexToNumber(const std::complex<double> &z, std::complex<double> &value);

#endif
