// kxwarningcapture.h - test helper: collects what the library writes to the warning log.
#ifndef KX_TESTS_EXPRESSIONS_KXWARNINGCAPTURE_H
#define KX_TESTS_EXPRESSIONS_KXWARNINGCAPTURE_H

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"

#include <gtest/gtest.h>

#include <string>

/// Installs a print-line hook for the test's duration; Take() returns and clears what reached
/// the warning channel.
class WarningCapture {
public:
    WarningCapture()
    {
        Text().clear();
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, &Hook, nullptr);
    }
    ~WarningCapture()
    {
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    }
    std::string Take()
    {
        std::string text = Text();
        Text().clear();
        return text;
    }

private:
    static std::string &Text()
    {
        static std::string text;
        return text;
    }
    static void Hook(int channel, const char *line)
    {
        if (channel == kxWarningChannel)
            Text() += line;
    }
};

#endif
