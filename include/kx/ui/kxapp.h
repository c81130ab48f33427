// kxapp.h - kxApp, the desktop application object on kxAppBase: the user's options, the menu
// bar and its handlers, the warnings, the gauge and the run indicator (it is the run control's
// kxRunIndicator, the project tree's kxAppListener and the diagnostics' display), and the
// script manager.
//
// Options: ReadOptions / WriteOptions (config, path) read and write, in this order, under
// `path`: "mainX", "mainY", "mainWidth", "mainHeight", "projectWindowWidth",
// "projectWindowHeight", "projectWindowAlign", "cmdlineWindowWidth", "cmdlineWindowHeight",
// "cmdlineWindowAlign", "cmdlineWindowShown", "projectWindowShown", "SoundsEnabled",
// "cpuPriority", "startupDir", "currentDir", "diagnosticlevel"; under "commandline":
// "bgColour", "fgColour", "pointSize", "fontStyle", "fontWeight", "underlined", "faceName",
// "commandLogFile", "outputLogFile", "stopOnError", "pauseOnError", "stepByStep",
// "enableRecord"; under "recentfiles": "1" to "11" (reading stops at the first missing key;
// the group is rewritten on writing); then the script manager under "scriptman". A missing key
// keeps the built-in default (kxAppOptions below). Both leave the configuration's path where
// they found it. Reading applies the run settings at once (priority, beep, diagnostic level,
// the command object's switches and log files).
//
// Built-in defaults: main frame at (40, 40), 1100 x 760; project window 280 x 500 docked left;
// command window 1100 x 220 docked bottom; both shown; sounds on; priority 3 (normal); no
// start-up or current directory; diagnostic level 2; command window black text (0x000000) on white (0xFFFFFF), 10 point monospace, normal style and weight, not
// underlined; no log files; all four switches off. Docking sides are wxAUI directions
// (1 top, 2 right, 3 bottom, 4 left). Colours hold red in the low byte, then green, then blue.
//
// Menu ids are those of the enum below; the Scripts menu comes from the script manager and the
// File menu lists the recent files under ids kxID_RECENT1 + i after "C&lose All Projects".
#ifndef KX_UI_KXAPP_H
#define KX_UI_KXAPP_H

#include <memory>
#include <vector>

#include <wx/config.h>
#include <wx/menu.h>
#include <wx/string.h>

#include "kx/app/kxappBase.h"
#include "kx/project/kxappnotify.h"
#include "kx/project/kxcalcdiagnostics.h"
#include "kx/project/kxrunsignal.h"
#include "kx/ui/kxscriptman.h"

class kxMainFrame;
class kxProjectNode;
class kxWxClipboard;

enum {
    kxID_NEWPROJECT = 2010,
    kxID_OPENPROJECT = 2011,
    kxID_SAVEPROJECT = 2012,
    kxID_SAVEPROJECTAS = 2013,
    kxID_CLOSEPROJECT = 2015,
    kxID_CLOSEALLPROJECTS = 2016,
    kxID_EXIT = 5006,
    kxID_CUT = 5031,
    kxID_COPY = 5032,
    kxID_PASTE = 5033,
    kxID_DELETE = 5034,
    kxID_APPOPTIONS = 1540,
    kxID_CMDLINEOPTIONS = 1533,
    kxID_CLOSEALLWINDOWS = 1530,
    kxID_SHOWPROJECTWINDOW = 1532,
    kxID_SHOWCMDWINDOW = 1531,
    kxID_WARNINGSPAGE = 1053,
    kxID_RECENT1 = 2030 ///< recent file i (from 0) is kxID_RECENT1 + i
};

/// Most recent files kept.
constexpr int kxMaxRecentFiles = 11;

/// The user's options with their built-in defaults (see the top of this file).
struct kxAppOptions {
    int mainX = 40, mainY = 40, mainWidth = 1100, mainHeight = 760;
    int projectWindowWidth = 280, projectWindowHeight = 500, projectWindowAlign = 4;
    int cmdlineWindowWidth = 1100, cmdlineWindowHeight = 220, cmdlineWindowAlign = 3;
    bool cmdlineWindowShown = true, projectWindowShown = true;
    bool soundsEnabled = true;
    int cpuPriority = 3;
    wxString startupDir, currentDir;
    int diagnosticLevel = 2;
    // "commandline"
    long bgColour = 0xFFFFFF, fgColour = 0x000000;
    int pointSize = 10, fontStyle = 90 /* wxFONTSTYLE_NORMAL */,
        fontWeight = 400 /* wxFONTWEIGHT_NORMAL */;
    bool underlined = false;
    wxString faceName = "Monospace";
    wxString commandLogFile, outputLogFile;
    bool stopOnError = false, pauseOnError = false, stepByStep = false, enableRecord = false;
};

class kxApp : public kxAppBase,
              public kxRunIndicator,
              public kxAppListener,
              public kxDiagnosticsDisplay {
public:
    kxApp();
    /// Destroys the main frame if it is still open.
    ~kxApp() override;

    /// Installs this object as the run indicator, the tree listener, the diagnostics display
    /// and the toolkit clipboard; Uninstall (also done by the destructor) removes them.
    void Install();
    void Uninstall();
    /// The installed application object (null when none is installed).
    [[nodiscard]] static kxApp *GetCurrent();

    // -- options ---------------------------------------------------------------------------
    void ReadOptions(wxConfigBase &config, const wxString &path);
    void WriteOptions(wxConfigBase &config, const wxString &path);
    [[nodiscard]] kxAppOptions &getOptions() { return options_; }
    /// The configuration file in the user's configuration directory ($XDG_CONFIG_HOME/kx/
    /// <appName>.ini, or ~/.config/kx/...); the directory is made when missing.
    [[nodiscard]] static wxString ConfigFileName(const wxString &appName);

    /// Puts `file` first in the recent files (removing an equal entry), at most eleven kept.
    void AddRecentFile(const wxString &file);
    [[nodiscard]] const std::vector<wxString> &getRecentFiles() const { return recent_; }

    // -- menus and their handlers ---------------------------------------------------------
    /// A new menu bar (the caller owns it).
    [[nodiscard]] wxMenuBar *CreateMenuBar();
    /// Rebuilds the recent-file entries of the File menu of `bar`.
    void UpdateRecentMenu(wxMenuBar *bar) const;
    /// Dispatches a menu command id to its handler; false for an id that is not ours.
    bool HandleMenu(int id);

    void OnNewProject();
    void OnOpenProject();
    void OnOpenRecentProject(int index);
    void OnSaveProject();
    void OnSaveProjectAs();
    void OnCloseProject();
    void OnCloseAllProjects();
    void OnCloseAllWindows();
    void OnShowProjectWindow();
    void OnShowCommandWindow();
    void OnCommandLineOptions();
    void OnApplicationOptions();
    /// The edit entries: the node operations on the selected node.
    void OnCut();
    void OnCopy();
    /// Asks for the pasted node's name (proposing "pasted<n>"), then PasteAs.
    void OnPaste();
    /// Pastes the copied node below the selected node under `name`; false after telling the
    /// user why not.
    bool PasteAs(const wxString &name);
    void OnDelete();

    // -- the main frame ----------------------------------------------------------------------
    /// The main frame registers itself here on construction and leaves on destruction.
    void setMainFrame(kxMainFrame *frame) { frame_ = frame; }
    [[nodiscard]] kxMainFrame *getMainFrame() const { return frame_; }
    [[nodiscard]] kxScriptManager &getScriptManager() { return scripts_; }
    /// Opens a project and records it in the recent files; reports failures to the user.
    bool OpenProjectFile(const wxString &file);
    /// Stores the pending edits of every open node view in its node.
    void StoreViewEdits();

    // -- warnings and the gauge -------------------------------------------------------------
    /// Writes the text to the warnings page; unless quiet, brings the page to the front; then
    /// lights the lamp.
    void PrintWarning(const char *text) override;
    void ClearWarnings() override;
    void ShowWarnings();
    /// The quiet state: while the counter is above 0 PrintWarning does not raise the page and
    /// only records that warnings are pending.
    void BeginQuiet() { ++quiet_; }
    void EndQuiet() { quiet_ = quiet_ > 0 ? quiet_ - 1 : 0; }
    [[nodiscard]] int getQuiet() const { return quiet_; }
    [[nodiscard]] bool WarningsPending() const { return warningsPending_; }
    void ShowGauge(bool show) override;
    void SetGaugePercent(int percent) override;
    void setCPUPriority(int level);
    [[nodiscard]] int getCPUPriority() const;
    void UpdateCPUPriority(bool running) { kxRunControl::UpdateCPUPriority(running); }
    /// The click on the run indicator: asks the running commands to stop (user abort, 503).
    void RequestStop();

    // -- kxRunIndicator ------------------------------------------------------------------------
    void Start() override;
    void Stop() override;
    void Spin(int frame) override;
    void Beep() override;
    void Yield() override;
    void SetBusyCursor(bool busy) override;

    // -- kxAppListener, kxDiagnosticsDisplay --------------------------------------------------
    void OnProjectNotify(int code, kxProjectNode *node, const char *filename) override;
    void Show(const List<KXString> &rows, void *parent) override;

    /// How often the beep sounded (tests).
    [[nodiscard]] int getBeepCount() const { return beeps_; }
    /// Spins of the run indicator since the outermost run last started (the current or the
    /// last run).
    [[nodiscard]] long getRunSpins() const { return runSpins_; }
    /// Whether the gauge was shown since the outermost run last started.
    [[nodiscard]] bool getRunGaugeSeen() const { return runGaugeSeen_; }

    /// Publishes, besides kxAppBase's members, the object "ui" through which clients of the
    /// command server look at and drive the windows: "treetext" (the tree window's items, two
    /// blanks of indent per level, one per line), "treecount", "select" (path), "selected",
    /// "warnings" (the warnings page's text), "currentpage" (the notebook's selected page
    /// title), "gaugeshown", "running" and "runframe" (the run indicator), "runspins" and
    /// "gaugeseen" (spins and whether the gauge showed, in the current or last run), "clickrun"
    /// (a left button press on the run indicator), "lamp" (1 when the
    /// warning lamp is lit), "type" (text: runs it in the command window, as if typed, once the
    /// answer is sent), "output" (the command window's output pane), "pages" (the notebook's
    /// page titles), "viewtext" (path: what the node's view shows), "editcell" (path, row,
    /// column, text: typing into a variables view), "runview" (path: the Run button of a script
    /// view, pressed once the answer is sent), "close" (closes the main
    /// window once the answer is sent).
    void OnPublish() override;

private:
    class UiObject : public KXObject {
    public:
        explicit UiObject(kxApp &app) : app_(app) {}
        void OnPublish() override;

    private:
        kxApp &app_;
    };

    void ApplyOptions();
    void CollectOptions();

    kxAppOptions options_;
    std::vector<wxString> recent_;
    kxScriptManager scripts_{*this};
    kxMainFrame *frame_ = nullptr;
    std::unique_ptr<kxWxClipboard> clipboard_;
    int quiet_ = 0;
    bool warningsPending_ = false;
    bool installed_ = false;
    bool busy_ = false;
    int beeps_ = 0;
    long runSpins_ = 0;
    bool runGaugeSeen_ = false;
    UiObject ui_{*this};
};

#endif
