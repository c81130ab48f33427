// kxclipboard.h - the clipboards of the project tree: the local block clipboard (one TextBlock
// for the process, holding the block of the node last copied) and the system clipboard, which
// carries a text reference to a node (its absolute path) to other programs.
//
// The system clipboard is reached through kxClipboard, which the application shell implements
// over the toolkit's clipboard. With none installed, an in-process text store stands in, so
// copying and pasting node references works headless too.
//
// A node reference on the system clipboard is the text "kxnoderef:" followed by the node's
// absolute path; kxGetPrjNodeRefFromClipboard accepts only texts with that prefix, so other
// text on the clipboard is never taken for a path.
#ifndef KX_PROJECT_KXCLIPBOARD_H
#define KX_PROJECT_KXCLIPBOARD_H

#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"

class kxProjectNode;

/// The system clipboard's text. The base class is the in-process store.
class kxClipboard {
public:
    virtual ~kxClipboard() = default;
    virtual bool SetText(const char *text)
    {
        text_ = text ? text : "";
        return true;
    }
    /// False when the clipboard holds no text.
    virtual bool GetText(KXString &text)
    {
        if (text_.Empty())
            return false;
        text = text_;
        return true;
    }
    virtual void Clear() { text_ = ""; }

private:
    KXString text_;
};

/// Installs the system clipboard (not owned); null returns to the in-process store.
void kxSetClipboard(kxClipboard *clipboard);
[[nodiscard]] kxClipboard &kxGetClipboard();

/// The prefix of a node reference on the system clipboard.
constexpr const char *kxNodeRefPrefix = "kxnoderef:";

/// Empties the local block clipboard and the system clipboard.
void kxClearClipboard();
void kxCopyBlockToLocalClipboard(TextBlock &block);
/// Copies the local clipboard's block into `block`; false when it holds none.
bool kxGetBlockFromLocalClipboard(TextBlock &block);
/// True when the local clipboard holds a block.
[[nodiscard]] bool kxLocalClipboardHasBlock();
/// Puts a reference to `node` on the system clipboard.
bool kxCopyPrjNodeRefToClipboard(const kxProjectNode *node);
/// The node whose reference is on the system clipboard, found from `start` (any node of the
/// tree; the path is absolute) with FindNode; null when there is none.
[[nodiscard]] kxProjectNode *kxGetPrjNodeRefFromClipboard(kxProjectNode *start);

#endif
