// kxrungadget.cpp - the run indicator and the warning lamp, drawn in code.
#define KX_UNIT "kxrungadget"
#include "kx/ui/kxrungadget.h"

#include <algorithm>

#include <wx/dcbuffer.h>
#include <wx/dcclient.h>

// -- kxRunGadget ---------------------------------------------------------------------------------

kxRunGadget::kxRunGadget(wxWindow *window, const wxRect &rect) : window_(window), rect_(rect) {}

void kxRunGadget::Start()
{
    percent_ = 0;
    frame_ = 1;
    running_ = true;
    Repaint();
}

void kxRunGadget::Stop()
{
    running_ = false;
    frame_ = 0;
    percent_ = 100;
    Repaint();
}

void kxRunGadget::Click()
{
    if (onClick_)
        onClick_();
}

void kxRunGadget::Percent(int percent)
{
    percent_ = std::clamp(percent, 0, 100);
    Repaint();
}

void kxRunGadget::Spin()
{
    if (!running_)
        return;
    frame_ = frame_ % 3 + 1;
    Repaint();
}

void kxRunGadget::setFrame(int frame)
{
    frame_ = std::clamp(frame, 0, 3);
    Repaint();
}

void kxRunGadget::Repaint()
{
    if (!window_ || !window_->IsShownOnScreen()) {
        ++paints_;
        return;
    }
    wxClientDC dc(window_);
    DoPaint(dc);
}

void kxRunGadget::DoPaint(wxDC &dc) const
{
    ++paints_;
    wxRect r = rect_;
    if (r.IsEmpty() && window_)
        r = wxRect(window_->GetClientSize());
    if (r.IsEmpty())
        return;
    dc.SetPen(*wxTRANSPARENT_PEN);
    dc.SetBrush(wxBrush(window_ ? window_->GetBackgroundColour() : *wxWHITE));
    dc.DrawRectangle(r);

    // A ring of three segments; the idle frame shows them all grey, running frame n lights
    // segment n in green.
    const int size = std::min(r.width, r.height) - 4;
    const wxPoint centre(r.x + r.width / 2, r.y + (r.height - 3) / 2);
    const int radius = std::max(size / 2, 3);
    const wxColour grey(170, 170, 170), lit(30, 170, 40), dim(120, 200, 120);
    for (int segment = 1; segment <= 3; ++segment) {
        const double start = 90.0 - 120.0 * segment + 8.0;
        const double end = start + 104.0;
        wxColour colour = frame_ == 0 ? grey : (segment == frame_ ? lit : dim);
        dc.SetBrush(wxBrush(colour));
        dc.DrawEllipticArc(centre.x - radius, centre.y - radius, 2 * radius, 2 * radius, start,
                           end);
    }
    dc.SetBrush(wxBrush(window_ ? window_->GetBackgroundColour() : *wxWHITE));
    dc.DrawCircle(centre, radius / 2);

    if (running_) {
        const int width = (r.width - 2) * percent_ / 100;
        dc.SetBrush(wxBrush(wxColour(40, 90, 200)));
        dc.DrawRectangle(r.x + 1, r.y + r.height - 3, width, 2);
    }
}

// -- kxRunCtrl -----------------------------------------------------------------------------------

kxRunCtrl::kxRunCtrl(wxWindow *parent, wxWindowID id, const wxSize &size)
    : wxWindow(parent, id, wxDefaultPosition, size, wxBORDER_NONE), gadget_(this)
{
    SetMinSize(size);
    SetToolTip("Calculation indicator: click to stop the running calculation");
    Bind(wxEVT_PAINT, &kxRunCtrl::OnPaint, this);
    Bind(wxEVT_SIZE, &kxRunCtrl::OnSize, this);
    Bind(wxEVT_LEFT_DOWN, &kxRunCtrl::OnLeftDown, this);
}

void kxRunCtrl::OnPaint(wxPaintEvent &)
{
    wxPaintDC dc(this);
    gadget_.setRect(wxRect(GetClientSize()));
    gadget_.DoPaint(dc);
}

void kxRunCtrl::OnSize(wxSizeEvent &event)
{
    gadget_.setRect(wxRect(GetClientSize()));
    Refresh();
    event.Skip();
}

void kxRunCtrl::OnLeftDown(wxMouseEvent &) { gadget_.Click(); }

// -- kxWarnSignal --------------------------------------------------------------------------------

kxWarnSignal::kxWarnSignal(wxWindow *parent, wxWindowID id, const wxSize &size)
    : wxWindow(parent, id, wxDefaultPosition, size, wxBORDER_NONE)
{
    SetMinSize(size);
    SetToolTip("Warnings: click to show them");
    Bind(wxEVT_PAINT, &kxWarnSignal::OnPaint, this);
    Bind(wxEVT_LEFT_DOWN, &kxWarnSignal::OnLeftDown, this);
}

void kxWarnSignal::ShowWarnSignal()
{
    lit_ = true;
    Refresh();
}

void kxWarnSignal::HideWarnSignal()
{
    lit_ = false;
    Refresh();
}

void kxWarnSignal::Click()
{
    if (onClick_)
        onClick_();
    if (lit_)
        HideWarnSignal();
}

void kxWarnSignal::OnLeftDown(wxMouseEvent &) { Click(); }

void kxWarnSignal::OnPaint(wxPaintEvent &)
{
    wxPaintDC dc(this);
    const wxSize size = GetClientSize();
    dc.SetBackground(wxBrush(GetBackgroundColour()));
    dc.Clear();
    const int w = size.x - 4, h = size.y - 4;
    if (w < 4 || h < 4)
        return;
    const wxPoint triangle[3] = {wxPoint(2 + w / 2, 2), wxPoint(2 + w, 2 + h), wxPoint(2, 2 + h)};
    dc.SetPen(wxPen(lit_ ? wxColour(150, 90, 0) : wxColour(160, 160, 160)));
    dc.SetBrush(wxBrush(lit_ ? wxColour(255, 190, 0) : wxColour(215, 215, 215)));
    dc.DrawPolygon(3, triangle);
    if (!lit_)
        return;
    dc.SetPen(wxPen(*wxBLACK, 2));
    dc.DrawLine(2 + w / 2, 2 + h / 3, 2 + w / 2, 2 + h * 3 / 4 - 1);
    dc.DrawPoint(2 + w / 2, 2 + h - 2);
}
