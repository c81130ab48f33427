// qvchartw.cpp - the chart window and its printout (see qvchartw.h).
#define KX_UNIT "qvchartw"
#include "kx/ui/qvchartw.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include <wx/clipbrd.h>
#include <wx/dcclient.h>
#include <wx/menu.h>
#include <wx/print.h>

#include "kx/graph/qvrender.h"

namespace {

/// The value at fraction f (0 at Lo, 1 at Hi) of a resolved axis; the inverse of Fraction.
double ValueAtFraction(const qvAxis &resolved, double f)
{
    const double lo = resolved.Lo(), hi = resolved.Hi();
    if (!resolved.log)
        return lo + f * (hi - lo);
    return std::pow(10.0, std::log10(lo) + f * (std::log10(hi) - std::log10(lo)));
}

/// Draws the chart into an image of width x height pixels (`scale` as for qvRenderChart).
wxImage ChartImage(const qvChart &chart, int width, int height, double scale)
{
    std::vector<unsigned char> rgb;
    // A chart whose axes cannot be resolved still gives an image: the renderer writes the
    // message into it.
    const bool drawn = qvRenderChartRGB(chart, width, height, scale, rgb);
    if (rgb.empty())
        return wxImage();
    wxImage image(width, height, false);
    std::memcpy(image.GetData(), rgb.data(), rgb.size());
    (void)drawn;
    return image;
}

enum {
    ID_AUTOSCALE = wxID_HIGHEST + 1,
    ID_COPY,
    ID_PRINT
};

/// Zooming stops where the limits would no longer differ in double precision.
bool UsableRange(double lo, double hi)
{
    return std::isfinite(lo) && std::isfinite(hi) &&
           std::fabs(hi - lo) > 1e-12 * std::max(std::fabs(lo), std::fabs(hi));
}

} // namespace

// -- qvChartW ------------------------------------------------------------------------------------

qvChartW::qvChartW(wxWindow *parent, wxWindowID id, const wxPoint &pos, const wxSize &size)
    : wxWindow(parent, id, pos, size, wxWANTS_CHARS | wxFULL_REPAINT_ON_RESIZE)
{
    SetBackgroundStyle(wxBG_STYLE_PAINT);
    Bind(wxEVT_PAINT, &qvChartW::OnPaint, this);
    Bind(wxEVT_SIZE, &qvChartW::OnSize, this);
    Bind(wxEVT_LEFT_DOWN, &qvChartW::OnLeftDown, this);
    Bind(wxEVT_LEFT_UP, &qvChartW::OnLeftUp, this);
    Bind(wxEVT_MIDDLE_DOWN, &qvChartW::OnMiddleDown, this);
    Bind(wxEVT_MIDDLE_UP, &qvChartW::OnMiddleUp, this);
    Bind(wxEVT_MOTION, &qvChartW::OnMotion, this);
    Bind(wxEVT_MOUSEWHEEL, &qvChartW::OnWheel, this);
    Bind(wxEVT_LEFT_DCLICK, &qvChartW::OnDoubleClick, this);
    Bind(wxEVT_LEAVE_WINDOW, &qvChartW::OnLeave, this);
    Bind(wxEVT_MOUSE_CAPTURE_LOST, &qvChartW::OnCaptureLost, this);
    Bind(wxEVT_KEY_DOWN, &qvChartW::OnChar, this);
    Bind(wxEVT_CONTEXT_MENU, &qvChartW::OnContextMenu, this);
}

void qvChartW::SetChart(const qvChart &chart)
{
    chart_ = chart;
    Invalidate();
}

wxImage qvChartW::RenderImage() const
{
    const wxSize size = GetClientSize();
    if (size.x < 1 || size.y < 1)
        return wxImage();
    return ChartImage(chart_, size.x, size.y, 1);
}

bool qvChartW::GetAxisLimits(const std::string &axis, double &lo, double &hi) const
{
    std::vector<qvAxis> resolved;
    if (!chart_.ResolveAxes(resolved))
        return false;
    for (const qvAxis &a : resolved)
        if (a.name == axis) {
            lo = a.Lo();
            hi = a.Hi();
            return true;
        }
    return false;
}

void qvChartW::Fractions(const wxPoint &p, double &fx, double &fy) const
{
    const wxSize size = GetClientSize();
    const qvPlotArea a = qvChartPlotArea(chart_, size.x, size.y, 1);
    fx = (p.x - a.x) / a.w;
    fy = 1 - (p.y - a.y) / a.h;
}

bool qvChartW::InPlot(const wxPoint &p) const
{
    double fx = 0, fy = 0;
    Fractions(p, fx, fy);
    return fx >= 0 && fx <= 1 && fy >= 0 && fy <= 1;
}

wxString qvChartW::ReadOut(const wxPoint &p) const
{
    std::vector<qvAxis> resolved;
    if (!InPlot(p) || !chart_.ResolveAxes(resolved))
        return wxString();
    double fx = 0, fy = 0;
    Fractions(p, fx, fy);
    wxString text;
    for (const qvAxis &a : resolved) {
        if (!text.empty())
            text += "   ";
        const double v = ValueAtFraction(a, a.IsHorizontal() ? fx : fy);
        text += wxString::FromUTF8(a.name.c_str()) + wxString::Format(" = %.6g", v);
    }
    return text;
}

bool qvChartW::SetFractions(double fx0, double fx1, double fy0, double fy1)
{
    std::vector<qvAxis> resolved;
    if (!chart_.ResolveAxes(resolved))
        return false;
    std::vector<std::pair<double, double>> limits;
    for (const qvAxis &a : resolved) {
        const bool h = a.IsHorizontal();
        const double lo = ValueAtFraction(a, h ? fx0 : fy0);
        const double hi = ValueAtFraction(a, h ? fx1 : fy1);
        if (!UsableRange(lo, hi))
            return false;
        limits.emplace_back(std::min(lo, hi), std::max(lo, hi));
    }
    for (size_t i = 0; i < resolved.size(); ++i)
        if (qvAxis *axis = chart_.FindAxis(resolved[i].name))
            axis->SetLimits(limits[i].first, limits[i].second);
    Invalidate();
    return true;
}

bool qvChartW::ZoomToRect(const wxPoint &a, const wxPoint &b)
{
    if (std::abs(a.x - b.x) < 5 || std::abs(a.y - b.y) < 5)
        return false;
    double ax = 0, ay = 0, bx = 0, by = 0;
    Fractions(a, ax, ay);
    Fractions(b, bx, by);
    return SetFractions(std::min(ax, bx), std::max(ax, bx), std::min(ay, by), std::max(ay, by));
}

bool qvChartW::ZoomAt(const wxPoint &p, double factor)
{
    if (!(factor > 0) || factor == 1)
        return false;
    double fx = 0, fy = 0;
    Fractions(p, fx, fy);
    return SetFractions(fx - fx * factor, fx + (1 - fx) * factor, fy - fy * factor,
                        fy + (1 - fy) * factor);
}

bool qvChartW::PanBy(int dx, int dy)
{
    if (dx == 0 && dy == 0)
        return false;
    const wxSize size = GetClientSize();
    const qvPlotArea a = qvChartPlotArea(chart_, size.x, size.y, 1);
    const double sx = dx / a.w, sy = dy / a.h;
    return SetFractions(-sx, 1 - sx, sy, 1 + sy);
}

void qvChartW::AutoScale()
{
    for (qvAxis &a : chart_.Axes())
        a.SetAutomatic();
    Invalidate();
}

bool qvChartW::CopyToClipboard()
{
    const wxImage image = RenderImage();
    if (!image.IsOk())
        return false;
    wxClipboardLocker lock;
    if (!lock)
        return false;
    return wxTheClipboard->SetData(new wxBitmapDataObject(wxBitmap(image)));
}

bool qvChartW::Print(bool prompt)
{
    const wxSize size = GetClientSize();
    const double aspect = size.y > 0 ? double(size.x) / size.y : 4.0 / 3;
    const wxString title =
        chart_.title.Empty() ? wxString("chart") : wxString::FromUTF8(chart_.title.c_str());
    qvChartPrintout printout(chart_, aspect, title);
    wxPrinter printer;
    return printer.Print(this, &printout, prompt);
}

void qvChartW::Invalidate()
{
    cache_ = wxNullBitmap;
    Refresh(false);
}

void qvChartW::ShowReadOut(const wxString &text)
{
    if (readOut_)
        readOut_(text);
}

void qvChartW::OnPaint(wxPaintEvent &)
{
    wxPaintDC dc(this);
    if (!cache_.IsOk()) {
        const wxImage image = RenderImage();
        if (!image.IsOk())
            return;
        cache_ = wxBitmap(image);
    }
    dc.DrawBitmap(cache_, 0, 0);
    const wxSize size = GetClientSize();
    if (drag_ == Drag::zoom) {
        dc.SetPen(wxPen(*wxBLACK, 1, wxPENSTYLE_SHORT_DASH));
        dc.SetBrush(*wxTRANSPARENT_BRUSH);
        const int x = std::min(dragStart_.x, dragNow_.x), y = std::min(dragStart_.y, dragNow_.y);
        dc.DrawRectangle(x, y, std::abs(dragNow_.x - dragStart_.x) + 1,
                         std::abs(dragNow_.y - dragStart_.y) + 1);
    }
    if (cursor_ != wxDefaultPosition && drag_ == Drag::none && InPlot(cursor_)) {
        const qvPlotArea a = qvChartPlotArea(chart_, size.x, size.y, 1);
        dc.SetPen(wxPen(wxColour(128, 128, 128), 1, wxPENSTYLE_DOT));
        dc.DrawLine(int(a.x), cursor_.y, int(a.x + a.w), cursor_.y);
        dc.DrawLine(cursor_.x, int(a.y), cursor_.x, int(a.y + a.h));
    }
}

void qvChartW::OnSize(wxSizeEvent &event)
{
    Invalidate();
    event.Skip();
}

void qvChartW::OnLeftDown(wxMouseEvent &event)
{
    SetFocus();
    drag_ = event.ShiftDown() ? Drag::pan : Drag::zoom;
    dragStart_ = dragNow_ = event.GetPosition();
    if (!HasCapture())
        CaptureMouse();
}

void qvChartW::OnLeftUp(wxMouseEvent &event)
{
    const Drag was = drag_;
    EndDrag();
    if (was == Drag::zoom)
        ZoomToRect(dragStart_, event.GetPosition());
    Refresh(false);
}

void qvChartW::OnMiddleDown(wxMouseEvent &event)
{
    SetFocus();
    drag_ = Drag::pan;
    dragStart_ = dragNow_ = event.GetPosition();
    if (!HasCapture())
        CaptureMouse();
}

void qvChartW::OnMiddleUp(wxMouseEvent &)
{
    EndDrag();
    Refresh(false);
}

void qvChartW::EndDrag()
{
    if (HasCapture())
        ReleaseMouse();
    drag_ = Drag::none;
}

void qvChartW::OnMotion(wxMouseEvent &event)
{
    const wxPoint p = event.GetPosition();
    if (drag_ == Drag::pan)
        PanBy(p.x - dragNow_.x, p.y - dragNow_.y);
    dragNow_ = p;
    cursor_ = p;
    ShowReadOut(ReadOut(p));
    Refresh(false);
}

void qvChartW::OnWheel(wxMouseEvent &event)
{
    const int rotation = event.GetWheelRotation(), delta = event.GetWheelDelta();
    if (rotation == 0 || delta <= 0 || event.GetWheelAxis() != wxMOUSE_WHEEL_VERTICAL)
        return;
    ZoomAt(event.GetPosition(), std::pow(1 / 1.25, double(rotation) / delta));
}

void qvChartW::OnDoubleClick(wxMouseEvent &) { AutoScale(); }

void qvChartW::OnLeave(wxMouseEvent &)
{
    cursor_ = wxDefaultPosition;
    ShowReadOut(wxString());
    Refresh(false);
}

void qvChartW::OnCaptureLost(wxMouseCaptureLostEvent &)
{
    drag_ = Drag::none;
    Refresh(false);
}

void qvChartW::OnChar(wxKeyEvent &event)
{
    const int key = event.GetKeyCode();
    if (key == 'A' && event.GetModifiers() == wxMOD_NONE)
        AutoScale();
    else if (key == 'C' && event.GetModifiers() == wxMOD_CONTROL)
        CopyToClipboard();
    else
        event.Skip();
}

void qvChartW::OnContextMenu(wxContextMenuEvent &)
{
    wxMenu menu;
    menu.Append(ID_AUTOSCALE, "Autoscale");
    menu.Append(ID_COPY, "Copy image");
    menu.Append(ID_PRINT, "Print...");
    switch (GetPopupMenuSelectionFromUser(menu)) {
    case ID_AUTOSCALE: AutoScale(); break;
    case ID_COPY: CopyToClipboard(); break;
    case ID_PRINT: Print(true); break;
    default: break;
    }
}

// -- qvChartPrintout -----------------------------------------------------------------------------

qvChartPrintout::qvChartPrintout(const qvChart &chart, double aspect, const wxString &title)
    : wxPrintout(title), chart_(chart), aspect_(aspect > 0 ? aspect : 4.0 / 3)
{
}

void qvChartPrintout::GetPageInfo(int *minPage, int *maxPage, int *pageFrom, int *pageTo)
{
    *minPage = *maxPage = *pageFrom = *pageTo = 1;
}

bool qvChartPrintout::OnPrintPage(int page)
{
    wxDC *dc = GetDC();
    if (!dc || page != 1)
        return false;
    const wxSize paper = dc->GetSize();
    int ppiX = 0, ppiY = 0;
    GetPPIPrinter(&ppiX, &ppiY);
    if (ppiX <= 0)
        ppiX = 96;
    double w = 0.9 * paper.x, h = w / aspect_;
    if (h > 0.9 * paper.y) {
        h = 0.9 * paper.y;
        w = h * aspect_;
    }
    // Very fine printers get an image of at most 3000 pixels across, scaled up by the DC.
    const double k = std::min(1.0, 3000 / w);
    const int iw = int(std::lround(w * k)), ih = int(std::lround(h * k));
    const wxImage image = ChartImage(chart_, iw, ih, ppiX / 96.0 * k);
    if (!image.IsOk())
        return false;
    dc->SetUserScale(1 / k, 1 / k);
    dc->DrawBitmap(wxBitmap(image), wxCoord(std::lround((paper.x - w) / 2 * k)),
                   wxCoord(std::lround((paper.y - h) / 2 * k)));
    dc->SetUserScale(1, 1);
    return true;
}
