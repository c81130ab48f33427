// kxmattesthelp.h - helpers for the material tests: a collector of the warning log, the pending
// error's text (taken and cleared) and finite-difference derivatives of a material.
#ifndef KX_TESTS_MATERIALS_KXMATTESTHELP_H
#define KX_TESTS_MATERIALS_KXMATTESTHELP_H

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/materials/materb.h"

#include "../kxoutputcapture.h"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <utility>

using cx = std::complex<double>;

/// The pending error's text; the error is cleared.
inline std::string TakeError()
{
    std::string text = error.chars();
    error.reset();
    return text;
}

/// Central differences of Index with step h (second order), for checking derivatives.
inline void FiniteDifferences(kxMaterial &m, double lambda, double T, double x, double h, cx &d1,
                              cx &d2)
{
    const cx p = m.IndexUnchecked(lambda + h, T, x), c = m.IndexUnchecked(lambda, T, x);
    const cx q = m.IndexUnchecked(lambda - h, T, x);
    d1 = (p - q) / (2 * h);
    d2 = (p - 2.0 * c + q) / (h * h);
}

#endif
