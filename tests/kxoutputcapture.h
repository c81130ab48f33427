// kxoutputcapture.h - test helpers: collect what the library prints through the print-line
// hook (the message window and the warning log) while they live.
#ifndef KX_TESTS_KXOUTPUTCAPTURE_H
#define KX_TESTS_KXOUTPUTCAPTURE_H

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"

#include <string>
#include <utility>

/// Installs a print-line hook for its lifetime; Messages() and Warnings() return and clear what
/// reached the message window and the warning log.
class kxOutputCapture {
public:
    kxOutputCapture() { Install(&Hook); }
    ~kxOutputCapture() { Install(nullptr); }
    std::string Messages() { return std::exchange(messages_, std::string()); }
    std::string Warnings() { return std::exchange(warnings_, std::string()); }

private:
    static void Install(void (*hook)(int, const char *))
    {
        messages_.clear();
        warnings_.clear();
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, hook, nullptr);
    }
    static void Hook(int channel, const char *line)
    {
        (channel == kxWarningChannel ? warnings_ : messages_) += line;
    }
    static inline std::string messages_;
    static inline std::string warnings_;
};

/// The warning log alone: Take() returns and clears it.
class WarningCapture : public kxOutputCapture {
public:
    std::string Take() { return Warnings(); }
};

/// The message window alone: Take() returns and clears it.
class MessageCapture : public kxOutputCapture {
public:
    std::string Take() { return Messages(); }
};

#endif
