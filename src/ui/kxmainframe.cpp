// kxmainframe.cpp - the main frame, the project tree window and the command window.
#define KX_UNIT "kxmainframe"
#include "kx/ui/kxmainframe.h"

#include <algorithm>

#include <wx/log.h>
#include <wx/menu.h>
#include <wx/sizer.h>
#include <wx/statusbr.h>
#include <wx/textdlg.h>

#include "kx/foundation/kxerror.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojman.h"
#include "kx/project/kxprojnode.h"
#include "kx/project/kxrunsignal.h"
#include "kx/ui/kxapp.h"
#include "kx/ui/kxnodeview.h"
#include "kx/ui/kxrungadget.h"

namespace {

wxString Utf8(const KXString &s) { return wxString::FromUTF8(s.c_str()); }

class PathData : public wxTreeItemData {
public:
    explicit PathData(const wxString &path) : path_(path) {}
    const wxString &Path() const { return path_; }

private:
    wxString path_;
};

enum {
    kIdTreeRename = 3001,
    kIdTreeAddBase = 3100
};

} // namespace

// -- kxTreeView ----------------------------------------------------------------------------------

kxTreeView::kxTreeView(wxWindow *parent, kxApp &app)
    : wxTreeCtrl(parent, wxID_ANY, wxDefaultPosition, wxSize(260, 400),
                 wxTR_DEFAULT_STYLE | wxTR_HIDE_ROOT | wxTR_EDIT_LABELS | wxTR_SINGLE),
      app_(app)
{
    ListenTo(app.getProjectManager()->GetEventSource(), kxEventNodeChanged, 0);
    Bind(wxEVT_TREE_ITEM_MENU, &kxTreeView::OnContextMenu, this);
    Bind(wxEVT_TREE_ITEM_ACTIVATED, &kxTreeView::OnActivated, this);
    Bind(wxEVT_TREE_END_LABEL_EDIT, &kxTreeView::OnEndLabelEdit, this);
    Rebuild();
}

kxTreeView::~kxTreeView() { RemoveAllSources(); }

void kxTreeView::OnEvent(kxEvent &event, int)
{
    auto *node = static_cast<kxProjectNode *>(event.GetData1());
    switch (event.GetId()) {
    case kxEventNodeChanged: RequestRebuild(); break;
    case kxEventFindOrCreateView:
        if (node && !kxFindOrCreateView(app_, *node))
            app_.getMainFrame()->SetStatusText("no view for " + Utf8(node->getTypeName()));
        break;
    case kxEventUpdateViews:
        if (node)
            kxUpdateViews(app_, *node);
        break;
    default: break;
    }
}

void kxTreeView::RequestRebuild()
{
    if (rebuildPending_)
        return;
    rebuildPending_ = true;
    CallAfter([this] { Rebuild(); });
}

wxString kxTreeView::PathOf(const wxTreeItemId &item) const
{
    if (!item.IsOk())
        return "";
    auto *data = static_cast<PathData *>(GetItemData(item));
    return data ? data->Path() : wxString();
}

void kxTreeView::CollectExpanded(const wxTreeItemId &item, std::vector<wxString> &expanded) const
{
    wxTreeItemIdValue cookie;
    for (wxTreeItemId child = GetFirstChild(item, cookie); child.IsOk();
         child = GetNextChild(item, cookie)) {
        if (!ItemHasChildren(child))
            continue;
        if (IsExpanded(child))
            expanded.push_back(PathOf(child));
        CollectExpanded(child, expanded);
    }
}

void kxTreeView::AddChildren(const wxTreeItemId &parentItem, kxProjectNode &node,
                             const std::vector<wxString> &expanded)
{
    const List<kxProjectNode *> &nodes = node.getNodes();
    for (int i = 1; i <= nodes.size(); ++i) {
        kxProjectNode *child = nodes[i];
        const wxString path = Utf8(getAbsolutePathName(child));
        const wxTreeItemId item =
            AppendItem(parentItem, Utf8(child->getName()), -1, -1, new PathData(path));
        child->setNewNode(false);
        ListenTo(child->GetEventSource(), kxEventFindOrCreateView, 0);
        ListenTo(child->GetEventSource(), kxEventUpdateViews, 0);
        AddChildren(item, *child, expanded);
        if (child->getNodeCount() > 0 &&
            (std::find(expanded.begin(), expanded.end(), path) != expanded.end() ||
             child->getParent() == app_.getProjectManager()))
            Expand(item);
    }
}

void kxTreeView::Rebuild()
{
    rebuildPending_ = false;
    std::vector<wxString> expanded;
    const wxString selected = PathOf(GetSelection());
    if (GetRootItem().IsOk())
        CollectExpanded(GetRootItem(), expanded);
    Freeze();
    DeleteAllItems();
    RemoveAllSources();
    ListenTo(app_.getProjectManager()->GetEventSource(), kxEventNodeChanged, 0);
    const wxTreeItemId root = AddRoot("projects", -1, -1, new PathData("/"));
    AddChildren(root, *app_.getProjectManager(), expanded);
    Thaw();
    if (!selected.empty())
        SelectPath(selected);
    kxCloseOrphanViews(app_);
}

bool kxTreeView::SelectPath(const wxString &path)
{
    std::vector<wxTreeItemId> stack{GetRootItem()};
    while (!stack.empty()) {
        const wxTreeItemId item = stack.back();
        stack.pop_back();
        if (!item.IsOk())
            continue;
        if (PathOf(item) == path && item != GetRootItem()) {
            SelectItem(item);
            EnsureVisible(item);
            return true;
        }
        wxTreeItemIdValue cookie;
        for (wxTreeItemId c = GetFirstChild(item, cookie); c.IsOk(); c = GetNextChild(item, cookie))
            stack.push_back(c);
    }
    return false;
}

kxProjectNode *kxTreeView::GetSelectedNode()
{
    const wxTreeItemId item = GetSelection();
    if (!item.IsOk() || item == GetRootItem())
        return nullptr;
    return app_.getProjectManager()->FindNode(PathOf(item).utf8_str().data());
}

void kxTreeView::OnActivated(wxTreeEvent &event)
{
    SelectItem(event.GetItem());
    kxProjectNode *node = GetSelectedNode();
    if (node)
        node->GetEventSource().RaiseEvent(kxEventFindOrCreateView, node, nullptr);
}

void kxTreeView::OnEndLabelEdit(wxTreeEvent &event)
{
    if (event.IsEditCancelled())
        return;
    kxProjectNode *node =
        app_.getProjectManager()->FindNode(PathOf(event.GetItem()).utf8_str().data());
    error.reset();
    if (!node || !node->Rename(event.GetLabel().utf8_str().data())) {
        event.Veto();
        if (error)
            wxLogError("%s", wxString::FromUTF8(error.chars()));
        error.reset();
    }
    RequestRebuild();
}

void kxTreeView::OnContextMenu(wxTreeEvent &event)
{
    SelectItem(event.GetItem());
    kxProjectNode *node = GetSelectedNode();
    if (!node)
        return;
    wxMenu menu;
    menu.Append(kxID_CUT, "Cu&t");
    menu.Append(kxID_COPY, "&Copy");
    menu.Append(kxID_PASTE, "&Paste")->Enable(node->CanEnPaste());
    menu.Append(kxID_DELETE, "&Delete");
    menu.Append(kIdTreeRename, "&Rename");
    // "addsubnode" of every type the node accepts.
    auto *add = new wxMenu;
    kxMetaDataTable &table = app_.getProjectManager()->getMetaDataTable();
    std::vector<const char *> types;
    for (int i = 1; i <= table.size(); ++i) {
        kxMetaData *entry = table.getEntry(i);
        if (!entry->getClassInfo() || !node->CanContainItem(entry->getBlockSig()))
            continue;
        add->Append(kIdTreeAddBase + int(types.size()), Utf8(entry->getDisplayName()));
        types.push_back(entry->getBlockSig().type);
    }
    menu.AppendSubMenu(add, "addsubnode")->Enable(!types.empty());
    const int id = GetPopupMenuSelectionFromUser(menu);
    if (id == wxID_NONE)
        return;
    if (id == kIdTreeRename) {
        EditLabel(event.GetItem());
        return;
    }
    if (id >= kIdTreeAddBase && id < kIdTreeAddBase + int(types.size())) {
        const wxString name = wxGetTextFromUser("name of the new node", "addsubnode", "", this);
        if (name.empty())
            return;
        error.reset();
        if (!node->AddSubnode(types[size_t(id - kIdTreeAddBase)], name.utf8_str().data()))
            wxLogError("%s", wxString::FromUTF8(error.chars()));
        error.reset();
        return;
    }
    app_.HandleMenu(id);
}

// -- kxCommandWindow -----------------------------------------------------------------------------

kxCommandWindow::kxCommandWindow(wxWindow *parent, kxApp &app) : wxPanel(parent), app_(app)
{
    output_ = new wxTextCtrl(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                             wxTE_MULTILINE | wxTE_READONLY | wxTE_RICH2);
    input_ = new wxTextCtrl(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                            wxTE_PROCESS_ENTER | wxTE_PROCESS_TAB);
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(output_, 1, wxEXPAND);
    sizer->Add(input_, 0, wxEXPAND);
    SetSizer(sizer);
    input_->Bind(wxEVT_TEXT_ENTER, &kxCommandWindow::OnEnter, this);
    input_->Bind(wxEVT_KEY_DOWN, &kxCommandWindow::OnKeyDown, this);
    app_.getCommandObj()->SetOutputHook(
        [this](const char *printed) { AppendOutput(wxString::FromUTF8(printed)); });
    ApplyOptions();
}

kxCommandWindow::~kxCommandWindow() { app_.getCommandObj()->SetOutputHook(nullptr); }

void kxCommandWindow::ApplyOptions()
{
    const kxAppOptions &o = app_.getOptions();
    auto colour = [](long rgb) {
        return wxColour((unsigned char)(rgb & 0xFF), (unsigned char)((rgb >> 8) & 0xFF),
                        (unsigned char)((rgb >> 16) & 0xFF));
    };
    wxFont font(o.pointSize, wxFONTFAMILY_TELETYPE, wxFontStyle(o.fontStyle),
                wxFontWeight(o.fontWeight), o.underlined, o.faceName);
    for (wxTextCtrl *text : {output_, input_}) {
        text->SetBackgroundColour(colour(o.bgColour));
        text->SetForegroundColour(colour(o.fgColour));
        text->SetFont(font);
    }
    output_->SetDefaultStyle(wxTextAttr(colour(o.fgColour), colour(o.bgColour), font));
}

void kxCommandWindow::AppendOutput(const wxString &text) { output_->AppendText(text); }

bool kxCommandWindow::RunCommand(const wxString &text)
{
    if (text.find_first_not_of(" \t\r\n") == wxString::npos)
        return true;
    if (history_.empty() || history_.back() != text)
        history_.push_back(text);
    historyPos_ = history_.size();
    AppendOutput("> " + text + "\n");
    if (kxRunControl::getDepth() > 0) {
        // Typed while a script yields to the window: running it now would nest it inside the
        // script. The user can stop the script with the run indicator and type it again.
        AppendOutput("not run: a calculation is running (click the run indicator to stop "
                     "it)\n");
        return false;
    }
    kxCommandObject &cmd = *app_.getCommandObj();
    error.reset();
    const bool ok = cmd.Execute(text.utf8_str().data());
    if (!ok && error) {
        wxString report =
            wxString::Format("ERROR %d: %s", int(error), wxString::FromUTF8(error.chars()));
        if (!report.EndsWith("\n"))
            report += "\n";
        AppendOutput(report);
    }
    error.reset();
    if (cmd.ExitRequested()) {
        cmd.ClearExitRequest();
        if (wxWindow *top = wxGetTopLevelParent(this))
            top->Close();
    }
    return ok;
}

void kxCommandWindow::OnEnter(wxCommandEvent &)
{
    const wxString text = input_->GetValue();
    input_->Clear();
    RunCommand(text);
}

void kxCommandWindow::HistoryStep(int direction)
{
    if (history_.empty())
        return;
    if (direction < 0 && historyPos_ > 0)
        --historyPos_;
    else if (direction > 0 && historyPos_ < history_.size())
        ++historyPos_;
    input_->SetValue(historyPos_ < history_.size() ? history_[historyPos_] : wxString());
    input_->SetInsertionPointEnd();
}

std::vector<wxString> kxCommandWindow::CompleteInput()
{
    const wxString value = input_->GetValue();
    const std::string text = value.utf8_str().data();
    const int cursor =
        int(wxString(value.Left(size_t(input_->GetInsertionPoint()))).utf8_str().length());
    std::vector<KXString> found = app_.getCommandObj()->Complete(text.c_str(), cursor);
    std::vector<wxString> candidates;
    for (const KXString &c : found)
        candidates.push_back(Utf8(c));
    if (candidates.empty())
        return candidates;
    // Replace the word by the longest common prefix of the candidates.
    wxString common = candidates.front();
    for (const wxString &c : candidates) {
        size_t n = 0;
        while (n < common.length() && n < c.length() && common[n] == c[n])
            ++n;
        common.Truncate(n);
    }
    const int start = kxCommandObject::CompletionStart(text.c_str(), cursor);
    const std::string completed = text.substr(0, size_t(start)) +
                                  std::string(common.utf8_str().data()) +
                                  text.substr(size_t(cursor));
    input_->SetValue(wxString::FromUTF8(completed.c_str()));
    input_->SetInsertionPoint(long(
        wxString::FromUTF8(completed.substr(0, size_t(start)).c_str()).length() + common.length()));
    if (candidates.size() > 1) {
        wxString list;
        for (const wxString &c : candidates)
            list += c + "  ";
        AppendOutput(list + "\n");
    }
    return candidates;
}

void kxCommandWindow::OnKeyDown(wxKeyEvent &event)
{
    switch (event.GetKeyCode()) {
    case WXK_UP: HistoryStep(-1); return;
    case WXK_DOWN: HistoryStep(+1); return;
    case WXK_TAB: CompleteInput(); return;
    default: event.Skip();
    }
}

// -- kxMainFrame ---------------------------------------------------------------------------------

kxMainFrame::kxMainFrame(kxApp &app, const wxString &title)
    : wxFrame(nullptr, wxID_ANY, title), app_(app), serverTimer_(this)
{
    const kxAppOptions &o = app.getOptions();
    SetSize(o.mainX, o.mainY, o.mainWidth, o.mainHeight);
    app.setMainFrame(this);
    aui_.SetManagedWindow(this);

    tree_ = new kxTreeView(this, app);
    commands_ = new kxCommandWindow(this, app);
    notebook_ = new wxAuiNotebook(this, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                  wxAUI_NB_TOP | wxAUI_NB_TAB_MOVE | wxAUI_NB_SCROLL_BUTTONS |
                                      wxAUI_NB_CLOSE_ON_ACTIVE_TAB);
    warnings_ = new wxTextCtrl(notebook_, kxID_WARNINGSPAGE, "", wxDefaultPosition, wxDefaultSize,
                               wxTE_MULTILINE | wxTE_READONLY);
    notebook_->AddPage(warnings_, "Warnings");

    auto dock = [](wxAuiPaneInfo info, int align) {
        switch (align) {
        case wxAUI_DOCK_TOP: return info.Top();
        case wxAUI_DOCK_RIGHT: return info.Right();
        case wxAUI_DOCK_BOTTOM: return info.Bottom();
        default: return info.Left();
        }
    };
    aui_.AddPane(tree_, dock(wxAuiPaneInfo()
                                 .Name("project")
                                 .Caption("Project")
                                 .BestSize(o.projectWindowWidth, o.projectWindowHeight)
                                 .Show(o.projectWindowShown),
                             o.projectWindowAlign));
    aui_.AddPane(commands_, dock(wxAuiPaneInfo()
                                     .Name("commandline")
                                     .Caption("Command line")
                                     .BestSize(o.cmdlineWindowWidth, o.cmdlineWindowHeight)
                                     .Show(o.cmdlineWindowShown),
                                 o.cmdlineWindowAlign));
    aui_.AddPane(notebook_, wxAuiPaneInfo().Name("views").CenterPane());
    notebook_->Bind(wxEVT_AUINOTEBOOK_PAGE_CLOSE, [this](wxAuiNotebookEvent &event) {
        wxWindow *page = notebook_->GetPage(size_t(event.GetSelection()));
        if (page == warnings_) { // the warnings page stays
            event.Veto();
            return;
        }
        if (auto *view = dynamic_cast<kxNodeView *>(page))
            view->StoreEdits();
    });
    aui_.Update();

    // Status bar: message | gauge | run indicator | warning lamp.
    wxStatusBar *bar = CreateStatusBar(4);
    const int widths[4] = {-1, 160, 28, 28};
    bar->SetStatusWidths(4, widths);
    gauge_ = new wxGauge(bar, wxID_ANY, 100, wxDefaultPosition, wxSize(150, 16));
    gauge_->Hide();
    runCtrl_ = new kxRunCtrl(bar, wxID_ANY, wxSize(22, 22));
    runCtrl_->getGadget().setClickHandler([this] { app_.RequestStop(); });
    lamp_ = new kxWarnSignal(bar, wxID_ANY, wxSize(22, 22));
    lamp_->setClickHandler([this] { app_.ShowWarnings(); });
    bar->Bind(wxEVT_SIZE, [this](wxSizeEvent &event) {
        PlaceStatusControls();
        event.Skip();
    });
    PlaceStatusControls();
    SetStatusText("Ready");

    SetMenuBar(app.CreateMenuBar());
    Bind(wxEVT_MENU, &kxMainFrame::OnMenu, this);
    Bind(wxEVT_CLOSE_WINDOW, &kxMainFrame::OnClose, this);
    Bind(wxEVT_TIMER, &kxMainFrame::OnServerTimer, this);
    serverTimer_.Start(20);
}

kxMainFrame::~kxMainFrame()
{
    serverTimer_.Stop();
    aui_.UnInit();
    if (app_.getMainFrame() == this)
        app_.setMainFrame(nullptr);
}

void kxMainFrame::PlaceStatusControls()
{
    wxStatusBar *bar = GetStatusBar();
    wxRect r;
    if (bar->GetFieldRect(1, r))
        gauge_->SetSize(r.Deflate(2));
    if (bar->GetFieldRect(2, r))
        runCtrl_->SetSize(r.x + (r.width - 22) / 2, r.y + (r.height - 22) / 2, 22, 22);
    if (bar->GetFieldRect(3, r))
        lamp_->SetSize(r.x + (r.width - 22) / 2, r.y + (r.height - 22) / 2, 22, 22);
}

void kxMainFrame::ShowPane(const char *name, bool show)
{
    wxAuiPaneInfo &pane = aui_.GetPane(name);
    if (!pane.IsOk())
        return;
    pane.Show(show);
    aui_.Update();
}

bool kxMainFrame::IsPaneShown(const char *name)
{
    wxAuiPaneInfo &pane = aui_.GetPane(name);
    return pane.IsOk() && pane.IsShown();
}

void kxMainFrame::RaiseWarningsPage()
{
    const int index = notebook_->GetPageIndex(warnings_);
    if (index != wxNOT_FOUND)
        notebook_->SetSelection(size_t(index));
}

void kxMainFrame::StoreLayout()
{
    kxAppOptions &o = app_.getOptions();
    if (!IsIconized() && !IsMaximized()) {
        const wxRect r = GetRect();
        o.mainX = r.x;
        o.mainY = r.y;
        o.mainWidth = r.width;
        o.mainHeight = r.height;
    }
    const wxAuiPaneInfo &project = aui_.GetPane("project");
    const wxAuiPaneInfo &cmd = aui_.GetPane("commandline");
    o.projectWindowShown = project.IsShown();
    o.cmdlineWindowShown = cmd.IsShown();
    if (project.IsShown()) {
        o.projectWindowWidth = tree_->GetSize().x;
        o.projectWindowHeight = tree_->GetSize().y;
    }
    if (cmd.IsShown()) {
        o.cmdlineWindowWidth = commands_->GetSize().x;
        o.cmdlineWindowHeight = commands_->GetSize().y;
    }
    o.projectWindowAlign = project.dock_direction;
    o.cmdlineWindowAlign = cmd.dock_direction;
}

void kxMainFrame::OnMenu(wxCommandEvent &event)
{
    if (!app_.HandleMenu(event.GetId()))
        event.Skip();
}

void kxMainFrame::OnServerTimer(wxTimerEvent &)
{
    if (IsBeingDeleted())
        return;
    kxCmdServer &server = app_.getCommandServer();
    if (server.IsRunning())
        server.Poll(0);
}

void kxMainFrame::OnClose(wxCloseEvent &event)
{
    if (kxRunControl::getDepth() > 0 && event.CanVeto()) {
        // A run is in progress below us on the stack: ask it to stop and close afterwards.
        app_.RequestStop();
        event.Veto();
        CallAfter([this] { Close(); });
        return;
    }
    serverTimer_.Stop();
    StoreLayout();
    event.Skip(); // the default handler destroys the frame
}
