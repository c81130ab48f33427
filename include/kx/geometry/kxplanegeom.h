// kxplanegeom.h - free functions of plane geometry: lengths and angles, lines given by a point
// and an angle or by two points, rectangles, polygons and intersections. The polygon set
// operations (union, difference, intersection, splitting) are in kxpolygonset.h.
//
// Conventions
// - Model coordinates: y grows upward; RectT is (left, top, right, bottom) with top >= bottom.
// - Angles are in radians unless the function's name says degrees.
// - A tolerance `tol` is a distance. "Zero within tol" means |v| < tol; a negative tol selects
//   the shared relative comparison of kxmath.h (threshold 1.7e-306 for zero tests, 2e-14
//   relative for equality tests).
// - Polygons are contiguous arrays of points (kxPointVector, indexed from 0); the last vertex
//   joins the first, and the closing vertex is not repeated. Lists of polygons are
//   kxPolygonSet. The polygon functions also take a List<kxPoint> (indexed from 1), which
//   they copy into a kxPointVector first.
// - Parameters along a line through a and b are t with point = a + t (b - a): 0 at a, 1 at b.
//
// The integer twins work on kxIntRect / kxIntPoint (screen layout, y down; see kxgeomtypes.h)
// with the same "low edge inside, high edge outside" rules.
#ifndef KX_GEOMETRY_KXPLANEGEOM_H
#define KX_GEOMETRY_KXPLANEGEOM_H

#include "kx/foundation/kxlist.h"
#include "kx/geometry/kxgeomtypes.h"

#include <functional>
#include <vector>

typedef std::vector<kxPoint> kxPointVector;      ///< one polygon: vertices, indexed from 0
typedef std::vector<kxPointVector> kxPolygonSet; ///< a list of polygons (contours)

// ---------------------------------------------------------------------------------------------
// Conversions and lengths.

/// r = |p|, angle = atan2(p.y, p.x).
void kxCartesianToPolar(const kxPoint &p, double &r, double &angle);
/// (r cos angle, r sin angle).
[[nodiscard]] kxPoint kxPolarToCartesian(double r, double angle);
/// sqrt(dx^2 + dy^2).
[[nodiscard]] double kxGetVectorLen(double dx, double dy);
/// |p|.
[[nodiscard]] double kxGetDistance(const kxPoint &p);
/// |q - p|.
[[nodiscard]] double kxGetDistance(const kxPoint &p, const kxPoint &q);
/// atan2(p.y, p.x).
[[nodiscard]] double kxGetAngleRadians(const kxPoint &p);
/// Direction of q seen from p: atan2(q.y - p.y, q.x - p.x).
[[nodiscard]] double kxGetAngleRadians(const kxPoint &p, const kxPoint &q);
[[nodiscard]] double kxGetAngleDegrees(const kxPoint &p);
[[nodiscard]] double kxGetAngleDegrees(const kxPoint &p, const kxPoint &q);
/// (a + b) / 2.
[[nodiscard]] double kxGetMidpoint(double a, double b);
[[nodiscard]] kxPoint kxGetMidpoint(const kxPoint &a, const kxPoint &b);
/// The midpoint of the vector from p to q computed as a half step from p: p + (q - p) / 2.
/// The same point as kxGetMidpoint, but p is reproduced exactly when q - p is tiny.
[[nodiscard]] kxPoint kxGetVectorMidpoint(const kxPoint &p, const kxPoint &q);

// ---------------------------------------------------------------------------------------------
// Lines given by a point and a direction angle (radians).

/// Signed distance of p from the line: positive to the left of the direction.
[[nodiscard]] double kxGetDistanceFromLine(const kxPoint &p, const kxPoint &origin, double angle);
/// Distance of p's projection from origin along the direction (negative behind origin).
[[nodiscard]] double kxGetDistanceAlongLine(const kxPoint &p, const kxPoint &origin, double angle);
/// cos(angle)(p.y - origin.y) - sin(angle)(p.x - origin.x) is zero within tol.
[[nodiscard]] bool kxIsPointOnLine(const kxPoint &p, const kxPoint &origin, double angle,
                                   double tol);

// ---------------------------------------------------------------------------------------------
// Lines given by two points a and b.

/// ((p - a).(b - a)) / |b - a|; 0 when a and b coincide.
[[nodiscard]] double kxGetDistanceAlongLine(const kxPoint &p, const kxPoint &a, const kxPoint &b);
/// Nearest point of the segment a-b to p, clamped to its ends; a when a and b coincide.
[[nodiscard]] kxPoint kxGetNearestPointOnLine(const kxPoint &p, const kxPoint &a, const kxPoint &b);
/// Hit test for picking a segment: p lies within acrossTol of the line through a and b and its
/// projection lies between a - alongTol and b + alongTol (a capsule with square ends).
[[nodiscard]] bool kxLineIsNearby(const kxPoint &p, const kxPoint &a, const kxPoint &b,
                                  double alongTol, double acrossTol);

// ---------------------------------------------------------------------------------------------
// Rotation about the origin (counter-clockwise), computed through the polar form.

[[nodiscard]] kxPoint kxRotateRadians(const kxPoint &p, double angle);
[[nodiscard]] kxPoint kxRotateDegrees(const kxPoint &p, double angle);
/// Rotates p in place about centre by angle radians.
void kxRotateAroundPoint(const kxPoint &centre, kxPoint &p, double angle);

// ---------------------------------------------------------------------------------------------
// Angles.

/// Mean of two directions along the shorter arc, in [0, 360). A difference of exactly 180
/// takes the arc through 0: kxGetMeanDegrees(350, 10) = 0, kxGetMeanDegrees(0, 180) = 270.
[[nodiscard]] double kxGetMeanDegrees(double a, double b);
/// Folds an angle into one turn, the half-open interval (-pi, pi]. Non-finite values are
/// returned unchanged.
[[nodiscard]] double kxLimitAngle(double angle);
/// Folds an angle in degrees into (-180, 180].
[[nodiscard]] double kxLimitAngleDegrees(double angle);
/// b - a with both limited first, the difference folded again into (-pi, pi]: the signed
/// turn from direction a to direction b the short way round (pi, not -pi, for a half turn).
[[nodiscard]] double kxGetAngleDifferenceRadians(double a, double b);
/// The same in degrees: the result lies in (-180, 180].
[[nodiscard]] double kxGetAngleDifferenceDegrees(double a, double b);

// ---------------------------------------------------------------------------------------------
// Curves.

/// Ramanujan's first approximation pi (3(a + b) - sqrt((3b + a)(3a + b))) of the perimeter of
/// the ellipse with semi-axes a and b; 0 when either is negative.
[[nodiscard]] double kxGetEllipseCircumference(double a, double b);
/// Angular step (radians) for drawing an arc of radius r as a polyline: sqrt(1 / r). A radius
/// that is not positive (or not finite) gives pi/2, so callers always make progress.
[[nodiscard]] double kxGetArcApproximationAngle(double r);

// ---------------------------------------------------------------------------------------------
// Rectangles (model coordinates, y up).

/// left -= dx, right += dx, top += dy, bottom -= dy.
void kxGrowRect(kxRect &rect, double dx, double dy);
void kxGrowRect(kxRect &rect, double d);
void kxDisplaceRect(kxRect &rect, const kxPoint &offset);
void kxDisplaceRect(kxRect &rect, double dx, double dy);
[[nodiscard]] kxRect kxGetDisplacedRect(const kxRect &rect, const kxPoint &offset);
[[nodiscard]] kxRect kxGetDisplacedRect(const kxRect &rect, double dx, double dy);
/// left <= x < right and bottom <= y < top: half-open, the left and bottom edges inside.
[[nodiscard]] bool kxIsPointInRect(const kxRect &rect, double x, double y);
[[nodiscard]] bool kxIsPointInRect(const kxRect &rect, const kxPoint &p);
/// For tol >= 0 the rectangle is first grown by tol on every side; tol < 0: the plain test.
[[nodiscard]] bool kxIsPointInRect(const kxRect &rect, double x, double y, double tol);
[[nodiscard]] bool kxIsPointInRect(const kxRect &rect, const kxPoint &p, double tol);
/// a1 or a2 in [b1, b2], or b1 or b2 in [a1, a2]; both ranges in increasing order.
[[nodiscard]] bool kxRangesCollide(double a1, double a2, double b1, double b2);
/// The x ranges and the y ranges collide (edges touching count).
[[nodiscard]] bool kxRectsCollide(const kxRect &r, const kxRect &s);
/// inner lies within outer, edges included.
[[nodiscard]] bool kxRectIsEnclosed(const kxRect &inner, const kxRect &outer);
/// The common part of r and s. False when they do not overlap; rectangles that only touch
/// give true and a common part of zero width or height. result is written only on true.
bool kxIntersectRects(kxRect &result, const kxRect &r, const kxRect &s);
/// An inverted rectangle (left = bottom = +max, right = top = -max) that every accumulation
/// replaces: the starting value for kxAccumulateRect.
[[nodiscard]] kxRect kxGetEmptyRect();
/// Grows acc to cover r. An inverted r (right < left or top < bottom) adds nothing, and an
/// inverted acc is replaced by r.
void kxAccumulateRect(kxRect &acc, const kxRect &r);
/// Grows acc to cover r by plain minimum and maximum of the edges, with no special cases.
void kxAccumulateRectBasic(kxRect &acc, const kxRect &r);
/// Clips the segment to the closed rectangle in place; false (ends unchanged) when no part of
/// it lies in the rectangle. A segment that only touches an edge or corner is kept.
bool kxLimitLineToRect(const kxRect &rect, double &x1, double &y1, double &x2, double &y2);
bool kxLimitLineToRect(const kxRect &rect, kxPoint &p1, kxPoint &p2);
/// Whether any part of the segment lies in the closed rectangle.
[[nodiscard]] bool kxIsLineInRect(const kxRect &rect, double x1, double y1, double x2, double y2);

// ---------------------------------------------------------------------------------------------
// Ordering.

/// Orders the bounds of the box with corners p and q: byY swaps only the y coordinates when
/// p.y > q.y, otherwise only the x coordinates when p.x > q.x. The other coordinate stays.
void kxSortPoints(kxPoint &p, kxPoint &q, bool byY);

// ---------------------------------------------------------------------------------------------
// Polygons. (Point containment, kxPolygonContains, is in kxpolygoncontains.h.)

/// Minimum and maximum x and y of the vertices; (0, 0, 0, 0) for an empty polygon.
[[nodiscard]] kxRect kxGetPolygonBoundingRect(const kxPointVector &points);
/// Twice the signed area (shoelace sum): positive for anticlockwise vertices.
[[nodiscard]] double kxGetPolygonSignedArea2(const kxPointVector &points);
/// True when the vertices run anticlockwise (positive signed area). Fewer than three vertices
/// or zero area give false.
[[nodiscard]] bool kxCheckPolygonVerticesAntiClockwise(const kxPointVector &points);
/// True when two edges meet anywhere other than at the vertex shared by neighbouring edges:
/// crossing, touching, or neighbouring edges folding back over each other. Such a polygon is
/// not simple.
[[nodiscard]] bool kxCheckPolygonEdgesIntersect(const kxPointVector &points);

/// List forms of the three functions above.
[[nodiscard]] kxRect kxGetPolygonBoundingRect(const List<kxPoint> &points);
[[nodiscard]] bool kxCheckPolygonVerticesAntiClockwise(const List<kxPoint> &points);
[[nodiscard]] bool kxCheckPolygonEdgesIntersect(const List<kxPoint> &points);
/// The polygon as a contiguous copy of the list's points, in order.
[[nodiscard]] kxPointVector kxToPointVector(const List<kxPoint> &points);

// ---------------------------------------------------------------------------------------------
// Intersections.

/// Intersection of two infinite lines given by point and angle; false when they are parallel
/// (the cross product of their directions is zero by the relative comparison).
bool kxIntersectLines(const kxPoint &p, double angleP, const kxPoint &q, double angleQ,
                      kxPoint &result);

/// Result codes of the general segment routine.
enum {
    kxNoIntersection = 0,     ///< the segments do not meet
    kxOneIntersection = 1,    ///< one point p1; t1 along a, t2 along b
    kxOverlapIntersection = 2 ///< collinear overlap from p1 to p2; t1, t2 their parameters along a
};

/// The general segment routine for segments a1-a2 and b1-b2. Returns the number of points:
/// 0; 1 with the point in p1, its parameter along a in t1 and along b in t2 (parameters in
/// [0, 1]); or 2 when the segments are collinear and overlap over a length of at least tol,
/// with the ends of the overlap in p1 and p2 and their parameters along a in t1 <= t2.
/// tol (a distance) decides collinearity and lets ends within tol of the other segment
/// count as touching; tol < 0 uses a relative slack of 1e-12 of the segments' size. A
/// segment of zero length is a point and meets the other one when it lies on it.
int kxIntersectLines(const kxPoint &a1, const kxPoint &a2, const kxPoint &b1, const kxPoint &b2,
                     kxPoint &p1, kxPoint &p2, double &t1, double &t2, double tol);

/// True when the segments a1-a2 and b1-b2 meet in exactly one point (written to result).
/// Parallel segments, by the relative comparison of (b2.y - b1.y)(a2.x - a1.x) with
/// (a2.y - a1.y)(b2.x - b1.x), give false at once, collinear overlaps included.
bool kxIntersectLines(const kxPoint &a1, const kxPoint &a2, const kxPoint &b1, const kxPoint &b2,
                      kxPoint &result, double tol = -1.0);

/// Line through p with direction angle against the circle (centre, radius). Returns 0, 1
/// (tangent, within the relative comparison) or 2; the points are in the order of the line's
/// direction.
int kxIntersectLineCircle(const kxPoint &p, double angle, const kxPoint &centre, double radius,
                          kxPoint &r1, kxPoint &r2);
/// Line through p with direction angle against the axis-aligned ellipse with the given centre
/// and semi-axes a (along x) and b (along y). Returns 0, 1 or 2 as kxIntersectLineCircle; a
/// semi-axis that is not positive gives 0.
int kxIntersectLineEllipse(const kxPoint &p, double angle, const kxPoint &centre, double a,
                           double b, kxPoint &r1, kxPoint &r2);
/// A point where the segment a-b meets the graph y = f(x), to within tol along the segment
/// (tol <= 0: 1e-12 of its length). The segment is searched from a towards b in 256 steps for
/// a change of sign of f(x) - y, refined by bisection; the first crossing found is written to
/// result. False when there is none (or f gives no finite value).
bool kxIntersectLineCurve(kxPoint &result, const kxPoint &a, const kxPoint &b,
                          const std::function<double(double)> &f, double tol);

/// Crossings of the infinite line through a and b with the edges of a polygon, ordered by
/// their parameter t along the line (a + t (b - a)); the result is their number and
/// `crossings` is replaced (left empty when there are none).
/// - Each edge is met with the general segment routine; crossings whose points are equal
///   within tol (relative comparison for tol < 0) are merged, so a line through a vertex
///   gives one crossing there.
/// - A crossing is kept only where the line passes between outside and inside (nonzero
///   winding, as kxPolygonContains decides); a line that only touches a vertex gives nothing
///   there. Plain crossings through the inside of one edge update the winding number as the
///   line passes them; at vertices and along edges the containment test decides. Edges lying on the
///   line count as inside, so the crossings bound the line's parts in the closed polygon and
///   always come in enter/leave pairs.
/// - a == b or a polygon of fewer than three vertices gives 0.
int kxIntersectLinePolygon(std::vector<double> &crossings, const kxPoint &a, const kxPoint &b,
                           const kxPointVector &polygon, double tol);
/// The same, giving the points of the crossings.
int kxIntersectLinePolygon(kxPointVector &crossings, const kxPoint &a, const kxPoint &b,
                           const kxPointVector &polygon, double tol);
/// List forms: the list is emptied and receives the crossings (indexed from 1).
int kxIntersectLinePolygon(List<double> &crossings, const kxPoint &a, const kxPoint &b,
                           const List<kxPoint> &polygon, double tol);
int kxIntersectLinePolygon(List<kxPoint> &crossings, const kxPoint &a, const kxPoint &b,
                           const List<kxPoint> &polygon, double tol);
/// The same for a rectangle: 0, or 2 crossings bounding the line's part in the closed
/// rectangle (a line along an edge gives that edge; a line through a corner only gives 0).
/// An inverted rectangle is taken as the box its four corners span.
int kxIntersectLineRect(std::vector<double> &crossings, const kxPoint &a, const kxPoint &b,
                        const kxRect &rect, double tol);
int kxIntersectLineRect(kxPointVector &crossings, const kxPoint &a, const kxPoint &b,
                        const kxRect &rect, double tol);

// ---------------------------------------------------------------------------------------------
// Integer twins on the screen rectangle (y down; the rectangle covers x <= px < x + width,
// y <= py < y + height).

void kxGrowRect(kxIntRect &rect, int dx, int dy);
void kxGrowRect(kxIntRect &rect, int d);
void kxDisplaceRect(kxIntRect &rect, const kxIntPoint &offset);
void kxDisplaceRect(kxIntRect &rect, int dx, int dy);
[[nodiscard]] kxIntRect kxGetDisplacedRect(const kxIntRect &rect, const kxIntPoint &offset);
[[nodiscard]] kxIntRect kxGetDisplacedRect(const kxIntRect &rect, int dx, int dy);
[[nodiscard]] bool kxIsPointInRect(const kxIntRect &rect, int x, int y);
[[nodiscard]] bool kxIsPointInRect(const kxIntRect &rect, const kxIntPoint &p);
/// tol >= 0 grows the rectangle by tol on every side first; tol < 0 is the plain test.
[[nodiscard]] bool kxIsPointInRect(const kxIntRect &rect, int x, int y, int tol);
[[nodiscard]] bool kxIsPointInRect(const kxIntRect &rect, const kxIntPoint &p, int tol);
/// The covered column ranges [x, x + width) and row ranges share at least their end pixels:
/// the inclusive rule of kxRangesCollide applied to the first and last pixels.
[[nodiscard]] bool kxRectsCollide(const kxIntRect &r, const kxIntRect &s);
[[nodiscard]] bool kxRectIsEnclosed(const kxIntRect &inner, const kxIntRect &outer);
/// The pixels both cover; false when there are none (result then unchanged).
bool kxIntersectRects(kxIntRect &result, const kxIntRect &r, const kxIntRect &s);
/// Grows acc to cover r; an empty r (width or height <= 0) adds nothing, an empty acc is
/// replaced by r.
void kxAccumulateRect(kxIntRect &acc, const kxIntRect &r);
/// Plain union of the covered ranges, with no special cases.
void kxAccumulateRectBasic(kxIntRect &acc, const kxIntRect &r);
/// Clips the segment to the pixels of the rectangle (x to x + width - 1, y to y + height - 1);
/// the clipped ends are rounded to the nearest pixel.
bool kxLimitLineToRect(const kxIntRect &rect, int &x1, int &y1, int &x2, int &y2);
bool kxLimitLineToRect(const kxIntRect &rect, kxIntPoint &p1, kxIntPoint &p2);
[[nodiscard]] bool kxIsLineInRect(const kxIntRect &rect, int x1, int y1, int x2, int y2);
void kxSortPoints(kxIntPoint &p, kxIntPoint &q, bool byY);

#endif
