// kxscriptman.cpp - the script manager: options, Scripts menu and running script files.
#define KX_UNIT "kxscriptman"
#include "kx/ui/kxscriptman.h"

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/editlbox.h>
#include <wx/filedlg.h>
#include <wx/filename.h>
#include <wx/filepicker.h>
#include <wx/listbox.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/textdlg.h>

#include "kx/app/kxappBase.h"
#include "kx/foundation/kxerror.h"

void kxScriptManager::ReadOptions(wxConfigBase &config, const wxString &path)
{
    const wxString start = config.GetPath();
    config.SetPath(path);
    if (config.HasGroup("installed")) {
        installed_.clear();
        config.SetPath("installed");
        wxString file;
        for (int i = 0; config.Read(wxString::Format("script_%d", i), &file); ++i)
            installed_.push_back(file);
        config.SetPath("..");
    }
    config.Read("scripts_dir", &scriptsDir_);
    config.SetPath(start);
}

void kxScriptManager::WriteOptions(wxConfigBase &config, const wxString &path) const
{
    const wxString start = config.GetPath();
    config.SetPath(path);
    config.DeleteGroup("installed");
    config.SetPath("installed");
    for (size_t i = 0; i < installed_.size(); ++i)
        config.Write(wxString::Format("script_%d", int(i)), installed_[i]);
    config.SetPath("..");
    config.Write("scripts_dir", scriptsDir_);
    config.SetPath(start);
}

wxMenu *kxScriptManager::InitMenu() const
{
    auto *menu = new wxMenu;
    getMenus(menu);
    return menu;
}

void kxScriptManager::getMenus(wxMenu *menu) const
{
    menu->Append(kxID_RUNSCRIPT, "&Run a script...");
    menu->Append(kxID_MANAGESCRIPTS, "&Manage scripts...");
    for (size_t i = 0; i < installed_.size(); ++i) {
        if (installed_[i] == kxScriptSeparator)
            menu->AppendSeparator();
        else
            menu->Append(kxID_FIRSTSCRIPT + int(i), installed_[i]);
    }
}

bool kxScriptManager::EnsureServer(wxWindow *parent)
{
    if (app_.getCommandServer().IsRunning())
        return true;
    const wxString answer = wxGetTextFromUser(
        "Script server is not running. Enter the server port number that the script is expecting:",
        "Set script server port", "5101", parent);
    if (answer.empty())
        return false;
    long port = 0;
    if (!answer.ToLong(&port) || port < 0 || port > 65535) {
        error.Raise(1, "invalid port number \"%s\"\n", answer.utf8_str().data());
        return false;
    }
    return app_.StartServer(int(port));
}

bool kxScriptManager::RunFile(wxWindow *parent, const wxString &file)
{
    if (!EnsureServer(parent))
        return false;
    return app_.getCommandObj()->Runfromfile(file.utf8_str().data(), "");
}

void kxScriptManager::OnRunScript(wxWindow *parent)
{
    wxFileDialog dialog(parent, "select a script file", scriptsDir_, "",
                        "Scripts (*.py;*.kxc;*.txt)|*.py;*.kxc;*.txt|All files (*)|*",
                        wxFD_OPEN | wxFD_FILE_MUST_EXIST);
    if (dialog.ShowModal() != wxID_OK)
        return;
    if (!RunFile(parent, dialog.GetPath()))
        error.display(1);
}

bool kxScriptManager::InstalledFile(size_t index, wxString &file) const
{
    if (index >= installed_.size())
        return false;
    wxFileName name(installed_[index]);
    if (name.IsRelative())
        name.MakeAbsolute(scriptsDir_);
    file = name.GetFullPath();
    if (wxFileName::FileExists(file))
        return true;
    error.Raise(500, "Error executing script: installed script file \"%s\" not found in \"%s\"",
                installed_[index].utf8_str().data(), scriptsDir_.utf8_str().data());
    return false;
}

void kxScriptManager::OnStartScript(wxWindow *parent, int id)
{
    wxString file;
    if (id < kxID_FIRSTSCRIPT || !InstalledFile(size_t(id - kxID_FIRSTSCRIPT), file) ||
        !RunFile(parent, file))
        error.display(1);
}

void kxScriptManager::OnManageScripts(wxWindow *parent)
{
    wxDialog dialog(parent, wxID_ANY, "Manage scripts", wxDefaultPosition, wxSize(480, 360),
                    wxDEFAULT_DIALOG_STYLE | wxRESIZE_BORDER);
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(new wxStaticText(&dialog, wxID_ANY, "scripts directory"), 0, wxALL, 4);
    auto *dir = new wxDirPickerCtrl(&dialog, wxID_ANY, scriptsDir_);
    sizer->Add(dir, 0, wxEXPAND | wxALL, 4);
    auto *list = new wxEditableListBox(&dialog, wxID_ANY, "installed scripts");
    wxArrayString files;
    for (const wxString &f : installed_)
        files.Add(f);
    list->SetStrings(files);
    sizer->Add(list, 1, wxEXPAND | wxALL, 4);
    sizer->Add(dialog.CreateStdDialogButtonSizer(wxOK | wxCANCEL), 0, wxEXPAND | wxALL, 4);
    dialog.SetSizer(sizer);
    if (dialog.ShowModal() != wxID_OK)
        return;
    scriptsDir_ = dir->GetPath();
    list->GetStrings(files);
    installed_.assign(files.begin(), files.end());
}
