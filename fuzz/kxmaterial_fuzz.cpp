// Fuzz target for the material file readers. The first byte picks the reader: a library of
// material blocks, a refractive-index database YAML file or a plain n,k table; the rest is the
// file. Whatever reads must evaluate without passing on NaN, and must write a text that reads
// back to the same material.
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/materials/kxmatlibrary.h"
#include "kx/materials/kxmatyaml.h"

#include "kxfuzzutil.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using kxfuzz::Check;

bool Same(const std::complex<double> &a, const std::complex<double> &b)
{
    return std::memcmp(&a, &b, sizeof a) == 0 || a == b;
}

/// Evaluates `m` at a few points: a value that is accepted is finite.
void Exercise(kxMaterial &m)
{
    for (double l : {0.2, 0.63, 1.55, 4.0})
        for (double x : {0.0, 0.5, 1.0}) {
            std::complex<double> n;
            if (m.Index(l, 300.0, x, n))
                Check(std::isfinite(n.real()) && std::isfinite(n.imag()), "non-finite index");
            kxIndexDerivatives d;
            if (m.Derivatives(l, 300.0, x, d))
                Check(std::isfinite(d.d2n.real()), "non-finite derivative");
            error.reset();
        }
}

void CheckSameValues(kxMaterial &a, kxMaterial &b)
{
    for (double l : {0.3, 1.0, 1.55})
        Check(Same(a.IndexUnchecked(l, 300.0, 0.5), b.IndexUnchecked(l, 300.0, 0.5)),
              "the material read back differs");
    error.reset();
}

void Library(const std::string &text)
{
    kxMaterialLibrary lib;
    if (!lib.ReadText(text, "fuzz.mat", nullptr)) {
        Check(error != 0, "a failed read without a message");
        error.reset();
        return;
    }
    for (int i = 0; i < lib.Count(); ++i)
        Exercise(*lib.Get(i));
    const std::string written = lib.WriteText();
    kxMaterialLibrary again;
    if (!again.ReadText(written, "written.mat", nullptr)) {
        std::fprintf(stderr, "%s\n---\n%s\n", error.chars(), written.c_str());
        Check(false, "a written library does not read back");
    }
    Check(again.Count() == lib.Count(), "a written library lost materials");
    for (int i = 0; i < lib.Count(); ++i)
        CheckSameValues(*lib.Get(i), *again.Get(i));
}

void Database(const std::string &text, bool yaml)
{
    std::unique_ptr<kxDatabaseMaterial> m(yaml ? kxParseDatabaseYAML(text, "fuzz.yml")
                                               : kxParseTableText(text, "fuzz.txt"));
    if (!m) {
        Check(error != 0, "a failed read without a message");
        error.reset();
        return;
    }
    Exercise(*m);
    const std::string written = kxDatabaseYAMLText(*m);
    std::unique_ptr<kxDatabaseMaterial> again(kxParseDatabaseYAML(written, "written.yml"));
    if (!again) {
        std::fprintf(stderr, "%s\n---\n%s\n", error.chars(), written.c_str());
        Check(false, "a written YAML file does not read back");
    }
    CheckSameValues(*m, *again);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::InitialiseQuietly();
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    switch (data[0] % 3) {
    case 0: Library(text); break;
    case 1: Database(text, true); break;
    default: Database(text, false); break;
    }
    error.reset();
    return 0;
}
