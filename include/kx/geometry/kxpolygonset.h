// kxpolygonset.h - polygon set operations on the Clipper library: union, difference,
// intersection, clipping to a rectangle, splitting along a line, and the area of a set.
// Polygons and sets are those of kxplanegeom.h (kxPointVector, kxPolygonSet).
//
// Grid: coordinates are snapped to an integer grid of pitch tol (1e-6 micron when tol is not
// positive) and clipped exactly there. Should the coordinates not fit 62-bit integers at that
// pitch, the pitch is coarsened until they do. Results are converted back to microns and
// vertices closer than the pitch to their predecessor are merged.
//
// Input: a polygon set is read with the nonzero rule: an anticlockwise contour adds area, a
// clockwise contour inside it cuts a hole (the form of the results below). When the signed
// area of a whole set is negative, all its contours are read reversed, so a lone polygon may
// run either way. Self-intersecting contours are filled by the same rule. Contours with fewer
// than three vertices, non-finite coordinates or no area on the grid contribute nothing.
//
// Output: contours of the result, outer boundaries anticlockwise and holes clockwise; each
// outer boundary is followed by its holes, then islands inside those holes follow in the same
// way. The signed area of the result set is its area. `result` is replaced, also when it is
// one of the inputs. The functions return false only when the clipping itself failed (an
// internal fault, reported through CodeError), leaving result empty.
#ifndef KX_GEOMETRY_KXPOLYGONSET_H
#define KX_GEOMETRY_KXPOLYGONSET_H

#include "kx/geometry/kxplanegeom.h"

/// a united with b.
[[nodiscard]] bool kxAddPolygons(kxPolygonSet &result, const kxPolygonSet &a, const kxPolygonSet &b,
                                 double tol);
/// The union of the contours of a alone: overlaps merged, the set normalised.
[[nodiscard]] bool kxAddPolygons(kxPolygonSet &result, const kxPolygonSet &a, double tol);
/// a minus b.
[[nodiscard]] bool kxSubtractPolygons(kxPolygonSet &result, const kxPolygonSet &a,
                                      const kxPolygonSet &b, double tol);
/// The common part of a and b.
[[nodiscard]] bool kxIntersectPolygons(kxPolygonSet &result, const kxPolygonSet &a,
                                       const kxPolygonSet &b, double tol);
/// The part of a within the closed rectangle.
[[nodiscard]] bool kxIntersectPolygonRect(kxPolygonSet &result, const kxPolygonSet &a,
                                          const kxRect &rect, double tol);

/// Direction of the cut made by kxSplitPolygons.
enum kxSplitDirection {
    kxSplitAlongX, ///< cut along the horizontal line y = position: below, then above
    kxSplitAlongY  ///< cut along the vertical line x = position: left, then right
};
/// Cuts a along a horizontal or vertical line into the part below (left of) the line and the
/// part above (right of) it. A line beyond the set (or at infinity) leaves one part empty; a
/// position of NaN, or a set with no finite vertex, gives two empty parts.
[[nodiscard]] bool kxSplitPolygons(kxPolygonSet &below, kxPolygonSet &above, const kxPolygonSet &a,
                                   kxSplitDirection direction, double position, double tol);

/// Sum of the signed areas of the contours (the area of a set in the output form).
[[nodiscard]] double kxGetPolygonSetArea(const kxPolygonSet &set);

#endif
