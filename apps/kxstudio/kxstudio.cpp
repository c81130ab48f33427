// kxstudio - the desktop application of kxCore.
//
//   kxstudio [--serve [PORT]] [project files...]
//
// Loads the plug-ins and opens the main frame with the given projects. With --serve (default port 5101, 0 for a free
// one) the command server starts at once, with the same connection file and token scheme as
// kxsh; its port and connection file are announced on standard error. The options are kept in
// $XDG_CONFIG_HOME/kx/kxstudio.ini (~/.config/kx/kxstudio.ini). Without a display (neither
// DISPLAY nor WAYLAND_DISPLAY set, or the toolkit failing to start) it exits with status 1 and
// a message. SIGTERM and SIGINT close the window cleanly.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <wx/app.h>
#include <wx/fileconf.h>
#include <wx/msgdlg.h>
#include <wx/timer.h>

#include "kx/foundation/kxerror.h"
#include "kx/ui/kxapp.h"
#include "kx/ui/kxmainframe.h"

namespace {

struct Arguments {
    bool serve = false;
    int port = kxCmdServerDefaultPort;
    std::vector<wxString> projects;
};

Arguments gArgs;
volatile sig_atomic_t gTerminated = 0;

void OnSigterm(int) { gTerminated = 1; }
kxApp *gApp = nullptr;

void PrintLine(int channel, const char *line)
{
    if (!gApp || !gApp->getMainFrame()) {
        std::fputs(line, channel == kxWarningChannel ? stderr : stdout);
        return;
    }
    if (channel == kxWarningChannel)
        gApp->PrintWarning(line);
    else
        gApp->getMainFrame()->getCommandWindow()->AppendOutput(wxString::FromUTF8(line));
}

void Warn(const char *message)
{
    wxMessageBox(wxString::FromUTF8(message), "kxstudio", wxOK | wxICON_WARNING,
                 gApp ? gApp->getMainFrame() : nullptr);
}

bool WarnChoice(int, const char *message)
{
    return wxMessageBox(wxString::FromUTF8(message), "kxstudio", wxYES_NO | wxICON_QUESTION,
                        gApp ? gApp->getMainFrame() : nullptr) == wxYES;
}

void DisplayError(const char *report)
{
    wxMessageBox(wxString::FromUTF8(report), "Error", wxOK | wxICON_ERROR,
                 gApp ? gApp->getMainFrame() : nullptr);
}

bool IsNumber(const char *s)
{
    if (!s || !*s)
        return false;
    for (; *s; ++s)
        if (*s < '0' || *s > '9')
            return false;
    return true;
}

int Usage(const char *why)
{
    if (why)
        std::fprintf(stderr, "kxstudio: %s\n", why);
    std::fprintf(stderr, "usage: kxstudio [--serve [PORT]] [project files...]\n");
    return 2;
}

} // namespace

/// The toolkit's application object of kxstudio.
class kxStudioApp : public wxApp {
public:
    bool OnInit() override
    {
        app_ = std::make_unique<kxApp>();
        gApp = app_.get();
        InitialiseKXUtils("kxstudio", KXString("kxCore"), 33, nullptr, Warn, WarnChoice, PrintLine,
                          DisplayError);
        config_ = std::make_unique<wxFileConfig>("kxstudio", "", kxApp::ConfigFileName("kxstudio"),
                                                 "", wxCONFIG_USE_LOCAL_FILE);
        app_->ReadOptions(*config_, "/kxstudio");
        app_->Install();
        auto *frame = new kxMainFrame(*app_, "kxstudio");
        frame->Show();
        // Plug-ins first: the projects may hold their node types.
        error.reset();
        app_->LoadPlugins();
        if (error) {
            app_->PrintWarning(wxString::Format("%s\n", error.chars()).utf8_str().data());
            error.reset();
        }
        for (const wxString &file : gArgs.projects)
            app_->OpenProjectFile(file);
        // SIGTERM / SIGINT close the window as the user would (options saved, server stopped).
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGTERM, OnSigterm);
        std::signal(SIGINT, OnSigterm);
        signalTimer_.Bind(wxEVT_TIMER, [](wxTimerEvent &) {
            if (!gTerminated)
                return;
            gTerminated = 0;
            if (wxWindow *top = wxTheApp->GetTopWindow())
                top->Close(true);
        });
        signalTimer_.Start(100);
        if (gArgs.serve) {
            if (!app_->StartServer(gArgs.port)) {
                std::fprintf(stderr, "kxstudio: %s\n", error.chars());
                error.reset();
            } else {
                kxCmdServer &server = app_->getCommandServer();
                std::fprintf(stderr, "kxstudio: serving on port %d (connection file %s)\n",
                             server.GetPort(), server.GetConnectionFile().c_str());
            }
        }
        return true;
    }

    int OnExit() override
    {
        signalTimer_.Stop();
        if (app_) {
            app_->WriteOptions(*config_, "/kxstudio");
            app_->Uninstall();
            app_->getCommandServer().Stop();
        }
        gApp = nullptr;
        app_.reset();
        config_.reset();
        return wxApp::OnExit();
    }

private:
    std::unique_ptr<kxApp> app_;
    std::unique_ptr<wxFileConfig> config_;
    wxTimer signalTimer_;
};

wxIMPLEMENT_APP_NO_MAIN(kxStudioApp);

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--serve") == 0) {
            gArgs.serve = true;
            if (i + 1 < argc && IsNumber(argv[i + 1]))
                gArgs.port = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            return Usage(nullptr);
        } else if (argv[i][0] == '-') {
            return Usage("unknown option");
        } else {
            gArgs.projects.push_back(wxString::FromUTF8(argv[i]));
        }
    }
    const char *display = std::getenv("DISPLAY");
    const char *wayland = std::getenv("WAYLAND_DISPLAY");
    if ((!display || !*display) && (!wayland || !*wayland)) {
        std::fprintf(stderr, "kxstudio: no display (neither DISPLAY nor WAYLAND_DISPLAY is set); "
                             "use kxsh for console work\n");
        return 1;
    }
    int wxArgc = 1;
    char *wxArgv[] = {argv[0], nullptr};
    const int status = wxEntry(wxArgc, wxArgv);
    if (status != 0)
        std::fprintf(stderr, "kxstudio: the window toolkit could not start (status %d)\n", status);
    return status;
}
