// kxrunsignal.h - run control of long calculations: the process-wide run state, the RunSignal
// scope object, the integer progress entry, yielding to the user interface and the thread
// priority during runs.
//
// Everything that is shown (the run indicator, the gauge, the warnings window, the beep, the
// busy cursor) goes through kxRunIndicator, which the application shell implements. With none
// installed (console use) every entry does its bookkeeping (depth, progress owner, throttle
// times, the stored priority level), shows nothing and leaves the thread priority alone. A
// console installs kxTextProgressLine to see progress as one line on standard error.
//
// Runs nest: the outermost start clears the warnings, starts the indicator, shows the gauge,
// raises the thread priority and records the start time; inner starts only deepen the run.
// The outermost end stops the indicator, hides the gauge, restores the priority and beeps when
// the run took more than 2.0 s and the beep is enabled. An extra end (depth already 0) is taken
// as an outermost end. Spins and percents are throttled to one every 0.2 s; the first level
// that sends a percent owns the gauge until it ends.
// A spin reached from inside the indicator's Yield (a command the user interface runs
// meanwhile) does nothing, so every yield steps the animation exactly once.
//
// Thread priority: levels 1 to 5 (lowest, below normal, normal, above normal, highest) are
// applied to the calling thread with setpriority as nice offsets +10, +5, 0, -5, -10 from the
// nice value the thread had when the priority was first changed ("normal"). A raise that is
// not permitted falls back to normal without failing.
//
// Every entry first restores the library's floating-point control state. Nothing here locks:
// all of it runs on the user-interface thread.
#ifndef KX_PROJECT_KXRUNSIGNAL_H
#define KX_PROJECT_KXRUNSIGNAL_H

#include <cstdio>

/// What run control shows. Every member does nothing in the base class.
class kxRunIndicator {
public:
    virtual ~kxRunIndicator() = default;
    /// The outermost run started (percent 0, first frame).
    virtual void Start() {}
    /// The outermost run ended (percent 100, idle frame).
    virtual void Stop() {}
    /// Advance the animation to `frame` (1 to 3).
    virtual void Spin(int frame) { (void)frame; }
    virtual void ShowGauge(bool show) { (void)show; }
    /// Set the gauge to `percent` (0 to 100) and repaint it at once.
    virtual void SetGaugePercent(int percent) { (void)percent; }
    /// Empty the warnings window and put the warning lamp out.
    virtual void ClearWarnings() {}
    /// Print a warning and light the warning lamp. Base: the text goes to the warning log.
    virtual void PrintWarning(const char *text);
    /// The system's information beep.
    virtual void Beep() {}
    /// Let the user interface process its pending events once.
    virtual void Yield() {}
    virtual void SetBusyCursor(bool busy) { (void)busy; }
};

/// A progress line for consoles: "\r[running /]  42%" on the stream (standard error by
/// default), ended by a line feed when the outermost run ends.
class kxTextProgressLine : public kxRunIndicator {
public:
    explicit kxTextProgressLine(FILE *stream = stderr) : stream_(stream) {}
    void Start() override;
    void Stop() override;
    void Spin(int frame) override;
    void SetGaugePercent(int percent) override;
    /// Erases the line if it is on the screen (call before printing anything else on the
    /// terminal); the next spin or percent draws it again.
    void Clear();

private:
    /// A run shorter than this shows no line at all.
    static constexpr unsigned long kShowAfterMs = 300;
    /// Width of "\r[running x] nnn%" without the carriage return.
    static constexpr int kLineWidth = 17;

    void Draw();

    FILE *stream_;
    int frame_ = 0;
    int percent_ = 0;
    bool shown_ = false;
    bool drawn_ = false;
    unsigned long startMs_ = 0;
};

/// The process-wide run state and its settings.
class kxRunControl {
public:
    /// Installs the indicator (not owned; null: none).
    static void setIndicator(kxRunIndicator *indicator);
    [[nodiscard]] static kxRunIndicator *getIndicator();

    [[nodiscard]] static unsigned getDepth();
    [[nodiscard]] static unsigned getProgressOwner();
    /// The current frame of the animation (0 idle, 1 to 3 running).
    [[nodiscard]] static int getFrame();

    /// Clamps to 1 to 5 and stores; applied at once while a run is in progress.
    static void setCPUPriority(int level);
    [[nodiscard]] static int getCPUPriority();
    /// true: the stored level on the calling thread; false: normal.
    static void UpdateCPUPriority(bool running);
    /// The level the calling thread runs at now (1 to 5; 3 when it was never changed).
    [[nodiscard]] static int getAppliedPriority();

    static void setBeepEnabled(bool on);
    [[nodiscard]] static bool getBeepEnabled();

    /// The clock in milliseconds (monotonic); tests install their own (null: the system's).
    typedef unsigned long (*Clock)();
    static void setClock(Clock clock);
    [[nodiscard]] static unsigned long Now();

    /// Returns to the state at start-up (depth 0, no owner, no throttle times); the settings
    /// and the indicator stay.
    static void Reset();
};

/// The progress entry: -1 starts a run and returns the new depth; -2 ends one; any other
/// negative code spins; 0 to 100 spins and sets the gauge percent for `level`. Returns the
/// depth after the call.
unsigned kxProgress(int code, unsigned level = 0);

/// Turns yielding to the user interface in spins (and kxPeekMessage) on or off.
void kxPeekEnable(bool on);
/// Yields to the user interface once when yielding is on.
void kxPeekMessage();

/// Marks a long operation for its scope (see the top of this file).
class RunSignal {
public:
    /// With `start`, the run starts at once and ends with the destructor (the start count stays
    /// 0, so no Stop is expected).
    explicit RunSignal(bool start = true);
    /// Ends the run when the object still holds a level.
    ~RunSignal();
    RunSignal(const RunSignal &) = delete;
    RunSignal &operator=(const RunSignal &) = delete;

    void Start();
    /// Ends the run when the start count falls to 0.
    void Stop();
    /// Sends fraction * 100, rounded, as the percent of this object's level (nothing without a
    /// level).
    void Progress(double fraction);
    /// A spin (see kxProgress).
    static void Spin();

    [[nodiscard]] int getStartCount() const { return startCount_; }
    [[nodiscard]] unsigned getLevel() const { return level_; }

private:
    int startCount_ = 0;
    unsigned level_ = 0;
};

/// Shows the busy cursor for its scope (through the indicator).
class kxBusyCursor {
public:
    kxBusyCursor();
    ~kxBusyCursor();
    kxBusyCursor(const kxBusyCursor &) = delete;
    kxBusyCursor &operator=(const kxBusyCursor &) = delete;
};

#endif
