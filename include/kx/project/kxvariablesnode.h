// kxvariablesnode.h - kxVariablesNode, the project node that holds the user's variables
// ("name = expression" lines) and defines them in the project's namespace, so that every formula
// of the project, in any node, can name them.
//
// The variables live in the namespace (kxNamedVariable in kxNameSpace); the node keeps only the
// list of the indices of those it owns, in order. A project file is read in two passes:
// PreloadVariables creates every variable of the block (marking it preloaded) before any node is
// read, and ReadTB then claims the marked variables of its lines, so a variable belongs to the
// first node that defined it and a formula may name a variable defined further down the file.
//
// Block ("kxVariablesTB", version 1.0, the node's name): one line "name = expression" per owned
// variable, in the node's order, the expression as the user typed it. On reading, "//" starts a
// comment. The comments of the text last read stay with their variables: the whole comment lines
// before a variable's line and the comment at its end are written again with it (blank lines
// are dropped). A value typed as a plain number is written back as the shortest of "%.15g", "%.16g"
// and "%.17g" that reads back to the same value (so as typed, in practice).
//
// Reading reports through SyntaxErr (the project load then ends with code 504) and goes on
// with the next line:
//   "Missing equals in variable definition: %s   required format: name = expression\n"
//   "%s variable name %s\n   in variable definition: %s" ("Duplicate" or "Invalid")
//   "Unsupported version in block beginning: %s   current version: %d.%d\n" (whole block)
// Blank lines are skipped by the block reader. "begin" and "end" (any case) are refused as
// variable names ("Invalid"): written first on a line they would open or close a block.
//
// Destroying the node removes its variables from the namespace. Changes made through the node
// raise kxEventNodeChanged (data1: the node) on its event source (GetEventSource) for its views.
//
// Published to the command language, besides what every node publishes (choices of this
// library, for scripts that sweep variables): "numvariables" ("(): number of variables"),
// "setvariable" ("( name, expression ): set a variable's expression; a new name is added to
// this node"), "getvalue" ("( name ): value of a variable"), "getexpression" ("( name ):
// expression of a variable"), "removevariable" ("( name ): remove a variable of this node") and
// "listvariables" ("(): the lines name = expression, one per variable"). "getexpression" and
// "listvariables" give a plain value as the save writes it (1.55, not the formula "0" a value
// variable keeps).
#ifndef KX_PROJECT_KXVARIABLESNODE_H
#define KX_PROJECT_KXVARIABLESNODE_H

#include "kx/foundation/kxdynarray.h"
#include "kx/project/kxprojnode.h"

#include <string>
#include <vector>

class kxNamedVariable;

class kxVariablesNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxVariablesNode)
public:
    /// The block signature ("kxVariablesTB", 1.0).
    static const TBlockSig &Sig();
    /// Registers the node type (done with the core types, before any project manager).
    static void RegisterType();

    kxVariablesNode() = default;
    /// Removes the node's variables from the namespace.
    ~kxVariablesNode() override;

    /// Number of variables the node owns.
    [[nodiscard]] int GetNumVariables() const { return indices_.Size(); }
    /// The i-th owned variable (from 0), or null when its slot is empty.
    [[nodiscard]] kxNamedVariable *GetVariable(int i) const;
    /// The owned variable named `name`, or null.
    [[nodiscard]] kxNamedVariable *FindOwnVariable(const char *name) const;

    /// Sets the expression (or value) of the variable `name`, adding it to this node when the
    /// namespace has no variable of that name. False with the pending error when the name is
    /// invalid or belongs to a variable of another node.
    [[nodiscard]] bool SetVariable(const char *name, const char *expression);
    /// Removes an owned variable; false with the pending error when the node has none so named.
    [[nodiscard]] bool RemoveVariable(const char *name);

    bool PreloadVariables(TextBlock &block) override;
    bool ReadTB(TextBlock &block) override;
    bool WriteTB(TextBlock &block) override;
    bool CanReadTextBlockVersion(int major, int minor) override;
    int getTextBlockVersionMajor() override { return 1; }
    void OnPublish() override;

private:
    /// Checks the block's type and version (the version through SyntaxErr) and moves to the
    /// body with comments skipped.
    bool StartBody(TextBlock &block);
    void Changed();
    /// Appends an owned variable with its comments.
    void Own(kxNamedVariable *variable, std::string leading, std::string trailing);

    kxIntArray indices_;
    kxNameSpace *ns_ = nullptr;         ///< where the owned variables live (not owned)
    std::vector<std::string> leading_;  ///< per variable: whole comment lines before it
    std::vector<std::string> trailing_; ///< per variable: the comment at the end of its line
    std::vector<std::string> tail_;     ///< comment lines after the last variable
};

/// Splits a variable definition line: cuts it at the first "//", and gives the trimmed text
/// before and after the first "=". False when the line has no "=".
[[nodiscard]] bool kxSplitVariableLine(const char *line, KXString &name, KXString &expression);

#endif
