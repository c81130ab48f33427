// kxnotesnode.h - kxNotesNode, a project node holding free text, and the ">"-prefixed text
// format that notes and scripts share in their blocks.
//
// Block ("notesTB", version 1.0, the node's name): every line of the text prefixed with ">".
// Writing stops at the first empty line the text yields (its end); a last line without a line
// end gets one. Reading takes, from each body line, the text after its first ">" (so blanks
// before the ">" are allowed); a line without ">" is dropped.
//
// Published to the command language, besides what every node publishes: "text" ("entire
// text"), "appendtext" ("(string): append a string") and "cleartext" ("(): clear contents").
#ifndef KX_PROJECT_KXNOTESNODE_H
#define KX_PROJECT_KXNOTESNODE_H

#include "kx/project/kxprojnode.h"

/// Writes every line of `text` prefixed with ">" into `block` (see the top of this file).
void kxWritePrefixedText(TextBlock &block, const KXString &text);
/// Reads the ">" lines of `block` from its position to the end of its body, each ended with
/// "\n" (see the top of this file).
[[nodiscard]] KXString kxReadPrefixedText(TextBlock &block);

class kxNotesNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxNotesNode)
public:
    /// The block signature ("notesTB", 1.0).
    static const TBlockSig &Sig();
    /// Registers the node type (done with the core types, before any project manager).
    static void RegisterType();

    /// The text: lines ended with "\n".
    [[nodiscard]] const KXString &GetText() const { return text_; }
    void SetText(const char *text);
    void AppendText(const char *text);
    void ClearText() { SetText(""); }

    bool ReadTB(TextBlock &block) override;
    bool WriteTB(TextBlock &block) override;
    bool CanReadTextBlockVersion(int major, int minor) override;
    int getTextBlockVersionMajor() override { return 1; }
    void OnPublish() override;

protected:
    /// Publishes "text", "appendtext" and "cleartext" (shared with the script node).
    void PublishTextCommands();
    /// Marks the project modified and tells the views.
    void Changed();

    KXString text_;
};

#endif
