// kxrunsignal.cpp - the process-wide run state, RunSignal, progress and thread priority.
#define KX_UNIT "kxrunsignal"

#include "kx/project/kxrunsignal.h"

#include "kx/foundation/kxerror.h"
#include "objects/kxfpguard.h"

#include <cerrno>
#include <cmath>
#include <ctime>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr unsigned long kThrottleMs = 200;   // spins and percents: at most one per 0.2 s
constexpr unsigned long kBeepAfterMs = 2000; // runs longer than this beep when enabled

struct RunState {
    unsigned depth = 0;
    unsigned owner = 0;
    unsigned long lastSpin = 0;
    unsigned long lastPercent = 0;
    bool spun = false;        // lastSpin holds a time
    bool percentSent = false; // lastPercent holds a time
    unsigned long start = 0;
    bool started = false; // start holds the time of a run that has not ended
    bool peek = false;
    bool yielding = false; // inside the indicator's Yield from a spin
    int frame = 0;
};

struct Settings {
    kxRunIndicator *indicator = nullptr;
    kxRunControl::Clock clock = nullptr;
    int level = 3;
    int applied = 3;
    bool baseKnown = false;
    int baseNice = 0;
    bool beep = false;
};

RunState g_state;
Settings g_settings;

unsigned long SystemClock()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<unsigned long>(ts.tv_sec) * 1000UL +
           static_cast<unsigned long>(ts.tv_nsec / 1000000L);
}

/// Sets the calling thread's nice value; false when the system refuses.
bool SetThreadNice(int nice)
{
    const auto tid = static_cast<id_t>(syscall(SYS_gettid));
    return setpriority(PRIO_PROCESS, tid, nice) == 0;
}

int ThreadNice()
{
    const auto tid = static_cast<id_t>(syscall(SYS_gettid));
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, tid);
    return errno ? 0 : nice;
}

void ApplyPriority(int level)
{
    static const int offset[6] = {0, 10, 5, 0, -5, -10};
    if (!g_settings.baseKnown) {
        g_settings.baseNice = ThreadNice();
        g_settings.baseKnown = true;
    }
    if (level == g_settings.applied)
        return;
    if (SetThreadNice(g_settings.baseNice + offset[level])) {
        g_settings.applied = level;
        return;
    }
    // Not permitted (a raise without the privilege): fall back to normal.
    if (SetThreadNice(g_settings.baseNice))
        g_settings.applied = 3;
}

unsigned StartRun()
{
    kxGuardFloatingPoint();
    kxRunIndicator *indicator = g_settings.indicator;
    if (g_state.depth == 0) {
        g_state.frame = 1;
        g_state.start = kxRunControl::Now();
        g_state.started = true;
        if (indicator) {
            indicator->ClearWarnings();
            indicator->Start();
            indicator->ShowGauge(true);
            kxRunControl::UpdateCPUPriority(true);
        }
    }
    return ++g_state.depth;
}

unsigned EndRun()
{
    kxGuardFloatingPoint();
    const unsigned old = g_state.depth;
    if (g_state.owner == old)
        g_state.owner = 0;
    g_state.depth = old > 0 ? old - 1 : 0;
    if (old > 1)
        return g_state.depth; // an inner run ended
    kxRunIndicator *indicator = g_settings.indicator;
    g_state.frame = 0;
    g_state.owner = 0;
    const bool longRun = g_state.started && kxRunControl::Now() - g_state.start > kBeepAfterMs;
    g_state.started = false;
    if (!indicator)
        return g_state.depth;
    indicator->Stop();
    indicator->ShowGauge(false);
    kxRunControl::UpdateCPUPriority(false);
    if (longRun && g_settings.beep)
        indicator->Beep();
    return g_state.depth;
}

void SpinRun()
{
    kxGuardFloatingPoint();
    const unsigned long now = kxRunControl::Now();
    if (g_state.spun && now - g_state.lastSpin < kThrottleMs)
        return;
    // A spin reached again from inside the yield (a command the user interface runs meanwhile)
    // does nothing: the spin that yielded advances the frame once.
    if (g_state.yielding)
        return;
    kxRunIndicator *indicator = g_settings.indicator;
    if (g_state.peek && indicator) {
        g_state.yielding = true;
        indicator->Yield();
        g_state.yielding = false;
    }
    if (g_state.depth == 0)
        return;
    g_state.frame = g_state.frame % 3 + 1;
    if (indicator)
        indicator->Spin(g_state.frame);
    g_state.lastSpin = now;
    g_state.spun = true;
}

void SendPercent(int percent, unsigned level)
{
    SpinRun();
    if (g_state.owner == 0 && level > 0)
        g_state.owner = level;
    if (level != g_state.owner)
        return;
    const unsigned long now = kxRunControl::Now();
    if (g_state.percentSent && now - g_state.lastPercent < kThrottleMs)
        return;
    g_state.lastPercent = now;
    g_state.percentSent = true;
    if (g_settings.indicator)
        g_settings.indicator->SetGaugePercent(percent < 0 ? 0 : percent > 100 ? 100 : percent);
}

} // namespace

void kxRunIndicator::PrintWarning(const char *text) { kxWarningLog("%s", text ? text : ""); }

// -- kxRunControl -------------------------------------------------------------------------------

void kxRunControl::setIndicator(kxRunIndicator *indicator) { g_settings.indicator = indicator; }

kxRunIndicator *kxRunControl::getIndicator() { return g_settings.indicator; }

unsigned kxRunControl::getDepth() { return g_state.depth; }

unsigned kxRunControl::getProgressOwner() { return g_state.owner; }

int kxRunControl::getFrame() { return g_state.frame; }

void kxRunControl::setCPUPriority(int level)
{
    g_settings.level = level < 1 ? 1 : level > 5 ? 5 : level;
    if (g_state.depth > 0 && g_settings.indicator)
        ApplyPriority(g_settings.level);
}

int kxRunControl::getCPUPriority() { return g_settings.level; }

void kxRunControl::UpdateCPUPriority(bool running)
{
    ApplyPriority(running ? g_settings.level : 3);
}

int kxRunControl::getAppliedPriority() { return g_settings.applied; }

void kxRunControl::setBeepEnabled(bool on) { g_settings.beep = on; }

bool kxRunControl::getBeepEnabled() { return g_settings.beep; }

void kxRunControl::setClock(Clock clock) { g_settings.clock = clock; }

unsigned long kxRunControl::Now() { return g_settings.clock ? g_settings.clock() : SystemClock(); }

void kxRunControl::Reset() { g_state = RunState(); }

// -- free entries -------------------------------------------------------------------------------

unsigned kxProgress(int code, unsigned level)
{
    if (code == -1)
        return StartRun();
    if (code == -2)
        return EndRun();
    if (code < 0)
        SpinRun();
    else
        SendPercent(code, level);
    return g_state.depth;
}

void kxPeekEnable(bool on) { g_state.peek = on; }

void kxPeekMessage()
{
    if (g_state.peek && g_settings.indicator)
        g_settings.indicator->Yield();
}

// -- RunSignal ----------------------------------------------------------------------------------

RunSignal::RunSignal(bool start)
{
    if (start)
        level_ = StartRun();
}

RunSignal::~RunSignal()
{
    if (level_ != 0)
        EndRun();
}

void RunSignal::Start()
{
    if (startCount_++ != 0)
        return;
    level_ = StartRun();
}

void RunSignal::Stop()
{
    if (startCount_ == 0 || --startCount_ > 0)
        return;
    EndRun();
    level_ = 0;
}

void RunSignal::Progress(double fraction)
{
    if (level_ == 0)
        return;
    SendPercent(static_cast<int>(std::lround(fraction * 100.0)), level_);
}

void RunSignal::Spin() { SpinRun(); }

// -- busy cursor and the console progress line ---------------------------------------------------

kxBusyCursor::kxBusyCursor()
{
    if (g_settings.indicator)
        g_settings.indicator->SetBusyCursor(true);
}

kxBusyCursor::~kxBusyCursor()
{
    if (g_settings.indicator)
        g_settings.indicator->SetBusyCursor(false);
}

void kxTextProgressLine::Draw()
{
    if (kxRunControl::Now() - startMs_ < kShowAfterMs)
        return;
    static const char wheel[4] = {'-', '|', '/', '-'};
    std::fprintf(stream_, "\r[running %c] %3d%%", wheel[frame_ & 3], percent_);
    std::fflush(stream_);
    drawn_ = true;
}

void kxTextProgressLine::Clear()
{
    if (!drawn_)
        return;
    std::fprintf(stream_, "\r%*s\r", kLineWidth, "");
    std::fflush(stream_);
    drawn_ = false;
}

void kxTextProgressLine::Start()
{
    frame_ = 1;
    percent_ = 0;
    shown_ = true;
    startMs_ = kxRunControl::Now();
}

void kxTextProgressLine::Stop()
{
    Clear();
    shown_ = false;
}

void kxTextProgressLine::Spin(int frame)
{
    frame_ = frame;
    if (shown_)
        Draw();
}

void kxTextProgressLine::SetGaugePercent(int percent)
{
    percent_ = percent;
    if (shown_)
        Draw();
}
