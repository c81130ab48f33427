// Fuzzes the scanning readers atoD, atoF, atoI, hexatoI and atoCx: any text gives a value and
// an error flag of 0 or 1, and the forms with and without the flag agree.
#include "kx/foundation/kxstring.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {
void CheckFlag(int err)
{
    if (err != 0 && err != 1)
        std::abort();
}
bool Same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    const char *t = text.c_str();
    int err = -1;

    const double d = atoD(t, err);
    CheckFlag(err);
    if (!Same(d, atoD(t)) || (err && d != 0.0))
        std::abort();

    const float f = atoF(t, err);
    CheckFlag(err);
    if (!Same(f, atoF(t)))
        std::abort();

    const int i = atoI(t, err);
    CheckFlag(err);
    if (i != atoI(t) || (err && i != 0))
        std::abort();

    err = -1;
    const int h = hexatoI(t, err);
    if (err != 0 || h != hexatoI(t))
        std::abort();

    const std::complex<double> z = atoCx(t, err);
    CheckFlag(err);
    const std::complex<double> z2 = atoCx(t);
    if (!Same(z.real(), z2.real()) || !Same(z.imag(), z2.imag()))
        std::abort();
    return 0;
}
