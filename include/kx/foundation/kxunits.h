// kxunits.h - unit suffixes shown after lengths, angles and temperatures.
//
// The suffixes use UTF-8 characters ("\xC2\xB5" micro sign, "\xC2\xB0" degree sign). Where
// those cannot be shown they take plain ASCII forms instead:
//
//   string              UTF-8 form   ASCII form
//   kxMicroString       "µ"          "u"
//   kxDegreesString     "°"          " degrees"
//   kxMicronsString     "µm"         "um"
//   kxCelsiusString     "°C"         "C"
//
// InitialiseKXUtils chooses the forms from the codeset of the environment's locale (LC_ALL,
// LC_CTYPE, LANG): UTF-8 keeps the UTF-8 forms, any other codeset (including the plain "C"
// locale) gives the ASCII forms. Before InitialiseKXUtils the UTF-8 forms are in place.
#ifndef KX_FOUNDATION_KXUNITS_H
#define KX_FOUNDATION_KXUNITS_H

#include "kx/foundation/kxstring.h"

extern KXString kxMicroString;
extern KXString kxDegreesString;
extern KXString kxMicronsString;
extern KXString kxCelsiusString;

/// Switches all four suffixes to their ASCII (true) or UTF-8 (false) forms.
void kxUseAsciiUnitStrings(bool ascii);

/// True when the codeset of the environment's locale is UTF-8.
[[nodiscard]] bool kxLocaleIsUtf8();

#endif
