// kxclipboard.cpp - the local block clipboard and the system clipboard's node references.
#define KX_UNIT "kxclipboard"

#include "kx/project/kxclipboard.h"

#include "kx/project/kxprojnode.h"

#include <cstring>

namespace {

kxClipboard &InProcessClipboard()
{
    static kxClipboard store;
    return store;
}

kxClipboard *g_clipboard = nullptr;

struct LocalClipboard {
    TextBlock block;
    bool full = false;
};

LocalClipboard &Local()
{
    static LocalClipboard local;
    return local;
}

} // namespace

void kxSetClipboard(kxClipboard *clipboard) { g_clipboard = clipboard; }

kxClipboard &kxGetClipboard() { return g_clipboard ? *g_clipboard : InProcessClipboard(); }

void kxClearClipboard()
{
    Local().block.unalloc();
    Local().full = false;
    kxGetClipboard().Clear();
}

void kxCopyBlockToLocalClipboard(TextBlock &block)
{
    Local().block = block;
    Local().full = true;
}

bool kxGetBlockFromLocalClipboard(TextBlock &block)
{
    if (!Local().full)
        return false;
    block = Local().block;
    return true;
}

bool kxLocalClipboardHasBlock() { return Local().full; }

bool kxCopyPrjNodeRefToClipboard(const kxProjectNode *node)
{
    if (!node)
        return false;
    KXString text(kxNodeRefPrefix);
    text += getAbsolutePathName(node);
    return kxGetClipboard().SetText(text);
}

kxProjectNode *kxGetPrjNodeRefFromClipboard(kxProjectNode *start)
{
    KXString text;
    if (!start || !kxGetClipboard().GetText(text))
        return nullptr;
    const size_t prefix = std::strlen(kxNodeRefPrefix);
    if (static_cast<size_t>(text.Length()) <= prefix ||
        std::strncmp(text.c_str(), kxNodeRefPrefix, prefix) != 0)
        return nullptr;
    return start->FindNode(text.c_str() + prefix);
}
