// qvchartw.h - qvChartW, a window showing a chart, and qvChartPrintout, a chart on paper.
//
// The window draws its chart with the graph module's renderer into an image of the window's
// size (qvRenderChartRGB), so the screen shows the pixels an image file of that size would
// hold. It keeps its own copy of the chart: zooming and panning change that copy's axis limits,
// never the chart it was given.
//
// Mouse and keys:
//   left drag            zoom to the rectangle dragged (at least 5 pixels each way)
//   wheel                zoom in (away from you) or out by 1.25 per notch about the cursor
//   middle or shift drag pan: the point under the cursor follows it
//   double click, "a"    autoscale: every axis back to automatic limits
//   moving               a cross-hair over the plot area and the read-out of the values under
//                        the cursor ("x = 1.5   y = 0.25", one entry per axis, in axis order),
//                        handed to the read-out callback (empty when the cursor leaves)
//   right click          a menu: "Autoscale", "Copy image", "Print..."
//   ctrl+c               copy the chart as an image (the window's size) to the clipboard
// Zoom and pan act on every axis: horizontal axes follow the horizontal motion, vertical axes
// the vertical one; on a logarithmic axis in proportion to the logarithm.
//
// Printing: the chart keeps the aspect ratio of the window, fitted within 90% of the page and
// centred; it is drawn at the printer's resolution (at most 3000 pixels across, text and lines
// scaled to match).
#ifndef KX_UI_QVCHARTW_H
#define KX_UI_QVCHARTW_H

#include <functional>

#include <wx/bitmap.h>
#include <wx/image.h>
#include <wx/prntbase.h>
#include <wx/window.h>

#include "kx/graph/qvchart.h"

class qvChartW : public wxWindow {
public:
    qvChartW(wxWindow *parent, wxWindowID id = wxID_ANY, const wxPoint &pos = wxDefaultPosition,
             const wxSize &size = wxSize(640, 480));

    /// Shows a copy of `chart` (its limits as given).
    void SetChart(const qvChart &chart);
    [[nodiscard]] const qvChart &GetChart() const { return chart_; }

    /// The chart as the window shows it (without cross-hair or zoom rectangle), window-sized.
    [[nodiscard]] wxImage RenderImage() const;
    /// The resolved limits of the named axis; false when there is no such axis or the chart's
    /// axes cannot be resolved.
    [[nodiscard]] bool GetAxisLimits(const std::string &axis, double &lo, double &hi) const;
    /// The values under the window point `p` as the read-out shows them ("" outside the plot).
    [[nodiscard]] wxString ReadOut(const wxPoint &p) const;

    // The actions behind the mouse and keys, in window pixels; false when nothing changed.
    bool ZoomToRect(const wxPoint &a, const wxPoint &b);
    /// Zooms about `p` by `factor` (< 1 zooms in).
    bool ZoomAt(const wxPoint &p, double factor);
    /// Moves the contents by (dx, dy) pixels.
    bool PanBy(int dx, int dy);
    void AutoScale();
    /// Puts the chart as an image on the clipboard; false when the clipboard cannot be opened.
    bool CopyToClipboard();
    /// Prints through the toolkit's printing framework (`prompt`: show the print dialog).
    bool Print(bool prompt = true);

    /// Called with the read-out text as the cursor moves (empty when it leaves the plot).
    void SetReadOutHandler(std::function<void(const wxString &)> handler)
    {
        readOut_ = std::move(handler);
    }

private:
    /// Maps every axis: horizontal ones from fractions [fx0, fx1] of the plot width, vertical
    /// ones from [fy0, fy1] of its height (0 at the bottom), to new fixed limits.
    bool SetFractions(double fx0, double fx1, double fy0, double fy1);
    /// The fractions of the plot area at window point p (x from the left, y from the bottom).
    void Fractions(const wxPoint &p, double &fx, double &fy) const;
    bool InPlot(const wxPoint &p) const;
    void Invalidate();
    void ShowReadOut(const wxString &text);

    void OnPaint(wxPaintEvent &event);
    void OnSize(wxSizeEvent &event);
    void OnLeftDown(wxMouseEvent &event);
    void OnLeftUp(wxMouseEvent &event);
    void OnMiddleDown(wxMouseEvent &event);
    void OnMiddleUp(wxMouseEvent &event);
    void OnMotion(wxMouseEvent &event);
    void OnWheel(wxMouseEvent &event);
    void OnDoubleClick(wxMouseEvent &event);
    void OnLeave(wxMouseEvent &event);
    void OnCaptureLost(wxMouseCaptureLostEvent &event);
    void OnChar(wxKeyEvent &event);
    void OnContextMenu(wxContextMenuEvent &event);
    void EndDrag();

    enum class Drag {
        none,
        zoom,
        pan
    };

    qvChart chart_;
    mutable wxBitmap cache_; ///< the rendered chart at the window's size (invalid: redraw)
    Drag drag_ = Drag::none;
    wxPoint dragStart_, dragNow_;
    wxPoint cursor_ = wxDefaultPosition; ///< for the cross-hair (wxDefaultPosition: none)
    std::function<void(const wxString &)> readOut_;
};

/// A chart as one printed page.
class qvChartPrintout : public wxPrintout {
public:
    /// `aspect`: width / height of the printed chart.
    qvChartPrintout(const qvChart &chart, double aspect, const wxString &title = "chart");

    bool OnPrintPage(int page) override;
    bool HasPage(int page) override { return page == 1; }
    void GetPageInfo(int *minPage, int *maxPage, int *pageFrom, int *pageTo) override;

private:
    qvChart chart_;
    double aspect_;
};

#endif
