// Tests of the desktop application object: options, menus, warnings, run indicator and gauge,
// and the calculation diagnostics dialog.
#include "kx/ui/kxapp.h"

#include <cstdio>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include <wx/app.h>
#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/fileconf.h>
#include <wx/listbox.h>
#include <wx/textdlg.h>
#include <wx/timer.h>

#include "kx/foundation/kxerror.h"
#include "kx/project/kxprojman.h"
#include "kx/project/kxprojnode.h"
#include "kx/ui/kxmainframe.h"
#include "kx/ui/kxrungadget.h"

namespace {

/// A temporary configuration file, removed at the end of the test.
struct TempConfig {
    TempConfig()
    {
        char name[] = "/tmp/kxapp_test_XXXXXX";
        const int fd = mkstemp(name);
        close(fd);
        path = name;
    }
    ~TempConfig() { std::remove(path.c_str()); }
    std::unique_ptr<wxFileConfig> Open() const
    {
        return std::make_unique<wxFileConfig>("kxtest", "", wxString(path), "",
                                              wxCONFIG_USE_LOCAL_FILE);
    }
    std::string path;
};

unsigned long g_now = 0;
unsigned long FakeClock() { return g_now; }

/// Restores the process-wide run settings the tests change.
struct RunSettingsGuard {
    ~RunSettingsGuard()
    {
        kxRunControl::setClock(nullptr);
        kxRunControl::Reset();
        kxRunControl::setBeepEnabled(true);
        kxRunControl::setCPUPriority(3);
        CalcDiagnostics::setReportLevel(2);
        CalcDiagnostics::reset();
    }
};

} // namespace

TEST(kxAppTest, OptionsRoundTripThroughFileConfig)
{
    RunSettingsGuard guard;
    TempConfig temp;
    {
        kxApp app;
        kxAppOptions &o = app.getOptions();
        o.mainX = 11;
        o.mainY = 12;
        o.mainWidth = 813;
        o.mainHeight = 614;
        o.projectWindowWidth = 215;
        o.projectWindowHeight = 316;
        o.projectWindowAlign = 2;
        o.cmdlineWindowWidth = 717;
        o.cmdlineWindowHeight = 118;
        o.cmdlineWindowAlign = 1;
        o.cmdlineWindowShown = false;
        o.projectWindowShown = false;
        o.startupDir = "/start dir";
        o.currentDir = "/cur";
        o.bgColour = 0x102030;
        o.fgColour = 0x405060;
        o.pointSize = 13;
        o.fontStyle = 93;
        o.fontWeight = 700;
        o.underlined = true;
        o.faceName = "DejaVu Sans Mono";
        // Run settings and switches live in run control and the command object.
        kxRunControl::setBeepEnabled(false);
        app.setCPUPriority(9); // clamped to 5
        CalcDiagnostics::setReportLevel(1);
        kxCommandObject &cmd = *app.getCommandObj();
        cmd.SetCommandLogFile("/tmp/cmd.log");
        cmd.SetOutputLogFile("/tmp/out.log");
        cmd.SetSwitch(kxCmdStopOnError, true);
        cmd.SetSwitch(kxCmdPauseOnError, false);
        cmd.SetSwitch(kxCmdStepByStep, true);
        cmd.SetSwitch(kxCmdEnableRecord, true);
        for (int i = 1; i <= 12; ++i)
            app.AddRecentFile(wxString::Format("/p/file%d.txt", i));
        app.getScriptManager().setInstalled({"a.py", kxScriptSeparator, "b.kxc"});
        app.getScriptManager().setScriptsDir("/scripts");
        auto config = temp.Open();
        config->SetPath("/elsewhere");
        app.WriteOptions(*config, "/kxtest");
        EXPECT_EQ(config->GetPath(), "/elsewhere") << "the caller's path is kept";
    }
    {
        // The raw keys where they belong.
        auto config = temp.Open();
        long value = 0;
        EXPECT_TRUE(config->Read("/kxtest/mainWidth", &value));
        EXPECT_EQ(value, 813);
        EXPECT_TRUE(config->Read("/kxtest/commandline/bgColour", &value));
        EXPECT_EQ(value, 0x102030);
        EXPECT_TRUE(config->Read("/kxtest/cpuPriority", &value));
        EXPECT_EQ(value, 5);
        wxString text;
        EXPECT_TRUE(config->Read("/kxtest/recentfiles/1", &text));
        EXPECT_EQ(text, "/p/file12.txt") << "the newest file comes first";
        EXPECT_TRUE(config->Read("/kxtest/recentfiles/11", &text));
        EXPECT_EQ(text, "/p/file2.txt");
        EXPECT_FALSE(config->HasEntry("/kxtest/recentfiles/12"));
        EXPECT_TRUE(config->Read("/kxtest/scriptman/installed/script_1", &text));
        EXPECT_EQ(text, kxScriptSeparator);
        EXPECT_TRUE(config->Read("/kxtest/scriptman/scripts_dir", &text));
        EXPECT_EQ(text, "/scripts");
        EXPECT_FALSE(config->HasEntry("/kxtest/commandline/mainX"));
    }
    kxRunControl::setBeepEnabled(true);
    kxRunControl::setCPUPriority(3);
    CalcDiagnostics::setReportLevel(2);
    {
        kxApp app;
        auto config = temp.Open();
        app.ReadOptions(*config, "/kxtest");
        const kxAppOptions &o = app.getOptions();
        EXPECT_EQ(o.mainX, 11);
        EXPECT_EQ(o.mainY, 12);
        EXPECT_EQ(o.mainWidth, 813);
        EXPECT_EQ(o.mainHeight, 614);
        EXPECT_EQ(o.projectWindowWidth, 215);
        EXPECT_EQ(o.projectWindowHeight, 316);
        EXPECT_EQ(o.projectWindowAlign, 2);
        EXPECT_EQ(o.cmdlineWindowWidth, 717);
        EXPECT_EQ(o.cmdlineWindowHeight, 118);
        EXPECT_EQ(o.cmdlineWindowAlign, 1);
        EXPECT_FALSE(o.cmdlineWindowShown);
        EXPECT_FALSE(o.projectWindowShown);
        EXPECT_EQ(o.startupDir, "/start dir");
        EXPECT_EQ(o.currentDir, "/cur");
        EXPECT_EQ(o.bgColour, 0x102030);
        EXPECT_EQ(o.fgColour, 0x405060);
        EXPECT_EQ(o.pointSize, 13);
        EXPECT_EQ(o.fontStyle, 93);
        EXPECT_EQ(o.fontWeight, 700);
        EXPECT_TRUE(o.underlined);
        EXPECT_EQ(o.faceName, "DejaVu Sans Mono");
        // Applied at once.
        EXPECT_FALSE(kxRunControl::getBeepEnabled());
        EXPECT_EQ(app.getCPUPriority(), 5);
        EXPECT_EQ(CalcDiagnostics::getReportLevel(), 1);
        kxCommandObject &cmd = *app.getCommandObj();
        EXPECT_STREQ(cmd.GetCommandLogFile().c_str(), "/tmp/cmd.log");
        EXPECT_STREQ(cmd.GetOutputLogFile().c_str(), "/tmp/out.log");
        EXPECT_TRUE(cmd.GetSwitch(kxCmdStopOnError));
        EXPECT_FALSE(cmd.GetSwitch(kxCmdPauseOnError));
        EXPECT_TRUE(cmd.GetSwitch(kxCmdStepByStep));
        EXPECT_TRUE(cmd.GetSwitch(kxCmdEnableRecord));
        ASSERT_EQ(app.getRecentFiles().size(), 11u) << "twelve recent files keep eleven";
        EXPECT_EQ(app.getRecentFiles().front(), "/p/file12.txt");
        EXPECT_EQ(app.getRecentFiles().back(), "/p/file2.txt");
        const std::vector<wxString> scripts = app.getScriptManager().getInstalled();
        ASSERT_EQ(scripts.size(), 3u);
        EXPECT_EQ(scripts[2], "b.kxc");
        EXPECT_EQ(app.getScriptManager().getScriptsDir(), "/scripts");
    }
}

TEST(kxAppTest, MissingKeysKeepDefaultsAndRecentFilesStopAtAGap)
{
    RunSettingsGuard guard;
    TempConfig temp;
    auto config = temp.Open();
    config->Write("/kx/mainX", 7);
    config->Write("/kx/commandline/pointSize", 15);
    config->Write("/kx/recentfiles/1", "/a.txt");
    config->Write("/kx/recentfiles/2", "/b.txt");
    config->Write("/kx/recentfiles/4", "/d.txt");
    kxApp app;
    const kxAppOptions defaults;
    app.ReadOptions(*config, "/kx");
    const kxAppOptions &o = app.getOptions();
    EXPECT_EQ(o.mainX, 7);
    EXPECT_EQ(o.pointSize, 15);
    EXPECT_EQ(o.mainY, defaults.mainY);
    EXPECT_EQ(o.mainWidth, defaults.mainWidth);
    EXPECT_EQ(o.projectWindowAlign, defaults.projectWindowAlign);
    EXPECT_EQ(o.faceName, defaults.faceName);
    EXPECT_EQ(o.bgColour, defaults.bgColour);
    EXPECT_TRUE(kxRunControl::getBeepEnabled());
    EXPECT_EQ(app.getCPUPriority(), 3);
    ASSERT_EQ(app.getRecentFiles().size(), 2u) << "reading stops at the first missing key";
    EXPECT_EQ(app.getRecentFiles()[1], "/b.txt");
}

TEST(kxAppTest, MenuBarMatchesTheTable)
{
    kxApp app;
    std::unique_ptr<wxMenuBar> bar(app.CreateMenuBar());
    const char *titles[] = {"&File", "&Edit", "&Options", "&Tools", "&Scripts", "&Window"};
    ASSERT_EQ(bar->GetMenuCount(), 6u);
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(bar->GetMenuLabel(i), titles[i]);

    struct Row {
        int menu;
        int id; // 0: separator
        const char *text;
    };
    const Row rows[] = {
        {0, 2010, "&New Project...\tCtrl+N"},
        {0, 2011, "&Open Project...\tCtrl+O"},
        {0, 2012, "&Save Project\tCtrl+S"},
        {0, 2013, "Save Project &As..."},
        {0, 0, ""},
        {0, 2015, "&Close Project\tCtrl+W"},
        {0, 2016, "C&lose All Projects"},
        {0, 0, ""},
        {0, 5006, "E&xit program\tAlt+X"},
        {1, 5031, "Cu&t\tCtrl+X"},
        {1, 5032, "&Copy\tCtrl+C"},
        {1, 5033, "&Paste\tCtrl+V"},
        {1, 0, ""},
        {1, 5034, "&Delete\tDelete"},
        {2, 1540, "&Application..."},
        {2, 1533, "&Command-Line..."},
        {4, 1560, "&Run a script..."},
        {4, 1561, "&Manage scripts..."},
        {5, 1530, "&Close All Windows"},
        {5, 0, ""},
        {5, 1532, "Show &Project Window\tCtrl+P"},
        {5, 1531, "Show &Command-line Window\tCtrl+T"},
    };
    size_t position[6] = {};
    for (const Row &row : rows) {
        wxMenu *menu = bar->GetMenu(size_t(row.menu));
        ASSERT_LT(position[row.menu], menu->GetMenuItemCount()) << row.text;
        wxMenuItem *item = menu->FindItemByPosition(position[row.menu]++);
        if (row.id == 0) {
            EXPECT_TRUE(item->IsSeparator())
                << "menu " << row.menu << " item " << position[row.menu];
            continue;
        }
        EXPECT_EQ(item->GetId(), row.id);
        EXPECT_EQ(item->GetItemLabel(), row.text);
    }
    for (int m = 0; m < 6; ++m)
        EXPECT_EQ(position[m], bar->GetMenu(size_t(m))->GetMenuItemCount()) << "menu " << m;
}

TEST(kxAppTest, RecentFilesAndInstalledScriptsInTheMenus)
{
    kxApp app;
    app.AddRecentFile("/x/one.txt");
    app.AddRecentFile("/x/two.txt");
    app.AddRecentFile("/x/one.txt"); // moves to the front, not listed twice
    app.getScriptManager().setInstalled({"first.py", kxScriptSeparator, "second.kxc"});
    std::unique_ptr<wxMenuBar> bar(app.CreateMenuBar());
    wxMenu *file = bar->GetMenu(0);
    // After "C&lose All Projects" (position 6) come the recent files, then the separator.
    ASSERT_EQ(file->GetMenuItemCount(), 11u);
    EXPECT_EQ(file->FindItemByPosition(7)->GetId(), kxID_RECENT1);
    EXPECT_EQ(file->FindItemByPosition(7)->GetItemLabel(), "&1 /x/one.txt");
    EXPECT_EQ(file->FindItemByPosition(8)->GetItemLabel(), "&2 /x/two.txt");
    EXPECT_TRUE(file->FindItemByPosition(9)->IsSeparator());
    wxMenu *scripts = bar->GetMenu(4);
    ASSERT_EQ(scripts->GetMenuItemCount(), 5u);
    EXPECT_EQ(scripts->FindItemByPosition(2)->GetItemLabel(), "first.py");
    EXPECT_EQ(scripts->FindItemByPosition(2)->GetId(), kxID_FIRSTSCRIPT);
    EXPECT_TRUE(scripts->FindItemByPosition(3)->IsSeparator());
    EXPECT_EQ(scripts->FindItemByPosition(4)->GetId(), kxID_FIRSTSCRIPT + 2);
}

TEST(kxAppTest, InstalledScriptMissingFileMessage)
{
    kxApp app;
    kxScriptManager &scripts = app.getScriptManager();
    scripts.setScriptsDir("/nonexistent/scripts");
    scripts.setInstalled({"gone.py"});
    error.reset();
    wxString file;
    EXPECT_FALSE(scripts.InstalledFile(0, file));
    EXPECT_STREQ(error.chars(), "Error executing script: installed script file \"gone.py\" not "
                                "found in \"/nonexistent/scripts\"");
    error.reset();
    scripts.setScriptsDir("/");
    scripts.setInstalled({"tmp"});
    // A directory is no script file either.
    EXPECT_FALSE(scripts.InstalledFile(0, file));
    error.reset();
}

class kxAppFrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        app_ = std::make_unique<kxApp>();
        app_->Install();
        frame_ = new kxMainFrame(*app_, "test");
        frame_->Show();
    }
    void TearDown() override
    {
        app_.reset(); // takes the frame with it
        EXPECT_FALSE(wxTopLevelWindows.Find(frame_));
        kxRunControl::setClock(nullptr);
        kxRunControl::Reset();
        kxRunControl::setBeepEnabled(true);
    }
    std::unique_ptr<kxApp> app_;
    kxMainFrame *frame_ = nullptr;
};

TEST_F(kxAppFrameTest, PrintWarningQuietStateAndLamp)
{
    wxAuiNotebook *book = frame_->getNotebook();
    auto *other = new wxTextCtrl(book, wxID_ANY, "");
    book->AddPage(other, "other", true);
    EXPECT_EQ(frame_->getWarningsWindow()->GetId(), 1053);

    app_->BeginQuiet();
    app_->PrintWarning("first warning\n");
    EXPECT_EQ(book->GetPage(size_t(book->GetSelection())), other) << "quiet: page not raised";
    EXPECT_TRUE(app_->WarningsPending());
    EXPECT_TRUE(frame_->getWarnSignal()->IsLit());
    app_->EndQuiet();

    app_->PrintWarning("second warning\n");
    EXPECT_EQ(book->GetPage(size_t(book->GetSelection())), frame_->getWarningsWindow());
    EXPECT_EQ(frame_->getWarningsWindow()->GetValue(), "first warning\nsecond warning\n");

    // The lamp: a click shows the warnings and puts it out.
    book->SetSelection(size_t(book->GetPageIndex(other)));
    frame_->getWarnSignal()->Click();
    EXPECT_FALSE(frame_->getWarnSignal()->IsLit());
    EXPECT_EQ(book->GetPage(size_t(book->GetSelection())), frame_->getWarningsWindow());

    // Warnings from the core's warning channel reach the page through PrintWarning's caller;
    // ClearWarnings empties it.
    app_->ClearWarnings();
    EXPECT_TRUE(frame_->getWarningsWindow()->GetValue().empty());
    EXPECT_FALSE(frame_->getWarnSignal()->IsLit());
    EXPECT_FALSE(app_->WarningsPending());
}

TEST_F(kxAppFrameTest, RunSignalDrivesIndicatorGaugeAndBeep)
{
    kxRunControl::setClock(FakeClock);
    kxRunControl::setBeepEnabled(true);
    g_now = 1000;
    app_->PrintWarning("old warning\n");
    kxRunGadget &gadget = frame_->getRunCtrl()->getGadget();
    {
        RunSignal outer(true);
        EXPECT_TRUE(gadget.IsRunning());
        EXPECT_EQ(gadget.getFrame(), 1);
        EXPECT_TRUE(frame_->getGauge()->IsShown());
        EXPECT_TRUE(frame_->getWarningsWindow()->GetValue().empty()) << "a run clears warnings";
        {
            RunSignal inner(true);
            // Percents spin too: every call 0.2 s apart advances the frame.
            g_now += 300;
            inner.Progress(0.25); // the first level to send owns the gauge
            EXPECT_EQ(frame_->getGauge()->GetValue(), 25);
            EXPECT_EQ(gadget.getFrame(), 2);
            g_now += 300;
            outer.Progress(0.9); // not the owner: ignored
            EXPECT_EQ(frame_->getGauge()->GetValue(), 25);
            EXPECT_EQ(gadget.getFrame(), 3);
            g_now += 100;
            RunSignal::Spin(); // too soon: nothing moves
            EXPECT_EQ(gadget.getFrame(), 3);
            g_now += 200;
            RunSignal::Spin();
            EXPECT_EQ(gadget.getFrame(), 1);
        }
        EXPECT_TRUE(frame_->getGauge()->IsShown()) << "only the outermost end hides the gauge";
        g_now += 1000;
    }
    EXPECT_FALSE(gadget.IsRunning());
    EXPECT_EQ(gadget.getFrame(), 0);
    EXPECT_FALSE(frame_->getGauge()->IsShown());
    EXPECT_EQ(app_->getBeepCount(), 0) << "a run of 1.9 s does not beep";
    {
        RunSignal run(true);
        g_now += 2500;
    }
    EXPECT_EQ(app_->getBeepCount(), 1);
}

TEST_F(kxAppFrameTest, ClickOnRunIndicatorStopsTheRunningCommands)
{
    kxCommandObject &cmd = *app_->getCommandObj();
    error.reset();
    // The click comes from the user interface while a calculation yields to it; here it is
    // made from inside the running command through a published function.
    bool clicked = false;
    frame_->getRunCtrl()->getGadget().setClickHandler([&] {
        clicked = true;
        app_->RequestStop();
    });
    frame_->getRunCtrl()->Click();
    EXPECT_TRUE(clicked);
    // A stop requested while a command runs ends it with the user abort.
    EXPECT_TRUE(cmd.Execute("print 0"));
    cmd.SetOutputHook([&](const char *) { frame_->getRunCtrl()->Click(); });
    EXPECT_FALSE(cmd.Execute("print 1\nprint 2\nprint 3"));
    EXPECT_EQ(int(error), 503);
    EXPECT_EQ(cmd.GetOutput(), "1\n");
    cmd.SetOutputHook(nullptr);
    error.reset();
}

TEST_F(kxAppFrameTest, CalcDiagnosticsDialog)
{
    RunSettingsGuard guard;
    CalcDiagnostics::setReportLevel(2);
    CalcDiagnostics::reset();
    for (int i = 0; i < 3; ++i)
        CalcDiagnostics::set("mode %d did not converge\n", 1);
    CalcDiagnostics::set("line one\n\nline two\n");
    wxArrayString rows;
    wxString title, button;
    wxTimer closer;
    closer.Bind(wxEVT_TIMER, [&](wxTimerEvent &) {
        for (wxWindow *top : wxTopLevelWindows) {
            auto *dialog = dynamic_cast<wxDialog *>(top);
            if (!dialog || !dialog->IsModal())
                continue;
            title = dialog->GetTitle();
            for (wxWindow *child : dialog->GetChildren()) {
                if (auto *list = dynamic_cast<wxListBox *>(child))
                    rows = list->GetStrings();
                if (auto *b = dynamic_cast<wxButton *>(child))
                    button = b->GetLabel();
            }
            dialog->EndModal(wxID_OK);
            return;
        }
    });
    closer.Start(200);
    DisplayCalcDiagnostics(frame_);
    closer.Stop();
    EXPECT_EQ(title, "Calculation Diagnostic Warning");
    EXPECT_EQ(button, "&Ok");
    ASSERT_EQ(rows.size(), 3u) << "one row per non-empty line, each message once";
    EXPECT_EQ(rows[0], "mode 1 did not converge");
    EXPECT_EQ(rows[1], "line one");
    EXPECT_EQ(rows[2], "line two");
}

TEST_F(kxAppFrameTest, CommandWindowRunsHistoryAndCompletion)
{
    kxCommandWindow *window = frame_->getCommandWindow();
    EXPECT_TRUE(window->RunCommand("print 5"));
    EXPECT_FALSE(window->RunCommand("nosuchthing"));
    const wxString output = window->getOutput()->GetValue();
    EXPECT_TRUE(output.Contains("> print 5\n5\n")) << output;
    EXPECT_TRUE(output.Contains("ERROR 504: ")) << output;
    ASSERT_EQ(window->getHistory().size(), 2u);
    window->HistoryStep(-1);
    EXPECT_EQ(window->getInput()->GetValue(), "nosuchthing");
    window->HistoryStep(-1);
    EXPECT_EQ(window->getInput()->GetValue(), "print 5");
    window->HistoryStep(+1);
    window->HistoryStep(+1);
    EXPECT_EQ(window->getInput()->GetValue(), "") << "past the newest entry: an empty line";

    window->getInput()->ChangeValue("app.projectman");
    window->getInput()->SetInsertionPointEnd();
    const std::vector<wxString> found = window->CompleteInput();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(window->getInput()->GetValue(), "app.projectmanager");
}

TEST_F(kxAppFrameTest, ScriptManagerAsksForThePortAndRunsTheFile)
{
    char name[] = "/tmp/kxscript_XXXXXX";
    const int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    const char text[] = "print 4321\n";
    ASSERT_EQ(write(fd, text, sizeof text - 1), ssize_t(sizeof text - 1));
    close(fd);
    kxScriptManager &scripts = app_->getScriptManager();
    ASSERT_FALSE(app_->getCommandServer().IsRunning());
    wxString title, proposed;
    wxTimer answer;
    answer.Bind(wxEVT_TIMER, [&](wxTimerEvent &) {
        for (wxWindow *top : wxTopLevelWindows) {
            auto *dialog = dynamic_cast<wxTextEntryDialog *>(top);
            if (!dialog || !dialog->IsModal())
                continue;
            title = dialog->GetTitle();
            proposed = dialog->GetValue();
            dialog->SetValue("0"); // a free port
            dialog->EndModal(wxID_OK);
            return;
        }
    });
    answer.Start(200);
    error.reset();
    EXPECT_TRUE(scripts.RunFile(frame_, name)) << error.chars();
    answer.Stop();
    EXPECT_EQ(title, "Set script server port");
    EXPECT_EQ(proposed, "5101");
    EXPECT_TRUE(app_->getCommandServer().IsRunning());
    EXPECT_TRUE(frame_->getCommandWindow()->getOutput()->GetValue().Contains("4321"));
    // With the server running nobody is asked again.
    title.clear();
    EXPECT_TRUE(scripts.RunFile(frame_, name));
    EXPECT_TRUE(title.empty());
    app_->getCommandServer().Stop();
    std::remove(name);
    error.reset();
}

TEST_F(kxAppFrameTest, TreeWindowFollowsEditEntries)
{
    kxProjectManager *pm = app_->getProjectManager();
    kxProjectNode *project = pm->AddSubnode("kxProject", "P");
    ASSERT_NE(project, nullptr);
    ASSERT_NE(project->AddSubnode("notesTB", "n"), nullptr);
    kxTreeView *tree = frame_->getTreeView();
    wxTheApp->ProcessPendingEvents(); // the tree rebuilds after the events of a change
    EXPECT_EQ(tree->CountNodes(), 2);

    ASSERT_TRUE(tree->SelectPath("/P/n"));
    EXPECT_TRUE(app_->HandleMenu(kxID_COPY));
    ASSERT_TRUE(tree->SelectPath("/P"));
    EXPECT_TRUE(app_->PasteAs("copy"));
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(tree->CountNodes(), 3);
    EXPECT_TRUE(tree->SelectPath("/P/copy"));
    EXPECT_EQ(tree->GetSelectedNode(), pm->FindNode("/P/copy"));

    EXPECT_TRUE(app_->HandleMenu(kxID_DELETE));
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(tree->CountNodes(), 2);
    EXPECT_EQ(pm->FindNode("/P/copy"), nullptr);

    ASSERT_TRUE(tree->SelectPath("/P/n"));
    EXPECT_TRUE(app_->HandleMenu(kxID_CUT));
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(tree->CountNodes(), 1);
    EXPECT_FALSE(tree->SelectPath("/P/n"));

    // Closing the project empties the window; the menu's show/hide entries toggle the panes.
    ASSERT_TRUE(tree->SelectPath("/P"));
    app_->getScriptManager().setInstalled({"a.py"}); // its menu id must not take others'
    EXPECT_TRUE(app_->HandleMenu(kxID_CLOSEPROJECT));
    EXPECT_EQ(pm->getNodeCount(), 0);
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(tree->CountNodes(), 0);
    EXPECT_TRUE(frame_->IsPaneShown("project"));
    EXPECT_TRUE(app_->HandleMenu(kxID_SHOWPROJECTWINDOW));
    EXPECT_FALSE(frame_->IsPaneShown("project"));
    EXPECT_FALSE(app_->HandleMenu(12345));
    error.reset();
}
