// kxappnotify.cpp - the installed application listener.
#include "kx/project/kxappnotify.h"

namespace {
kxAppListener *g_listener = nullptr;
} // namespace

void kxSetAppListener(kxAppListener *listener) { g_listener = listener; }

kxAppListener *kxGetAppListener() { return g_listener; }

void kxNotifyApplication(int code, kxProjectNode *node, const char *filename)
{
    if (g_listener)
        g_listener->OnProjectNotify(code, node, filename);
}
