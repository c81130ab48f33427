// kxwxclipboard.h - the system clipboard through wxClipboard, installed as the project tree's
// kxClipboard so that a node reference copied in one program can be pasted in another.
#ifndef KX_UI_KXWXCLIPBOARD_H
#define KX_UI_KXWXCLIPBOARD_H

#include "kx/project/kxclipboard.h"

class kxWxClipboard : public kxClipboard {
public:
    /// False when the clipboard cannot be opened.
    bool SetText(const char *text) override;
    /// False when the clipboard cannot be opened or holds no text.
    bool GetText(KXString &text) override;
    void Clear() override;
};

#endif
