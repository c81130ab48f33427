// kxnumtext.cpp - how numbers are written to and read from text: numtoA, kxNumberToString,
// kxWriteNumber, the scanning readers (atoD, atoF, atoI, hexatoI, atoCx) and the strict reader
// of user input, kxStringToNumber.
#include "kx/foundation/kxnumtext.h"

#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxstring.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr double kIntLimit = 2147483647.0;

/// `fmt` applied to `args` (a float goes through the variable arguments as a double).
template <class... Args>
KXString Formatted(const char *fmt, Args... args)
{
    KXString s;
    s.sprintf(fmt, args...);
    return s;
}

// The states of the strict reader.
enum ReadState {
    kStart,
    kSign,
    kInteger,
    kFraction,
    kExponentLetter,
    kExponent,
    kTrailingBlank
};

/// The strict recogniser of a real number; false when the text is not one.
bool ReadReal(const char *text, double &value)
{
    if (!text || !*text)
        return false;
    ReadState state = kStart;
    bool negative = false;
    bool negativeExponent = false;
    double integer = 0.0;
    double fraction = 0.0;
    double place = 0.1;
    int exponent = 0;
    for (const char *p = text; *p; ++p) {
        const char c = *p;
        if (c == ' ') {
            if (state != kStart)
                state = kTrailingBlank;
        } else if (c == '+') {
            if (state == kStart)
                state = kSign;
            else if (state == kExponentLetter)
                state = kExponent;
            else
                return false;
        } else if (c == '-') {
            if (state == kStart) {
                negative = true;
                state = kSign;
            } else if (state == kExponentLetter) {
                negativeExponent = true;
                state = kExponent;
            } else {
                return false;
            }
        } else if (c == '.') {
            if (state != kStart && state != kSign && state != kInteger)
                return false;
            state = kFraction;
        } else if (c == 'e' || c == 'E') {
            if (state != kInteger && state != kFraction)
                return false;
            state = kExponentLetter;
        } else if (c >= '0' && c <= '9') {
            const int digit = c - '0';
            if (state <= kInteger) {
                integer = integer * 10.0 + digit;
                state = kInteger;
            } else if (state == kFraction) {
                fraction += digit * place;
                place *= 0.1;
            } else if (state == kExponentLetter || state == kExponent) {
                if (exponent < 100000) // far past the limit already; stop before overflow
                    exponent = exponent * 10 + digit;
                state = kExponent;
            } else {
                return false;
            }
        } else {
            return false;
        }
    }
    if (state < kInteger || exponent > 308)
        return false;
    if (negative) {
        integer = -integer;
        fraction = -fraction;
    }
    double v = integer + fraction;
    if (integer >= -kIntLimit && integer <= kIntLimit)
        v = kxRoundDoubleToNearestInt(integer) + fraction;
    if (exponent != 0)
        v *= std::exp(std::log(10.0) * (negativeExponent ? -exponent : exponent));
    value = v;
    return true;
}

/// Splits "( real , imaginary )" with blanks around into its two texts; false unless the
/// closing parenthesis is reached and only blanks follow it.
bool SplitComplex(const char *text, KXString &re, KXString &im)
{
    enum {
        kBefore,
        kReal,
        kImaginary,
        kAfter
    } state = kBefore;
    for (const char *p = text; *p; ++p) {
        const char c = *p;
        switch (state) {
        case kBefore:
            if (c == '(')
                state = kReal;
            else if (c != ' ')
                return false;
            break;
        case kReal:
            if (c == ',')
                state = kImaginary;
            else
                re += c;
            break;
        case kImaginary:
            if (c == ')')
                state = kAfter;
            else
                im += c;
            break;
        case kAfter:
            if (c != ' ')
                return false;
            break;
        }
    }
    return state == kAfter;
}

} // namespace

// -- number to text ---------------------------------------------------------------------------

KXString numtoA(int value) { return Formatted("%d", value); }
KXString numtoA(float value) { return Formatted("%g", value); }
KXString numtoA(double value) { return Formatted("%.16lg", value); }
KXString numtoA(const std::complex<double> &value)
{
    return Formatted("(%.16lg,%.16lg)", value.real(), value.imag());
}
KXString hexnumtoA(int value) { return Formatted("%x", value); }
KXString kxNumberToString(int value) { return Formatted("%d", value); }
KXString kxNumberToString(float value) { return Formatted("%.8g", value); }
KXString kxNumberToString(double value) { return Formatted("%.8g", value); }
KXString kxNumberToString(const std::complex<double> &value)
{
    return Formatted("(%.8g, %.8g)", value.real(), value.imag());
}
KXString kxWriteNumber(int value) { return Formatted("%d", value); }
KXString kxWriteNumber(float value) { return Formatted("%lf", value); }
KXString kxWriteNumber(double value) { return Formatted("%lf", value); }
KXString kxWriteNumber(const std::complex<double> &value)
{
    return Formatted("(%lf, %lf)", value.real(), value.imag());
}

// -- scanning readers -------------------------------------------------------------------------

double atoD(const char *text, int &err)
{
    double value = 0.0;
    err = !text || std::sscanf(text, "%lf", &value) != 1;
    return err ? 0.0 : value;
}

float atoF(const char *text, int &err) { return static_cast<float>(atoD(text, err)); }

int atoI(const char *text, int &err)
{
    int value = 0;
    err = !text || std::sscanf(text, "%d", &value) != 1;
    return err ? 0 : value;
}

int hexatoI(const char *text, int &err)
{
    err = 0;
    if (!text)
        return 0;
    return static_cast<int>(static_cast<uint32_t>(std::strtoull(text, nullptr, 16)));
}

std::complex<double> atoCx(const char *text, int &err)
{
    double re = 0.0;
    double im = 0.0;
    err = !text || std::sscanf(text, " (%lf,%lf)", &re, &im) != 2;
    return err ? std::complex<double>() : std::complex<double>(re, im);
}

double atoD(const char *text)
{
    int err;
    return atoD(text, err);
}
float atoF(const char *text)
{
    int err;
    return atoF(text, err);
}
int atoI(const char *text)
{
    int err;
    return atoI(text, err);
}
int hexatoI(const char *text)
{
    int err;
    return hexatoI(text, err);
}
std::complex<double> atoCx(const char *text)
{
    int err;
    return atoCx(text, err);
}

// -- the strict reader ------------------------------------------------------------------------

bool kxStringToNumber(const char *text, double &value) { return ReadReal(text, value); }

bool kxStringToNumber(const char *text, float &value)
{
    double v = 0.0;
    if (!ReadReal(text, v))
        return false;
    value = static_cast<float>(v);
    return true;
}

bool kxStringToNumber(const char *text, int &value)
{
    double v = 0.0;
    if (!ReadReal(text, v) || !(v >= -kIntLimit && v <= kIntLimit))
        return false;
    value = kxRoundDoubleToNearestInt(v);
    return true;
}

bool kxStringToNumber(const char *text, std::complex<double> &value)
{
    double re = 0.0;
    if (ReadReal(text, re)) {
        value = std::complex<double>(re, 0.0);
        return true;
    }
    if (!text)
        return false;
    KXString reText;
    KXString imText;
    double im = 0.0;
    if (!SplitComplex(text, reText, imText) || !ReadReal(reText, re) || !ReadReal(imText, im))
        return false;
    value = std::complex<double>(re, im);
    return true;
}

void kxComplexToNumber(const std::complex<double> &z, int &value)
{
    const double re = z.real();
    if (std::isnan(re))
        value = 0;
    else if (re < -kIntLimit)
        value = -2147483647;
    else if (re > kIntLimit)
        value = 2147483647;
    else
        value = kxRoundDoubleToNearestInt(re);
}

void kxComplexToNumber(const std::complex<double> &z, float &value)
{
    value = static_cast<float>(z.real());
}
void kxComplexToNumber(const std::complex<double> &z, double &value) { value = z.real(); }
void kxComplexToNumber(const std::complex<double> &z, std::complex<double> &value) { value = z; }
