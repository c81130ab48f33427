// command_line.cpp - the command language: statement splitting, block structure, paths over
// published elements, formulas in the command namespace, and kxCommandObject.
#define KX_UNIT "command_line"

#include "kx/commands/command_line.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/expressions/kxnamedvariable.h"
#include "kx/foundation/kxerror.h"
#include "kx/project/kxrunsignal.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <unistd.h>

const char *const kxCmdStopOnError = "stopOnError";
const char *const kxCmdPauseOnError = "pauseOnError";
const char *const kxCmdStepByStep = "stepByStep";
const char *const kxCmdEnableRecord = "enableRecord";

kxClassInfo kxCommandObject::ms_classInfo("kxCommandObject", &KXObject::ms_classInfo, nullptr,
                                          nullptr);

const char *kxCommandValue::TypeName(kxCmdValueType type)
{
    switch (type) {
    case kxCmdDouble: return "double";
    case kxCmdInt: return "int";
    case kxCmdComplex: return "complex";
    case kxCmdText: return "text";
    case kxCmdObject: return "object";
    default: return "none";
    }
}

// ---------------------------------------------------------------------------------------------
// Text helpers

namespace {

/// Keeps a pending error out of the way of a silent lookup: clears it, and on destruction
/// discards what the lookup reported and puts the pending error back.
class ErrorShield {
public:
    ErrorShield() : pending_(error != 0)
    {
        if (pending_)
            saved_ = error;
        error.reset();
    }
    ~ErrorShield()
    {
        error.reset();
        if (pending_)
            error = saved_;
    }
    ErrorShield(const ErrorShield &) = delete;
    ErrorShield &operator=(const ErrorShield &) = delete;

private:
    bool pending_;
    Error saved_;
};

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool IsNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IsNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

std::string Trim(const std::string &s)
{
    size_t b = 0, e = s.size();
    while (b < e && IsBlank(s[b]))
        ++b;
    while (e > b && IsBlank(s[e - 1]))
        --e;
    return s.substr(b, e - b);
}

/// Index just past the quoted string that starts at s[pos] (a '"'), or npos when unclosed.
size_t SkipQuoted(const std::string &s, size_t pos)
{
    for (size_t i = pos + 1; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 1 < s.size())
            ++i;
        else if (s[i] == '"')
            return i + 1;
    }
    return std::string::npos;
}

/// Index of the bracket closing the one at s[pos] (quotes and nesting respected), or npos.
size_t MatchingBracket(const std::string &s, size_t pos)
{
    int depth = 0;
    for (size_t i = pos; i < s.size(); ++i) {
        const char c = s[i];
        if (c == '"') {
            i = SkipQuoted(s, i);
            if (i == std::string::npos)
                return i;
            --i;
        } else if (c == '(' || c == '[' || c == '{') {
            ++depth;
        } else if (c == ')' || c == ']' || c == '}') {
            if (--depth == 0)
                return i;
        }
    }
    return std::string::npos;
}

/// A text that is wholly one quoted string loses its quotes and escapes; any other text stays.
std::string Unquote(const std::string &text)
{
    if (text.size() < 2 || text[0] != '"' || SkipQuoted(text, 0) != text.size())
        return text;
    std::string out;
    for (size_t i = 1; i + 1 < text.size(); ++i) {
        if (text[i] == '\\' && i + 2 < text.size())
            ++i;
        out += text[i];
    }
    return out;
}

/// Splits at top-level commas (outside quotes and brackets); pieces trimmed.
std::vector<std::string> SplitTopLevel(const std::string &s)
{
    std::vector<std::string> parts;
    int depth = 0;
    size_t start = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (c == '"') {
            const size_t end = SkipQuoted(s, i);
            if (end == std::string::npos)
                break;
            i = end - 1;
        } else if (c == '(' || c == '[' || c == '{') {
            ++depth;
        } else if (c == ')' || c == ']' || c == '}') {
            --depth;
        } else if (c == ',' && depth == 0) {
            parts.push_back(Trim(s.substr(start, i - start)));
            start = i + 1;
        }
    }
    parts.push_back(Trim(s.substr(start)));
    return parts;
}

/// The shortest of "%.15g", "%.16g" and "%.17g" that reads back to the same double.
std::string NumberText(double v)
{
    char buffer[64];
    for (int digits = 15; digits <= 17; ++digits) {
        std::snprintf(buffer, sizeof buffer, "%.*g", digits, v);
        if (std::strtod(buffer, nullptr) == v)
            break;
    }
    return buffer;
}

std::string NumberText(const std::complex<double> &z)
{
    if (z.imag() == 0)
        return NumberText(z.real());
    return "(" + NumberText(z.real()) + ", " + NumberText(z.imag()) + ")";
}

int EditDistance(const std::string &a, const std::string &b)
{
    std::vector<int> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = int(j);
    for (size_t i = 1; i <= a.size(); ++i) {
        int diagonal = row[0];
        row[0] = int(i);
        for (size_t j = 1; j <= b.size(); ++j) {
            const int up = row[j];
            const int cost = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                                     std::tolower(static_cast<unsigned char>(b[j - 1]))
                                 ? 0
                                 : 1;
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + cost});
            diagonal = up;
        }
    }
    return row[b.size()];
}

/// True when the text is wholly an integer: optional sign, digits.
bool IsIntegerText(const std::string &t)
{
    size_t i = (!t.empty() && (t[0] == '-' || t[0] == '+')) ? 1 : 0;
    if (i >= t.size() || t.size() - i > 10)
        return false;
    for (; i < t.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(t[i])))
            return false;
    return true;
}

bool HasDigit(const std::string &t)
{
    return std::any_of(t.begin(), t.end(),
                       [](char c) { return std::isdigit(static_cast<unsigned char>(c)); });
}

/// Classifies a text as an int, double or complex number, else text.
kxCommandValue ValueFromText(const std::string &raw, kxCmdValueType preferred)
{
    kxCommandValue v;
    const std::string t = Trim(raw);
    v.text = t.c_str();
    v.type = kxCmdText;
    if (!HasDigit(t))
        return v;
    double d = 0;
    std::complex<double> z;
    if (preferred != kxCmdComplex && IsIntegerText(t)) {
        const long long n = std::strtoll(t.c_str(), nullptr, 10);
        if (n >= -2147483647LL && n <= 2147483647LL) {
            v.number = double(n);
            v.type = preferred == kxCmdDouble ? kxCmdDouble : kxCmdInt;
            return v;
        }
    }
    if (preferred != kxCmdComplex && kxStringToNumber(t.c_str(), d)) {
        v.number = d;
        v.type = kxCmdDouble;
    } else if (kxStringToNumber(t.c_str(), z)) {
        v.number = z;
        v.type = kxCmdComplex;
    }
    return v;
}

/// The value type that a published kind's type name suggests.
kxCmdValueType KindValueType(const char *typeName)
{
    const std::string t = typeName ? typeName : "";
    if (t.find("complex") != std::string::npos)
        return kxCmdComplex;
    if (t == "bool" || t == "short" || t == "int" || t.find("<int>") != std::string::npos)
        return kxCmdInt;
    if (t == "float" || t == "double" || t.find("<double>") != std::string::npos ||
        t.find("<float>") != std::string::npos)
        return kxCmdDouble;
    return kxCmdText;
}

const char *const kKeywords[] = {"cd",   "else", "end",   "exit", "for",
                                 "help", "if",   "print", "pwd",  "set"};

// ---------------------------------------------------------------------------------------------
// Statements

struct RawStatement {
    std::string text;
    int line = 1;
    size_t begin = 0; ///< offset of the statement in the source
    size_t end = 0;
};

enum StmtKind {
    StPath,
    StSet,
    StFor,
    StIf,
    StPrint,
    StHelp,
    StCd,
    StPwd,
    StExit
};

struct Statement {
    StmtKind kind = StPath;
    std::string text;   ///< the statement (for a block: its first line)
    std::string source; ///< the whole source (for a block: through its end)
    int line = 1;
    std::string arg; ///< what follows the keyword
    std::vector<Statement> body;
    std::vector<Statement> elseBody;
};

/// Splits a text into statements. False (error set) on an unclosed quote or unbalanced
/// brackets; `openOnly` reports whether the failure is only something left open.
bool SplitStatements(const std::string &text, std::vector<RawStatement> &out,
                     bool *openOnly = nullptr)
{
    if (openOnly)
        *openOnly = false;
    int depth = 0, line = 1, startLine = 1;
    size_t start = 0;
    std::string current;
    auto flush = [&](size_t end) {
        const std::string t = Trim(current);
        if (!t.empty())
            out.push_back({t, startLine, start, end});
        current.clear();
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (current.empty() || Trim(current).empty()) {
            if (!IsBlank(c)) {
                startLine = line;
                start = i;
            }
        }
        if (c == '"') {
            const size_t end = SkipQuoted(text, i);
            if (end == std::string::npos) {
                if (openOnly)
                    *openOnly = true;
                error.Raise(kxErrSyntax, "missing closing quote\nat line %d\n", line);
                return false;
            }
            for (size_t k = i; k < end; ++k)
                if (text[k] == '\n')
                    ++line;
            current.append(text, i, end - i);
            i = end - 1;
            continue;
        }
        if (c == '/' && i + 1 < text.size() && text[i + 1] == '/') {
            while (i + 1 < text.size() && text[i + 1] != '\n')
                ++i;
            continue;
        }
        if (c == '(' || c == '[' || c == '{') {
            ++depth;
        } else if (c == ')' || c == ']' || c == '}') {
            if (--depth < 0) {
                error.Raise(kxErrSyntax, "unbalanced brackets\nat line %d\n", line);
                return false;
            }
        }
        if ((c == '\n' || c == ';') && depth == 0) {
            flush(i);
            if (c == '\n')
                ++line;
            continue;
        }
        if (c == '\n')
            ++line;
        current += c;
    }
    if (depth > 0) {
        if (openOnly)
            *openOnly = true;
        error.Raise(kxErrSyntax, "missing closing bracket\nat line %d\n", line);
        return false;
    }
    flush(text.size());
    return true;
}

/// The keyword that starts a statement ("" when none): the first word, followed by a blank or
/// the end of the statement.
std::string KeywordOf(const std::string &text, std::string &rest)
{
    size_t n = 0;
    while (n < text.size() && IsNameChar(text[n]))
        ++n;
    if (n == 0 || (n < text.size() && !IsBlank(text[n])))
        return "";
    const std::string word = text.substr(0, n);
    for (const char *k : kKeywords)
        if (word == k) {
            rest = Trim(text.substr(n));
            return word;
        }
    return "";
}

class BlockParser {
public:
    BlockParser(const std::string &source, const std::vector<RawStatement> &raw)
        : source_(source), raw_(raw)
    {
    }

    /// Builds the statement tree. False (error set) on a block left open or a stray else/end.
    bool Parse(std::vector<Statement> &out)
    {
        const char *stop = nullptr;
        if (!ParseList(out, stop))
            return false;
        if (stop) {
            error.Raise(kxErrSyntax, "\"%s\" without for or if\nat line %d\n", stop,
                        raw_[pos_ - 1].line);
            return false;
        }
        return true;
    }

private:
    /// Parses statements until the end or an "else" / "end" (returned in `stop`, consumed).
    bool ParseList(std::vector<Statement> &out, const char *&stop)
    {
        stop = nullptr;
        while (pos_ < raw_.size()) {
            const RawStatement &r = raw_[pos_++];
            std::string rest;
            const std::string kw = KeywordOf(r.text, rest);
            if (kw == "else" || kw == "end") {
                if (!rest.empty()) {
                    error.Raise(kxErrSyntax, "unexpected text after \"%s\"\nat line %d\n",
                                kw.c_str(), r.line);
                    return false;
                }
                stop = kw == "else" ? "else" : "end";
                return true;
            }
            Statement s;
            s.text = r.text;
            s.line = r.line;
            s.arg = rest;
            s.source = r.text;
            if (kw.empty()) {
                s.kind = StPath;
            } else if (kw == "for" || kw == "if") {
                s.kind = kw == "for" ? StFor : StIf;
                if (!ParseBlock(s, r))
                    return false;
            } else {
                s.kind = kw == "set"     ? StSet
                         : kw == "print" ? StPrint
                         : kw == "help"  ? StHelp
                         : kw == "cd"    ? StCd
                         : kw == "pwd"   ? StPwd
                                         : StExit;
            }
            out.push_back(std::move(s));
        }
        return true;
    }

    bool ParseBlock(Statement &s, const RawStatement &head)
    {
        const char *stop = nullptr;
        if (!ParseList(s.body, stop))
            return false;
        if (stop && std::strcmp(stop, "else") == 0) {
            if (s.kind != StIf) {
                error.Raise(kxErrSyntax, "\"else\" without if\nat line %d\n", raw_[pos_ - 1].line);
                return false;
            }
            if (!ParseList(s.elseBody, stop))
                return false;
            if (stop && std::strcmp(stop, "else") == 0) {
                error.Raise(kxErrSyntax, "second \"else\" in if\nat line %d\n",
                            raw_[pos_ - 1].line);
                return false;
            }
        }
        if (!stop) {
            error.Raise(kxErrSyntax, "missing \"end\" of the %s block starting at line %d\n",
                        s.kind == StFor ? "for" : "if", head.line);
            return false;
        }
        const RawStatement &last = raw_[pos_ - 1];
        s.source = source_.substr(head.begin, last.end - head.begin);
        return true;
    }

    const std::string &source_;
    const std::vector<RawStatement> &raw_;
    size_t pos_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Paths

struct PathComponent {
    std::string name;
    enum {
        NoIndex,
        Number,
        Key,
        Formula
    } index = NoIndex;
    long number = 0;
    std::string key; ///< the child name or the formula
};

struct Path {
    bool relative = false;
    std::vector<PathComponent> components;
};

/// Parses a path at s[pos]; `pos` moves past it. False (error set) when there is none.
bool ParsePath(const std::string &s, size_t &pos, Path &path)
{
    if (pos < s.size() && s[pos] == '.') {
        path.relative = true;
        ++pos;
        if (pos >= s.size() || !IsNameStart(s[pos]))
            return true; // "." alone: the current object
    }
    for (;;) {
        if (pos >= s.size() || !IsNameStart(s[pos])) {
            error.Raise(kxErrSyntax, "a name was expected at \"%s\"\n", s.substr(pos).c_str());
            return false;
        }
        PathComponent c;
        while (pos < s.size() && IsNameChar(s[pos]))
            c.name += s[pos++];
        if (pos < s.size() && s[pos] == '[') {
            const size_t close = MatchingBracket(s, pos);
            if (close == std::string::npos) {
                error.Raise(kxErrSyntax, "missing square bracket\n");
                return false;
            }
            const std::string inside = Trim(s.substr(pos + 1, close - pos - 1));
            pos = close + 1;
            if (inside.empty()) {
                error.Raise(kxErrSyntax, "empty index of \"%s\"\n", c.name.c_str());
                return false;
            }
            if (inside[0] == '"' && SkipQuoted(inside, 0) == inside.size()) {
                c.index = PathComponent::Key;
                c.key = Unquote(inside);
            } else if (IsIntegerText(inside) && inside[0] != '-' && inside[0] != '+') {
                c.index = PathComponent::Number;
                c.number = std::strtol(inside.c_str(), nullptr, 10);
            } else {
                c.index = PathComponent::Formula;
                c.key = inside;
            }
        }
        path.components.push_back(std::move(c));
        if (pos < s.size() && s[pos] == '.' && pos + 1 < s.size() && IsNameStart(s[pos + 1])) {
            ++pos;
            continue;
        }
        return true;
    }
}

std::string ComponentText(const PathComponent &c)
{
    switch (c.index) {
    case PathComponent::Number: return c.name + "[" + std::to_string(c.number) + "]";
    case PathComponent::Key: return c.name + "[\"" + c.key + "\"]";
    case PathComponent::Formula: return c.name + "[" + c.key + "]";
    default: return c.name;
    }
}

/// Picks the n-th child object an object publishes (from 1), counting them.
class ListPicker : public kxCommandResolver {
public:
    explicit ListPicker(long wanted) : wanted_(wanted) {}
    bool Wants(const char *, kxCmdEltKind kind) const override
    {
        if (found_ || kind != kxEltObject)
            return false;
        return ++seen_ == wanted_;
    }
    void Offer(const KXCommandElt &elt) override { found_ = elt; }
    const KXCommandElt &Found() const { return found_; }
    long Seen() const { return seen_; }

private:
    long wanted_;
    mutable long seen_ = 0;
    KXCommandElt found_;
};

/// Collects every published name once, in publication order, with the number of times it was
/// published.
class NameCollector : public kxCommandResolver {
public:
    bool Wants(const char *name, kxCmdEltKind) const override
    {
        auto it = index_.find(name);
        if (it != index_.end()) {
            ++counts[it->second];
            return false;
        }
        return true;
    }
    void Offer(const KXCommandElt &elt) override
    {
        index_[elt.GetName().c_str()] = elts.size();
        elts.push_back(elt);
        counts.push_back(1);
    }
    std::vector<KXCommandElt> elts;
    mutable std::vector<int> counts;

private:
    std::map<std::string, size_t> index_;
};

/// The name of a child object: its "nodename" function or variable, else its "name" variable.
std::string ChildName(KXObject &child)
{
    ErrorShield shield;
    KXCommandElt elt = child.getPublishedElt("nodename");
    std::string name;
    if (elt.GetKind() == kxEltFunction) {
        KXString result;
        if (elt.Call(List<KXString>(), result))
            name = result.c_str();
    } else if (elt.GetKind() == kxEltVariable) {
        name = elt.GetValueString().c_str();
    } else {
        elt = child.getPublishedElt("name");
        if (elt.GetKind() == kxEltVariable)
            name = elt.GetValueString().c_str();
    }
    return Trim(name);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The interpreter

class kxCommandObject::Interpreter {
public:
    Interpreter(kxCommandObject &owner, const char *fileName, bool multiLine)
        : cmd_(owner), fileName_(fileName ? fileName : ""), multiLine_(multiLine)
    {
    }

    enum Outcome {
        Go,
        Stop,
        Exit
    };

    /// Runs a list of statements; `record` records each top-level statement.
    Outcome RunList(const std::vector<Statement> &list, bool record)
    {
        for (const Statement &s : list) {
            const Outcome o = RunOne(s, record);
            if (o != Go)
                return o;
            if (cmd_.exitRequested_) // an exit in a command file run by this statement
                return Exit;
        }
        return Go;
    }

    bool HadError() const { return hadError_; }
    const Error &FirstError() const { return firstError_; }

    // -- pieces also used by completion and the public helpers --------------------------------
    struct Target {
        KXObject *object = nullptr;          ///< the object reached (a path ending at an object)
        KXCommandElt elt;                    ///< the last element (empty for the start object)
        kxNamedVariable *variable = nullptr; ///< a command variable (single name)
        const KXString *textVariable = nullptr;
        std::string display;
    };

    bool Resolve(const Path &path, Target &t, bool allowVariables)
    {
        if (!path.relative)
            return ResolveFrom(cmd_, path, t, allowVariables);
        KXObject *current = cmd_.GetCurrentObject();
        t.display = cmd_.GetCurrentPath().c_str();
        if (!current) {
            error.Raise(kxErrSyntax, "the current object \"%s\" no longer exists\n",
                        t.display.c_str());
            return false;
        }
        return ResolveFrom(*current, path, t, allowVariables);
    }

    /// Walks the path's components from `start` (t.display names `start`).
    bool ResolveFrom(KXObject &start, const Path &path, Target &t, bool allowVariables)
    {
        KXObject *obj = &start;
        t.object = obj;
        for (size_t i = 0; i < path.components.size(); ++i) {
            const PathComponent &c = path.components[i];
            KXCommandElt elt;
            if (c.index == PathComponent::NoIndex) {
                elt = obj->getPublishedElt(c.name.c_str());
                if (!elt && i == 0 && !path.relative && allowVariables &&
                    path.components.size() == 1 && FindVariable(c.name, t))
                    return true;
                if (!elt) {
                    UnknownMember(*obj, c.name, t.display);
                    return false;
                }
            } else if (!PickChild(*obj, c, t.display, elt)) {
                return false;
            }
            t.display += (t.display.empty() ? "" : ".") + ComponentText(c);
            t.elt = elt;
            if (elt.GetKind() == kxEltObject) {
                obj = elt.GetObject();
                t.object = obj;
            } else {
                t.object = nullptr;
                if (i + 1 < path.components.size()) {
                    error.Raise(kxErrSyntax, "%s is not an object\n", t.display.c_str());
                    return false;
                }
            }
        }
        return true;
    }

    bool ResolveText(const std::string &text, Target &t, bool allowVariables)
    {
        Path path;
        size_t pos = 0;
        if (!ParsePath(text, pos, path))
            return false;
        if (Trim(text.substr(pos)).size()) {
            error.Raise(kxErrSyntax, "unexpected text after the path: \"%s\"\n",
                        text.substr(pos).c_str());
            return false;
        }
        return Resolve(path, t, allowVariables);
    }

    /// Evaluates a formula in the command namespace. False (error set) on failure.
    bool Evaluate(const std::string &formula, std::complex<double> &value)
    {
        if (Trim(formula).empty()) {
            error.Raise(kxErrSyntax, "empty formula\n");
            return false;
        }
        KXExpressionC expression;
        expression.setExpression(KXString(formula.c_str()));
        kxNameSpace *ns = cmd_.GetNameSpace();
        while (!expression.Compile()) {
            const char *text = error.chars();
            static const char prefix[] = "undefined variable \"";
            const char *at = std::strstr(text, prefix);
            if (!at)
                return false;
            const char *nameStart = at + sizeof prefix - 1;
            const char *nameEnd = std::strchr(nameStart, '"');
            const std::string name = nameEnd ? std::string(nameStart, nameEnd) : std::string();
            kxNamedVariable *var = name.empty() ? nullptr : ns->GetVariableByName(name.c_str());
            if (!var || expression.FindParam(KXString(name.c_str())) >= 0)
                return false;
            error.reset();
            expression.DeclareParam(KXString(name.c_str()), KXString(), 0, -1);
        }
        std::vector<std::complex<double>> values(size_t(expression.ParamCount()));
        for (int i = 0; i < expression.ParamCount(); ++i) {
            kxNamedVariable *var = ns->GetVariableByName(expression.ParamName(i));
            values[size_t(i)] = var ? var->GetValue() : std::complex<double>();
        }
        value = expression.Evaluate(values.data());
        return !error;
    }

    /// Replaces every "{formula}" (not "\{") by its value.
    bool Substitute(const std::string &text, std::string &out)
    {
        out.clear();
        for (size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '{') {
                out += '{';
                ++i;
                continue;
            }
            if (text[i] != '{') {
                out += text[i];
                continue;
            }
            const size_t close = MatchingBracket(text, i);
            if (close == std::string::npos) {
                error.Raise(kxErrSyntax, "missing closing brace\n");
                return false;
            }
            const std::string formula = Trim(text.substr(i + 1, close - i - 1));
            auto tv = cmd_.textVars_.find(formula);
            if (tv != cmd_.textVars_.end()) {
                out += tv->second.c_str();
            } else {
                std::complex<double> v;
                if (!Evaluate(formula, v))
                    return false;
                out += NumberText(v);
            }
            i = close;
        }
        return true;
    }

private:
    bool FindVariable(const std::string &name, Target &t)
    {
        auto tv = cmd_.textVars_.find(name);
        if (tv != cmd_.textVars_.end()) {
            t.textVariable = &tv->second;
            t.display = name;
            return true;
        }
        t.variable = cmd_.GetNameSpace()->GetVariableByName(name.c_str());
        t.display = name;
        return t.variable != nullptr;
    }

    std::string Where(const std::string &display) const
    {
        return display.empty() ? std::string("the command root") : display;
    }

    void UnknownMember(KXObject &obj, const std::string &name, const std::string &display)
    {
        NameCollector names;
        obj.ResolveCommand(names);
        std::vector<std::pair<int, std::string>> ranked;
        for (const KXCommandElt &e : names.elts) {
            const std::string n = e.GetName().c_str();
            if (n.empty())
                continue;
            int d = EditDistance(name, n);
            if (n.compare(0, name.size(), name) == 0 || name.compare(0, n.size(), n) == 0)
                d = std::min(d, 1);
            ranked.emplace_back(d, n);
        }
        std::sort(ranked.begin(), ranked.end());
        std::string list;
        for (size_t i = 0; i < ranked.size() && i < 5; ++i)
            list += (i ? ", " : "") + ranked[i].second;
        error.Raise(kxErrSyntax, "\"%s\" not found in %s\nnearest published names: %s\n",
                    name.c_str(), Where(display).c_str(), list.empty() ? "(none)" : list.c_str());
    }

    /// name[index]: the child list `name` of `obj` is the object published under that name;
    /// its items are the child objects it publishes, in order.
    bool PickChild(KXObject &obj, const PathComponent &c, const std::string &display,
                   KXCommandElt &elt)
    {
        const KXCommandElt list = obj.getPublishedElt(c.name.c_str());
        if (!list) {
            UnknownMember(obj, c.name, display);
            return false;
        }
        const std::string listText = (display.empty() ? "" : display + ".") + c.name;
        if (list.GetKind() != kxEltObject) {
            error.Raise(1, "%s is not a child list\n", listText.c_str());
            return false;
        }
        KXObject &items = *list.GetObject();
        if (c.index == PathComponent::Key)
            return PickByName(items, c.key, listText, elt);
        long n = c.number;
        if (c.index == PathComponent::Formula) {
            std::complex<double> v;
            if (!Evaluate(c.key, v))
                return false;
            n = std::lround(v.real());
        }
        ListPicker picker(n);
        items.ResolveCommand(picker);
        if (picker.Found()) {
            elt = picker.Found();
            return true;
        }
        error.Raise(kxErrOutOfRange, "index %ld out of range (1 to %ld) in %s\n", n, picker.Seen(),
                    listText.c_str());
        return false;
    }

    /// The item published under `key`, else the first whose own name (ChildName) is `key`.
    bool PickByName(KXObject &items, const std::string &key, const std::string &listText,
                    KXCommandElt &elt)
    {
        elt = items.getPublishedElt(key.c_str(), true);
        if (elt)
            return true;
        List<KXCommandElt> all;
        items.getChildList(all, true);
        for (int i = 1; i <= all.size(); ++i)
            if (ChildName(*all[i].GetObject()) == key) {
                elt = all[i];
                return true;
            }
        error.Raise(kxErrSyntax, "no child named \"%s\" in %s\n", key.c_str(), listText.c_str());
        return false;
    }

    // -- statements -------------------------------------------------------------------------
    Outcome RunOne(const Statement &s, bool record)
    {
        RunSignal::Spin(); // throttled: at most one yield to the user interface every 0.2 s
        if (cmd_.stopRequested_) {
            cmd_.stopRequested_ = false;
            error.Raise(kxErrUserAbort, "script stopped by user\n");
            return Stop;
        }
        if (cmd_.statementLimit_ > 0 && ++cmd_.statementCount_ > cmd_.statementLimit_) {
            error.Raise(kxErrUserAbort, "statement limit reached\n");
            return Stop;
        }
        if (cmd_.stepByStep_ && !kxWarnChoice(0, "execute command:\n%s", s.text.c_str())) {
            error.Raise(kxErrUserAbort, "script stopped by user\n");
            return Stop;
        }
        if (record)
            cmd_.RecordCommand(s.source.c_str());
        bool ok = true;
        switch (s.kind) {
        case StFor: return RunFor(s);
        case StIf: return RunIf(s);
        case StExit:
            cmd_.exitRequested_ = true;
            cmd_.lastResult_ = kxCommandValue();
            return Exit;
        case StSet: ok = RunSet(s.arg); break;
        case StPrint: ok = RunPrint(s.arg); break;
        case StHelp: ok = RunHelp(s.arg); break;
        case StCd: ok = RunCd(s.arg); break;
        case StPwd:
            cmd_.lastResult_ = kxCommandValue();
            cmd_.Print((CurrentText() + "\n").c_str());
            break;
        case StPath: ok = RunPath(s.text); break;
        }
        return ok ? Go : Failed(s);
    }

    /// A failed statement: names it in the error, then continues or stops by the switches.
    Outcome Failed(const Statement &s)
    {
        if (!error)
            error.Raise(1, "command failed\n");
        if (error == kxErrUserAbort)
            return Stop;
        error.set("in command: %s\n", s.text.c_str());
        if (!fileName_.empty())
            error.set("at line %d of %s\n", s.line, fileName_.c_str());
        else if (multiLine_)
            error.set("at line %d\n", s.line);
        bool goOn = !cmd_.stopOnError_;
        if (cmd_.pauseOnError_)
            goOn = kxWarnChoice(0, "%scontinue?", error.chars());
        if (!goOn)
            return Stop;
        KXString report;
        report.sprintf("ERROR %d: %s", int(error), error.chars());
        cmd_.Print(report.c_str());
        if (!hadError_)
            firstError_ = error;
        hadError_ = true;
        error.reset();
        return Go;
    }

    Outcome RunFor(const Statement &s)
    {
        const size_t eq = s.arg.find('=');
        const std::string name = Trim(s.arg.substr(0, eq == std::string::npos ? 0 : eq));
        std::vector<std::string> parts;
        if (eq != std::string::npos)
            parts = SplitTopLevel(s.arg.substr(eq + 1));
        if (name.empty() || parts.size() < 2 || parts.size() > 3) {
            error.Raise(kxErrSyntax, "expected: for name = first, last[, step]\n");
            return Failed(s);
        }
        std::complex<double> first, last, step(1.0);
        if (!Evaluate(parts[0], first) || !Evaluate(parts[1], last) ||
            (parts.size() == 3 && !Evaluate(parts[2], step)))
            return Failed(s);
        if (step.real() == 0) {
            error.Raise(1, "for loop step is zero\n");
            return Failed(s);
        }
        kxNamedVariable *var = SetVariable(name);
        if (!var)
            return Failed(s);
        const double a = first.real(), b = last.real(), h = step.real();
        const double slack = 1e-12 * std::max({std::fabs(a), std::fabs(b), std::fabs(h)});
        for (long k = 0;; ++k) {
            const double v = a + double(k) * h;
            if (h > 0 ? v > b + slack : v < b - slack)
                break;
            var = SetVariable(name); // the body may have removed or reset it
            if (!var)
                return Failed(s);
            var->SetValue(std::complex<double>(v, 0.0));
            const Outcome o = RunList(s.body, false);
            if (o != Go)
                return o;
        }
        cmd_.lastResult_ = kxCommandValue();
        return Go;
    }

    Outcome RunIf(const Statement &s)
    {
        std::complex<double> v;
        if (!Evaluate(s.arg, v))
            return Failed(s);
        cmd_.lastResult_ = kxCommandValue();
        return RunList(v.real() != 0 || v.imag() != 0 ? s.body : s.elseBody, false);
    }

    /// The command variable `name`, made when it does not exist yet.
    kxNamedVariable *SetVariable(const std::string &name)
    {
        kxNameSpace *ns = cmd_.GetNameSpace();
        cmd_.textVars_.erase(name);
        if (kxNamedVariable *v = ns->GetVariableByName(name.c_str(), false))
            return v;
        if (!kxNamedVariable::IsNameValid(name.c_str())) {
            error.Raise(kxErrSyntax, "invalid variable name \"%s\"\n", name.c_str());
            return nullptr;
        }
        kxNamedVariable *v = new kxNamedVariable(ns); // owned by the namespace
        if (!v->SetName(name.c_str())) {
            delete v;
            error.Raise(kxErrSyntax, "invalid variable name \"%s\"\n", name.c_str());
            return nullptr;
        }
        return v;
    }

    bool RunSet(const std::string &arg)
    {
        const size_t eq = arg.find('=');
        if (eq == std::string::npos || (eq + 1 < arg.size() && arg[eq + 1] == '=')) {
            error.Raise(kxErrSyntax, "expected: set name = formula\n");
            return false;
        }
        const std::string name = Trim(arg.substr(0, eq));
        std::complex<double> value;
        if (!Evaluate(arg.substr(eq + 1), value))
            return false;
        kxNamedVariable *var = SetVariable(name);
        if (!var)
            return false;
        var->SetValue(value);
        kxCommandValue &r = cmd_.lastResult_;
        r = kxCommandValue();
        r.type = value.imag() == 0 ? kxCmdDouble : kxCmdComplex;
        r.number = value;
        r.text = NumberText(value).c_str();
        return true;
    }

    bool TextArgument(const std::string &raw, std::string &out)
    {
        std::string substituted;
        if (!Substitute(raw, substituted))
            return false;
        out = Unquote(Trim(substituted));
        return true;
    }

    bool RunPrint(const std::string &arg)
    {
        std::string text;
        if (!TextArgument(arg, text))
            return false;
        cmd_.Print((text + "\n").c_str());
        cmd_.lastResult_ = ValueFromText(text, kxCmdText);
        cmd_.lastResult_.type = kxCmdText;
        return true;
    }

    std::string CurrentText()
    {
        std::string text;
        if (cmd_.currentObject_)
            text = std::string("<") + cmd_.currentObject_->getClassName() + ">";
        if (!cmd_.currentPath_.Empty())
            text += (text.empty() ? "" : ".") + std::string(cmd_.currentPath_.c_str());
        return text;
    }

    bool RunCd(const std::string &arg)
    {
        cmd_.lastResult_ = kxCommandValue();
        if (arg.empty()) {
            cmd_.SetCurrentObject(nullptr);
            return true;
        }
        Target t;
        if (!ResolveText(arg, t, false))
            return false;
        if (!t.object) {
            error.Raise(1, "%s is not an object\n", t.display.c_str());
            return false;
        }
        if (arg[0] == '.') {
            std::string rest = arg.substr(1);
            std::string path = cmd_.currentPath_.c_str();
            if (!rest.empty())
                path += (path.empty() ? "" : ".") + rest;
            cmd_.currentPath_ = path.c_str();
        } else {
            cmd_.currentObject_ = nullptr;
            cmd_.currentPath_ = arg.c_str();
        }
        return true;
    }

    static std::string FunctionHelp(const KXCommandElt &e)
    {
        std::string help = e.GetHelp().c_str();
        std::string name = e.GetName().c_str();
        return help.empty() || help[0] == '(' ? name + help : name + ": " + help;
    }

    void ListMembers(KXObject &obj)
    {
        NameCollector names;
        obj.ResolveCommand(names);
        std::vector<std::string> col1, col2;
        size_t w1 = 0, w2 = 0;
        for (size_t i = 0; i < names.elts.size(); ++i) {
            const KXCommandElt &e = names.elts[i];
            std::string n = e.GetName().c_str();
            if (n.empty())
                n = "(unnamed)";
            std::string type = e.GetKind() == kxEltVariable   ? e.GetTypeName()
                               : e.GetKind() == kxEltFunction ? "function"
                                                              : "object";
            if (e.GetKind() == kxEltObject && names.counts[i] > 1)
                type = "list of " + std::to_string(names.counts[i]);
            else if (e.GetKind() == kxEltObject)
                type += std::string(" ") + e.GetTypeName();
            w1 = std::max(w1, n.size());
            w2 = std::max(w2, type.size());
            col1.push_back(n);
            col2.push_back(type);
        }
        std::string out;
        for (size_t i = 0; i < col1.size(); ++i) {
            std::string line = col1[i] + std::string(w1 - col1[i].size() + 2, ' ') + col2[i];
            const std::string help = names.elts[i].GetHelp().c_str();
            if (!help.empty())
                line += std::string(w2 - col2[i].size() + 2, ' ') + help;
            out += line + "\n";
        }
        cmd_.Print(out.c_str());
    }

    void Show(const Target &t, bool withHelp)
    {
        kxCommandValue &r = cmd_.lastResult_;
        r = kxCommandValue();
        if (t.textVariable) {
            cmd_.Print((std::string(t.textVariable->c_str()) + "\n").c_str());
            r.type = kxCmdText;
            r.text = *t.textVariable;
            return;
        }
        if (t.variable) {
            const std::complex<double> v = t.variable->GetValue();
            r.type = v.imag() == 0 ? kxCmdDouble : kxCmdComplex;
            r.number = v;
            r.text = NumberText(v).c_str();
            cmd_.Print((std::string(r.text.c_str()) + "\n").c_str());
            return;
        }
        switch (t.elt.GetKind()) {
        case kxEltVariable: {
            const std::string text = t.elt.GetValueString().c_str();
            if (withHelp)
                cmd_.Print((std::string(t.elt.GetName().c_str()) + " (" + t.elt.GetTypeName() +
                            (t.elt.IsReadOnly() ? ", read-only" : "") +
                            "): " + t.elt.GetHelp().c_str() + "\n")
                               .c_str());
            cmd_.Print((text + "\n").c_str());
            r = ValueFromText(text, KindValueType(t.elt.GetTypeName()));
            if (KindValueType(t.elt.GetTypeName()) == kxCmdText)
                r.type = kxCmdText;
            return;
        }
        case kxEltFunction: cmd_.Print((FunctionHelp(t.elt) + "\n").c_str()); return;
        default:
            if (withHelp && t.elt)
                cmd_.Print(
                    (std::string(t.elt.GetName().c_str()) + ": " + t.elt.GetHelp().c_str() + "\n")
                        .c_str());
            ListMembers(*t.object);
            r.type = kxCmdObject;
            r.object = t.object;
            r.text = t.object->getClassName();
            return;
        }
    }

    bool RunHelp(const std::string &arg)
    {
        if (arg.empty()) {
            cmd_.Print(
                "statements: path | path = text | path(arg, ...) | set name = formula |\n"
                "  for name = first, last[, step] ... end | if formula ... [else ...] end |\n"
                "  print text | help [path] | cd [path] | pwd | exit\n"
                "{formula} in a text is replaced by its value; \"//\" starts a comment\n"
                "members of the command root:\n");
            ListMembers(cmd_);
            cmd_.lastResult_ = kxCommandValue();
            return true;
        }
        Target t;
        if (!ResolveText(arg, t, true))
            return false;
        Show(t, true);
        return true;
    }

    bool RunPath(const std::string &text)
    {
        Path path;
        size_t pos = 0;
        if (!ParsePath(text, pos, path)) {
            error.Raise(kxErrSyntax, "not a command: %s\n", text.c_str());
            return false;
        }
        while (pos < text.size() && IsBlank(text[pos]))
            ++pos;
        if (pos == text.size()) {
            Target t;
            if (!Resolve(path, t, true))
                return false;
            Show(t, false);
            return true;
        }
        if (text[pos] == '=' && (pos + 1 == text.size() || text[pos + 1] != '='))
            return Assign(path, text.substr(pos + 1));
        if (text[pos] == '(') {
            const size_t close = MatchingBracket(text, pos);
            if (close == std::string::npos || !Trim(text.substr(close + 1)).empty()) {
                error.Raise(kxErrSyntax, "unexpected text after the call\n");
                return false;
            }
            return Call(path, text.substr(pos + 1, close - pos - 1));
        }
        error.Raise(kxErrSyntax, "not a command: %s\n", text.c_str());
        return false;
    }

    bool Assign(const Path &path, const std::string &rawValue)
    {
        Target t;
        if (!Resolve(path, t, false))
            return false;
        if (t.elt.GetKind() != kxEltVariable) {
            error.Raise(1, "%s is not a variable\n", t.display.c_str());
            return false;
        }
        if (t.elt.IsReadOnly()) {
            error.Raise(1, "%s is read-only\n", t.display.c_str());
            return false;
        }
        std::string value;
        if (!TextArgument(rawValue, value))
            return false;
        cmd_.lastResult_ = kxCommandValue();
        if (t.elt.SetValueString(value.c_str()))
            return true;
        if (!error)
            error.Raise(1, "%s (%s) does not accept \"%s\"\n", t.display.c_str(),
                        t.elt.GetTypeName(), value.c_str());
        return false;
    }

    bool Call(const Path &path, const std::string &rawArgs)
    {
        Target t;
        if (!Resolve(path, t, false))
            return false;
        if (t.elt.GetKind() != kxEltFunction) {
            error.Raise(1, "%s is not a function\n", t.display.c_str());
            return false;
        }
        List<KXString> args;
        if (!Trim(rawArgs).empty())
            for (const std::string &a : SplitTopLevel(rawArgs)) {
                std::string value;
                if (!TextArgument(a, value))
                    return false;
                args.append(KXString(value.c_str()));
            }
        KXString result;
        cmd_.lastResult_ = kxCommandValue();
        if (!t.elt.Call(args, result)) {
            if (!error)
                error.Raise(1, "%s failed\n", t.display.c_str());
            return false;
        }
        if (result.Empty())
            return true;
        cmd_.Print((std::string(result.c_str()) + "\n").c_str());
        cmd_.lastResult_ = ValueFromText(result.c_str(), kxCmdInt);
        return true;
    }

    kxCommandObject &cmd_;
    std::string fileName_;
    bool multiLine_;
    bool hadError_ = false;
    Error firstError_;
};

// ---------------------------------------------------------------------------------------------
// kxCommandObject

kxCommandObject::kxCommandObject(KXObject *app, kxNameSpace *parentNameSpace)
    : app_(app), nameSpace_(new kxNameSpace(parentNameSpace))
{
}

kxCommandObject::~kxCommandObject()
{
    if (!tempScript_.Empty())
        std::remove(tempScript_.c_str());
}

void kxCommandObject::OnPublish()
{
    KXObject::OnPublish();
    PublishObj("app", app_, "the application");
    PublishVar(kxCmdStopOnError, stopOnError_, "stop a script at its first error");
    PublishVar(kxCmdPauseOnError, pauseOnError_, "ask whether to continue after an error");
    PublishVar(kxCmdStepByStep, stepByStep_, "ask before every command");
    PublishVar(kxCmdEnableRecord, enableRecord_, "append every command to the command log file");
    PublishVar("commandLog", commandLog_, "command log file");
    PublishVar("outputLog", outputLog_, "output log file");
    PublishFunc(
        "runfile",
        [this](const List<KXString> &args, KXString &) {
            if (args.size() < 1 || args.size() > 2) {
                error.Raise(1, "runfile needs a file name and optional arguments\n");
                return false;
            }
            return Runfromfile(args[1].c_str(), args.size() == 2 ? args[2].c_str() : "");
        },
        "(filename[, arguments]): run a command file or a python file");
}

bool kxCommandObject::SetSwitch(const char *name, bool on)
{
    if (!name)
        return false;
    bool *flag = std::strcmp(name, kxCmdStopOnError) == 0    ? &stopOnError_
                 : std::strcmp(name, kxCmdPauseOnError) == 0 ? &pauseOnError_
                 : std::strcmp(name, kxCmdStepByStep) == 0   ? &stepByStep_
                 : std::strcmp(name, kxCmdEnableRecord) == 0 ? &enableRecord_
                                                             : nullptr;
    if (!flag)
        return false;
    *flag = on;
    return true;
}

bool kxCommandObject::GetSwitch(const char *name) const
{
    if (!name)
        return false;
    if (std::strcmp(name, kxCmdStopOnError) == 0)
        return stopOnError_;
    if (std::strcmp(name, kxCmdPauseOnError) == 0)
        return pauseOnError_;
    if (std::strcmp(name, kxCmdStepByStep) == 0)
        return stepByStep_;
    return std::strcmp(name, kxCmdEnableRecord) == 0 && enableRecord_;
}

void kxCommandObject::SetCurrentObject(KXObject *object)
{
    currentObject_ = object;
    currentPath_ = "";
}

KXObject *kxCommandObject::GetCurrentObject()
{
    KXObject *base = currentObject_ ? currentObject_ : this;
    if (currentPath_.Empty())
        return base;
    ErrorShield shield;
    Path path;
    size_t pos = 0;
    const std::string text = currentPath_.c_str();
    if (!ParsePath(text, pos, path))
        return nullptr;
    Interpreter in(*this, nullptr, false);
    Interpreter::Target t;
    return in.ResolveFrom(*base, path, t, false) ? t.object : nullptr;
}

void kxCommandObject::Print(const char *text)
{
    output_ += text;
    if (outputHook_)
        outputHook_(text);
    if (!outputLog_.Empty())
        if (FILE *f = std::fopen(outputLog_.c_str(), "a")) {
            std::fputs(text, f);
            std::fclose(f);
        }
}

void kxCommandObject::RecordCommand(const char *text)
{
    if (!enableRecord_ || commandLog_.Empty())
        return;
    if (FILE *f = std::fopen(commandLog_.c_str(), "a")) {
        std::fputs(text, f);
        std::fputc('\n', f);
        std::fclose(f);
    }
}

bool kxCommandObject::Execute(const char *text) { return ExecuteText(text, nullptr); }

bool kxCommandObject::ExecuteText(const char *text, const char *fileName)
{
    const std::string source = text ? text : "";
    if (depth_ == 0) {
        output_ = "";
        error.reset();
        stopRequested_ = false;
        exitRequested_ = false;
        statementCount_ = 0;
    }
    if (depth_ >= 32) {
        error.Raise(1, "command files nested too deeply\n");
        return false;
    }
    lastResult_ = kxCommandValue();
    std::vector<RawStatement> raw;
    std::vector<Statement> program;
    if (!SplitStatements(source, raw) || !BlockParser(source, raw).Parse(program)) {
        if (fileName && *fileName)
            error.set("in file %s\n", fileName);
        return false;
    }
    const bool multiLine = source.find('\n') != std::string::npos;
    Interpreter in(*this, fileName, multiLine);
    const int previousState = runningState_;
    if (runningState_ == kxCmdIdle)
        runningState_ = kxCmdExecuting;
    ++depth_;
    const bool record = depth_ == 1 && !(fileName && *fileName);
    const Interpreter::Outcome outcome = in.RunList(program, record);
    --depth_;
    runningState_ = previousState;
    if (outcome == Interpreter::Stop)
        return false;
    if (in.HadError()) {
        error = in.FirstError();
        return false;
    }
    return true;
}

bool kxCommandObject::RunWithState(int state, const char *text, const char *fileName)
{
    const int previous = runningState_;
    runningState_ = state;
    RunSignal running; // a script is a long run: indicator, priority and yields to the user
    const bool ok = ExecuteText(text, fileName);
    runningState_ = previous;
    return ok;
}

void kxCommandObject::SetArguments(const char *arguments)
{
    // Forget the arguments of the previous script.
    for (int i = 1; i <= argCount_; ++i) {
        const std::string name = "arg" + std::to_string(i);
        textVars_.erase(name);
        const int index = nameSpace_->FindVariable(name.c_str(), false);
        if (index >= 0)
            nameSpace_->RemoveVariable(index);
    }
    std::vector<std::string> words;
    const std::string text = arguments ? arguments : "";
    for (size_t i = 0; i < text.size();) {
        if (IsBlank(text[i])) {
            ++i;
            continue;
        }
        size_t end = i;
        while (end < text.size() && !IsBlank(text[end])) {
            if (text[end] == '"') {
                const size_t q = SkipQuoted(text, end);
                end = q == std::string::npos ? text.size() : q;
            } else {
                ++end;
            }
        }
        words.push_back(Unquote(text.substr(i, end - i)));
        i = end;
    }
    argCount_ = int(words.size());
    auto numeric = [this](const std::string &name, const std::complex<double> &value) {
        kxNamedVariable *v = nameSpace_->GetVariableByName(name.c_str(), false);
        if (!v) {
            v = new kxNamedVariable(nameSpace_.get()); // owned by the namespace
            if (!v->SetName(name.c_str())) { // "nargs" and "argN" are valid and were absent
                delete v;
                return;
            }
        }
        v->SetValue(value);
    };
    numeric("nargs", double(words.size()));
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string name = "arg" + std::to_string(i + 1);
        std::complex<double> value;
        if (HasDigit(words[i]) && kxStringToNumber(words[i].c_str(), value))
            numeric(name, value);
        else
            textVars_[name] = words[i].c_str();
    }
}

bool kxCommandObject::RunPython(const char *file, const char *arguments)
{
    // The commands the script sends back are top-level runs of their own, even when the script
    // was started by a command: each starts with a clear error and output of its own.
    const int previousState = runningState_;
    const int previousDepth = depth_;
    const KXString previousOutput = output_;
    runningState_ = kxCmdScript;
    depth_ = 0;
    const bool ok = scriptRunner_(file, arguments);
    depth_ = previousDepth;
    output_ = previousOutput;
    runningState_ = previousState;
    if (ok)
        error.reset(); // errors of the script's commands went back to the script
    return ok;
}

bool kxCommandObject::RunScript(int language, const char *scriptText, const char *arguments)
{
    if (language == 0) {
        if (error)
            return false;
        SetArguments(arguments);
        return RunWithState(kxCmdScript, scriptText, nullptr);
    }
    if (language != 1) {
        error.Raise(1, "unknown language type\n");
        return false;
    }
    if (!tempScript_.Empty())
        std::remove(tempScript_.c_str());
    tempScript_ = "";
    const char *dir = std::getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/kxscriptXXXXXX.py";
    std::vector<char> buffer(name.begin(), name.end());
    buffer.push_back('\0');
    const int fd = mkstemps(buffer.data(), 3);
    if (fd >= 0) {
        tempScript_ = buffer.data();
        const std::string text = scriptText ? scriptText : "";
        const bool written = write(fd, text.data(), text.size()) == ssize_t(text.size());
        close(fd);
        if (!written)
            std::remove(tempScript_.c_str());
    }
    if (tempScript_.Empty() || access(tempScript_.c_str(), F_OK) != 0) {
        error.Raise(kxErrFile, "could not open file:\n%s\n", buffer.data());
        return false;
    }
    return Runfromfile(tempScript_.c_str(), arguments);
}

bool kxCommandObject::Runfromfile(const char *fileName, const char *arguments)
{
    const std::string file = fileName ? fileName : "";
    const size_t dot = file.rfind('.');
    const std::string ext = dot == std::string::npos ? "" : file.substr(dot + 1);
    if (ext == "py" || ext == "PY") {
        if (!scriptRunner_) {
            error.Raise(1, "unable to run python script\nno script server is available\n");
            return false;
        }
        return RunPython(file.c_str(), arguments ? arguments : "");
    }
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        error.Raise(kxErrFile, "could not open file:\n%s\n", file.c_str());
        return false;
    }
    std::stringstream content;
    content << in.rdbuf();
    in.close();
    if (enableRecord_ && !commandLog_.Empty()) {
        char *a = realpath(file.c_str(), nullptr);
        char *b = realpath(commandLog_.c_str(), nullptr);
        const bool same = a && b && std::strcmp(a, b) == 0;
        std::free(a);
        std::free(b);
        if (same) {
            if (!kxWarnChoice(0, "batch file is also the COMMAND log file\nthis will be "
                                 "overwitten. Continue?")) {
                error.Raise(kxErrUserAbort, "script stopped by user\n");
                return false;
            }
            if (FILE *f = std::fopen(commandLog_.c_str(), "w"))
                std::fclose(f);
        }
    }
    SetArguments(arguments);
    return RunWithState(kxCmdScript, content.str().c_str(), file.c_str());
}

bool kxCommandObject::IsComplete(const char *text)
{
    const std::string source = text ? text : "";
    std::vector<RawStatement> raw;
    bool openOnly = false;
    bool split = false;
    {
        ErrorShield shield;
        split = SplitStatements(source, raw, &openOnly);
    }
    if (!split)
        return !openOnly;
    int depth = 0;
    for (const RawStatement &r : raw) {
        std::string rest;
        const std::string kw = KeywordOf(r.text, rest);
        if (kw == "for" || kw == "if")
            ++depth;
        else if (kw == "end" && depth > 0)
            --depth;
    }
    return depth == 0;
}

// ---------------------------------------------------------------------------------------------
// Completion

int kxCommandObject::CompletionStart(const char *text, int cursor)
{
    const int length = text ? int(std::strlen(text)) : 0;
    if (cursor < 0 || cursor > length)
        cursor = length;
    int start = cursor;
    int depth = 0;
    while (start > 0) {
        const char c = text[start - 1];
        if (c == ']')
            ++depth;
        else if (c == '[' && depth > 0)
            --depth;
        else if (depth == 0 && !IsNameChar(c) && c != '.')
            break;
        --start;
    }
    return start;
}

std::vector<KXString> kxCommandObject::Complete(const char *text, int cursor)
{
    const int start = CompletionStart(text, cursor);
    const int length = text ? int(std::strlen(text)) : 0;
    if (cursor < 0 || cursor > length)
        cursor = length;
    const std::string word(text + start, text + cursor);
    const std::string before = text ? std::string(text, text + start) : std::string();
    const size_t lineStart = before.find_last_of(";\n");
    const std::string lead =
        Trim(before.substr(lineStart == std::string::npos ? 0 : lineStart + 1));
    const bool statementStart = lead.empty();

    // Split the word into the path before its last "." (outside brackets) and the partial name.
    int depth = 0;
    size_t lastDot = std::string::npos;
    for (size_t i = 0; i < word.size(); ++i) {
        if (word[i] == '[')
            ++depth;
        else if (word[i] == ']')
            --depth;
        else if (word[i] == '.' && depth == 0)
            lastDot = i;
    }
    const std::string partial = lastDot == std::string::npos ? word : word.substr(lastDot + 1);
    const std::string prefix = lastDot == std::string::npos ? "" : word.substr(0, lastDot + 1);
    if (partial.find('[') != std::string::npos)
        return {};

    ErrorShield shield;
    KXObject *obj = this;
    if (prefix == ".") {
        obj = GetCurrentObject();
    } else if (!prefix.empty()) {
        Interpreter in(*this, nullptr, false);
        Interpreter::Target t;
        obj = in.ResolveText(prefix.substr(0, prefix.size() - 1), t, false) ? t.object : nullptr;
    }

    std::set<std::string> names;
    if (obj) {
        NameCollector collector;
        obj->ResolveCommand(collector);
        for (const KXCommandElt &e : collector.elts) {
            const std::string n = e.GetName().c_str();
            if (!n.empty() && n.compare(0, partial.size(), partial) == 0)
                names.insert(n);
        }
    }
    if (prefix.empty()) {
        for (int i = 0; i < nameSpace_->GetVariableCount(); ++i)
            if (kxNamedVariable *v = nameSpace_->GetVariableAt(i)) {
                const std::string n = v->GetName().c_str();
                if (!n.empty() && n.compare(0, partial.size(), partial) == 0)
                    names.insert(n);
            }
        for (const auto &tv : textVars_)
            if (tv.first.compare(0, partial.size(), partial) == 0)
                names.insert(tv.first);
        if (statementStart)
            for (const char *k : kKeywords)
                if (std::strncmp(k, partial.c_str(), partial.size()) == 0)
                    names.insert(k);
    }
    std::vector<KXString> out;
    for (const std::string &n : names)
        out.push_back(KXString((prefix + n).c_str()));
    return out;
}
