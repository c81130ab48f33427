// kxnotesnode.cpp - the notes node and the ">"-prefixed text of notes and script blocks.
#define KX_UNIT "kxnotesnode"

#include "kx/project/kxnotesnode.h"

#include "kx/project/kxnoderegistry.h"

#include <cstring>
#include <string>

KX_IMPLEMENT_CLASS(kxNotesNode, kxProjectNode)

void kxWritePrefixedText(TextBlock &block, const KXString &text)
{
    const char *p = text.c_str();
    std::string line;
    while (*p) {
        const char *end = std::strchr(p, '\n');
        const char *next = end ? end + 1 : p + std::strlen(p);
        if (!end)
            end = next;
        line.assign(1, '>');
        line.append(p, end);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        block.WriteLine(line.c_str());
        p = next;
    }
}

KXString kxReadPrefixedText(TextBlock &block)
{
    std::string text;
    while (!block.EOB()) {
        const char *line = block.gets();
        if (!line)
            break;
        const char *mark = std::strchr(line, '>');
        if (!mark)
            continue;
        const char *end = mark + 1 + std::strcspn(mark + 1, "\n");
        if (end > mark + 1 && end[-1] == '\r')
            --end;
        text.append(mark + 1, end);
        text += '\n';
    }
    return KXString(text.c_str(), static_cast<int>(text.size()));
}

const TBlockSig &kxNotesNode::Sig()
{
    static const TBlockSig sig{"notesTB", 1, 0};
    return sig;
}

void kxNotesNode::SetText(const char *text)
{
    text_ = text ? text : "";
    Changed();
}

void kxNotesNode::AppendText(const char *text)
{
    text_ += text ? text : "";
    Changed();
}

void kxNotesNode::Changed()
{
    MarkModified();
    GetEventSource().RaiseEvent(kxEventNodeChanged, this, nullptr);
}

bool kxNotesNode::CanReadTextBlockVersion(int major, int minor) { return major == 1 && minor == 0; }

bool kxNotesNode::ReadTB(TextBlock &block)
{
    if (!block.StartRead(Sig(), false))
        return false;
    if (!CanReadTextBlockVersion(block.getMajorVer(), block.getMinorVer())) {
        error.set("Expected version (%d.%d) in block beginning\r\n%.900s\r\n", 1, 0,
                  block.getHeader());
        return false;
    }
    // Comment mode off: a text line may look like a comment or be blank.
    block.SkipComments(false);
    block.GotoBody();
    text_ = kxReadPrefixedText(block);
    return true;
}

bool kxNotesNode::WriteTB(TextBlock &block)
{
    block.StartWrite(Sig(), getName());
    kxWritePrefixedText(block, text_);
    block.EndWrite();
    return true;
}

void kxNotesNode::PublishTextCommands()
{
    PublishVar("text", text_, "entire text");
    const KXObjectEvent *top = GetTopEvent();
    if (!top || top->kind != kxOpCommand)
        return;
    PublishFunc(
        "appendtext",
        [this](const List<KXString> &args, KXString &) {
            for (int i = 1; i <= args.size(); ++i)
                AppendText(args[i]);
            return true;
        },
        "(string): append a string");
    PublishFunc(
        "cleartext",
        [this](const List<KXString> &, KXString &) {
            ClearText();
            return true;
        },
        "(): clear contents");
}

void kxNotesNode::OnPublish()
{
    kxProjectNode::OnPublish();
    PublishTextCommands();
}

void kxNotesNode::RegisterType()
{
    // Made on first use: the core registration may run before this unit's statics.
    static kxProjectNodeInfoClass info(
        {KX_CLASSINFO_OF(kxNotesNode), nullptr, kxNotesNode::Sig(), "Notes", 0, ""});
    info.Register();
}
