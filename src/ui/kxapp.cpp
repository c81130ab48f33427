// kxapp.cpp - the desktop application object: options, menus, warnings, gauge, run indicator.
#define KX_UNIT "kxapp"
#include "kx/ui/kxapp.h"

#include <algorithm>
#include <cstdlib>

#include <wx/app.h>
#include <wx/button.h>
#include <wx/checkbox.h>
#include <wx/dialog.h>
#include <wx/filedlg.h>
#include <wx/filename.h>
#include <wx/listbox.h>
#include <wx/msgdlg.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/stdpaths.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>
#include <wx/utils.h>

#include "kx/foundation/kxerror.h"
#include "kx/project/kxproject.h"
#include "kx/project/kxprojnode.h"
#include "kx/ui/kxmainframe.h"
#include "kx/ui/kxnodeview.h"
#include "kx/ui/kxrungadget.h"
#include "kx/ui/kxwxclipboard.h"

namespace {

wxString Utf8(const KXString &s) { return wxString::FromUTF8(s.c_str()); }

/// Shows the pending error to the user (if any) and clears it.
void ReportPendingError(wxWindow *parent)
{
    if (!error)
        return;
    wxMessageBox(wxString::FromUTF8(error.chars()), "Error", wxOK | wxICON_ERROR, parent);
    error.reset();
}

} // namespace

namespace {
kxApp *g_current = nullptr;
} // namespace

kxApp *kxApp::GetCurrent() { return g_current; }

kxApp::kxApp() : clipboard_(std::make_unique<kxWxClipboard>()) {}

kxApp::~kxApp()
{
    // The main frame belongs to the application: a frame still open goes with it.
    delete frame_;
    Uninstall();
}

void kxApp::Install()
{
    kxRunControl::setIndicator(this);
    kxSetAppListener(this);
    kxSetDiagnosticsDisplay(this);
    kxSetClipboard(clipboard_.get());
    kxPeekEnable(true);
    installed_ = true;
    g_current = this;
}

void kxApp::Uninstall()
{
    if (!installed_)
        return;
    if (kxRunControl::getIndicator() == this)
        kxRunControl::setIndicator(nullptr);
    if (kxGetAppListener() == this)
        kxSetAppListener(nullptr);
    kxSetDiagnosticsDisplay(nullptr);
    kxSetClipboard(nullptr);
    installed_ = false;
    if (g_current == this)
        g_current = nullptr;
}

// -- options ---------------------------------------------------------------------------------

wxString kxApp::ConfigFileName(const wxString &appName)
{
    wxString base;
    if (!wxGetEnv("XDG_CONFIG_HOME", &base) || base.empty())
        base = wxFileName::GetHomeDir() + "/.config";
    const wxString dir = base + "/kx";
    if (!wxFileName::DirExists(dir))
        wxFileName::Mkdir(dir, 0700, wxPATH_MKDIR_FULL);
    return dir + "/" + appName + ".ini";
}

void kxApp::CollectOptions()
{
    options_.soundsEnabled = kxRunControl::getBeepEnabled();
    options_.cpuPriority = kxRunControl::getCPUPriority();
    options_.diagnosticLevel = CalcDiagnostics::getReportLevel();
    kxCommandObject &cmd = *getCommandObj();
    options_.commandLogFile = Utf8(cmd.GetCommandLogFile());
    options_.outputLogFile = Utf8(cmd.GetOutputLogFile());
    options_.stopOnError = cmd.GetSwitch(kxCmdStopOnError);
    options_.pauseOnError = cmd.GetSwitch(kxCmdPauseOnError);
    options_.stepByStep = cmd.GetSwitch(kxCmdStepByStep);
    options_.enableRecord = cmd.GetSwitch(kxCmdEnableRecord);
    if (frame_)
        frame_->StoreLayout();
}

void kxApp::ApplyOptions()
{
    kxRunControl::setBeepEnabled(options_.soundsEnabled);
    kxRunControl::setCPUPriority(options_.cpuPriority);
    options_.cpuPriority = kxRunControl::getCPUPriority();
    CalcDiagnostics::setReportLevel(options_.diagnosticLevel);
    kxCommandObject &cmd = *getCommandObj();
    cmd.SetCommandLogFile(options_.commandLogFile.utf8_str().data());
    cmd.SetOutputLogFile(options_.outputLogFile.utf8_str().data());
    cmd.SetSwitch(kxCmdStopOnError, options_.stopOnError);
    cmd.SetSwitch(kxCmdPauseOnError, options_.pauseOnError);
    cmd.SetSwitch(kxCmdStepByStep, options_.stepByStep);
    cmd.SetSwitch(kxCmdEnableRecord, options_.enableRecord);
}

void kxApp::ReadOptions(wxConfigBase &config, const wxString &path)
{
    const wxString start = config.GetPath();
    kxAppOptions &o = options_;
    config.SetPath(path);
    config.Read("mainX", &o.mainX);
    config.Read("mainY", &o.mainY);
    config.Read("mainWidth", &o.mainWidth);
    config.Read("mainHeight", &o.mainHeight);
    config.Read("projectWindowWidth", &o.projectWindowWidth);
    config.Read("projectWindowHeight", &o.projectWindowHeight);
    config.Read("projectWindowAlign", &o.projectWindowAlign);
    config.Read("cmdlineWindowWidth", &o.cmdlineWindowWidth);
    config.Read("cmdlineWindowHeight", &o.cmdlineWindowHeight);
    config.Read("cmdlineWindowAlign", &o.cmdlineWindowAlign);
    config.Read("cmdlineWindowShown", &o.cmdlineWindowShown);
    config.Read("projectWindowShown", &o.projectWindowShown);
    config.Read("SoundsEnabled", &o.soundsEnabled);
    config.Read("cpuPriority", &o.cpuPriority);
    config.Read("startupDir", &o.startupDir);
    config.Read("currentDir", &o.currentDir);
    config.Read("diagnosticlevel", &o.diagnosticLevel);

    config.SetPath("commandline");
    config.Read("bgColour", &o.bgColour);
    config.Read("fgColour", &o.fgColour);
    config.Read("pointSize", &o.pointSize);
    config.Read("fontStyle", &o.fontStyle);
    config.Read("fontWeight", &o.fontWeight);
    config.Read("underlined", &o.underlined);
    config.Read("faceName", &o.faceName);
    config.Read("commandLogFile", &o.commandLogFile);
    config.Read("outputLogFile", &o.outputLogFile);
    config.Read("stopOnError", &o.stopOnError);
    config.Read("pauseOnError", &o.pauseOnError);
    config.Read("stepByStep", &o.stepByStep);
    config.Read("enableRecord", &o.enableRecord);
    config.SetPath("..");

    config.SetPath("recentfiles");
    std::vector<wxString> recent;
    wxString file;
    for (int i = 1; i <= kxMaxRecentFiles && config.Read(wxString::Format("%d", i), &file); ++i)
        recent.push_back(file);
    if (!recent.empty())
        recent_ = recent;
    config.SetPath("..");

    scripts_.ReadOptions(config, "scriptman");
    config.SetPath(start);
    ApplyOptions();
}

void kxApp::WriteOptions(wxConfigBase &config, const wxString &path)
{
    CollectOptions();
    const wxString start = config.GetPath();
    const kxAppOptions &o = options_;
    config.SetPath(path);
    config.Write("mainX", o.mainX);
    config.Write("mainY", o.mainY);
    config.Write("mainWidth", o.mainWidth);
    config.Write("mainHeight", o.mainHeight);
    config.Write("projectWindowWidth", o.projectWindowWidth);
    config.Write("projectWindowHeight", o.projectWindowHeight);
    config.Write("projectWindowAlign", o.projectWindowAlign);
    config.Write("cmdlineWindowWidth", o.cmdlineWindowWidth);
    config.Write("cmdlineWindowHeight", o.cmdlineWindowHeight);
    config.Write("cmdlineWindowAlign", o.cmdlineWindowAlign);
    config.Write("cmdlineWindowShown", o.cmdlineWindowShown);
    config.Write("projectWindowShown", o.projectWindowShown);
    config.Write("SoundsEnabled", o.soundsEnabled);
    config.Write("cpuPriority", o.cpuPriority);
    config.Write("startupDir", o.startupDir);
    config.Write("currentDir", o.currentDir);
    config.Write("diagnosticlevel", o.diagnosticLevel);

    config.SetPath("commandline");
    config.Write("bgColour", o.bgColour);
    config.Write("fgColour", o.fgColour);
    config.Write("pointSize", o.pointSize);
    config.Write("fontStyle", o.fontStyle);
    config.Write("fontWeight", o.fontWeight);
    config.Write("underlined", o.underlined);
    config.Write("faceName", o.faceName);
    config.Write("commandLogFile", o.commandLogFile);
    config.Write("outputLogFile", o.outputLogFile);
    config.Write("stopOnError", o.stopOnError);
    config.Write("pauseOnError", o.pauseOnError);
    config.Write("stepByStep", o.stepByStep);
    config.Write("enableRecord", o.enableRecord);
    config.SetPath("..");

    config.DeleteGroup("recentfiles");
    config.SetPath("recentfiles");
    for (size_t i = 0; i < recent_.size() && int(i) < kxMaxRecentFiles; ++i)
        config.Write(wxString::Format("%d", int(i + 1)), recent_[i]);
    config.SetPath("..");

    scripts_.WriteOptions(config, "scriptman");
    config.SetPath(start);
    config.Flush();
}

void kxApp::AddRecentFile(const wxString &file)
{
    recent_.erase(std::remove(recent_.begin(), recent_.end(), file), recent_.end());
    recent_.insert(recent_.begin(), file);
    if (recent_.size() > size_t(kxMaxRecentFiles))
        recent_.resize(kxMaxRecentFiles);
    if (frame_)
        UpdateRecentMenu(frame_->GetMenuBar());
}

// -- menus -----------------------------------------------------------------------------------

wxMenuBar *kxApp::CreateMenuBar()
{
    auto *file = new wxMenu;
    file->Append(kxID_NEWPROJECT, "&New Project...\tCtrl+N");
    file->Append(kxID_OPENPROJECT, "&Open Project...\tCtrl+O");
    file->Append(kxID_SAVEPROJECT, "&Save Project\tCtrl+S");
    file->Append(kxID_SAVEPROJECTAS, "Save Project &As...");
    file->AppendSeparator();
    file->Append(kxID_CLOSEPROJECT, "&Close Project\tCtrl+W");
    file->Append(kxID_CLOSEALLPROJECTS, "C&lose All Projects");
    file->AppendSeparator();
    file->Append(kxID_EXIT, "E&xit program\tAlt+X");

    auto *edit = new wxMenu;
    edit->Append(kxID_CUT, "Cu&t\tCtrl+X");
    edit->Append(kxID_COPY, "&Copy\tCtrl+C");
    edit->Append(kxID_PASTE, "&Paste\tCtrl+V");
    edit->AppendSeparator();
    edit->Append(kxID_DELETE, "&Delete\tDelete");

    auto *options = new wxMenu;
    options->Append(kxID_APPOPTIONS, "&Application...");
    options->Append(kxID_CMDLINEOPTIONS, "&Command-Line...");

    auto *tools = new wxMenu;

    auto *window = new wxMenu;
    window->Append(kxID_CLOSEALLWINDOWS, "&Close All Windows");
    window->AppendSeparator();
    window->Append(kxID_SHOWPROJECTWINDOW, "Show &Project Window\tCtrl+P");
    window->Append(kxID_SHOWCMDWINDOW, "Show &Command-line Window\tCtrl+T");

    auto *bar = new wxMenuBar;
    bar->Append(file, "&File");
    bar->Append(edit, "&Edit");
    bar->Append(options, "&Options");
    bar->Append(tools, "&Tools");
    bar->Append(scripts_.InitMenu(), "&Scripts");
    bar->Append(window, "&Window");
    UpdateRecentMenu(bar);
    return bar;
}

void kxApp::UpdateRecentMenu(wxMenuBar *bar) const
{
    if (!bar)
        return;
    wxMenu *file = bar->GetMenu(0);
    for (int i = 0; i < kxMaxRecentFiles; ++i)
        if (file->FindItem(kxID_RECENT1 + i))
            file->Destroy(kxID_RECENT1 + i);
    // The recent files go between "C&lose All Projects" and the separator above "E&xit".
    size_t pos = 0;
    file->FindChildItem(kxID_CLOSEALLPROJECTS, &pos);
    ++pos;
    for (size_t i = 0; i < recent_.size(); ++i)
        file->Insert(pos + i, kxID_RECENT1 + int(i),
                     wxString::Format("&%d %s", int(i + 1) % 10, recent_[i]));
}

bool kxApp::HandleMenu(int id)
{
    if (id >= kxID_RECENT1 && id < kxID_RECENT1 + kxMaxRecentFiles) {
        OnOpenRecentProject(id - kxID_RECENT1);
        return true;
    }
    if (id >= kxID_FIRSTSCRIPT && id < kxID_FIRSTSCRIPT + int(scripts_.getInstalled().size())) {
        scripts_.OnStartScript(frame_, id);
        return true;
    }
    switch (id) {
    case kxID_NEWPROJECT: OnNewProject(); break;
    case kxID_OPENPROJECT: OnOpenProject(); break;
    case kxID_SAVEPROJECT: OnSaveProject(); break;
    case kxID_SAVEPROJECTAS: OnSaveProjectAs(); break;
    case kxID_CLOSEPROJECT: OnCloseProject(); break;
    case kxID_CLOSEALLPROJECTS: OnCloseAllProjects(); break;
    case kxID_EXIT:
        if (frame_)
            frame_->Close();
        break;
    case kxID_CUT: OnCut(); break;
    case kxID_COPY: OnCopy(); break;
    case kxID_PASTE: OnPaste(); break;
    case kxID_DELETE: OnDelete(); break;
    case kxID_APPOPTIONS: OnApplicationOptions(); break;
    case kxID_CMDLINEOPTIONS: OnCommandLineOptions(); break;
    case kxID_CLOSEALLWINDOWS: OnCloseAllWindows(); break;
    case kxID_SHOWPROJECTWINDOW: OnShowProjectWindow(); break;
    case kxID_SHOWCMDWINDOW: OnShowCommandWindow(); break;
    case kxID_RUNSCRIPT: scripts_.OnRunScript(frame_); break;
    case kxID_MANAGESCRIPTS:
        scripts_.OnManageScripts(frame_);
        if (frame_)
            frame_->SetMenuBar(CreateMenuBar());
        break;
    default: return false;
    }
    return true;
}

namespace {

/// The project of the selected node, or the only open project.
kxProject *CurrentProject(kxApp &app)
{
    kxMainFrame *frame = app.getMainFrame();
    kxProjectNode *node = frame ? frame->getTreeView()->GetSelectedNode() : nullptr;
    if (node && node->getRootProject())
        return node->getRootProject();
    kxProjectManager *pm = app.getProjectManager();
    if (pm->getNodeCount() >= 1)
        return dynamic_cast<kxProject *>(pm->getNodes()[pm->getNodeCount()]);
    return nullptr;
}

} // namespace

void kxApp::OnNewProject()
{
    kxProjectManager *pm = getProjectManager();
    const wxString name =
        wxGetTextFromUser("project name", "New Project",
                          wxString::Format("project%d", pm->getNodeCount() + 1), frame_);
    if (name.empty())
        return;
    kxMetaData *meta = pm->getMetaDataTable().FindMetaDataByClass("kxProject");
    if (!meta) {
        KX_CODE_ERROR("the project node type is not registered");
        return;
    }
    error.reset();
    if (!pm->AddSubnode(meta->getBlockSig().type, name.utf8_str().data()))
        ReportPendingError(frame_);
}

bool kxApp::OpenProjectFile(const wxString &file)
{
    error.reset();
    if (!OpenProject(file.utf8_str().data())) {
        ReportPendingError(frame_);
        return false;
    }
    error.reset();
    AddRecentFile(wxFileName(file).GetAbsolutePath());
    options_.currentDir = wxFileName(file).GetPath();
    return true;
}

void kxApp::OnOpenProject()
{
    const KXString wildcard = getProjectManager()->getProjectWildcard(true);
    wxFileDialog dialog(frame_, "Open Project", options_.currentDir, "", Utf8(wildcard),
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    if (dialog.ShowModal() == wxID_OK)
        OpenProjectFile(dialog.GetPath());
}

void kxApp::OnOpenRecentProject(int index)
{
    if (index >= 0 && size_t(index) < recent_.size())
        OpenProjectFile(wxString(recent_[size_t(index)]));
}

void kxApp::StoreViewEdits()
{
    if (!frame_)
        return;
    wxAuiNotebook *book = frame_->getNotebook();
    for (size_t i = 0; i < book->GetPageCount(); ++i)
        if (auto *view = dynamic_cast<kxNodeView *>(book->GetPage(i)))
            view->StoreEdits();
}

void kxApp::OnSaveProject()
{
    StoreViewEdits();
    kxProject *project = CurrentProject(*this);
    if (!project)
        return;
    if (project->getFilename().Empty() || !wxFileName::FileExists(Utf8(project->getFilename()))) {
        OnSaveProjectAs();
        return;
    }
    error.reset();
    if (!project->SaveToFile(project->getFilename().c_str()))
        ReportPendingError(frame_);
}

void kxApp::OnSaveProjectAs()
{
    StoreViewEdits();
    kxProject *project = CurrentProject(*this);
    if (!project)
        return;
    const KXString wildcard = getProjectManager()->getProjectWildcard(false);
    wxFileDialog dialog(frame_, "Save Project As", options_.currentDir,
                        wxFileName(Utf8(project->getFilename())).GetFullName(), Utf8(wildcard),
                        wxFD_SAVE | wxFD_OVERWRITE_PROMPT);
    if (dialog.ShowModal() != wxID_OK)
        return;
    error.reset();
    if (!project->SaveToFile(dialog.GetPath().utf8_str().data()))
        ReportPendingError(frame_);
    else
        AddRecentFile(dialog.GetPath());
}

void kxApp::OnCloseProject()
{
    kxProject *project = CurrentProject(*this);
    error.reset();
    if (project && !getProjectManager()->ProjectClose(project))
        ReportPendingError(frame_);
}

void kxApp::OnCloseAllProjects()
{
    error.reset();
    if (!getProjectManager()->ProjectCloseAll())
        ReportPendingError(frame_);
}

void kxApp::OnCloseAllWindows()
{
    if (!frame_)
        return;
    wxAuiNotebook *book = frame_->getNotebook();
    for (size_t i = book->GetPageCount(); i-- > 0;)
        if (book->GetPage(i)->GetId() != kxID_WARNINGSPAGE)
            book->DeletePage(i);
}

void kxApp::OnShowProjectWindow()
{
    if (frame_)
        frame_->ShowPane("project", !frame_->IsPaneShown("project"));
}

void kxApp::OnShowCommandWindow()
{
    if (frame_)
        frame_->ShowPane("commandline", !frame_->IsPaneShown("commandline"));
}

void kxApp::OnCommandLineOptions()
{
    kxCommandObject &cmd = *getCommandObj();
    wxDialog dialog(frame_, wxID_ANY, "Command-Line options");
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    const char *names[] = {kxCmdStopOnError, kxCmdPauseOnError, kxCmdStepByStep, kxCmdEnableRecord};
    const char *texts[] = {"stop a command file at an error", "pause at an error",
                           "ask user to continue at each command", "record commands"};
    wxCheckBox *boxes[4];
    for (int i = 0; i < 4; ++i) {
        boxes[i] = new wxCheckBox(&dialog, wxID_ANY, texts[i]);
        boxes[i]->SetValue(cmd.GetSwitch(names[i]));
        sizer->Add(boxes[i], 0, wxALL, 4);
    }
    sizer->Add(new wxStaticText(&dialog, wxID_ANY, "command log file"), 0, wxLEFT | wxTOP, 4);
    auto *cmdLog = new wxTextCtrl(&dialog, wxID_ANY, Utf8(cmd.GetCommandLogFile()));
    sizer->Add(cmdLog, 0, wxEXPAND | wxALL, 4);
    sizer->Add(new wxStaticText(&dialog, wxID_ANY, "output log file"), 0, wxLEFT | wxTOP, 4);
    auto *outLog = new wxTextCtrl(&dialog, wxID_ANY, Utf8(cmd.GetOutputLogFile()));
    sizer->Add(outLog, 0, wxEXPAND | wxALL, 4);
    sizer->Add(dialog.CreateStdDialogButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 4);
    dialog.SetSizerAndFit(sizer);
    if (dialog.ShowModal() != wxID_OK)
        return;
    for (int i = 0; i < 4; ++i)
        cmd.SetSwitch(names[i], boxes[i]->GetValue());
    cmd.SetCommandLogFile(cmdLog->GetValue().utf8_str().data());
    cmd.SetOutputLogFile(outLog->GetValue().utf8_str().data());
}

void kxApp::OnApplicationOptions()
{
    wxDialog dialog(frame_, wxID_ANY, "Application options");
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    auto *sounds = new wxCheckBox(&dialog, wxID_ANY, "beep when a long calculation ends");
    sounds->SetValue(kxRunControl::getBeepEnabled());
    sizer->Add(sounds, 0, wxALL, 4);
    sizer->Add(new wxStaticText(&dialog, wxID_ANY, "priority during calculations (1 to 5)"), 0,
               wxLEFT | wxTOP, 4);
    auto *priority = new wxTextCtrl(&dialog, wxID_ANY, wxString::Format("%d", getCPUPriority()));
    sizer->Add(priority, 0, wxEXPAND | wxALL, 4);
    sizer->Add(new wxStaticText(&dialog, wxID_ANY, "diagnostic level"), 0, wxLEFT | wxTOP, 4);
    auto *level = new wxTextCtrl(&dialog, wxID_ANY,
                                 wxString::Format("%d", CalcDiagnostics::getReportLevel()));
    sizer->Add(level, 0, wxEXPAND | wxALL, 4);
    sizer->Add(dialog.CreateStdDialogButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 4);
    dialog.SetSizerAndFit(sizer);
    if (dialog.ShowModal() != wxID_OK)
        return;
    kxRunControl::setBeepEnabled(sounds->GetValue());
    long n = 0;
    if (priority->GetValue().ToLong(&n))
        setCPUPriority(int(n));
    if (level->GetValue().ToLong(&n))
        CalcDiagnostics::setReportLevel(int(n));
}

void kxApp::OnCut()
{
    kxProjectNode *node = frame_ ? frame_->getTreeView()->GetSelectedNode() : nullptr;
    error.reset();
    if (node && !node->Cut())
        ReportPendingError(frame_);
}

void kxApp::OnCopy()
{
    kxProjectNode *node = frame_ ? frame_->getTreeView()->GetSelectedNode() : nullptr;
    error.reset();
    if (node && !node->Copy())
        ReportPendingError(frame_);
}

void kxApp::OnPaste()
{
    kxProjectNode *node = frame_ ? frame_->getTreeView()->GetSelectedNode() : nullptr;
    if (!node)
        return;
    // The pasted node needs a name of its own below the selected node.
    wxString proposal;
    for (int i = 1; proposal.empty() || node->FindNode(proposal.utf8_str().data()); ++i)
        proposal = wxString::Format("pasted%d", i);
    const wxString name = wxGetTextFromUser("name of the pasted node", "Paste", proposal, frame_);
    if (!name.empty())
        PasteAs(name);
}

bool kxApp::PasteAs(const wxString &name)
{
    kxProjectNode *node = frame_ ? frame_->getTreeView()->GetSelectedNode() : nullptr;
    error.reset();
    if (node && node->Paste(name.utf8_str().data()))
        return true;
    ReportPendingError(frame_);
    return false;
}

void kxApp::OnDelete()
{
    kxProjectNode *node = frame_ ? frame_->getTreeView()->GetSelectedNode() : nullptr;
    if (!node || node == getProjectManager())
        return;
    error.reset();
    if (dynamic_cast<kxProject *>(node)) {
        if (!getProjectManager()->ProjectClose(static_cast<kxProject *>(node)))
            ReportPendingError(frame_);
        return;
    }
    if (!node->Delete())
        ReportPendingError(frame_);
}

// -- warnings, gauge, indicator ---------------------------------------------------------------

void kxApp::PrintWarning(const char *text)
{
    if (frame_)
        frame_->getWarningsWindow()->AppendText(wxString::FromUTF8(text ? text : ""));
    if (quiet_ > 0)
        warningsPending_ = true;
    else if (frame_)
        frame_->RaiseWarningsPage();
    if (frame_)
        frame_->getWarnSignal()->ShowWarnSignal();
}

void kxApp::ClearWarnings()
{
    warningsPending_ = false;
    if (!frame_)
        return;
    frame_->getWarningsWindow()->Clear();
    frame_->getWarnSignal()->HideWarnSignal();
}

void kxApp::ShowWarnings()
{
    if (!frame_)
        return;
    frame_->RaiseWarningsPage();
    frame_->Raise();
}

void kxApp::ShowGauge(bool show)
{
    runGaugeSeen_ = runGaugeSeen_ || show;
    if (!frame_)
        return;
    frame_->getGauge()->Show(show);
    if (show)
        frame_->getGauge()->SetValue(0);
}

void kxApp::SetGaugePercent(int percent)
{
    if (!frame_)
        return;
    wxGauge *gauge = frame_->getGauge();
    gauge->SetValue(std::clamp(percent, 0, 100));
    gauge->Update();
    frame_->getRunCtrl()->Percent(percent);
}

void kxApp::setCPUPriority(int level)
{
    kxRunControl::setCPUPriority(level);
    options_.cpuPriority = kxRunControl::getCPUPriority();
}

int kxApp::getCPUPriority() const { return kxRunControl::getCPUPriority(); }

void kxApp::RequestStop() { getCommandObj()->RequestStop(); }

void kxApp::Start()
{
    runSpins_ = 0;
    runGaugeSeen_ = false;
    if (frame_)
        frame_->getRunCtrl()->Start();
}

void kxApp::Stop()
{
    if (frame_)
        frame_->getRunCtrl()->Stop();
}

void kxApp::Spin(int frame)
{
    ++runSpins_;
    if (frame_)
        frame_->getRunCtrl()->getGadget().setFrame(frame);
}

void kxApp::Beep()
{
    ++beeps_;
    wxBell();
}

void kxApp::Yield()
{
    // Not wxSafeYield: that disables every window, the run indicator too, and a click on it
    // must reach the running calculation. Commands the user types meanwhile are refused by
    // the command window; Yield(true) itself refuses to nest.
    if (wxTheApp)
        wxTheApp->Yield(true);
}

void kxApp::SetBusyCursor(bool busy)
{
    if (busy == busy_)
        return;
    busy_ = busy;
    if (busy)
        wxBeginBusyCursor();
    else
        wxEndBusyCursor();
}

void kxApp::OnProjectNotify(int code, kxProjectNode *node, const char *filename)
{
    (void)node;
    if (code == kxNotifyProjectOpened && filename)
        AddRecentFile(wxFileName(wxString::FromUTF8(filename)).GetAbsolutePath());
    if (frame_)
        frame_->getTreeView()->RequestRebuild();
}

// -- the calculation diagnostics dialog ---------------------------------------------------------

void kxApp::Show(const List<KXString> &rows, void *parent)
{
    wxWindow *owner = parent ? static_cast<wxWindow *>(parent) : frame_;
    wxDialog dialog(owner, wxID_ANY, "Calculation Diagnostic Warning", wxDefaultPosition,
                    wxSize(520, 320), wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER);
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    auto *list = new wxListBox(&dialog, wxID_ANY);
    for (int i = 1; i <= rows.size(); ++i)
        list->Append(wxString::FromUTF8(rows[i].c_str()));
    sizer->Add(list, 1, wxEXPAND | wxALL, 6);
    sizer->Add(new wxButton(&dialog, wxID_OK, "&Ok"), 0, wxALIGN_CENTER | wxALL, 6);
    dialog.SetSizer(sizer);
    dialog.ShowModal();
}

// -- the "ui" object of the command language ------------------------------------------------------

void kxApp::OnPublish()
{
    kxAppBase::OnPublish();
    PublishObj("ui", &ui_, "the windows of the application");
}

namespace {

void TreeText(const wxTreeCtrl &tree, const wxTreeItemId &item, int depth, wxString &out)
{
    wxTreeItemIdValue cookie;
    for (wxTreeItemId c = tree.GetFirstChild(item, cookie); c.IsOk();
         c = tree.GetNextChild(item, cookie)) {
        out += wxString(' ', size_t(2 * depth)) + tree.GetItemText(c) + "\n";
        TreeText(tree, c, depth + 1, out);
    }
}

KXString ToKX(const wxString &s) { return KXString(s.utf8_str().data()); }

} // namespace

void kxApp::UiObject::OnPublish()
{
    KXObject::OnPublish();
    auto frameOrFail = [this]() -> kxMainFrame * {
        kxMainFrame *frame = app_.getMainFrame();
        if (!frame)
            error.set("no main window\n");
        return frame;
    };
    PublishFunc(
        "treetext",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            kxTreeView *tree = frame->getTreeView();
            tree->Rebuild();
            wxString text;
            TreeText(*tree, tree->GetRootItem(), 0, text);
            result = ToKX(text);
            return true;
        },
        "(): the items of the project window");
    PublishFunc(
        "treecount",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result.sprintf("%d", frame->getTreeView()->CountNodes());
            return true;
        },
        "(): number of items in the project window");
    PublishFunc(
        "select",
        [frameOrFail](const List<KXString> &args, KXString &) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            if (args.size() < 1) {
                error.set("select: 1 argument(s) expected\n");
                return false;
            }
            frame->getTreeView()->Rebuild();
            if (!frame->getTreeView()->SelectPath(wxString::FromUTF8(args[1].c_str()))) {
                error.set("no node \"%s\" in the project window\n", args[1].c_str());
                return false;
            }
            return true;
        },
        "(path): select a node in the project window");
    PublishFunc(
        "selected",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            kxTreeView *tree = frame->getTreeView();
            result = ToKX(tree->PathOf(tree->GetSelection()));
            return true;
        },
        "(): path of the selected node");
    PublishFunc(
        "warnings",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result = ToKX(frame->getWarningsWindow()->GetValue());
            return true;
        },
        "(): text of the warnings page");
    PublishFunc(
        "currentpage",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            wxAuiNotebook *book = frame->getNotebook();
            const int page = book->GetSelection();
            result = page < 0 ? KXString("") : ToKX(book->GetPageText(size_t(page)));
            return true;
        },
        "(): title of the notebook's selected page");
    PublishFunc(
        "gaugeshown",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result = frame->getGauge()->IsShown() ? "1" : "0";
            return true;
        },
        "(): 1 when the progress gauge is shown");
    PublishFunc(
        "running",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result = frame->getRunCtrl()->getGadget().IsRunning() ? "1" : "0";
            return true;
        },
        "(): 1 while the run indicator runs");
    PublishFunc(
        "runframe",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result.sprintf("%d", frame->getRunCtrl()->getGadget().getFrame());
            return true;
        },
        "(): the run indicator's frame (0 idle, 1 to 3 running)");
    PublishFunc(
        "runspins",
        [this](const List<KXString> &, KXString &result) {
            result.sprintf("%ld", app_.getRunSpins());
            return true;
        },
        "(): spins of the run indicator in the current or last run");
    PublishFunc(
        "gaugeseen",
        [this](const List<KXString> &, KXString &result) {
            result = app_.getRunGaugeSeen() ? "1" : "0";
            return true;
        },
        "(): 1 when the gauge was shown during the current or last run");
    PublishFunc(
        "clickrun",
        [frameOrFail](const List<KXString> &, KXString &) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            // Through the window's own mouse handler, as a real click would go.
            kxRunCtrl *ctrl = frame->getRunCtrl();
            wxMouseEvent press(wxEVT_LEFT_DOWN);
            press.SetEventObject(ctrl);
            press.SetId(ctrl->GetId());
            ctrl->GetEventHandler()->ProcessEvent(press);
            return true;
        },
        "(): a left button press on the run indicator (asks the running calculation to stop)");
    PublishFunc(
        "lamp",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result = frame->getWarnSignal()->IsLit() ? "1" : "0";
            return true;
        },
        "(): 1 when the warning lamp is lit");
    PublishFunc(
        "type",
        [frameOrFail](const List<KXString> &args, KXString &) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            if (args.size() < 1) {
                error.set("type: 1 argument(s) expected\n");
                return false;
            }
            // Runs once the answer has gone out, as if the user had typed it.
            const wxString text = wxString::FromUTF8(args[1].c_str());
            frame->CallAfter([frame, text] { frame->getCommandWindow()->RunCommand(text); });
            return true;
        },
        "(text): run a command in the command window, as if typed, after this call returns");
    PublishFunc(
        "output",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            result = ToKX(frame->getCommandWindow()->getOutput()->GetValue());
            return true;
        },
        "(): text of the command window's output pane");
    PublishFunc(
        "pages",
        [frameOrFail](const List<KXString> &, KXString &result) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            wxAuiNotebook *book = frame->getNotebook();
            wxString text;
            for (size_t i = 0; i < book->GetPageCount(); ++i)
                text += book->GetPageText(i) + "\n";
            result = ToKX(text);
            return true;
        },
        "(): titles of the notebook's pages, one per line");
    auto viewOrFail = [this](const List<KXString> &args, int count) -> kxNodeView * {
        if (args.size() < count) {
            error.set("%d argument(s) expected\n", count);
            return nullptr;
        }
        kxNodeView *view = kxFindView(app_, wxString::FromUTF8(args[1].c_str()));
        if (!view)
            error.set("no view of \"%s\" is open\n", args[1].c_str());
        return view;
    };
    PublishFunc(
        "viewtext",
        [viewOrFail](const List<KXString> &args, KXString &result) {
            kxNodeView *view = viewOrFail(args, 1);
            if (!view)
                return false;
            result = ToKX(view->GetViewText());
            return true;
        },
        "(path): what the node's view shows");
    PublishFunc(
        "editcell",
        [viewOrFail](const List<KXString> &args, KXString &result) {
            auto *view = dynamic_cast<kxVariablesView *>(viewOrFail(args, 4));
            if (!view) {
                if (!error)
                    error.set("not a variables view\n");
                return false;
            }
            const bool ok = view->EditCell(atoi(args[2].c_str()), atoi(args[3].c_str()),
                                           wxString::FromUTF8(args[4].c_str()));
            result = ok ? "1" : "0";
            return true;
        },
        "(path, row, column, text): type into a cell of a variables view (1: accepted)");
    PublishFunc(
        "runview",
        [viewOrFail](const List<KXString> &args, KXString &) {
            auto *view = dynamic_cast<kxScriptView *>(viewOrFail(args, 1));
            if (!view) {
                if (!error)
                    error.set("not a script view\n");
                return false;
            }
            const wxString path = view->getNodePath();
            kxApp *app = kxApp::GetCurrent();
            view->CallAfter([app, path] {
                if (auto *v = dynamic_cast<kxScriptView *>(kxFindView(*app, path)))
                    v->Run();
            });
            return true;
        },
        "(path): press the Run button of a script view (after this call returns)");
    PublishFunc(
        "close",
        [frameOrFail](const List<KXString> &, KXString &) {
            kxMainFrame *frame = frameOrFail();
            if (!frame)
                return false;
            // After the answer has gone out: closing ends the program.
            frame->CallAfter([frame] { frame->Close(); });
            return true;
        },
        "(): close the main window (ends the program)");
}
