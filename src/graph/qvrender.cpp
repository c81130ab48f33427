// qvrender.cpp - the Cairo renderer of charts and the image and vector file writers.
#define KX_UNIT "qvrender"
#include "kx/graph/qvrender.h"

#include "kx/foundation/kxerror.h"
#include "kx/graph/qvcontour.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <strings.h>

namespace {

const char *kFontFace = "DejaVu Sans";

// Where the plot area lies and how axis values reach device coordinates.
struct Frame {
    double x0, y0, w, h; // plot area, top-left corner and size
    double s;            // size scale
};

struct AxisPair {
    const qvAxis *x;
    const qvAxis *y;
};

double DevX(const Frame &f, const qvAxis &a, double v) { return f.x0 + a.Fraction(v) * f.w; }
double DevY(const Frame &f, const qvAxis &a, double v) { return f.y0 + f.h - a.Fraction(v) * f.h; }

void SetColour(cairo_t *cr, const qvColour &c) { cairo_set_source_rgba(cr, c.r, c.g, c.b, c.a); }

void SetFont(cairo_t *cr, double px, bool bold = false)
{
    cairo_select_font_face(cr, kFontFace, CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, px);
}

// Draws text anchored at (x, y): ha 0 left, 0.5 centre, 1 right; va 0 top, 0.5 middle,
// 1 baseline-ish bottom. `angle` in radians turns the text about the anchor.
void Text(cairo_t *cr, const std::string &s, double x, double y, double ha, double va,
          double angle = 0)
{
    if (s.empty())
        return;
    cairo_text_extents_t e;
    cairo_text_extents(cr, s.c_str(), &e);
    cairo_font_extents_t fe;
    cairo_font_extents(cr, &fe);
    double h = fe.ascent + fe.descent;
    cairo_save(cr);
    cairo_translate(cr, x, y);
    cairo_rotate(cr, angle);
    cairo_move_to(cr, -e.x_advance * ha, -h * va + fe.ascent);
    cairo_show_text(cr, s.c_str());
    cairo_restore(cr);
}

double TextWidth(cairo_t *cr, const std::string &s)
{
    cairo_text_extents_t e;
    cairo_text_extents(cr, s.c_str(), &e);
    return e.x_advance;
}

void SetDash(cairo_t *cr, qvDash dash, double s)
{
    static const double kDashed[] = {6, 4}, kDotted[] = {1.5, 3}, kDashDot[] = {6, 3, 1.5, 3};
    const double *pattern = nullptr;
    int n = 0;
    switch (dash) {
    case qvDashDashed:
        pattern = kDashed;
        n = 2;
        break;
    case qvDashDotted:
        pattern = kDotted;
        n = 2;
        break;
    case qvDashDashDot:
        pattern = kDashDot;
        n = 4;
        break;
    default: break;
    }
    double scaled[4];
    for (int i = 0; i < n; ++i)
        scaled[i] = pattern[i] * s;
    cairo_set_dash(cr, scaled, n, 0);
}

// ---------------------------------------------------------------------------------------------
// Line data sets

// True when the line is dense enough to be drawn one pixel column at a time.
bool IsDense(const Frame &f, const qvDataSet &d)
{
    return d.x.size() > 4 * static_cast<size_t>(f.w) && d.XMonotonic();
}

void DrawLinePath(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    bool pen = false;
    for (size_t i = 0; i < d.x.size(); ++i) {
        double px = DevX(f, *ap.x, d.x[i]), py = DevY(f, *ap.y, d.y[i]);
        if (!std::isfinite(px) || !std::isfinite(py)) {
            pen = false;
            continue;
        }
        pen ? cairo_line_to(cr, px, py) : cairo_move_to(cr, px, py);
        pen = true;
    }
}

// A dense solid line, one pixel column at a time: each column is filled from the lowest to
// the highest point the line reaches in it (its own points and the joins to the columns either
// side), widened by half the line width, as one box centred on the column. This covers the
// pixels a stroke of the polyline covers, at a fraction of the cost of stroking hundreds of
// thousands of overlapping segments. Joins between columns that are not neighbours (sparse
// stretches, gaps after NaN) are stroked.
void DrawDenseLine(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d,
                   double lineWidth)
{
    const double hw = lineWidth / 2;
    struct Column {
        double col, firstY, lo, hi, lastX, lastY;
    };
    std::vector<Column> cols;
    cols.reserve(static_cast<size_t>(f.w) + 2);
    std::vector<double> joins; // x0 y0 x1 y1 of joins to stroke
    bool pen = false;
    double prevX = 0, prevY = 0;
    for (size_t i = 0; i < d.x.size(); ++i) {
        double px = DevX(f, *ap.x, d.x[i]), py = DevY(f, *ap.y, d.y[i]);
        if (!std::isfinite(px) || !std::isfinite(py)) {
            pen = false;
            continue;
        }
        double c = std::floor(px);
        if (cols.empty() || cols.back().col != c || !pen) {
            if (pen && !cols.empty() && c == cols.back().col + 1) {
                // The join to the neighbouring column reaches into both.
                Column &b = cols.back();
                b.lo = std::min(b.lo, (prevY + py) / 2);
                b.hi = std::max(b.hi, (prevY + py) / 2);
                cols.push_back({c, py, std::min(py, (prevY + py) / 2),
                                std::max(py, (prevY + py) / 2), px, py});
            } else {
                if (pen)
                    joins.insert(joins.end(), {prevX, prevY, px, py});
                cols.push_back({c, py, py, py, px, py});
            }
        } else {
            Column &b = cols.back();
            b.lo = std::min(b.lo, py);
            b.hi = std::max(b.hi, py);
        }
        cols.back().lastX = px;
        cols.back().lastY = py;
        prevX = px;
        prevY = py;
        pen = true;
    }
    for (const Column &c : cols)
        cairo_rectangle(cr, c.col + 0.5 - hw, c.lo - hw, 2 * hw, c.hi - c.lo + 2 * hw);
    cairo_fill(cr);
    for (size_t k = 0; k < joins.size(); k += 4) {
        cairo_move_to(cr, joins[k], joins[k + 1]);
        cairo_line_to(cr, joins[k + 2], joins[k + 3]);
    }
    cairo_stroke(cr);
}

void MarkerPath(cairo_t *cr, qvMarker m, double x, double y, double r)
{
    switch (m) {
    case qvMarkerCircle:
        cairo_new_sub_path(cr);
        cairo_arc(cr, x, y, r, 0, 2 * M_PI);
        break;
    case qvMarkerSquare: cairo_rectangle(cr, x - r, y - r, 2 * r, 2 * r); break;
    case qvMarkerTriangle:
        cairo_move_to(cr, x, y - r);
        cairo_line_to(cr, x + r * 0.866, y + r * 0.5);
        cairo_line_to(cr, x - r * 0.866, y + r * 0.5);
        cairo_close_path(cr);
        break;
    case qvMarkerCross:
        cairo_move_to(cr, x - r, y - r);
        cairo_line_to(cr, x + r, y + r);
        cairo_move_to(cr, x - r, y + r);
        cairo_line_to(cr, x + r, y - r);
        break;
    case qvMarkerPlus:
        cairo_move_to(cr, x - r, y);
        cairo_line_to(cr, x + r, y);
        cairo_move_to(cr, x, y - r);
        cairo_line_to(cr, x, y + r);
        break;
    default: break;
    }
}

void StrokeStyle(cairo_t *cr, const qvDataSet &d, double s)
{
    SetColour(cr, d.colour);
    cairo_set_line_width(cr, d.lineWidth * s);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
}

void DrawMarkers(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    double r = d.markerSize * 0.5 * f.s;
    bool filled =
        d.marker == qvMarkerCircle || d.marker == qvMarkerSquare || d.marker == qvMarkerTriangle;
    cairo_set_dash(cr, nullptr, 0, 0);
    cairo_set_line_width(cr, 1.2 * f.s);
    for (size_t i = 0; i < d.x.size(); ++i) {
        double px = DevX(f, *ap.x, d.x[i]), py = DevY(f, *ap.y, d.y[i]);
        if (std::isfinite(px) && std::isfinite(py))
            MarkerPath(cr, d.marker, px, py, r);
    }
    filled ? cairo_fill(cr) : cairo_stroke(cr);
}

void DrawErrorBars(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    double cap = 3 * f.s;
    cairo_set_dash(cr, nullptr, 0, 0);
    cairo_set_line_width(cr, 1 * f.s);
    for (size_t i = 0; i < d.x.size(); ++i) {
        double e = std::fabs(d.yerr[i]);
        double px = DevX(f, *ap.x, d.x[i]);
        double p0 = DevY(f, *ap.y, d.y[i] - e), p1 = DevY(f, *ap.y, d.y[i] + e);
        if (!std::isfinite(px) || !std::isfinite(p1))
            continue;
        if (!std::isfinite(p0))
            p0 = f.y0 + f.h; // a lower end below zero on a log axis runs off the plot
        cairo_move_to(cr, px, p0);
        cairo_line_to(cr, px, p1);
        cairo_move_to(cr, px - cap, p0);
        cairo_line_to(cr, px + cap, p0);
        cairo_move_to(cr, px - cap, p1);
        cairo_line_to(cr, px + cap, p1);
    }
    cairo_stroke(cr);
}

void DrawLine(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    StrokeStyle(cr, d, f.s);
    if (d.drawLine && d.lineWidth > 0) {
        if (d.dash == qvDashSolid && IsDense(f, d)) {
            DrawDenseLine(cr, f, ap, d, std::max(1.0, d.lineWidth * f.s));
        } else {
            SetDash(cr, d.dash, f.s);
            DrawLinePath(cr, f, ap, d);
            cairo_stroke(cr);
        }
    }
    if (!d.yerr.empty())
        DrawErrorBars(cr, f, ap, d);
    if (d.marker != qvMarkerNone)
        DrawMarkers(cr, f, ap, d);
    cairo_set_dash(cr, nullptr, 0, 0);
}

// ---------------------------------------------------------------------------------------------
// Grids

double Normalised(double v, double lo, double hi) { return hi > lo ? (v - lo) / (hi - lo) : 0.5; }

bool UniformSpacing(const std::vector<double> &a)
{
    double step = (a.back() - a.front()) / (a.size() - 1);
    if (!(std::fabs(step) > 0) || !std::isfinite(step))
        return false;
    for (size_t i = 1; i < a.size(); ++i)
        if (std::fabs(a[i] - a[i - 1] - step) > std::fabs(step) * 1e-6)
            return false;
    return true;
}

// The cell boundary between grid points i and i+1 (and beyond the ends, half a step out).
double CellEdge(const std::vector<double> &a, long i)
{
    long n = static_cast<long>(a.size());
    if (i < 0)
        return a[0] - (a[1] - a[0]) * 0.5;
    if (i >= n - 1)
        return a[n - 1] + (a[n - 1] - a[n - 2]) * 0.5;
    return (a[i] + a[i + 1]) * 0.5;
}

void DrawColourMap(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    double lo, hi;
    d.ColourRange(lo, hi);
    const int nx = d.nx, ny = d.ny;
    if (!ap.x->log && !ap.y->log && UniformSpacing(d.x) && UniformSpacing(d.y)) {
        cairo_surface_t *img = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, nx, ny);
        if (cairo_surface_status(img) != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(img);
            return;
        }
        cairo_surface_flush(img);
        unsigned char *data = cairo_image_surface_get_data(img);
        int stride = cairo_image_surface_get_stride(img);
        double k = hi > lo ? 1 / (hi - lo) : 0;
        for (int r = 0; r < ny; ++r) {
            uint32_t *row = reinterpret_cast<uint32_t *>(data + static_cast<size_t>(r) * stride);
            const double *zr = d.z.data() + static_cast<size_t>(ny - 1 - r) * nx;
            for (int i = 0; i < nx; ++i)
                row[i] = std::isfinite(zr[i]) ? d.colourMap.MapPixel((zr[i] - lo) * k) : 0;
        }
        cairo_surface_mark_dirty(img);
        double xl = DevX(f, *ap.x, CellEdge(d.x, -1)), xr = DevX(f, *ap.x, CellEdge(d.x, nx - 1));
        double yt = DevY(f, *ap.y, CellEdge(d.y, ny - 1)), yb = DevY(f, *ap.y, CellEdge(d.y, -1));
        cairo_save(cr);
        cairo_translate(cr, xl, yt);
        cairo_scale(cr, (xr - xl) / nx, (yb - yt) / ny);
        cairo_set_source_surface(cr, img, 0, 0);
        cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
        cairo_rectangle(cr, 0, 0, nx, ny);
        cairo_fill(cr);
        cairo_restore(cr);
        cairo_surface_destroy(img);
        return;
    }
    for (int j = 0; j < ny; ++j) {
        double y0 = DevY(f, *ap.y, CellEdge(d.y, j - 1)), y1 = DevY(f, *ap.y, CellEdge(d.y, j));
        for (int i = 0; i < nx; ++i) {
            double v = d.z[static_cast<size_t>(j) * nx + i];
            double x0 = DevX(f, *ap.x, CellEdge(d.x, i - 1)), x1 = DevX(f, *ap.x, CellEdge(d.x, i));
            if (!std::isfinite(v) || !std::isfinite(x0 + x1 + y0 + y1))
                continue;
            SetColour(cr, d.colourMap.Map(Normalised(v, lo, hi)));
            cairo_rectangle(cr, x0, y0, x1 - x0, y1 - y0);
            cairo_fill(cr);
        }
    }
}

void DrawContour(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    double lo, hi;
    d.ColourRange(lo, hi);
    cairo_set_line_width(cr, d.lineWidth * f.s);
    SetDash(cr, d.dash, f.s);
    struct Label {
        double x, y;
        std::string text;
    };
    std::vector<Label> labels;
    for (double level : d.ContourLevels()) {
        std::vector<qvSegment> segs =
            qvContourLevel(d.x.data(), d.nx, d.y.data(), d.ny, d.z.data(), level);
        SetColour(cr, d.colouredLevels ? d.colourMap.Map(Normalised(level, lo, hi)) : d.colour);
        for (const qvSegment &sg : segs) {
            double a = DevX(f, *ap.x, sg.x0), b = DevY(f, *ap.y, sg.y0);
            double c = DevX(f, *ap.x, sg.x1), e = DevY(f, *ap.y, sg.y1);
            if (!std::isfinite(a + b + c + e))
                continue;
            cairo_move_to(cr, a, b);
            cairo_line_to(cr, c, e);
        }
        cairo_stroke(cr);
        if (d.labels && segs.size() >= 4) {
            char buf[32];
            std::snprintf(buf, sizeof buf, "%g", level);
            const qvSegment &sg = segs[segs.size() / 3];
            labels.push_back({DevX(f, *ap.x, sg.x0), DevY(f, *ap.y, sg.y0), buf});
        }
    }
    cairo_set_dash(cr, nullptr, 0, 0);
    SetFont(cr, 10 * f.s);
    for (const Label &l : labels) {
        if (!std::isfinite(l.x + l.y))
            continue;
        double w = TextWidth(cr, l.text) + 4 * f.s, h = 12 * f.s;
        cairo_set_source_rgba(cr, 1, 1, 1, 0.85);
        cairo_rectangle(cr, l.x - w / 2, l.y - h / 2, w, h);
        cairo_fill(cr);
        if (qvLightness(d.colour) > 70)
            cairo_set_source_rgb(cr, 0, 0, 0);
        else
            SetColour(cr, d.colour);
        Text(cr, l.text, l.x, l.y, 0.5, 0.5);
    }
}

void DrawVectors(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    double maxMag = 0;
    for (size_t k = 0; k < d.u.size(); ++k) {
        double m = std::hypot(d.u[k], d.v[k]);
        if (std::isfinite(m))
            maxMag = std::max(maxMag, m);
    }
    if (!(maxMag > 0))
        return;
    double dx = std::fabs(d.x[1] - d.x[0]), dy = std::fabs(d.y[1] - d.y[0]);
    double k = d.arrowScale * std::min(dx, dy) / maxMag;
    SetColour(cr, d.colour);
    cairo_set_line_width(cr, d.lineWidth * 0.8 * f.s);
    for (int j = 0; j < d.ny; ++j)
        for (int i = 0; i < d.nx; ++i) {
            size_t q = static_cast<size_t>(j) * d.nx + i;
            double x0 = DevX(f, *ap.x, d.x[i]), y0 = DevY(f, *ap.y, d.y[j]);
            double x1 = DevX(f, *ap.x, d.x[i] + d.u[q] * k);
            double y1 = DevY(f, *ap.y, d.y[j] + d.v[q] * k);
            if (!std::isfinite(x0 + y0 + x1 + y1))
                continue;
            double len = std::hypot(x1 - x0, y1 - y0);
            if (len < 1e-9)
                continue;
            double ux = (x1 - x0) / len, uy = (y1 - y0) / len, head = std::min(len * 0.35, 8 * f.s);
            cairo_move_to(cr, x0, y0);
            cairo_line_to(cr, x1, y1);
            cairo_move_to(cr, x1 - head * (ux * 0.9 - uy * 0.42),
                          y1 - head * (uy * 0.9 + ux * 0.42));
            cairo_line_to(cr, x1, y1);
            cairo_line_to(cr, x1 - head * (ux * 0.9 + uy * 0.42),
                          y1 - head * (uy * 0.9 - ux * 0.42));
        }
    cairo_stroke(cr);
}

void DrawMesh(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    StrokeStyle(cr, d, f.s);
    cairo_set_line_width(cr, d.lineWidth * 0.6 * f.s);
    for (size_t c = 0; c < d.cells.size(); c += 4) {
        int nv = d.cells[c + 3] < 0 ? 3 : 4;
        double px[4], py[4];
        bool ok = true;
        for (int k = 0; k < nv; ++k) {
            px[k] = DevX(f, *ap.x, d.x[d.cells[c + k]]);
            py[k] = DevY(f, *ap.y, d.y[d.cells[c + k]]);
            ok = ok && std::isfinite(px[k] + py[k]);
        }
        if (!ok)
            continue;
        cairo_move_to(cr, px[0], py[0]);
        for (int k = 1; k < nv; ++k)
            cairo_line_to(cr, px[k], py[k]);
        cairo_close_path(cr);
    }
    cairo_stroke(cr);
}

void DrawGouraud(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    double lo, hi;
    d.ColourRange(lo, hi);
    cairo_pattern_t *mesh = cairo_pattern_create_mesh();
    int patches = 0;
    for (size_t c = 0; c < d.cells.size(); c += 4) {
        double px[3], py[3];
        qvColour col[3];
        bool ok = true;
        for (int k = 0; k < 3; ++k) {
            int n = d.cells[c + k];
            px[k] = DevX(f, *ap.x, d.x[n]);
            py[k] = DevY(f, *ap.y, d.y[n]);
            col[k] = d.colourMap.Map(Normalised(d.z[n], lo, hi));
            ok = ok && std::isfinite(px[k] + py[k] + d.z[n]);
        }
        if (!ok)
            continue;
        cairo_mesh_pattern_begin_patch(mesh);
        cairo_mesh_pattern_move_to(mesh, px[0], py[0]);
        cairo_mesh_pattern_line_to(mesh, px[1], py[1]);
        cairo_mesh_pattern_line_to(mesh, px[2], py[2]);
        for (int k = 0; k < 3; ++k)
            cairo_mesh_pattern_set_corner_color_rgba(mesh, k, col[k].r, col[k].g, col[k].b,
                                                     col[k].a);
        cairo_mesh_pattern_end_patch(mesh);
        ++patches;
    }
    if (patches > 0) {
        cairo_set_source(cr, mesh);
        cairo_paint(cr);
    }
    cairo_pattern_destroy(mesh);
}

// ---------------------------------------------------------------------------------------------
// Axes, colour bar, legend

const qvDataSet *ColourBarSource(const qvChart &chart)
{
    for (const qvDataSet &d : chart.DataSets())
        if ((d.kind == qvColourMapPlot || d.kind == qvGouraud ||
             (d.kind == qvContour && d.colouredLevels)) &&
            d.colourBar)
            return &d;
    return nullptr;
}

void DrawTicksAndLabels(cairo_t *cr, const Frame &f, const qvAxis &a, double offset)
{
    double s = f.s, major = 5 * s, minor = 3 * s;
    bool horiz = a.IsHorizontal();
    // The axis line position and the outward direction.
    double pos, out;
    switch (a.side) {
    case qvSideBottom:
        pos = f.y0 + f.h + offset;
        out = 1;
        break;
    case qvSideTop:
        pos = f.y0 - offset;
        out = -1;
        break;
    case qvSideLeft:
        pos = f.x0 - offset;
        out = -1;
        break;
    default:
        pos = f.x0 + f.w + offset;
        out = 1;
        break;
    }
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_line_width(cr, 1 * s);
    if (offset > 0) {
        if (horiz) {
            cairo_move_to(cr, f.x0, pos);
            cairo_line_to(cr, f.x0 + f.w, pos);
        } else {
            cairo_move_to(cr, pos, f.y0);
            cairo_line_to(cr, pos, f.y0 + f.h);
        }
    }
    SetFont(cr, 11 * s);
    double widest = 0;
    for (const qvTick &t : a.Ticks()) {
        double fr = a.Fraction(t.value);
        if (!(fr >= -1e-9 && fr <= 1 + 1e-9))
            continue;
        double len = t.label.empty() ? minor : major;
        if (horiz) {
            double x = f.x0 + fr * f.w;
            cairo_move_to(cr, x, pos);
            cairo_line_to(cr, x, pos + out * len);
            Text(cr, t.label, x, pos + out * (major + 3 * s), 0.5, out > 0 ? 0 : 1);
        } else {
            double y = f.y0 + f.h - fr * f.h;
            cairo_move_to(cr, pos, y);
            cairo_line_to(cr, pos + out * len, y);
            Text(cr, t.label, pos + out * (major + 3 * s), y, out > 0 ? 0 : 1, 0.5);
            widest = std::max(widest, TextWidth(cr, t.label));
        }
    }
    cairo_stroke(cr);
    std::string caption = a.Caption();
    SetFont(cr, 12 * s);
    if (horiz)
        Text(cr, caption, f.x0 + f.w / 2, pos + out * (major + 19 * s), 0.5, out > 0 ? 0 : 1);
    else
        Text(cr, caption, pos + out * (major + 6 * s + std::max(widest, 28 * s)), f.y0 + f.h / 2,
             0.5, out > 0 ? 0 : 1, out > 0 ? M_PI / 2 : -M_PI / 2);
}

void DrawGrid(cairo_t *cr, const Frame &f, const qvAxis &a)
{
    cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
    cairo_set_line_width(cr, 0.8 * f.s);
    for (const qvTick &t : a.Ticks()) {
        if (t.label.empty())
            continue;
        double fr = a.Fraction(t.value);
        if (a.IsHorizontal()) {
            cairo_move_to(cr, f.x0 + fr * f.w, f.y0);
            cairo_line_to(cr, f.x0 + fr * f.w, f.y0 + f.h);
        } else {
            cairo_move_to(cr, f.x0, f.y0 + f.h - fr * f.h);
            cairo_line_to(cr, f.x0 + f.w, f.y0 + f.h - fr * f.h);
        }
    }
    cairo_stroke(cr);
}

void DrawColourBar(cairo_t *cr, const Frame &f, const qvDataSet &d, double x)
{
    double s = f.s, w = 16 * s;
    double lo, hi;
    d.ColourRange(lo, hi);
    const int n = 256;
    cairo_surface_t *img = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, n);
    cairo_surface_flush(img);
    unsigned char *data = cairo_image_surface_get_data(img);
    int stride = cairo_image_surface_get_stride(img);
    for (int r = 0; r < n; ++r)
        *reinterpret_cast<uint32_t *>(data + static_cast<size_t>(r) * stride) =
            d.colourMap.MapPixel(1 - static_cast<double>(r) / (n - 1));
    cairo_surface_mark_dirty(img);
    cairo_save(cr);
    cairo_translate(cr, x, f.y0);
    cairo_scale(cr, w, f.h / n);
    cairo_set_source_surface(cr, img, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_BILINEAR);
    cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
    cairo_rectangle(cr, 0, 0, 1, n);
    cairo_fill(cr);
    cairo_restore(cr);
    cairo_surface_destroy(img);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_line_width(cr, 1 * s);
    cairo_rectangle(cr, x, f.y0, w, f.h);
    cairo_stroke(cr);
    if (!(hi > lo))
        return;
    SetFont(cr, 10 * s);
    for (const qvTick &t : qvAxis::LinearTicks(lo, hi, 7)) {
        double y = f.y0 + f.h - Normalised(t.value, lo, hi) * f.h;
        cairo_move_to(cr, x + w, y);
        cairo_line_to(cr, x + w + 4 * s, y);
        Text(cr, t.label, x + w + 6 * s, y, 0, 0.5);
    }
    cairo_stroke(cr);
}

void DrawLegend(cairo_t *cr, const Frame &f, const qvChart &chart)
{
    std::vector<const qvDataSet *> entries;
    for (const qvDataSet &d : chart.DataSets())
        if (!d.name.empty() && (d.kind == qvLine || d.kind == qvMesh || d.kind == qvVector ||
                                (d.kind == qvContour && !d.colouredLevels)))
            entries.push_back(&d);
    if (entries.empty())
        return;
    double s = f.s;
    SetFont(cr, 11 * s);
    double tw = 0;
    for (const qvDataSet *d : entries)
        tw = std::max(tw, TextWidth(cr, d->name));
    double row = 17 * s, w = tw + 42 * s, h = row * entries.size() + 8 * s;
    double x = f.x0 + f.w - w - 8 * s, y = f.y0 + 8 * s;
    cairo_set_source_rgba(cr, 1, 1, 1, 0.9);
    cairo_rectangle(cr, x, y, w, h);
    cairo_fill_preserve(cr);
    cairo_set_source_rgb(cr, 0.6, 0.6, 0.6);
    cairo_set_line_width(cr, 0.8 * s);
    cairo_stroke(cr);
    for (size_t i = 0; i < entries.size(); ++i) {
        const qvDataSet &d = *entries[i];
        double cy = y + 4 * s + row * (i + 0.5);
        StrokeStyle(cr, d, s);
        if (d.kind != qvLine || d.drawLine) {
            SetDash(cr, d.dash, s);
            cairo_move_to(cr, x + 6 * s, cy);
            cairo_line_to(cr, x + 30 * s, cy);
            cairo_stroke(cr);
            cairo_set_dash(cr, nullptr, 0, 0);
        }
        if (d.kind == qvLine && d.marker != qvMarkerNone) {
            MarkerPath(cr, d.marker, x + 18 * s, cy, d.markerSize * 0.5 * s);
            bool filled = d.marker == qvMarkerCircle || d.marker == qvMarkerSquare ||
                          d.marker == qvMarkerTriangle;
            filled ? cairo_fill(cr) : cairo_stroke(cr);
        }
        cairo_set_source_rgb(cr, 0, 0, 0);
        Text(cr, d.name, x + 36 * s, cy, 0, 0.5);
    }
}

void DrawDataSet(cairo_t *cr, const Frame &f, const AxisPair &ap, const qvDataSet &d)
{
    switch (d.kind) {
    case qvLine: DrawLine(cr, f, ap, d); break;
    case qvContour: DrawContour(cr, f, ap, d); break;
    case qvColourMapPlot: DrawColourMap(cr, f, ap, d); break;
    case qvVector: DrawVectors(cr, f, ap, d); break;
    case qvMesh: DrawMesh(cr, f, ap, d); break;
    case qvGouraud: DrawGouraud(cr, f, ap, d); break;
    }
}

const qvAxis *Named(const std::vector<qvAxis> &axes, const std::string &name)
{
    for (const qvAxis &a : axes)
        if (a.name == name)
            return &a;
    return nullptr;
}

void PrepareContext(cairo_t *cr)
{
    cairo_font_options_t *fo = cairo_font_options_create();
    cairo_font_options_set_antialias(fo, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(fo, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(fo, CAIRO_HINT_METRICS_OFF);
    cairo_set_font_options(cr, fo);
    cairo_font_options_destroy(fo);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
}

} // namespace

qvPlotArea qvChartPlotArea(const qvChart &chart, double width, double height, double scale)
{
    const double s = scale > 0 ? scale : 1;
    int perSide[4] = {0, 0, 0, 0};
    for (const qvAxis &a : chart.Axes())
        ++perSide[a.side];
    const bool bar = ColourBarSource(chart) != nullptr;
    const double left = (12 + 62 * perSide[qvSideLeft]) * s;
    const double right = (18 + 62 * perSide[qvSideRight] + (bar ? 70 : 0)) * s;
    const double top = ((chart.title.Empty() ? 14 : 36) + 44 * perSide[qvSideTop]) * s;
    const double bottom = (12 + 44 * perSide[qvSideBottom]) * s;
    return {left, top, std::max(10.0, width - left - right), std::max(10.0, height - top - bottom)};
}

bool qvRenderChart(const qvChart &chart, cairo_t *cr, double width, double height, double scale)
{
    const double s = scale > 0 ? scale : 1;
    cairo_save(cr);
    PrepareContext(cr);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_rectangle(cr, 0, 0, width, height);
    cairo_fill(cr);

    std::vector<qvAxis> axes;
    if (!chart.ResolveAxes(axes)) {
        cairo_set_source_rgb(cr, 0.7, 0, 0);
        SetFont(cr, 12 * s);
        Text(cr, error.chars(), width / 2, height / 2, 0.5, 0.5);
        cairo_restore(cr);
        return false;
    }
    int perSide[4] = {0, 0, 0, 0};
    for (const qvAxis &a : axes)
        ++perSide[a.side];
    const qvDataSet *bar = ColourBarSource(chart);
    std::string title = chart.title.c_str();
    const qvPlotArea area = qvChartPlotArea(chart, width, height, scale);
    Frame f;
    f.s = s;
    f.x0 = area.x;
    f.y0 = area.y;
    f.w = area.w;
    f.h = area.h;

    for (const qvAxis &a : axes)
        if (a.grid)
            DrawGrid(cr, f, a);
    cairo_save(cr);
    cairo_rectangle(cr, f.x0, f.y0, f.w, f.h);
    cairo_clip(cr);
    for (const qvDataSet &d : chart.DataSets()) {
        AxisPair ap{Named(axes, d.xAxis), Named(axes, d.yAxis)};
        if (ap.x && ap.y)
            DrawDataSet(cr, f, ap, d);
    }
    cairo_restore(cr);

    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_line_width(cr, 1 * s);
    cairo_rectangle(cr, f.x0, f.y0, f.w, f.h);
    cairo_stroke(cr);
    int seen[4] = {0, 0, 0, 0};
    for (const qvAxis &a : axes) {
        double step = a.IsHorizontal() ? 44 * s : 62 * s;
        DrawTicksAndLabels(cr, f, a, step * seen[a.side]++);
    }
    if (bar)
        DrawColourBar(cr, f, *bar, f.x0 + f.w + (14 + 62 * perSide[qvSideRight]) * s);
    if (chart.legend)
        DrawLegend(cr, f, chart);
    if (!title.empty()) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        SetFont(cr, 15 * s, true);
        Text(cr, title, f.x0 + f.w / 2, 10 * s, 0.5, 0);
    }
    cairo_restore(cr);
    return true;
}

namespace {

bool Finish(cairo_t *cr, cairo_surface_t *surface, const char *path, bool drawn)
{
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    cairo_status_t st = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (st != CAIRO_STATUS_SUCCESS) {
        error.Raise(kxErrFile, "Failed to write file \"%s\": %s\n", path,
                    cairo_status_to_string(st));
        return false;
    }
    return drawn;
}

// Writes an RGB24 image surface as an 8-bit RGB PNG. Cairo's own writer compresses at zlib's
// default level, which costs more than drawing a chart; level 1 with the "sub" filter writes
// several times faster for files somewhat larger. Plain C on purpose: libpng reports errors by
// longjmp, which must not cross C++ objects with destructors.
bool WritePngFast(cairo_surface_t *surface, const char *path)
{
    FILE *f = std::fopen(path, "wb");
    if (!f)
        return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    const int w = cairo_image_surface_get_width(surface);
    const int h = cairo_image_surface_get_height(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const unsigned char *data = cairo_image_surface_get_data(surface);
    unsigned char *row = static_cast<unsigned char *>(std::malloc(static_cast<size_t>(w) * 3));
    bool ok = png && info && row;
    if (ok && setjmp(png_jmpbuf(png)))
        ok = false;
    else if (ok) {
        png_init_io(png, f);
        png_set_IHDR(png, info, w, h, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_compression_level(png, 1);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
        png_write_info(png, info);
        for (int r = 0; r < h; ++r) {
            const uint32_t *src =
                reinterpret_cast<const uint32_t *>(data + static_cast<size_t>(r) * stride);
            for (int i = 0; i < w; ++i) {
                row[3 * i] = static_cast<unsigned char>(src[i] >> 16);
                row[3 * i + 1] = static_cast<unsigned char>(src[i] >> 8);
                row[3 * i + 2] = static_cast<unsigned char>(src[i]);
            }
            png_write_row(png, row);
        }
        png_write_end(png, nullptr);
    }
    if (png)
        png_destroy_write_struct(&png, info ? &info : nullptr);
    std::free(row);
    return std::fclose(f) == 0 && ok;
}

} // namespace

bool qvExportPNG(const qvChart &chart, const char *path, int width, int height, double dpi)
{
    if (width < 1 || height < 1 || width > 20000 || height > 20000 || !(dpi > 0)) {
        error.set("Image size %d x %d at %g dpi is out of range", width, height, dpi);
        return false;
    }
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cairo_t *cr = cairo_create(surface);
    bool drawn = qvRenderChart(chart, cr, width, height, dpi / 96);
    cairo_surface_flush(surface);
    if (!WritePngFast(surface, path)) {
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
        error.Raise(kxErrFile, "Failed to open file \"%s\"\n", path);
        return false;
    }
    return Finish(cr, surface, path, drawn);
}

bool qvRenderChartRGB(const qvChart &chart, int width, int height, double scale,
                      std::vector<unsigned char> &rgb)
{
    rgb.clear();
    if (width < 1 || height < 1 || width > 20000 || height > 20000) {
        error.set("Image size %d x %d is out of range", width, height);
        return false;
    }
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cairo_t *cr = cairo_create(surface);
    const bool drawn = qvRenderChart(chart, cr, width, height, scale);
    cairo_destroy(cr);
    cairo_surface_flush(surface);
    const unsigned char *data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    rgb.resize(size_t(width) * size_t(height) * 3);
    unsigned char *out = rgb.data();
    for (int y = 0; y < height; ++y) {
        const auto *row = reinterpret_cast<const uint32_t *>(data + size_t(y) * size_t(stride));
        for (int x = 0; x < width; ++x) {
            const uint32_t p = row[x]; // 0x00RRGGBB in native byte order
            *out++ = (p >> 16) & 0xff;
            *out++ = (p >> 8) & 0xff;
            *out++ = p & 0xff;
        }
    }
    cairo_surface_destroy(surface);
    return drawn;
}

namespace {

/// Draws the chart on a vector surface of the chart's size in points (3/4 of its pixels).
bool ExportVector(const qvChart &chart, const char *path,
                  cairo_surface_t *(*create)(const char *, double, double))
{
    const double w = chart.width * 0.75, h = chart.height * 0.75;
    cairo_surface_t *surface = create(path, w, h);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        error.Raise(kxErrFile, "Failed to open file \"%s\"\n", path);
        return false;
    }
    cairo_t *cr = cairo_create(surface);
    const bool drawn = qvRenderChart(chart, cr, w, h, 0.75);
    return Finish(cr, surface, path, drawn);
}

} // namespace

bool qvExportSVG(const qvChart &chart, const char *path)
{
    return ExportVector(chart, path, &cairo_svg_surface_create);
}

bool qvExportPDF(const qvChart &chart, const char *path)
{
    return ExportVector(chart, path, &cairo_pdf_surface_create);
}

bool qvExportChart(const qvChart &chart, const char *path)
{
    size_t n = path ? std::strlen(path) : 0;
    const char *ext = n >= 4 ? path + n - 4 : "";
    if (strcasecmp(ext, ".png") == 0)
        return qvExportPNG(chart, path, chart.width, chart.height, chart.dpi);
    if (strcasecmp(ext, ".svg") == 0)
        return qvExportSVG(chart, path);
    if (strcasecmp(ext, ".pdf") == 0)
        return qvExportPDF(chart, path);
    error.set("Unknown image type of \"%s\" (use .png, .svg or .pdf)", path ? path : "");
    return false;
}
