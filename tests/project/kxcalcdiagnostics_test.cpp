// Tests of the gathered calculation diagnostics: de-duplication, continuation, report levels.
#include "kx/project/kxcalcdiagnostics.h"

#include "kx/project/kxrunsignal.h"
#include "kxtestnodes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class RowRecorder : public kxDiagnosticsDisplay {
public:
    void Show(const List<KXString> &list, void *parent) override
    {
        ++shows;
        lastParent = parent;
        rows.clear();
        for (int i = 1; i <= list.size(); ++i)
            rows.push_back(list[i].c_str());
    }
    int shows = 0;
    void *lastParent = nullptr;
    std::vector<std::string> rows;
};

std::vector<std::string> Messages()
{
    std::vector<std::string> out;
    const List<KXString> &list = CalcDiagnostics::getMessages();
    for (int i = 1; i <= list.size(); ++i)
        out.push_back(list[i].c_str());
    return out;
}

} // namespace

TEST(CalcDiagnosticsTest, DeduplicationContinuationAndDisplay)
{
    error.reset();
    CalcDiagnostics::reset();
    CalcDiagnostics::setReportLevel(2);
    RowRecorder display;
    kxSetDiagnosticsDisplay(&display);
    kxOutputCapture capture;
    for (int i = 0; i < 3; ++i)
        CalcDiagnostics::set("mode %d did not converge after %g steps\n", 2, 50.0);
    CalcDiagnostics::set("second problem\n");
    CalcDiagnostics::set("  detail %d", 7); // no line feed: continues the last message
    CalcDiagnostics::set("last part\n");
    CalcDiagnostics::set("second problem\n"); // listed already (the listed one was continued)
    EXPECT_EQ(Messages(), (std::vector<std::string>{"mode 2 did not converge after 50 steps\n",
                                                    "second problem\n  detail 7", "last part\n",
                                                    "second problem\n"}));
    CalcDiagnostics::set("last part\n");
    EXPECT_EQ(Messages().size(), 4u);
    EXPECT_EQ(capture.Warnings(), "mode 2 did not converge after 50 steps\n"
                                  "mode 2 did not converge after 50 steps\n"
                                  "mode 2 did not converge after 50 steps\n"
                                  "second problem\n  detail 7last part\nsecond problem\n"
                                  "last part\n");
    int parent = 0;
    DisplayCalcDiagnostics(&parent);
    EXPECT_EQ(display.shows, 1);
    EXPECT_EQ(display.lastParent, &parent);
    EXPECT_EQ(display.rows,
              (std::vector<std::string>{"mode 2 did not converge after 50 steps", "second problem",
                                        "  detail 7", "last part", "second problem"}));

    // Level 1: printed, listed, but the display only clears the list.
    CalcDiagnostics::setReportLevel(1);
    DisplayCalcDiagnostics(nullptr);
    EXPECT_EQ(display.shows, 1);
    EXPECT_TRUE(Messages().empty());
    // Level 0: not printed.
    CalcDiagnostics::setReportLevel(0);
    CalcDiagnostics::set("quiet\n");
    EXPECT_EQ(capture.Warnings(), "");
    EXPECT_EQ(Messages().size(), 1u);
    // An empty list shows nothing.
    CalcDiagnostics::reset();
    CalcDiagnostics::setReportLevel(2);
    DisplayCalcDiagnostics(nullptr);
    EXPECT_EQ(display.shows, 1);
    // With a run indicator installed the warning goes to it (it lights the warning lamp).
    class Lamp : public kxRunIndicator {
    public:
        void PrintWarning(const char *text) override { shown += text; }
        std::string shown;
    } lamp;
    kxRunControl::setIndicator(&lamp);
    CalcDiagnostics::set("lamp %d\n", 1);
    kxRunControl::setIndicator(nullptr);
    EXPECT_EQ(lamp.shown, "lamp 1\n");
    EXPECT_EQ(capture.Warnings(), "");
    CalcDiagnostics::reset();
    // A continuation with nothing to continue is an internal fault, not a crash.
    CalcDiagnostics::set("orphan");
    EXPECT_EQ(error, kxErrCode);
    EXPECT_NE(std::string(error.chars()).find("error in const List<T>::last_cpt: list empty"),
              std::string::npos);
    error.reset();
    kxSetDiagnosticsDisplay(nullptr);
}
