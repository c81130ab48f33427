// kxscriptnode.h - kxScriptNode, a project node holding a script in the command language
// (language 0) or in Python (language 1) with a parameter list, which the user can run.
//
// Block ("scriptTB", version 1.0, the node's name), in order: the language ("%d //script
// language"), one line "PARAMETER = %s" per parameter, then the script text with every line
// prefixed with ">" (read and written as the notes node's text). A body whose first line after
// the language is not a "PARAMETER" line has no parameters, and that line is read as text.
//
// Running: RunScript builds the argument string (every parameter followed by one blank) and
// hands language, text and arguments to the script runner. The runner is the application's
// command object (kxCommandObject::RunScript), which lives in a module above the project
// model; the application installs it with kxSetScriptNodeRunner when it creates its command
// object. The application's runner lets the script see its project: the command formulas see
// the project's variables (the command namespace's parent is the project's namespace while the
// script runs), and a path starting with "." starts at the project. Without a runner RunScript fails with "no command object to run scripts\n".
//
// Published to the command language, besides what every node publishes: "text",
// "appendtext", "cleartext" (as the notes node), "language" ("script language: 0 for app
// commands, 1 for python"), "parlist" ("parameter list"), "appendpar" ("(string): append a
// parameter to the parameter list"), "clearparlist" ("(): clear parameter list") and
// "runscript" ("(): run the script."). "parlist" gives the parameters joined by blanks.
#ifndef KX_PROJECT_KXSCRIPTNODE_H
#define KX_PROJECT_KXSCRIPTNODE_H

#include "kx/project/kxnotesnode.h"

#include <functional>

class kxScriptNode;

/// Runs a script node's text in its language with an argument string; false with the pending
/// error. `node` is the script node that runs.
typedef std::function<bool(int language, const char *text, const char *arguments,
                           kxScriptNode &node)>
    kxScriptNodeRunner;

/// Installs the process-wide runner of script nodes (empty: none). Returns the previous one.
kxScriptNodeRunner kxSetScriptNodeRunner(kxScriptNodeRunner runner);

class kxScriptNode : public kxNotesNode {
    KX_DECLARE_CLASS(kxScriptNode)
public:
    enum {
        LanguageCommands = 0,
        LanguagePython = 1
    };

    /// The block signature ("scriptTB", 1.0).
    static const TBlockSig &Sig();
    /// Registers the node type (done with the core types, before any project manager).
    static void RegisterType();

    [[nodiscard]] int GetLanguage() const { return language_; }
    void SetLanguage(int language);
    /// The parameters in order (from 1).
    [[nodiscard]] const List<KXString> &GetParameters() const { return parameters_; }
    void AppendParameter(const char *parameter);
    void ClearParameters();
    /// Every parameter followed by one blank.
    [[nodiscard]] KXString GetArguments() const;

    /// Runs the script (nothing while an error is pending). False with the pending error.
    [[nodiscard]] bool RunScript();

    bool ReadTB(TextBlock &block) override;
    bool WriteTB(TextBlock &block) override;
    void OnPublish() override;

private:
    int language_ = LanguageCommands;
    List<KXString> parameters_;
    KXString parlist_; ///< the parameters joined by blanks, as published
};

#endif
