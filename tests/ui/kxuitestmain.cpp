// kxuitestmain.cpp - main of the kxcore_ui tests: starts the toolkit (a display is needed; the
// tests run under xvfb-run) and then GoogleTest.
#include <gtest/gtest.h>

#include <wx/app.h>
#include <wx/init.h>

#include "kx/project/kxrunsignal.h"

class kxTestApp : public wxApp {
public:
    bool OnInit() override { return true; }
};

wxIMPLEMENT_APP_NO_MAIN(kxTestApp);

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    int wxArgc = 1;
    char *wxArgv[] = {argv[0], nullptr};
    if (!wxEntryStart(wxArgc, wxArgv)) {
        fprintf(stderr, "the window toolkit could not start (is DISPLAY set?)\n");
        return 1;
    }
    wxTheApp->CallOnInit();
    kxRunControl::Reset(); // every program starts with no run in progress
    const int status = RUN_ALL_TESTS();
    wxEntryCleanup();
    return status;
}
