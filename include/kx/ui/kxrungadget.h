// kxrungadget.h - the run indicator and the warning lamp of the application's status bar.
//
// kxRunGadget draws the run indicator into a rectangle of a window it does not own: an idle
// frame (frame 0: a grey ring) and three running frames (1 to 3: a ring with one of three
// green segments lit, so that stepping through them reads as rotation), with the percent as a
// thin bar along the bottom edge while running. The frames are drawn in code with wxDC calls;
// there are no bitmap resources. kxRunCtrl is the same indicator as a window of its own; a left
// click on it calls Click, which runs the click handler (the application asks the running
// calculation to stop there).
//
// kxWarnSignal is the warning lamp: a small window showing an amber triangle with "!" when lit
// and a flat grey triangle when unlit. A left click calls its handler (the application opens
// the warnings window) and, when the lamp is lit, redraws it unlit.
#ifndef KX_UI_KXRUNGADGET_H
#define KX_UI_KXRUNGADGET_H

#include <functional>

#include <wx/window.h>

class wxDC;

class kxRunGadget {
public:
    /// Draws into `window` (not owned, may be null: nothing is painted) within `rect`.
    explicit kxRunGadget(wxWindow *window = nullptr, const wxRect &rect = wxRect());

    void setWindow(wxWindow *window) { window_ = window; }
    void setRect(const wxRect &rect) { rect_ = rect; }
    [[nodiscard]] const wxRect &getRect() const { return rect_; }

    /// Percent 0, frame 1, running; repaints at once.
    void Start();
    /// Running off, frame 0, percent 100; repaints at once.
    void Stop();
    /// Runs the click handler (if any).
    void Click();
    /// Sets the percent, clamped to 0 to 100, and repaints.
    void Percent(int percent);
    /// Advances the frame 1, 2, 3, 1, ... while running (nothing when idle) and repaints.
    void Spin();
    /// Sets the frame directly (0 to 3, clamped) and repaints.
    void setFrame(int frame);
    /// Draws the current frame into `dc` at the gadget's rectangle.
    void DoPaint(wxDC &dc) const;

    void setClickHandler(std::function<void()> handler) { onClick_ = std::move(handler); }

    [[nodiscard]] int getPercent() const { return percent_; }
    [[nodiscard]] int getFrame() const { return frame_; }
    [[nodiscard]] bool IsRunning() const { return running_; }
    /// How often the gadget has been painted (for tests of "repaints at once").
    [[nodiscard]] long getPaintCount() const { return paints_; }

private:
    void Repaint();

    wxWindow *window_;
    wxRect rect_;
    int percent_ = 100;
    int frame_ = 0;
    bool running_ = false;
    mutable long paints_ = 0;
    std::function<void()> onClick_;
};

/// The run indicator as a window of its own.
class kxRunCtrl : public wxWindow {
public:
    kxRunCtrl(wxWindow *parent, wxWindowID id = wxID_ANY, const wxSize &size = wxSize(24, 24));

    void Start() { gadget_.Start(); }
    void Stop() { gadget_.Stop(); }
    void Click() { gadget_.Click(); }
    void Percent(int percent) { gadget_.Percent(percent); }
    void Spin() { gadget_.Spin(); }
    void DoPaint(wxDC &dc) const { gadget_.DoPaint(dc); }

    [[nodiscard]] kxRunGadget &getGadget() { return gadget_; }

private:
    void OnPaint(wxPaintEvent &event);
    void OnSize(wxSizeEvent &event);
    void OnLeftDown(wxMouseEvent &event);

    kxRunGadget gadget_;
};

/// The warning lamp.
class kxWarnSignal : public wxWindow {
public:
    kxWarnSignal(wxWindow *parent, wxWindowID id = wxID_ANY, const wxSize &size = wxSize(24, 24));

    void ShowWarnSignal();
    void HideWarnSignal();
    [[nodiscard]] bool IsLit() const { return lit_; }
    /// What a left click does besides putting the lamp out (the application shows its warnings).
    void setClickHandler(std::function<void()> handler) { onClick_ = std::move(handler); }
    /// A left click: the handler, then the lamp redrawn unlit.
    void Click();

private:
    void OnPaint(wxPaintEvent &event);
    void OnLeftDown(wxMouseEvent &event);

    bool lit_ = false;
    std::function<void()> onClick_;
};

#endif
