// qvcontour.h - contour lines of a function sampled on a rectangular grid (marching squares).
//
// The grid has nx columns at x[0..nx-1] and ny rows at y[0..ny-1]; z holds ny rows of nx
// values, z[j * nx + i] at (x[i], y[j]). Each cell whose corners lie on both sides of the level
// gives one or two segments, their ends interpolated linearly along the cell's edges. A saddle
// cell (opposite corners on the same side) is decided by the mean of its four corners. Cells
// with a NaN or infinite corner give no segment.
#ifndef KX_GRAPH_QVCONTOUR_H
#define KX_GRAPH_QVCONTOUR_H

#include <vector>

struct qvSegment {
    double x0, y0, x1, y1;
};

/// The segments of the level line z = level.
std::vector<qvSegment> qvContourLevel(const double *x, int nx, const double *y, int ny,
                                      const double *z, double level);

/// At most `count` levels spread evenly inside (zmin, zmax), on round values when the range
/// allows: the largest set of nice ticks strictly inside the range that has no more than
/// `count` members, when it has at least count/2; else `count` evenly spaced values. Empty for an empty or non-finite range.
std::vector<double> qvAutoLevels(double zmin, double zmax, int count);

#endif
