// kxscriptman.h - kxScriptManager: the list of installed script files, their directory, the
// Scripts menu and running a script file through the command object.
//
// Options (under the path given to ReadOptions / WriteOptions, relative to the current path):
// the group "installed" holds the file names under "script_0", "script_1", ... in list order
// (the group is deleted and rewritten on writing); back at the given path, "scripts_dir" holds
// the scripts directory. Reading stops at the first missing "script_%d" key; a missing
// "scripts_dir" keeps the directory. Both calls leave the configuration at the path they
// started from.
//
// Menu ids: kxID_RUNSCRIPT (1560) "&Run a script...", kxID_MANAGESCRIPTS (1561) "&Manage
// scripts...", then kxID_FIRSTSCRIPT (1570) + i for the i-th installed script (from 0); at most
// 440 installed scripts have ids below the File menu's (2010).
#ifndef KX_UI_KXSCRIPTMAN_H
#define KX_UI_KXSCRIPTMAN_H

#include <vector>

#include <wx/config.h>
#include <wx/menu.h>
#include <wx/string.h>

class kxAppBase;

enum {
    kxID_RUNSCRIPT = 1560,
    kxID_MANAGESCRIPTS = 1561,
    kxID_FIRSTSCRIPT = 1570
};

/// The text of an installed entry that stands for a menu separator.
constexpr const char *kxScriptSeparator = "--- SEPARATOR ---";

class kxScriptManager {
public:
    /// `app` (not owned) runs the scripts and owns the command server.
    explicit kxScriptManager(kxAppBase &app) : app_(app) {}

    void ReadOptions(wxConfigBase &config, const wxString &path);
    void WriteOptions(wxConfigBase &config, const wxString &path) const;

    /// A new menu with the entries (the caller owns it).
    [[nodiscard]] wxMenu *InitMenu() const;
    /// Appends the entries to `menu`.
    void getMenus(wxMenu *menu) const;

    /// "&Run a script...": asks for a file and runs it (after the port question when no
    /// server runs). `parent` may be null.
    void OnRunScript(wxWindow *parent);
    /// Runs the installed script with menu id `id`.
    void OnStartScript(wxWindow *parent, int id);
    /// "&Manage scripts...": edits the list and the directory in a dialog.
    void OnManageScripts(wxWindow *parent);

    /// Runs a script file (the port question first when no server runs); false with `error`
    /// set on failure.
    bool RunFile(wxWindow *parent, const wxString &file);
    /// The full name of installed entry `index` (from 0) and whether the file exists; false
    /// with the pending error "Error executing script: ..." when it does not.
    [[nodiscard]] bool InstalledFile(size_t index, wxString &file) const;

    [[nodiscard]] const std::vector<wxString> &getInstalled() const { return installed_; }
    void setInstalled(const std::vector<wxString> &files) { installed_ = files; }
    [[nodiscard]] const wxString &getScriptsDir() const { return scriptsDir_; }
    void setScriptsDir(const wxString &dir) { scriptsDir_ = dir; }

private:
    bool EnsureServer(wxWindow *parent);

    kxAppBase &app_;
    wxString scriptsDir_;
    std::vector<wxString> installed_;
};

#endif
