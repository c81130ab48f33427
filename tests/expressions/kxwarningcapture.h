// kxwarningcapture.h - test helpers for the expression tests: a collector of what the library
// writes to the warning log, and a one-line way to make a named variable.
#ifndef KX_TESTS_EXPRESSIONS_KXWARNINGCAPTURE_H
#define KX_TESTS_EXPRESSIONS_KXWARNINGCAPTURE_H

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"

#include "../kxoutputcapture.h"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <utility>

using cx = std::complex<double>;

/// A listed variable of ns named name, holding definition as a value or a formula; the
/// namespace owns it.
inline kxNamedVariable *Define(kxNameSpace &ns, const char *name, const char *definition)
{
    auto *v = new kxNamedVariable(&ns);
    EXPECT_TRUE(v->SetName(name)) << name;
    v->SetValueOrExpression(definition);
    return v;
}

#endif
