// Fuzz target for the plane geometry on arbitrary polygons: set operations, splitting, line
// crossings, edge intersection checks and the interval set must neither crash nor hang,
// whatever the coordinates (lattice points full of degeneracies, or raw doubles including
// NaN, infinities and huge values) and the tolerance.
#include "kx/geometry/kxlineshapeintersections.h"
#include "kx/geometry/kxplanegeom.h"
#include "kx/geometry/kxpolygonset.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

class Reader {
public:
    Reader(const uint8_t *data, size_t size) : data_(data), size_(size) {}
    uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
    double Coordinate(bool lattice)
    {
        if (lattice)
            return static_cast<int8_t>(Byte()) / 4.0;
        double v = 0;
        if (pos_ + sizeof v <= size_) {
            std::memcpy(&v, data_ + pos_, sizeof v);
            pos_ += sizeof v;
        }
        return v;
    }
    kxPointVector Polygon(bool lattice)
    {
        kxPointVector p(Byte() % 48);
        for (kxPoint &v : p) {
            v.x = Coordinate(lattice);
            v.y = Coordinate(lattice);
        }
        return p;
    }

private:
    const uint8_t *data_;
    size_t size_;
    size_t pos_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Reader in(data, size);
    const uint8_t mode = in.Byte();
    const bool lattice = (mode & 1) != 0;
    const double tols[] = {-1.0,
                           0.0,
                           1e-9,
                           0.1,
                           1.0,
                           std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity()};
    const double tol = tols[(mode >> 1) % 7];
    const kxPolygonSet a{in.Polygon(lattice), in.Polygon(lattice)};
    const kxPolygonSet b{in.Polygon(lattice)};

    kxPolygonSet r, low, high;
    (void)kxAddPolygons(r, a, b, tol);
    (void)kxSubtractPolygons(r, a, b, tol);
    (void)kxIntersectPolygons(r, a, b, tol);
    (void)kxIntersectPolygonRect(r, a, kxGetPolygonBoundingRect(b[0]), tol);
    (void)kxSplitPolygons(low, high, r, (mode & 0x40) ? kxSplitAlongX : kxSplitAlongY,
                          in.Coordinate(lattice), tol);

    const kxPoint p(in.Coordinate(lattice), in.Coordinate(lattice));
    const kxPoint q(in.Coordinate(lattice), in.Coordinate(lattice));
    std::vector<double> t;
    kxLineShapeIntersections set;
    for (const kxPointVector &poly : a) {
        (void)kxCheckPolygonEdgesIntersect(poly);
        kxIntersectLinePolygon(t, p, q, poly, tol);
        for (size_t i = 0; i + 1 < t.size(); i += 2)
            set.Toggle(t[i], t[i + 1], std::fabs(tol));
    }
    kxPointVector pts;
    kxIntersectLinePolygon(pts, p, q, b[0], tol);
    kxIntersectLineRect(t, p, q, kxGetPolygonBoundingRect(a[0]), tol);
    set.Intersect(-1, 2);
    return 0;
}
