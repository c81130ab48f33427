// kxnodeview.h - the views of the standard nodes, opened as pages of the main frame's notebook
// through the view registry (kxProjectNodeViewInfo): "findorcreateview" on a node (or a double
// click in the tree window) opens its view or brings it to the front, "updateviews" refreshes it.
//
// Each view keeps its node's path, never a pointer, and finds the node again when it acts. Edits
// reach the node as commands of the command language sent with "." at the node, so they behave
// exactly like typed commands; a failing command is reported in the system's words
// ("ERROR <code>: <text>") in the command window and the status bar, never in a modal box.
//
//   variables  a grid with the columns "name", "expression" and "value"; editing an expression
//              sends .setvariable(name, "expression"); a name typed in the last (empty) row with
//              an expression adds a variable the same way. Names of existing rows are read-only.
//   notes      a text editor; the text is stored in the node when the editor loses the focus and
//              before the view is closed.
//   script     the notes editor with a tool row: "Language..." (the choice "commands;python" in
//              the dialog "script language", sending ".language=<n>"), "Parameters..." (the dialog
//              "edit paramter list" with the column "Parameter", sending ".clearparlist()" and then
//              ".appendpar(...)" per parameter) and "Run" (stores the text, sends ".runscript()").
#ifndef KX_UI_KXNODEVIEW_H
#define KX_UI_KXNODEVIEW_H

#include <wx/grid.h>
#include <wx/panel.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>

#include "kx/objects/kxevent.h"

class kxApp;
class kxProjectNode;

class kxNodeView : public wxPanel, public kxEventListener {
public:
    kxNodeView(wxWindow *parent, kxApp &app, kxProjectNode &node);
    ~kxNodeView() override;

    [[nodiscard]] const wxString &getNodePath() const { return path_; }
    /// The node, found again by its path (null once it is gone).
    [[nodiscard]] kxProjectNode *getNode() const;
    /// Shows the node's current state.
    virtual void UpdateView() = 0;
    /// Stores pending edits in the node (before closing, saving or running).
    virtual void StoreEdits() {}
    /// What the view shows, as text (for tests and clients: rows of cells separated by tabs).
    [[nodiscard]] virtual wxString GetViewText() const = 0;
    /// Runs `text` with "." at the node; on failure reports the error and returns false.
    bool RunNodeCommand(const wxString &text);

    void OnEvent(kxEvent &event, int cookie) override;

protected:
    kxApp &app_;

private:
    wxString path_;
};

class kxVariablesView : public kxNodeView {
public:
    kxVariablesView(wxWindow *parent, kxApp &app, kxProjectNode &node);
    void UpdateView() override;
    [[nodiscard]] wxString GetViewText() const override;
    /// Sets a cell as if the user had typed it (row from 0; column 0 name, 1 expression).
    bool EditCell(int row, int col, const wxString &text);
    [[nodiscard]] wxGrid *getGrid() { return grid_; }

private:
    void OnCellChanged(wxGridEvent &event);
    bool CommitRow(int row);

    wxGrid *grid_;
};

class kxNotesView : public kxNodeView {
public:
    kxNotesView(wxWindow *parent, kxApp &app, kxProjectNode &node);
    void UpdateView() override;
    void StoreEdits() override;
    [[nodiscard]] wxString GetViewText() const override;
    [[nodiscard]] wxTextCtrl *getEditor() { return editor_; }

protected:
    wxTextCtrl *editor_;
};

class kxScriptView : public kxNotesView {
public:
    kxScriptView(wxWindow *parent, kxApp &app, kxProjectNode &node);
    void UpdateView() override;
    [[nodiscard]] wxString GetViewText() const override;
    /// The tool row's actions; the dialogs are asked only when `choice` / `parameters` are not
    /// given (tests and clients give them).
    bool ChooseLanguage(int choice = -1);
    bool EditParameters(const wxArrayString *parameters = nullptr);
    bool Run();

private:
    wxStaticText *info_;
};

/// Opens the view of `node` in the main frame's notebook, or brings it to the front; false
/// when the node's type has no view.
bool kxFindOrCreateView(kxApp &app, kxProjectNode &node);
/// Refreshes the open views of `node`.
void kxUpdateViews(kxApp &app, kxProjectNode &node);
/// Closes the views whose nodes are gone.
void kxCloseOrphanViews(kxApp &app);
/// The open view of the node with absolute `path`, or null.
[[nodiscard]] kxNodeView *kxFindView(kxApp &app, const wxString &path);

#endif
