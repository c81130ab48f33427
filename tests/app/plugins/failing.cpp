// A plug-in that refuses to start, leaving an error pending too (the loader clears it).
#include "kx/app/kxplugins.h"
#include "kx/foundation/kxerror.h"

void kxInitPlugin(PluginInfo &info, const char *const *, const char *&errorText, void *)
{
    info.name = "failing";
    error.set("licence check\n");
    errorText = "no licence found";
}
