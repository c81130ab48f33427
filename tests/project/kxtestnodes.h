// kxtestnodes.h - node types for the project tests, the fuzz target and the benchmark. Include it
// in exactly one source file of a program: it defines the classes' records.
//
// kxTestNode ("testNodeTB" 1.0, display "Test node", suffix "tnd"): a node whose body holds, in
// this order, text lines (variable lines "name = formula" and comment lines starting with
// "//"), private data blocks ("testDataTB", not a node type; their text is kept as it is) and
// child nodes (kxTestNode or kxTestLeaf). The preload pass defines each variable line's
// variable in the node's namespace (marking it preloaded); the real read evaluates every
// variable line at once and keeps the values, so a formula naming a variable defined later in
// the file is only right when the preload pass ran. A line that is neither is kept but reported
// as a syntax error.
//
// kxTestLeaf ("testLeafTB" 1.0, display "Test leaf", no suffix): a node without children that
// keeps its body lines as text and a state-file payload.
#ifndef KX_TESTS_PROJECT_KXTESTNODES_H
#define KX_TESTS_PROJECT_KXTESTNODES_H

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojman.h"

#include "../kxoutputcapture.h"

#include <cmath>
#include <complex>
#include <cstring>
#include <string>
#include <strings.h>
#include <vector>

namespace kxtest {

/// White space as the block reader sees it (around words and at the start of a line).
inline bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

/// The text of a body line without its leading and trailing white space.
inline std::string TrimLine(const char *line)
{
    std::string s(line ? line : "");
    while (!s.empty() && IsBlank(s.back()))
        s.pop_back();
    size_t start = 0;
    while (start < s.size() && IsBlank(s[start]))
        ++start;
    return s.substr(start);
}

inline bool StartsWithWord(const std::string &line, const char *word)
{
    const size_t n = std::strlen(word);
    return line.compare(0, n, word) == 0 && (line.size() == n || line[n] == ' ');
}

/// Splits "name = formula" (false for any other line).
inline bool SplitVariableLine(const std::string &line, std::string &name, std::string &formula)
{
    if (line.compare(0, 2, "//") == 0)
        return false;
    const size_t eq = line.find('=');
    if (eq == std::string::npos)
        return false;
    auto assignTrimmed = [&line](size_t from, size_t to, std::string &out) {
        while (from < to && line[from] == ' ')
            ++from;
        while (to > from && line[to - 1] == ' ')
            --to;
        out.assign(line, from, to - from);
    };
    assignTrimmed(0, eq, name);
    assignTrimmed(eq + 1, line.size(), formula);
    return !name.empty();
}

/// Calls `use` with each raw body line (in the block's line buffer, which `use` may change) up to
/// the first nested block or the end of the body; the block is left at that nested block.
template <class Use>
void ForEachLine(TextBlock &block, Use use)
{
    while (!block.EOB()) {
        const uint32_t at = block.getPosn();
        char *raw = block.gets();
        if (!raw)
            break;
        const char *p = raw;
        while (IsBlank(*p))
            ++p;
        // The block reader's test: the first word is "begin" in any case.
        if ((*p | 0x20) == 'b' && strncasecmp(p, "begin", 5) == 0 && (!p[5] || IsBlank(p[5]))) {
            block.setPosn(at);
            break;
        }
        use(raw);
    }
}

} // namespace kxtest

class kxTestNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxTestNode)
public:
    static const TBlockSig &Sig()
    {
        static const TBlockSig sig{"testNodeTB", 1, 0};
        return sig;
    }

    std::vector<std::string> lines;           ///< variable and comment lines, in order
    std::vector<std::string> dataBlocks;      ///< texts of the private data blocks
    std::vector<std::complex<double>> values; ///< values of the variable lines at reading
    int preloads = 0;                         ///< PreloadVariables calls on this object
    /// Whether ReadTB evaluates the variable lines (the benchmark reads without evaluating).
    static inline bool evaluateOnRead = true;

    bool PreloadVariables(TextBlock &block) override
    {
        ++preloads;
        if (!block.StartRead(Sig()))
            return false;
        block.SkipComments(false);
        block.GotoBody();
        kxNameSpace *ns = GetNameSpace();
        const bool define = ns != nullptr;
        std::string name, formula;
        kxtest::ForEachLine(block, [&](const char *raw) {
            if (!define || !kxtest::SplitVariableLine(kxtest::TrimLine(raw), name, formula))
                return;
            // A name defined already (here or by another node) is refused by SetName.
            auto *variable = new kxNamedVariable(ns);
            if (!variable->SetName(name.c_str())) {
                ns->RemoveVariable(variable->GetIndex());
                return;
            }
            variable->SetValueOrExpression(formula.c_str());
            variable->SetPreloaded();
        });
        SkipDataBlocks(block, nullptr);
        return PreloadChildBlocks(block);
    }

    bool ReadTB(TextBlock &block) override
    {
        if (!block.StartRead(Sig()))
            return false;
        block.SkipComments(false);
        block.GotoBody(); // comment lines at the start of the body are kept too
        lines.clear();
        dataBlocks.clear();
        values.clear();
        ReadLines(block, lines);
        kxNameSpace *ns = GetNameSpace();
        for (const std::string &line : lines) {
            std::string name, formula;
            if (!kxtest::SplitVariableLine(line, name, formula)) {
                if (line.compare(0, 2, "//") != 0)
                    SyntaxErr("Missing equals in variable definition: %.400s   required format: "
                              "name = expression\n",
                              line.c_str());
                continue;
            }
            if (!evaluateOnRead)
                continue;
            kxNamedVariable *variable = ns ? ns->GetVariableByName(name.c_str()) : nullptr;
            values.push_back(variable ? variable->GetValue()
                                      : std::complex<double>(std::nan(""), 0.0));
        }
        SkipDataBlocks(block, &dataBlocks);
        return CreateChildNodes(block);
    }

    bool WriteTB(TextBlock &block) override
    {
        block.StartWrite(Sig(), getName());
        for (const std::string &line : lines)
            block.WriteLine(line.c_str());
        for (const std::string &data : dataBlocks) {
            TextBlock sub;
            if (!sub.LoadBlock(data.c_str()))
                return false;
            block.Append(sub);
        }
        if (!WriteChildNodes(block))
            return false;
        block.EndWrite();
        return true;
    }

private:
    /// Reads the text lines up to the first nested block or the end of the body.
    static void ReadLines(TextBlock &block, std::vector<std::string> &out)
    {
        kxtest::ForEachLine(block, [&out](const char *raw) {
            std::string line = kxtest::TrimLine(raw);
            if (!line.empty())
                out.push_back(std::move(line));
        });
    }

    /// A data block's text with its own indentation: header, body lines indented by two, end.
    static std::string Normalised(TextBlock &sub)
    {
        std::string text = std::string(sub.getHeader()) + "\n";
        sub.SkipComments(false);
        sub.GotoBody();
        while (!sub.EOB()) {
            const char *raw = sub.gets();
            if (!raw)
                break;
            text += "  " + kxtest::TrimLine(raw) + "\n";
        }
        return text + "end\n";
    }

    /// Loads the private data blocks at the position; keeps their texts when `out` is given.
    static void SkipDataBlocks(TextBlock &block, std::vector<std::string> *out)
    {
        while (!block.EOB()) {
            const uint32_t at = block.getPosn();
            TextBlock sub;
            if (!sub.LoadBlock(block) || !sub.IsType("testDataTB")) {
                block.setPosn(at);
                return;
            }
            if (out)
                out->push_back(Normalised(sub));
        }
    }
};

class kxTestLeaf : public kxProjectNode {
    KX_DECLARE_CLASS(kxTestLeaf)
public:
    static const TBlockSig &Sig()
    {
        static const TBlockSig sig{"testLeafTB", 1, 0};
        return sig;
    }

    std::vector<std::string> lines;
    std::string state; ///< what the leaf keeps in the state file

    /// Its whole body is text, nested blocks included: nothing in it is preloaded.
    bool PreloadVariables(TextBlock &) override { return true; }

    bool ReadTB(TextBlock &block) override
    {
        if (!block.StartRead(Sig()))
            return false;
        lines.clear();
        while (!block.EOB()) {
            const char *raw = block.gets();
            if (!raw)
                break;
            lines.push_back(kxtest::TrimLine(raw));
        }
        return true;
    }

    bool WriteTB(TextBlock &block) override
    {
        block.StartWrite(Sig(), getName());
        for (const std::string &line : lines)
            block.WriteLine(line.c_str());
        block.EndWrite();
        return true;
    }

    bool StoreSFiles(FILE *file) override
    {
        const unsigned n = static_cast<unsigned>(state.size());
        return std::fwrite(&n, sizeof n, 1, file) == 1 &&
               std::fwrite(state.data(), 1, n, file) == n;
    }

    bool ExtractSFiles(FILE *file) override
    {
        unsigned n = 0;
        if (std::fread(&n, sizeof n, 1, file) != 1 || n > (1u << 20))
            return false;
        state.resize(n);
        return std::fread(&state[0], 1, n, file) == n;
    }
};

KX_IMPLEMENT_CLASS(kxTestNode, kxProjectNode)
KX_IMPLEMENT_CLASS(kxTestLeaf, kxProjectNode)

namespace kxtest {

inline const kxClassInfo *const g_testNodeChildren[] = {KX_CLASSINFO_OF(kxTestNode),
                                                        KX_CLASSINFO_OF(kxTestLeaf), nullptr};

inline kxProjectNodeInfoClass g_testNodeInfo({KX_CLASSINFO_OF(kxTestNode), g_testNodeChildren,
                                              kxTestNode::Sig(), "Test node", 0, "tnd"});
inline kxProjectNodeInfoClass g_testLeafInfo({KX_CLASSINFO_OF(kxTestLeaf), nullptr,
                                              kxTestLeaf::Sig(), "Test leaf", 0, ""});

/// Registers the test node types (once).
inline void RegisterTestNodes()
{
    g_testNodeInfo.Register();
    g_testLeafInfo.Register();
}

} // namespace kxtest

#endif
