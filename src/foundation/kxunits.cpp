// kxunits.cpp - the unit suffixes and their plain-ASCII fallback.
#include "kx/foundation/kxunits.h"

#include <clocale>
#include <langinfo.h>
#include <locale.h>
#include <strings.h>

KXString kxMicroString("\xC2\xB5");
KXString kxDegreesString("\xC2\xB0");
KXString kxMicronsString("\xC2\xB5m");
KXString kxCelsiusString("\xC2\xB0"
                         "C");

void kxUseAsciiUnitStrings(bool ascii)
{
    kxMicroString = ascii ? "u" : "\xC2\xB5";
    kxDegreesString = ascii ? " degrees" : "\xC2\xB0";
    kxMicronsString = ascii ? "um" : "\xC2\xB5m";
    kxCelsiusString = ascii ? "C"
                            : "\xC2\xB0"
                              "C";
}

bool kxLocaleIsUtf8()
{
    locale_t loc = newlocale(LC_CTYPE_MASK, "", static_cast<locale_t>(0));
    if (loc == static_cast<locale_t>(0))
        return false;
    const char *codeset = nl_langinfo_l(CODESET, loc);
    const bool utf8 =
        codeset && (strcasecmp(codeset, "UTF-8") == 0 || strcasecmp(codeset, "UTF8") == 0);
    freelocale(loc);
    return utf8;
}
