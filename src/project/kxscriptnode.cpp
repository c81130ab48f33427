// kxscriptnode.cpp - the script node: its block, its parameter list and running it through the
// application's script runner.
#define KX_UNIT "kxscriptnode"

#include "kx/project/kxscriptnode.h"

#include "kx/project/kxnoderegistry.h"

#include <cstdlib>
#include <cstring>
#include <utility>

KX_IMPLEMENT_CLASS(kxScriptNode, kxNotesNode)

namespace {

kxScriptNodeRunner &Runner()
{
    static kxScriptNodeRunner runner;
    return runner;
}

/// The value of a "PARAMETER = value" line, or null when the line is not one.
const char *ParameterValue(const char *line)
{
    while (*line == ' ' || *line == '\t')
        ++line;
    if (std::strncmp(line, "PARAMETER", 9) != 0)
        return nullptr;
    line += 9;
    while (*line == ' ' || *line == '\t')
        ++line;
    if (*line != '=')
        return nullptr;
    ++line;
    return *line == ' ' ? line + 1 : line;
}

KXString WithoutLineEnd(const char *text)
{
    return KXString(text, static_cast<int>(std::strcspn(text, "\r\n")));
}

} // namespace

kxScriptNodeRunner kxSetScriptNodeRunner(kxScriptNodeRunner runner)
{
    return std::exchange(Runner(), std::move(runner));
}

const TBlockSig &kxScriptNode::Sig()
{
    static const TBlockSig sig{"scriptTB", 1, 0};
    return sig;
}

void kxScriptNode::SetLanguage(int language)
{
    language_ = language;
    Changed();
}

void kxScriptNode::AppendParameter(const char *parameter)
{
    parameters_.append(parameter ? parameter : "");
    Changed();
}

void kxScriptNode::ClearParameters()
{
    parameters_.unalloc();
    Changed();
}

KXString kxScriptNode::GetArguments() const
{
    KXString arguments;
    for (int i = 1; i <= parameters_.size(); ++i) {
        arguments += parameters_[i];
        arguments += " ";
    }
    return arguments;
}

bool kxScriptNode::RunScript()
{
    if (error)
        return false;
    if (!Runner()) {
        error.set("no command object to run scripts\n");
        return false;
    }
    // The runner may change this node (a script can edit itself): run on copies.
    const KXString text = text_;
    const KXString arguments = GetArguments();
    return Runner()(language_, text.c_str(), arguments.c_str(), *this);
}

bool kxScriptNode::ReadTB(TextBlock &block)
{
    if (!block.StartRead(Sig(), false))
        return false;
    if (!CanReadTextBlockVersion(block.getMajorVer(), block.getMinorVer())) {
        error.set("Expected version (%d.%d) in block beginning\r\n%.900s\r\n", 1, 0,
                  block.getHeader());
        return false;
    }
    block.SkipComments(true);
    block.GotoBody();
    const char *line = block.EOB() ? nullptr : block.gets();
    language_ = line ? std::atoi(line) : LanguageCommands;
    parameters_.unalloc();
    block.SkipComments(false);
    while (!block.EOB()) {
        const uint32_t at = block.getPosn();
        line = block.gets();
        const char *value = line ? ParameterValue(line) : nullptr;
        if (!value) {
            block.setPosn(at);
            break;
        }
        parameters_.append(WithoutLineEnd(value));
    }
    text_ = kxReadPrefixedText(block);
    return true;
}

bool kxScriptNode::WriteTB(TextBlock &block)
{
    block.StartWrite(Sig(), getName());
    block.writeline("%d //script language", language_);
    for (int i = 1; i <= parameters_.size(); ++i)
        block.writeline("PARAMETER = %s", parameters_[i].c_str());
    kxWritePrefixedText(block, text_);
    block.EndWrite();
    return true;
}

void kxScriptNode::OnPublish()
{
    kxNotesNode::OnPublish();
    PublishVar("language", language_, "script language: 0 for app commands, 1 for python");
    parlist_ = GetArguments().Strip(KXString::trailing);
    PublishVar("parlist", parlist_, "parameter list", kxPublishReadOnly);
    const KXObjectEvent *top = GetTopEvent();
    if (!top || top->kind != kxOpCommand)
        return;
    PublishFunc(
        "appendpar",
        [this](const List<KXString> &args, KXString &) {
            for (int i = 1; i <= args.size(); ++i)
                AppendParameter(args[i]);
            return true;
        },
        "(string): append a parameter to the parameter list");
    PublishFunc(
        "clearparlist",
        [this](const List<KXString> &, KXString &) {
            ClearParameters();
            return true;
        },
        "(): clear parameter list");
    PublishFunc(
        "runscript", [this](const List<KXString> &, KXString &) { return RunScript(); },
        "(): run the script.");
}

void kxScriptNode::RegisterType()
{
    // Made on first use: the core registration may run before this unit's statics.
    static kxProjectNodeInfoClass info(
        {KX_CLASSINFO_OF(kxScriptNode), nullptr, kxScriptNode::Sig(), "Script", 0, ""});
    info.Register();
}
