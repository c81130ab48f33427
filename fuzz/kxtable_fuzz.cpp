// Fuzz target for the table-file reader: any text read as a table of one variable (linear and
// spline) and of two variables (bilinear and bicubic) must give a table or clear messages,
// never a crash, a hang or an out-of-bounds read; the tables built must evaluate anywhere.
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/numerics/kxtablefunction.h"

#include <cmath>
#include <cstdint>
#include <string>

namespace {

void Quiet(int, const char *) {}

void Probe(const kxFunction &f, double lo, double hi)
{
    for (double t : {-0.5, 0.0, 0.3, 0.5, 1.0, 1.7}) {
        const double x = lo + t * (hi - lo);
        volatile double v = f.Value(x, x) + f.Derivative(x, x, 0) + f.Derivative(x, x, 1);
        (void)v;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool installed = [] {
        InitialiseKXUtils("fuzz", KXString("kxfuzz"), 1, nullptr, nullptr, nullptr, &Quiet,
                          nullptr);
        return true;
    }();
    (void)installed;
    const std::string text(reinterpret_cast<const char *>(data), size);

    kxTable1D t1(size % 2 ? kxTableLinear : kxTableSpline);
    if (t1.ReadText(text.c_str(), "fuzz") || t1.Count() >= 2)
        Probe(t1, t1.X().front(), t1.X().back());
    error.reset();

    kxTable2D t2(size % 3 ? kxTableBicubic : kxTableBilinear);
    if (t2.ReadText(text.c_str(), "fuzz") || t2.CountX() >= 2)
        Probe(t2, -1.0, 1.0);
    error.reset();
    ResetSyntaxErrFlag();
    return 0;
}
