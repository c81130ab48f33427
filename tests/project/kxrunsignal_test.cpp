// Tests of run control: nesting, the progress owner, throttling, the extra end, the beep, thread
// priority and the console progress line.
#include "kx/project/kxrunsignal.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

unsigned long g_now = 0;
unsigned long FakeClock() { return g_now; }

class Recorder : public kxRunIndicator {
public:
    void Start() override { log += "start;"; }
    void Stop() override { log += "stop;"; }
    void Spin(int frame) override { frames.push_back(frame); }
    void ShowGauge(bool show) override { log += show ? "gauge+;" : "gauge-;"; }
    void SetGaugePercent(int percent) override { percents.push_back(percent); }
    void ClearWarnings() override { log += "clear;"; }
    void Beep() override { log += "beep;"; }
    void Yield() override
    {
        if (inYield) // like the toolkit's yield, it does not nest
            return;
        ++yields;
        inYield = true;
        if (spinInYield)
            RunSignal::Spin(); // as a command served during the yield would
        inYield = false;
    }
    bool spinInYield = false;
    bool inYield = false;
    std::string log;
    std::vector<int> frames;
    std::vector<int> percents;
    int yields = 0;
};

class RunFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        kxRunControl::Reset();
        kxRunControl::setClock(&FakeClock);
        kxRunControl::setIndicator(&recorder);
        kxRunControl::setBeepEnabled(false);
        kxRunControl::setCPUPriority(3);
        kxPeekEnable(false);
        g_now = 1000;
    }
    void TearDown() override
    {
        kxRunControl::setIndicator(nullptr);
        kxRunControl::setClock(nullptr);
        kxRunControl::Reset();
    }
    Recorder recorder;
};

int ThreadNice() { return getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid))); }

} // namespace

using RunSignalTest = RunFixture;

TEST_F(RunSignalTest, NestedRunsShowAndHideOnceAndBeepOnlyWhenLong)
{
    kxRunControl::setBeepEnabled(true);
    {
        RunSignal outer(true);
        EXPECT_EQ(outer.getLevel(), 1u);
        {
            RunSignal inner(true);
            EXPECT_EQ(inner.getLevel(), 2u);
            EXPECT_EQ(kxRunControl::getDepth(), 2u);
            g_now += 5000;
        }
        EXPECT_EQ(recorder.log, "clear;start;gauge+;"); // the inner end hid nothing
        EXPECT_EQ(kxRunControl::getDepth(), 1u);
    }
    EXPECT_EQ(recorder.log, "clear;start;gauge+;stop;gauge-;beep;");
    EXPECT_EQ(kxRunControl::getDepth(), 0u);
    // 2.0 s exactly is not longer than 2 s: no beep.
    recorder.log.clear();
    {
        RunSignal run(true);
        g_now += 2000;
    }
    EXPECT_EQ(recorder.log, "clear;start;gauge+;stop;gauge-;");
    // Beep switched off.
    kxRunControl::setBeepEnabled(false);
    recorder.log.clear();
    {
        RunSignal run(true);
        g_now += 9000;
    }
    EXPECT_EQ(recorder.log.find("beep"), std::string::npos);
}

TEST_F(RunSignalTest, StartStopCountsAndTheProgressEntry)
{
    RunSignal run(false);
    EXPECT_EQ(run.getLevel(), 0u);
    run.Start();
    run.Start(); // only counts
    EXPECT_EQ(run.getStartCount(), 2);
    EXPECT_EQ(kxRunControl::getDepth(), 1u);
    run.Stop();
    EXPECT_EQ(kxRunControl::getDepth(), 1u);
    run.Stop();
    EXPECT_EQ(kxRunControl::getDepth(), 0u);
    EXPECT_EQ(run.getLevel(), 0u);
    run.Stop(); // nothing left to stop
    EXPECT_EQ(kxRunControl::getDepth(), 0u);

    EXPECT_EQ(kxProgress(-1), 1u);
    EXPECT_EQ(kxProgress(-1), 2u);
    EXPECT_EQ(kxProgress(-2), 1u);
    EXPECT_EQ(kxProgress(-2), 0u);
    // An unbalanced extra end keeps the depth at 0 and stops the indicator as an outermost end.
    recorder.log.clear();
    EXPECT_EQ(kxProgress(-2), 0u);
    EXPECT_EQ(recorder.log, "stop;gauge-;");
    EXPECT_EQ(kxRunControl::getFrame(), 0);
}

TEST_F(RunSignalTest, SpinsAndPercentsAreThrottledAndOwned)
{
    kxPeekEnable(true);
    RunSignal outer(true);
    RunSignal::Spin();
    RunSignal::Spin(); // within 0.2 s: nothing
    g_now += 199;
    RunSignal::Spin();
    g_now += 1;
    RunSignal::Spin();
    g_now += 200;
    kxProgress(-4);
    g_now += 200;
    kxProgress(-7);
    EXPECT_EQ(recorder.frames, (std::vector<int>{2, 3, 1, 2}));
    EXPECT_EQ(recorder.yields, 4);

    {
        RunSignal inner(true);
        g_now += 1000;
        inner.Progress(0.254); // the inner level sends first and owns the gauge
        EXPECT_EQ(kxRunControl::getProgressOwner(), 2u);
        g_now += 100;
        inner.Progress(0.5); // throttled: 0.1 s after the last percent
        g_now += 1000;
        outer.Progress(0.9); // ignored: not the owner
        g_now += 100;
        inner.Progress(0.6);
    }
    EXPECT_EQ(recorder.percents, (std::vector<int>{25, 60}));
    EXPECT_EQ(kxRunControl::getProgressOwner(), 0u); // the owner ended
    g_now += 1000;
    outer.Progress(1.7); // now the outer level owns it; clamped
    EXPECT_EQ(recorder.percents.back(), 100);
    EXPECT_EQ(kxRunControl::getProgressOwner(), 1u);
    RunSignal unstarted(false);
    g_now += 1000;
    unstarted.Progress(0.3); // no level: nothing sent
    EXPECT_EQ(recorder.percents.size(), 3u);
    kxPeekEnable(false);
    const int yields = recorder.yields;
    kxPeekMessage();
    EXPECT_EQ(recorder.yields, yields);
    kxPeekEnable(true);
    kxPeekMessage();
    EXPECT_EQ(recorder.yields, yields + 1);
    kxPeekEnable(false);
}

TEST_F(RunSignalTest, SpinFromInsideItsYieldDoesNotAdvanceTheFrame)
{
    kxPeekEnable(true);
    recorder.spinInYield = true;
    RunSignal run(true);
    for (int i = 0; i < 4; ++i) {
        RunSignal::Spin();
        g_now += 200;
    }
    // One step per outer spin: the nested spins would otherwise make every third frame the
    // same one that a command served during the yield sees.
    EXPECT_EQ(recorder.frames, (std::vector<int>{2, 3, 1, 2}));
    EXPECT_EQ(recorder.yields, 4);
    recorder.spinInYield = false;
    kxPeekEnable(false);
}

TEST_F(RunSignalTest, WithoutIndicatorOnlyBookkeeping)
{
    kxRunControl::setIndicator(nullptr);
    kxRunControl::setCPUPriority(1);
    const int nice = ThreadNice();
    {
        RunSignal run(true);
        EXPECT_EQ(kxRunControl::getDepth(), 1u);
        EXPECT_EQ(ThreadNice(), nice); // console use: the priority is left alone
        run.Progress(0.5);
        EXPECT_EQ(kxRunControl::getProgressOwner(), 1u);
    }
    EXPECT_EQ(kxRunControl::getDepth(), 0u);
    EXPECT_EQ(recorder.log, "");
}

TEST_F(RunSignalTest, ThreadPriorityFollowsRuns)
{
    kxRunControl::setCPUPriority(0);
    EXPECT_EQ(kxRunControl::getCPUPriority(), 1);
    kxRunControl::setCPUPriority(9);
    EXPECT_EQ(kxRunControl::getCPUPriority(), 5);
    const int normal = ThreadNice();
    {
        // A raise: applied where permitted, else the thread stays normal; never a failure.
        RunSignal run(true);
        const int level = kxRunControl::getAppliedPriority();
        EXPECT_TRUE(level == 5 || level == 3) << level;
        EXPECT_EQ(ThreadNice(), level == 5 ? normal - 10 : normal);
    }
    EXPECT_EQ(ThreadNice(), normal);
    EXPECT_EQ(kxRunControl::getAppliedPriority(), 3);
    if (geteuid() != 0)
        GTEST_SKIP() << "lowering and restoring the priority needs the privilege to raise it";
    kxRunControl::setCPUPriority(2);
    {
        RunSignal run(true);
        EXPECT_EQ(ThreadNice(), normal + 5);
        kxRunControl::setCPUPriority(1); // applied at once while running
        EXPECT_EQ(ThreadNice(), normal + 10);
    }
    EXPECT_EQ(ThreadNice(), normal);
}

TEST_F(RunSignalTest, ConsoleProgressLine)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    ASSERT_NE(stream, nullptr);
    kxTextProgressLine line(stream);
    kxRunControl::setIndicator(&line);
    {
        RunSignal quick(true); // over before the line would show
        g_now += 100;
        quick.Progress(0.5);
    }
    std::fflush(stream);
    EXPECT_EQ(size, 0u) << "a short run drew: " << text;
    {
        RunSignal run(true);
        g_now += 500;
        run.Progress(0.42);
        line.Clear(); // what a console does before printing
        g_now += 500;
        run.Progress(0.5);
    }
    kxRunControl::setIndicator(&recorder);
    std::fclose(stream);
    const std::string out(text, size);
    std::free(text);
    const std::string erase = "\r" + std::string(17, ' ') + "\r";
    const size_t first = out.find("]  42%");
    ASSERT_NE(first, std::string::npos) << out;
    const size_t cleared = out.find(erase, first);
    ASSERT_NE(cleared, std::string::npos) << out;
    EXPECT_NE(out.find(" 50%", cleared), std::string::npos) << out;
    ASSERT_GE(out.size(), erase.size());
    EXPECT_EQ(out.substr(out.size() - erase.size()), erase) << "the line is erased at the end";
}
