// kxcalcdiagnostics.cpp - the gathered calculation warnings.
#define KX_UNIT "kxcalcdiagnostics"

#include "kx/project/kxcalcdiagnostics.h"

#include "kx/project/kxrunsignal.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace {

List<KXString> &Messages()
{
    static List<KXString> messages;
    return messages;
}

int g_reportLevel = 2;
kxDiagnosticsDisplay *g_display = nullptr;

KXString FormatV(const char *format, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n <= 0)
        return KXString();
    std::vector<char> text(static_cast<size_t>(n) + 1);
    std::vsnprintf(text.data(), text.size(), format, args);
    return KXString(text.data(), n);
}

bool IsListed(const KXString &message)
{
    const List<KXString> &messages = Messages();
    for (int i = 1; i <= messages.size(); ++i)
        if (messages[i] == message)
            return true;
    return false;
}

} // namespace

void CalcDiagnostics::set(const char *format, ...)
{
    if (!format)
        return;
    va_list args;
    va_start(args, format);
    const KXString message = FormatV(format, args);
    va_end(args);
    if (g_reportLevel > 0) {
        if (kxRunIndicator *indicator = kxRunControl::getIndicator())
            indicator->PrintWarning(message.c_str());
        else
            kxWarningLog("%s", message.c_str());
    }
    List<KXString> &messages = Messages();
    const bool complete = !message.Empty() && message[message.Length() - 1] == '\n';
    if (!complete) {
        if (messages.size() == 0) {
            KX_CODE_ERROR("error in const List<T>::last_cpt: list empty");
            return;
        }
        messages.last_cpt() += message;
        return;
    }
    if (!IsListed(message))
        messages.append(message);
}

void CalcDiagnostics::reset() { Messages().unalloc(); }

int CalcDiagnostics::getReportLevel() { return g_reportLevel; }

void CalcDiagnostics::setReportLevel(int level) { g_reportLevel = level; }

const List<KXString> &CalcDiagnostics::getMessages() { return Messages(); }

void kxSetDiagnosticsDisplay(kxDiagnosticsDisplay *display) { g_display = display; }

void DisplayCalcDiagnostics(void *parent)
{
    List<KXString> &messages = Messages();
    if (messages.size() == 0)
        return;
    if (g_reportLevel < 2) {
        messages.unalloc();
        return;
    }
    List<KXString> rows;
    for (int i = 1; i <= messages.size(); ++i) {
        const KXString &message = messages[i];
        int start = 0;
        while (start < message.Length()) {
            int end = message.Index('\n', start);
            if (end < 0)
                end = message.Length();
            if (end > start)
                rows.append(message.SubString(start, end - start));
            start = end + 1;
        }
    }
    if (g_display)
        g_display->Show(rows, parent);
}
