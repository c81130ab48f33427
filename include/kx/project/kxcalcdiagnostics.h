// kxcalcdiagnostics.h - calculation warnings gathered during a run and shown together at its end
// in the "Calculation Diagnostic Warning" dialog.
//
// CalcDiagnostics::set formats a message. With a report level above 0 it is also printed at once
// as a warning (through the run indicator's PrintWarning, which lights the warning lamp, or to
// the warning log when no indicator is installed). A message that does not end with a line feed continues the previous
// one (it is appended to the last entry); a complete message that is already listed is not
// listed again. DisplayCalcDiagnostics shows the list through kxDiagnosticsDisplay (the dialog
// of the application shell): nothing for an empty list; with a report level below 2 the list
// is cleared and nothing is shown; otherwise every non-empty line of every message is one row.
// The list is kept after it was shown; reset() empties it. Headless, no display is installed
// and showing does nothing.
#ifndef KX_PROJECT_KXCALCDIAGNOSTICS_H
#define KX_PROJECT_KXCALCDIAGNOSTICS_H

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"

/// The dialog that shows diagnostics (implemented by the application shell).
class kxDiagnosticsDisplay {
public:
    virtual ~kxDiagnosticsDisplay() = default;
    /// Shows the rows modally over `parent` (a window of the shell, may be null).
    virtual void Show(const List<KXString> &rows, void *parent) = 0;
};

class CalcDiagnostics {
public:
    /// Formats and records a message (see the top of this file).
    static void set(const char *format, ...) KX_PRINTF_LIKE(1, 2);
    static void reset();
    [[nodiscard]] static int getReportLevel();
    static void setReportLevel(int level);
    /// The messages in order of arrival.
    [[nodiscard]] static const List<KXString> &getMessages();
};

/// Installs the display (not owned; null: none).
void kxSetDiagnosticsDisplay(kxDiagnosticsDisplay *display);
/// Shows the gathered diagnostics (see the top of this file).
void DisplayCalcDiagnostics(void *parent);

#endif
