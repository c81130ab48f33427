// kxnodeview.cpp - the views of the variables, notes and script nodes.
#define KX_UNIT "kxnodeview"
#include "kx/ui/kxnodeview.h"

#include <wx/button.h>
#include <wx/choicdlg.h>
#include <wx/dialog.h>
#include <wx/editlbox.h>
#include <wx/sizer.h>

#include "kx/expressions/kxnamedvariable.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxnotesnode.h"
#include "kx/project/kxprojman.h"
#include "kx/project/kxscriptnode.h"
#include "kx/project/kxvariablesnode.h"
#include "kx/ui/kxapp.h"
#include "kx/ui/kxmainframe.h"

namespace {

wxString Utf8(const KXString &s) { return wxString::FromUTF8(s.c_str()); }

typedef kxNodeView *(*ViewFactory)(wxWindow *parent, kxApp &app, kxProjectNode &node);
struct ViewMaker {
    ViewFactory make;
};

template <class View>
kxNodeView *Make(wxWindow *parent, kxApp &app, kxProjectNode &node)
{
    return new View(parent, app, node);
}

ViewMaker g_variablesMaker{&Make<kxVariablesView>};
ViewMaker g_notesMaker{&Make<kxNotesView>};
ViewMaker g_scriptMaker{&Make<kxScriptView>};

/// The registry's callback: opens the view through the current application.
void OpenView(void *node, void *userData)
{
    kxApp *app = kxApp::GetCurrent();
    kxMainFrame *frame = app ? app->getMainFrame() : nullptr;
    if (!frame || !node || !userData)
        return;
    auto &projectNode = *static_cast<kxProjectNode *>(node);
    wxAuiNotebook *book = frame->getNotebook();
    kxNodeView *view = static_cast<ViewMaker *>(userData)->make(book, *app, projectNode);
    book->AddPage(view, Utf8(projectNode.getName()), true);
}

kxProjectNodeViewInfoClass g_variablesView({KX_CLASSINFO_OF(kxVariablesNode), nullptr, nullptr,
                                            "variables", "&Variables", "edit the variables",
                                            &OpenView, &g_variablesMaker});
kxProjectNodeViewInfoClass g_notesView({KX_CLASSINFO_OF(kxNotesNode), nullptr, nullptr, "notes",
                                        "&Notes", "edit the notes", &OpenView, &g_notesMaker});
kxProjectNodeViewInfoClass g_scriptView({KX_CLASSINFO_OF(kxScriptNode), nullptr, nullptr, "script",
                                         "&Script", "edit and run the script", &OpenView,
                                         &g_scriptMaker});

struct RegisterViews {
    RegisterViews()
    {
        g_variablesView.Register();
        g_notesView.Register();
        g_scriptView.Register();
    }
} g_registerViews;

/// The text of a variable as the user would type it: its formula, or for a plain value the
/// shortest number text that the library's number reader reads back to the same value (a
/// complex value as "(re,im)").
wxString ExpressionText(kxNamedVariable &var)
{
    if (!var.IsValue())
        return Utf8(var.GetExpression());
    auto shortest = [](double x) {
        for (int digits = 15; digits <= 17; ++digits) {
            const wxString text = wxString::Format("%.*g", digits, x);
            double back = 0;
            if (kxStringToNumber(text.utf8_str().data(), back) && back == x)
                return text;
        }
        return wxString::Format("%.17g", x);
    };
    const std::complex<double> v = var.GetStoredValue();
    if (v.imag() == 0)
        return shortest(v.real());
    return "(" + shortest(v.real()) + "," + shortest(v.imag()) + ")";
}

/// Quotes a text for the command language.
wxString Quote(const wxString &text) { return "\"" + text + "\""; }

} // namespace

// -- kxNodeView ----------------------------------------------------------------------------------

kxNodeView::kxNodeView(wxWindow *parent, kxApp &app, kxProjectNode &node)
    : wxPanel(parent), app_(app), path_(Utf8(getAbsolutePathName(&node)))
{
    ListenTo(node.GetEventSource(), kxEventNodeChanged, 0);
    ListenTo(node.GetEventSource(), kxEventUpdateViews, 0);
}

kxNodeView::~kxNodeView() { RemoveAllSources(); }

kxProjectNode *kxNodeView::getNode() const
{
    return app_.getProjectManager()->FindNode(path_.utf8_str().data());
}

void kxNodeView::OnEvent(kxEvent &event, int)
{
    if (event.GetId() == kxEventNodeChanged || event.GetId() == kxEventUpdateViews)
        CallAfter([this] {
            if (getNode())
                UpdateView();
        });
}

bool kxNodeView::RunNodeCommand(const wxString &text)
{
    kxProjectNode *node = getNode();
    if (!node)
        return false;
    kxCommandObject &cmd = *app_.getCommandObj();
    cmd.SetCurrentObject(node);
    error.reset();
    const bool ok = cmd.Execute(text.utf8_str().data());
    cmd.SetCurrentObject(nullptr);
    if (!ok) {
        wxString report =
            wxString::Format("ERROR %d: %s", int(error), wxString::FromUTF8(error.chars()));
        report.Trim();
        if (kxMainFrame *frame = app_.getMainFrame()) {
            frame->getCommandWindow()->AppendOutput(report + "\n");
            frame->SetStatusText(report.BeforeFirst('\n'));
        }
    }
    error.reset();
    return ok;
}

// -- kxVariablesView -----------------------------------------------------------------------------

kxVariablesView::kxVariablesView(wxWindow *parent, kxApp &app, kxProjectNode &node)
    : kxNodeView(parent, app, node)
{
    grid_ = new wxGrid(this, wxID_ANY);
    grid_->CreateGrid(0, 3);
    grid_->SetColLabelValue(0, "name");
    grid_->SetColLabelValue(1, "expression");
    grid_->SetColLabelValue(2, "value");
    grid_->SetColSize(0, 140);
    grid_->SetColSize(1, 320);
    grid_->SetColSize(2, 160);
    grid_->HideRowLabels();
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(grid_, 1, wxEXPAND);
    SetSizer(sizer);
    grid_->Bind(wxEVT_GRID_CELL_CHANGED, &kxVariablesView::OnCellChanged, this);
    UpdateView();
}

void kxVariablesView::UpdateView()
{
    auto *node = dynamic_cast<kxVariablesNode *>(getNode());
    if (!node)
        return;
    const int rows = node->GetNumVariables();
    grid_->ClearGrid();
    if (grid_->GetNumberRows() > 0)
        grid_->DeleteRows(0, grid_->GetNumberRows());
    grid_->AppendRows(rows + 1); // the last row adds a variable
    for (int i = 0; i < rows; ++i) {
        kxNamedVariable *var = node->GetVariable(i);
        if (!var)
            continue;
        grid_->SetCellValue(i, 0, Utf8(var->GetName()));
        grid_->SetCellValue(i, 1, ExpressionText(*var));
        grid_->SetCellValue(i, 2, Utf8(var->GetValueString()));
        grid_->SetReadOnly(i, 0);
        grid_->SetReadOnly(i, 2);
    }
    grid_->SetReadOnly(rows, 2);
}

wxString kxVariablesView::GetViewText() const
{
    wxString text;
    for (int r = 0; r < grid_->GetNumberRows(); ++r) {
        if (grid_->GetCellValue(r, 0).empty())
            continue;
        text += grid_->GetCellValue(r, 0) + "\t" + grid_->GetCellValue(r, 1) + "\t" +
                grid_->GetCellValue(r, 2) + "\n";
    }
    return text;
}

bool kxVariablesView::CommitRow(int row)
{
    const wxString name = grid_->GetCellValue(row, 0).Strip(wxString::both);
    const wxString expression = grid_->GetCellValue(row, 1).Strip(wxString::both);
    if (name.empty() || expression.empty())
        return true; // a new row waits for both
    const bool ok =
        RunNodeCommand(wxString::Format(".setvariable(%s, %s)", name, Quote(expression)));
    UpdateView();
    return ok;
}

bool kxVariablesView::EditCell(int row, int col, const wxString &text)
{
    if (row < 0 || row >= grid_->GetNumberRows() || col < 0 || col > 1 ||
        grid_->IsReadOnly(row, col))
        return false;
    grid_->SetCellValue(row, col, text);
    return CommitRow(row);
}

void kxVariablesView::OnCellChanged(wxGridEvent &event)
{
    const int row = event.GetRow();
    CallAfter([this, row] { CommitRow(row); });
}

// -- kxNotesView ---------------------------------------------------------------------------------

kxNotesView::kxNotesView(wxWindow *parent, kxApp &app, kxProjectNode &node)
    : kxNodeView(parent, app, node)
{
    editor_ = new wxTextCtrl(this, wxID_ANY, "", wxDefaultPosition, wxDefaultSize,
                             wxTE_MULTILINE | wxTE_RICH2);
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(editor_, 1, wxEXPAND);
    SetSizer(sizer);
    editor_->Bind(wxEVT_KILL_FOCUS, [this](wxFocusEvent &event) {
        StoreEdits();
        event.Skip();
    });
    if (typeid(*this) == typeid(kxNotesView))
        UpdateView();
}

void kxNotesView::UpdateView()
{
    auto *node = dynamic_cast<kxNotesNode *>(getNode());
    if (node && !editor_->IsModified())
        editor_->ChangeValue(Utf8(node->GetText()));
}

void kxNotesView::StoreEdits()
{
    auto *node = dynamic_cast<kxNotesNode *>(getNode());
    if (!node || !editor_->IsModified())
        return;
    node->SetText(editor_->GetValue().utf8_str().data());
    editor_->DiscardEdits();
}

wxString kxNotesView::GetViewText() const { return editor_->GetValue(); }

// -- kxScriptView --------------------------------------------------------------------------------

kxScriptView::kxScriptView(wxWindow *parent, kxApp &app, kxProjectNode &node)
    : kxNotesView(parent, app, node)
{
    auto *tools = new wxBoxSizer(wxHORIZONTAL);
    auto *language = new wxButton(this, wxID_ANY, "Language...");
    auto *parameters = new wxButton(this, wxID_ANY, "Parameters...");
    auto *run = new wxButton(this, wxID_ANY, "Run");
    info_ = new wxStaticText(this, wxID_ANY, "");
    tools->Add(language, 0, wxALL, 2);
    tools->Add(parameters, 0, wxALL, 2);
    tools->Add(run, 0, wxALL, 2);
    tools->Add(info_, 1, wxALIGN_CENTER_VERTICAL | wxLEFT, 8);
    GetSizer()->Insert(0, tools, 0, wxEXPAND);
    language->Bind(wxEVT_BUTTON, [this](wxCommandEvent &) { ChooseLanguage(); });
    parameters->Bind(wxEVT_BUTTON, [this](wxCommandEvent &) { EditParameters(); });
    run->Bind(wxEVT_BUTTON, [this](wxCommandEvent &) { Run(); });
    UpdateView();
}

void kxScriptView::UpdateView()
{
    kxNotesView::UpdateView();
    auto *node = dynamic_cast<kxScriptNode *>(getNode());
    if (!node)
        return;
    wxString text = node->GetLanguage() == 1 ? "python" : "commands";
    text += "; parameters:";
    const List<KXString> &pars = node->GetParameters();
    for (int i = 1; i <= pars.size(); ++i)
        text += " " + Utf8(pars[i]);
    info_->SetLabel(text);
}

wxString kxScriptView::GetViewText() const
{
    return info_->GetLabel() + "\n" + editor_->GetValue();
}

bool kxScriptView::ChooseLanguage(int choice)
{
    auto *node = dynamic_cast<kxScriptNode *>(getNode());
    if (!node)
        return false;
    if (choice < 0) {
        wxArrayString choices = wxSplit("commands;python", ';');
        choice = wxGetSingleChoiceIndex("language of the script", "script language", choices,
                                        node->GetLanguage(), this);
        if (choice < 0)
            return false;
    }
    const bool ok = RunNodeCommand(wxString::Format(".language=%d", choice));
    UpdateView();
    return ok;
}

bool kxScriptView::EditParameters(const wxArrayString *given)
{
    auto *node = dynamic_cast<kxScriptNode *>(getNode());
    if (!node)
        return false;
    wxArrayString parameters;
    if (given) {
        parameters = *given;
    } else {
        wxDialog dialog(this, wxID_ANY, "edit paramter list", wxDefaultPosition, wxSize(360, 320),
                        wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER);
        auto *list = new wxEditableListBox(&dialog, wxID_ANY, "Parameter");
        const List<KXString> &pars = node->GetParameters();
        for (int i = 1; i <= pars.size(); ++i)
            parameters.Add(Utf8(pars[i]));
        list->SetStrings(parameters);
        auto *sizer = new wxBoxSizer(wxVERTICAL);
        sizer->Add(list, 1, wxEXPAND | wxALL, 4);
        sizer->Add(dialog.CreateStdDialogButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 4);
        dialog.SetSizer(sizer);
        if (dialog.ShowModal() != wxID_OK)
            return false;
        list->GetStrings(parameters);
    }
    bool ok = RunNodeCommand(".clearparlist()");
    for (size_t i = 0; ok && i < parameters.size(); ++i)
        ok = RunNodeCommand(".appendpar(" + Quote(parameters[i]) + ")");
    UpdateView();
    return ok;
}

bool kxScriptView::Run()
{
    StoreEdits();
    return RunNodeCommand(".runscript()");
}

// -- opening views -------------------------------------------------------------------------------

kxNodeView *kxFindView(kxApp &app, const wxString &path)
{
    kxMainFrame *frame = app.getMainFrame();
    wxAuiNotebook *book = frame ? frame->getNotebook() : nullptr;
    if (!book)
        return nullptr;
    for (size_t i = 0; i < book->GetPageCount(); ++i) {
        auto *view = dynamic_cast<kxNodeView *>(book->GetPage(i));
        if (view && view->getNodePath() == path)
            return view;
    }
    return nullptr;
}

bool kxFindOrCreateView(kxApp &app, kxProjectNode &node)
{
    kxMainFrame *frame = app.getMainFrame();
    wxAuiNotebook *book = frame ? frame->getNotebook() : nullptr;
    if (!book)
        return false;
    if (kxNodeView *view = kxFindView(app, Utf8(getAbsolutePathName(&node)))) {
        book->SetSelection(size_t(book->GetPageIndex(view)));
        return true;
    }
    kxMetaData *meta = node.getMetaData();
    const kxProjectNodeViewInfo *info = meta ? meta->getViewInfo() : nullptr;
    if (!info || !info->callback)
        return false;
    info->callback(&node, info->userData);
    return kxFindView(app, Utf8(getAbsolutePathName(&node))) != nullptr;
}

void kxUpdateViews(kxApp &app, kxProjectNode &node)
{
    if (kxNodeView *view = kxFindView(app, Utf8(getAbsolutePathName(&node))))
        view->UpdateView();
}

void kxCloseOrphanViews(kxApp &app)
{
    kxMainFrame *frame = app.getMainFrame();
    wxAuiNotebook *book = frame ? frame->getNotebook() : nullptr;
    if (!book)
        return;
    for (size_t i = book->GetPageCount(); i-- > 0;) {
        auto *view = dynamic_cast<kxNodeView *>(book->GetPage(i));
        if (view && !view->getNode())
            book->DeletePage(i);
    }
}
