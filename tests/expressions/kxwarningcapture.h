// kxwarningcapture.h - test helpers for the expression tests: a collector of what the library
// writes to the warning log, and a one-line way to make a named variable.
#ifndef KX_TESTS_EXPRESSIONS_KXWARNINGCAPTURE_H
#define KX_TESTS_EXPRESSIONS_KXWARNINGCAPTURE_H

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"

#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <utility>

using cx = std::complex<double>;

/// Installs a print-line hook for the test's duration; Take() returns and clears what reached
/// the warning channel.
class WarningCapture {
public:
    WarningCapture() { Install(&Hook); }
    ~WarningCapture() { Install(nullptr); }
    std::string Take() { return std::exchange(text_, std::string()); }

private:
    static inline std::string text_;
    static void Install(void (*hook)(int, const char *))
    {
        text_.clear();
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, hook, nullptr);
    }
    static void Hook(int channel, const char *line)
    {
        if (channel == kxWarningChannel)
            text_ += line;
    }
};

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
