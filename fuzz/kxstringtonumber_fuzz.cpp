// Fuzzes the strict reader kxStringToNumber for int, float, double and complex, and checks the
// properties that must hold for any text: failures leave the value alone, successes agree
// across the types.
#include "kx/foundation/kxstring.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size); // stops at a zero byte
    const char *t = text.c_str();

    double d = 12345.0;
    const bool okDouble = kxStringToNumber(t, d);
    if (!okDouble && d != 12345.0)
        std::abort();

    float f = 1.5f;
    const bool okFloat = kxStringToNumber(t, f);
    if (okFloat != okDouble || (!okFloat && f != 1.5f))
        std::abort();

    int i = 77;
    const bool okInt = kxStringToNumber(t, i);
    if (okInt && !okDouble)
        std::abort();
    if (okInt && std::fabs(d - i) > 0.5)
        std::abort();
    if (!okInt && i != 77)
        std::abort();

    std::complex<double> z(3.0, 4.0);
    const bool okComplex = kxStringToNumber(t, z);
    if (okDouble && (!okComplex || z.imag() != 0.0))
        std::abort();
    if (!okComplex && z != std::complex<double>(3.0, 4.0))
        std::abort();

    int n = 0;
    kxComplexToNumber(z, n);
    return 0;
}
