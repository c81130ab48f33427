// kxvariablesnode.cpp - the variables node: two-pass reading, writing in the node's order, and
// the commands through which scripts read and change variables.
#define KX_UNIT "kxvariablesnode"

#include "kx/project/kxvariablesnode.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxrunsignal.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <strings.h>

KX_IMPLEMENT_CLASS(kxVariablesNode, kxProjectNode)

namespace {

std::string Trimmed(const char *begin, const char *end)
{
    while (begin < end && (*begin == ' ' || *begin == '\t'))
        ++begin;
    while (end > begin && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == '\n' || end[-1] == '\r'))
        --end;
    return std::string(begin, end);
}

/// The line without its indentation and line end.
std::string Shown(const char *line) { return Trimmed(line, line + std::strlen(line)); }

/// The line as a message quotes it: cut to 400 characters and "...".
std::string Quoted(const char *line) { return kxQuoteCut(Shown(line), 400); }

/// "begin" and "end" (in any case) would start or end a block when written as the first word of
/// a line: they are refused as variable names here.
bool IsBlockWord(const char *name)
{
    return strcasecmp(name, "begin") == 0 || strcasecmp(name, "end") == 0;
}

/// The shortest of "%.15g", "%.16g" and "%.17g" that the number reader reads back to `value`;
/// false when none does.
bool ExactText(double value, KXString &text)
{
    for (int digits = 15; digits <= 17; ++digits) {
        text.sprintf("%.*g", digits, value);
        double back = 0.0;
        if (kxStringToNumber(text.c_str(), back) && back == value)
            return true;
    }
    return false;
}

/// A real value in a form that reads back, so a number the user typed is written as typed.
/// The plain-number reader is not exact for every double (it scales by powers of ten through
/// exp and log), so a value that no such text reads back to is written as a parenthesised
/// formula instead: it is read back as that formula and written again as typed, which keeps a
/// saved file stable however often it is read and written.
KXString ValueText(double value)
{
    KXString text;
    if (ExactText(value, text))
        return text;
    text.sprintf("(%.17g)", value);
    return text;
}

/// The definition to write: the formula as typed, or a plain value in a form that reads back.
KXString Definition(const kxNamedVariable &variable)
{
    if (!variable.IsValue())
        return variable.GetExpression();
    const std::complex<double> &value = variable.GetStoredValue();
    return value.imag() == 0.0 ? ValueText(value.real()) : numtoA(value);
}

bool NeedArgs(const List<KXString> &args, int n, const char *function)
{
    if (args.size() >= n)
        return true;
    error.set("%s needs %d argument%s\n", function, n, n == 1 ? "" : "s");
    return false;
}

} // namespace

bool kxSplitVariableLine(const char *line, KXString &name, KXString &expression)
{
    const char *end = std::strstr(line, "//");
    if (!end)
        end = line + std::strlen(line);
    const char *eq = static_cast<const char *>(std::memchr(line, '=', end - line));
    if (!eq)
        return false;
    name = Trimmed(line, eq).c_str();
    expression = Trimmed(eq + 1, end).c_str();
    return true;
}

const TBlockSig &kxVariablesNode::Sig()
{
    static const TBlockSig sig{"kxVariablesTB", 1, 0};
    return sig;
}

kxVariablesNode::~kxVariablesNode()
{
    if (!ns_)
        return;
    for (int i = 0; i < indices_.Size(); ++i)
        if (ns_->GetVariableAt(indices_[i]))
            ns_->RemoveVariable(indices_[i]);
}

kxNamedVariable *kxVariablesNode::GetVariable(int i) const
{
    return ns_ && i >= 0 && i < indices_.Size() ? ns_->GetVariableAt(indices_[i]) : nullptr;
}

void kxVariablesNode::Own(kxNamedVariable *variable, std::string leading, std::string trailing)
{
    ns_ = variable->GetNameSpace();
    indices_.Add(variable->GetIndex());
    leading_.push_back(std::move(leading));
    trailing_.push_back(std::move(trailing));
}

kxNamedVariable *kxVariablesNode::FindOwnVariable(const char *name) const
{
    for (int i = 0; i < indices_.Size(); ++i) {
        kxNamedVariable *variable = GetVariable(i);
        if (variable && variable->GetName() == name)
            return variable;
    }
    return nullptr;
}

bool kxVariablesNode::CanReadTextBlockVersion(int major, int minor)
{
    return major == 1 && minor == 0;
}

bool kxVariablesNode::StartBody(TextBlock &block)
{
    if (!block.StartRead(Sig(), false))
        return false;
    if (!CanReadTextBlockVersion(block.getMajorVer(), block.getMinorVer())) {
        SyntaxErr("Unsupported version in block beginning: %.400s   current version: %d.%d\n",
                  block.getHeader(), 1, 0);
        return false;
    }
    block.SkipComments(true);
    block.GotoBody();
    return true;
}

bool kxVariablesNode::PreloadVariables(TextBlock &block)
{
    kxBusyCursor busy;
    if (!StartBody(block))
        return false;
    kxNameSpace *ns = GetNameSpace();
    if (!ns) {
        KX_CODE_ERROR("variables node outside a namespace");
        return false;
    }
    KXString name, expression;
    while (!block.EOB()) {
        const char *line = block.gets();
        if (!line)
            break;
        if (!kxSplitVariableLine(line, name, expression)) {
            SyntaxErr("Missing equals in variable definition: %s   required format: name = "
                      "expression\n",
                      Quoted(line).c_str());
            continue;
        }
        auto *variable = new kxNamedVariable(ns);
        if (name.Length() == 0 || IsBlockWord(name.c_str()) || !variable->SetName(name.c_str())) {
            const bool clash =
                kxNamedVariable::IsNameValid(name.c_str()) && !IsBlockWord(name.c_str());
            // A refused name leaves a message in the error record; the syntax error says it all.
            if (error && error != kxErrSyntax)
                error.reset();
            SyntaxErr("%s variable name %.400s\n   in variable definition: %s",
                      clash ? "Duplicate" : "Invalid", name.c_str(), Quoted(line).c_str());
            ns->RemoveVariable(variable->GetIndex());
            continue;
        }
        variable->SetValueOrExpression(expression.c_str());
        variable->SetPreloaded();
    }
    return true;
}

bool kxVariablesNode::ReadTB(TextBlock &block)
{
    if (!StartBody(block))
        return false;
    // Comment lines are read too: they stay with the variable that follows them.
    block.SkipComments(false);
    block.GotoBody();
    indices_.Clear();
    leading_.clear();
    trailing_.clear();
    tail_.clear();
    kxNameSpace *ns = GetNameSpace();
    KXString name, expression;
    std::string leading;
    while (ns && !block.EOB()) {
        const char *line = block.gets();
        if (!line)
            break;
        const std::string shown = Shown(line);
        if (shown.empty())
            continue;
        if (shown.compare(0, 2, "//") == 0) {
            leading += shown + "\n";
            continue;
        }
        if (!kxSplitVariableLine(line, name, expression))
            continue;
        // By name, not by code: codes cannot tell indices past 0xffff from parent levels.
        kxNamedVariable *variable = ns->GetVariableByName(name.c_str(), false);
        if (!variable || !variable->IsPreloaded())
            continue;
        variable->ResetPreloaded();
        const size_t comment = shown.find("//");
        std::string trailing;
        if (comment != std::string::npos) {
            size_t from = comment;
            while (from > 0 && (shown[from - 1] == ' ' || shown[from - 1] == '\t'))
                --from;
            // Without an expression the blank written after "=" is the first of these.
            if (expression.Length() == 0)
                from = std::min(comment, std::max(from, shown.find('=') + 2));
            trailing = shown.substr(from);
        }
        Own(variable, std::move(leading), std::move(trailing));
        leading.clear();
    }
    for (size_t at = 0; at < leading.size();) {
        const size_t end = leading.find('\n', at);
        tail_.push_back(leading.substr(at, end - at));
        at = end + 1;
    }
    return true;
}

bool kxVariablesNode::WriteTB(TextBlock &block)
{
    block.StartWrite(Sig(), getName());
    for (int i = 0; i < indices_.Size(); ++i) {
        kxNamedVariable *variable = GetVariable(i);
        if (!variable)
            continue;
        const std::string &leading = leading_[i];
        for (size_t at = 0; at < leading.size();) {
            const size_t end = leading.find('\n', at);
            block.WriteLine(leading.substr(at, end - at).c_str());
            at = end + 1;
        }
        block.writeline("%s = %s%s", variable->GetName().c_str(), Definition(*variable).c_str(),
                        trailing_[i].c_str());
    }
    for (const std::string &line : tail_)
        block.WriteLine(line.c_str());
    block.EndWrite();
    return true;
}

bool kxVariablesNode::SetVariable(const char *name, const char *expression)
{
    kxNameSpace *ns = GetNameSpace();
    if (!ns) {
        error.set("the variables node %s is not in a project\n", getName().c_str());
        return false;
    }
    kxNamedVariable *variable = FindOwnVariable(name);
    if (!variable) {
        if (ns->GetVariableByName(name, false)) {
            error.set("variable %s belongs to another node\n", name);
            return false;
        }
        variable = new kxNamedVariable(ns);
        if (!*name || IsBlockWord(name) || !variable->SetName(name)) {
            ns->RemoveVariable(variable->GetIndex());
            if (!error)
                error.set("Invalid variable name %s\n", name);
            return false;
        }
        Own(variable, "", "");
    }
    variable->SetValueOrExpression(expression);
    Changed();
    return true;
}

bool kxVariablesNode::RemoveVariable(const char *name)
{
    kxNamedVariable *variable = FindOwnVariable(name);
    if (!variable) {
        error.set("variable %s not found in %s\n", name, getName().c_str());
        return false;
    }
    const int index = variable->GetIndex();
    kxIntArray kept;
    size_t to = 0;
    for (int i = 0; i < indices_.Size(); ++i) {
        if (indices_[i] == index)
            continue;
        kept.Add(indices_[i]);
        leading_[to] = std::move(leading_[i]);
        trailing_[to] = std::move(trailing_[i]);
        ++to;
    }
    indices_ = kept;
    leading_.resize(to);
    trailing_.resize(to);
    ns_->RemoveVariable(index);
    Changed();
    return true;
}

void kxVariablesNode::Changed()
{
    MarkModified();
    GetEventSource().RaiseEvent(kxEventNodeChanged, this, nullptr);
}

void kxVariablesNode::OnPublish()
{
    kxProjectNode::OnPublish();
    const KXObjectEvent *top = GetTopEvent();
    if (!top || top->kind != kxOpCommand)
        return;
    PublishFunc(
        "numvariables",
        [this](const List<KXString> &, KXString &result) {
            result.sprintf("%d", GetNumVariables());
            return true;
        },
        "(): number of variables");
    PublishFunc(
        "setvariable",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 2, "setvariable") && SetVariable(args[1], args[2]);
        },
        "( name, expression ): set a variable's expression; a new name is added to this node");
    auto lookUp = [this](const List<KXString> &args, const char *function) -> kxNamedVariable * {
        if (!NeedArgs(args, 1, function))
            return nullptr;
        kxNameSpace *ns = GetNameSpace();
        kxNamedVariable *variable = ns ? ns->GetVariableByName(args[1]) : nullptr;
        if (!variable)
            error.set("variable %s not found\n", args[1].c_str());
        return variable;
    };
    PublishFunc(
        "getvalue",
        [lookUp](const List<KXString> &args, KXString &result) {
            kxNamedVariable *variable = lookUp(args, "getvalue");
            if (variable)
                result = variable->GetValueString();
            return variable != nullptr;
        },
        "( name ): value of a variable");
    PublishFunc(
        "getexpression",
        [lookUp](const List<KXString> &args, KXString &result) {
            kxNamedVariable *variable = lookUp(args, "getexpression");
            if (variable)
                result = Definition(*variable);
            return variable != nullptr;
        },
        "( name ): expression of a variable");
    PublishFunc(
        "removevariable",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 1, "removevariable") && RemoveVariable(args[1]);
        },
        "( name ): remove a variable of this node");
    PublishFunc(
        "listvariables",
        [this](const List<KXString> &, KXString &result) {
            result = "";
            KXString line;
            for (int i = 0; i < GetNumVariables(); ++i) {
                kxNamedVariable *variable = GetVariable(i);
                if (!variable)
                    continue;
                line.sprintf("%s = %s\n", variable->GetName().c_str(),
                             Definition(*variable).c_str());
                result += line;
            }
            return true;
        },
        "(): the lines name = expression, one per variable");
}

void kxVariablesNode::RegisterType()
{
    // Made on first use: the core registration may run before this unit's statics.
    static kxProjectNodeInfoClass info(
        {KX_CLASSINFO_OF(kxVariablesNode), nullptr, kxVariablesNode::Sig(), "Variables", 0, ""});
    info.Register();
}
