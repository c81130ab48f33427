// qvrender.h - drawing a chart through Cairo, and writing it as PNG, SVG or PDF.
//
// qvRenderChart draws onto any Cairo context, so an image file, a vector file and a window
// surface (a later on-screen chart view hands its own cairo_t and size) show the same picture.
// Sizes are in the context's units; `scale` multiplies the text, line and margin sizes, which
// are designed for a 96-dpi screen (scale 1): an image at D dpi uses D / 96.
//
// Text uses Cairo's own text with the "DejaVu Sans" face, grey-level antialiasing and no
// hinting, so that the same chart gives the same pixels from run to run.
//
// Choices: PNG files are width x height pixels of the chart at its dpi; SVG and PDF pages are
// width x height at 96 dpi (0.75 points per pixel). A uniform grid under linear axes is drawn
// as one image (cells centred on the grid points); other grids as one rectangle per cell. A
// solid line with more points than four per pixel column and x never decreasing is drawn as one
// box per pixel column from the lowest to the highest point the line reaches there, which
// covers the same pixels as the stroke to within antialiasing.
#ifndef KX_GRAPH_QVRENDER_H
#define KX_GRAPH_QVRENDER_H

#include "kx/graph/qvchart.h"

#include <vector>

typedef struct _cairo cairo_t;

/// Draws the chart over [0, width] x [0, height]. False, with the error recorded, when the
/// chart's axes cannot be resolved (nothing is then drawn but the background and message).
[[nodiscard]] bool qvRenderChart(const qvChart &chart, cairo_t *cr, double width, double height,
                                 double scale = 1);

/// The rectangle of the plot area (inside the axes) in the units of qvRenderChart's context:
/// where a chart drawn at width x height and `scale` maps its axis limits.
struct qvPlotArea {
    double x, y, w, h; ///< top-left corner and size
};
[[nodiscard]] qvPlotArea qvChartPlotArea(const qvChart &chart, double width, double height,
                                         double scale = 1);

/// Draws the chart into a width x height image (packed 8-bit RGB, rows top to bottom), the
/// same pixels qvExportPNG writes at dpi = 96 * scale: what a window shows. The result is that
/// of qvRenderChart; an out-of-range size leaves `rgb` empty (error recorded).
[[nodiscard]] bool qvRenderChartRGB(const qvChart &chart, int width, int height, double scale,
                                    std::vector<unsigned char> &rgb);

[[nodiscard]] bool qvExportPNG(const qvChart &chart, const char *path, int width, int height,
                               double dpi);
[[nodiscard]] bool qvExportSVG(const qvChart &chart, const char *path);
[[nodiscard]] bool qvExportPDF(const qvChart &chart, const char *path);
/// Writes by the file's extension (".png", ".svg", ".pdf") at the chart's size and dpi.
[[nodiscard]] bool qvExportChart(const qvChart &chart, const char *path);

#endif
