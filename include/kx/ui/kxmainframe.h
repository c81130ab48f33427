// kxmainframe.h - the main frame of a desktop application: the project tree window and the
// command window as dockable wxAUI panes, a notebook in the centre whose first page (id 1053)
// is the warnings window, and a status bar holding the message text, the progress gauge, the
// run indicator and the warning lamp. A timer pumps the command server every 20 ms, so clients
// are served while the window is idle (and, through run control's yields, during runs).
//
// The tree window mirrors the project tree: it listens to the project manager's change events
// and to the application's notifications and rebuilds itself once the events of one change
// are all in (after the handler returns), keeping the expanded nodes and the selection by
// their paths. Items carry node paths, never node pointers. Its context menu offers the node
// operations and "addsubnode" of the types the node allows.
//
// The command window: an output pane and an input line with history (Up / Down) and tab
// completion through kxCommandObject::Complete; commands run through the application's command
// object and failures are printed as "ERROR <code>: <text>".
#ifndef KX_UI_KXMAINFRAME_H
#define KX_UI_KXMAINFRAME_H

#include <vector>

#include <wx/aui/aui.h>
#include <wx/aui/auibook.h>
#include <wx/frame.h>
#include <wx/gauge.h>
#include <wx/panel.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/treectrl.h>

#include "kx/objects/kxevent.h"

class kxApp;
class kxProjectNode;
class kxRunCtrl;
class kxWarnSignal;

/// The project tree window.
class kxTreeView : public wxTreeCtrl, public kxEventListener {
public:
    kxTreeView(wxWindow *parent, kxApp &app);
    ~kxTreeView() override;

    /// Rebuilds from the project manager at once.
    void Rebuild();
    /// Rebuilds after the current event handler has returned (several requests make one).
    void RequestRebuild();
    /// The node of the selected item, found again by its path (null: none).
    [[nodiscard]] kxProjectNode *GetSelectedNode();
    /// Selects the item of the node with absolute `path`; false when there is none.
    bool SelectPath(const wxString &path);
    /// The absolute path of an item's node ("" for the hidden root).
    [[nodiscard]] wxString PathOf(const wxTreeItemId &item) const;
    /// Number of node items shown (the hidden root not counted).
    [[nodiscard]] int CountNodes() const { return int(GetCount()); }

    void OnEvent(kxEvent &event, int cookie) override;

private:
    void AddChildren(const wxTreeItemId &parentItem, kxProjectNode &node,
                     const std::vector<wxString> &expanded);
    void CollectExpanded(const wxTreeItemId &item, std::vector<wxString> &expanded) const;
    void OnContextMenu(wxTreeEvent &event);
    void OnActivated(wxTreeEvent &event);
    void OnEndLabelEdit(wxTreeEvent &event);

    kxApp &app_;
    bool rebuildPending_ = false;
};

/// The command window.
class kxCommandWindow : public wxPanel {
public:
    kxCommandWindow(wxWindow *parent, kxApp &app);
    ~kxCommandWindow() override;

    /// Runs a command as if typed (echoed, remembered in the history). While a calculation
    /// runs (a script yielding to the window) the command is not run: the output pane says so.
    bool RunCommand(const wxString &text);
    /// Appends printed text to the output pane.
    void AppendOutput(const wxString &text);
    /// Completes the input line at its cursor; returns the candidates.
    std::vector<wxString> CompleteInput();
    /// Applies the command window's colours and font from the options.
    void ApplyOptions();

    [[nodiscard]] wxTextCtrl *getOutput() { return output_; }
    [[nodiscard]] wxTextCtrl *getInput() { return input_; }
    [[nodiscard]] const std::vector<wxString> &getHistory() const { return history_; }
    /// Steps through the history: -1 older, +1 newer.
    void HistoryStep(int direction);

private:
    void OnEnter(wxCommandEvent &event);
    void OnKeyDown(wxKeyEvent &event);

    kxApp &app_;
    wxTextCtrl *output_;
    wxTextCtrl *input_;
    std::vector<wxString> history_;
    size_t historyPos_ = 0;
};

class kxMainFrame : public wxFrame {
public:
    kxMainFrame(kxApp &app, const wxString &title);
    ~kxMainFrame() override;

    [[nodiscard]] kxTreeView *getTreeView() { return tree_; }
    [[nodiscard]] kxCommandWindow *getCommandWindow() { return commands_; }
    /// The notebook (null while the frame is being built).
    [[nodiscard]] wxAuiNotebook *getNotebook() { return notebook_; }
    [[nodiscard]] wxTextCtrl *getWarningsWindow() { return warnings_; }
    [[nodiscard]] wxGauge *getGauge() { return gauge_; }
    [[nodiscard]] kxRunCtrl *getRunCtrl() { return runCtrl_; }
    [[nodiscard]] kxWarnSignal *getWarnSignal() { return lamp_; }
    [[nodiscard]] wxAuiManager &getAuiManager() { return aui_; }

    /// Shows or hides a pane ("project" or "commandline").
    void ShowPane(const char *name, bool show);
    [[nodiscard]] bool IsPaneShown(const char *name);
    /// Brings the warnings page to the front.
    void RaiseWarningsPage();
    /// Copies the frame's and panes' geometry into the application's options.
    void StoreLayout();

private:
    void PlaceStatusControls();
    void OnClose(wxCloseEvent &event);
    void OnMenu(wxCommandEvent &event);
    void OnServerTimer(wxTimerEvent &event);

    kxApp &app_;
    wxAuiManager aui_;
    kxTreeView *tree_ = nullptr;
    kxCommandWindow *commands_ = nullptr;
    wxAuiNotebook *notebook_ = nullptr;
    wxTextCtrl *warnings_ = nullptr;
    wxGauge *gauge_ = nullptr;
    kxRunCtrl *runCtrl_ = nullptr;
    kxWarnSignal *lamp_ = nullptr;
    wxTimer serverTimer_;
};

#endif
