// qvcontour.cpp - marching squares.
#define KX_UNIT "qvcontour"
#include "kx/graph/qvcontour.h"

#include "kx/graph/qvaxis.h"

#include <cmath>

namespace {

// Where along an edge from value a (at p) to value b (at q) the level is crossed.
inline double Cross(double p, double q, double a, double b, double level)
{
    double t = (level - a) / (b - a);
    return p + (q - p) * t;
}

} // namespace

std::vector<qvSegment> qvContourLevel(const double *x, int nx, const double *y, int ny,
                                      const double *z, double level)
{
    std::vector<qvSegment> out;
    if (nx < 2 || ny < 2)
        return out;
    for (int j = 0; j + 1 < ny; ++j) {
        const double *r0 = z + static_cast<size_t>(j) * nx;
        const double *r1 = r0 + nx;
        for (int i = 0; i + 1 < nx; ++i) {
            // Corners counter-clockwise: 0 (i,j), 1 (i+1,j), 2 (i+1,j+1), 3 (i,j+1).
            double v0 = r0[i], v1 = r0[i + 1], v2 = r1[i + 1], v3 = r1[i];
            int code =
                (v0 > level) | ((v1 > level) << 1) | ((v2 > level) << 2) | ((v3 > level) << 3);
            if (code == 0 || code == 15)
                continue;
            if (!std::isfinite(v0 + v1 + v2 + v3))
                continue;
            double x0 = x[i], x1 = x[i + 1], y0 = y[j], y1 = y[j + 1];
            // Crossing points on the four edges: bottom (0-1), right (1-2), top (3-2), left (0-3).
            auto bottom = [&](double &px, double &py) {
                px = Cross(x0, x1, v0, v1, level);
                py = y0;
            };
            auto right = [&](double &px, double &py) {
                px = x1;
                py = Cross(y0, y1, v1, v2, level);
            };
            auto top = [&](double &px, double &py) {
                px = Cross(x0, x1, v3, v2, level);
                py = y1;
            };
            auto left = [&](double &px, double &py) {
                px = x0;
                py = Cross(y0, y1, v0, v3, level);
            };
            qvSegment s{}, t{};
            bool two = false;
            switch (code) {
            case 1:
            case 14:
                bottom(s.x0, s.y0);
                left(s.x1, s.y1);
                break;
            case 2:
            case 13:
                bottom(s.x0, s.y0);
                right(s.x1, s.y1);
                break;
            case 3:
            case 12:
                left(s.x0, s.y0);
                right(s.x1, s.y1);
                break;
            case 4:
            case 11:
                right(s.x0, s.y0);
                top(s.x1, s.y1);
                break;
            case 6:
            case 9:
                bottom(s.x0, s.y0);
                top(s.x1, s.y1);
                break;
            case 7:
            case 8:
                left(s.x0, s.y0);
                top(s.x1, s.y1);
                break;
            case 5:
            case 10: {
                // Saddle: corners 0 and 2 on one side, 1 and 3 on the other.
                bool centreHigh = (v0 + v1 + v2 + v3) * 0.25 > level;
                bool zeroHigh = code == 5;
                two = true;
                if (centreHigh == zeroHigh) {
                    // The high corners 0 and 2 are joined through the centre.
                    bottom(s.x0, s.y0);
                    right(s.x1, s.y1);
                    left(t.x0, t.y0);
                    top(t.x1, t.y1);
                } else {
                    bottom(s.x0, s.y0);
                    left(s.x1, s.y1);
                    right(t.x0, t.y0);
                    top(t.x1, t.y1);
                }
                break;
            }
            default: break;
            }
            out.push_back(s);
            if (two)
                out.push_back(t);
        }
    }
    return out;
}

std::vector<double> qvAutoLevels(double zmin, double zmax, int count)
{
    std::vector<double> levels;
    if (count < 1 || !std::isfinite(zmin) || !std::isfinite(zmax) || !(zmax > zmin))
        return levels;
    // The most round values inside the range that are not more than asked for.
    for (int ticks = count + 2; ticks >= 2; --ticks) {
        levels.clear();
        for (const qvTick &t : qvAxis::LinearTicks(zmin, zmax, ticks))
            if (t.value > zmin && t.value < zmax)
                levels.push_back(std::fabs(t.value) < (zmax - zmin) * 1e-12 ? 0 : t.value);
        if (static_cast<int>(levels.size()) <= count)
            break;
    }
    if (static_cast<int>(levels.size()) * 2 >= count)
        return levels;
    levels.clear();
    for (int k = 1; k <= count; ++k)
        levels.push_back(zmin + (zmax - zmin) * k / (count + 1));
    return levels;
}
