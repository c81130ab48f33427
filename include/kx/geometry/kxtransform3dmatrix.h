// kxtransform3dmatrix.h - kxTransform3dMatrix: a 3-D affine map held as a 4x4 matrix in
// homogeneous coordinates, and the 3-D point type Point3dT it maps.
//
// Row-major; a point (x, y, z) is the column (x, y, z, 1). Rotation angles are in degrees,
// counter-clockwise when looking down the axis toward the origin (the right-hand rule). The
// product A * B applies B to a point first. A point is mapped with the full 4x4 matrix and
// divided by the resulting w when w is neither 1 nor 0, so projective matrices set by hand also
// map sensibly; the load functions only ever make w = 1.
#ifndef KX_GEOMETRY_KXTRANSFORM3DMATRIX_H
#define KX_GEOMETRY_KXTRANSFORM3DMATRIX_H

/// A point (or vector) in space.
template <class T>
struct Point3dT {
    T x{};
    T y{};
    T z{};

    constexpr Point3dT() = default;
    constexpr Point3dT(T xx, T yy, T zz) : x(xx), y(yy), z(zz) {}

    friend bool operator==(const Point3dT &a, const Point3dT &b)
    {
        return a.x == b.x && a.y == b.y && a.z == b.z;
    }
    friend bool operator!=(const Point3dT &a, const Point3dT &b) { return !(a == b); }
};

class kxTransform3dMatrix {
public:
    /// The identity.
    kxTransform3dMatrix() { loadIdentity(); }

    void loadIdentity();
    /// diag(sx, sy, sz, 1).
    void loadScaling(double sx, double sy, double sz);
    /// Translation by (tx, ty, tz).
    void loadTranslation(double tx, double ty, double tz);
    /// Rotation by `angle` degrees about the x, y or z axis.
    void loadRotationOX(double angle);
    void loadRotationOY(double angle);
    void loadRotationOZ(double angle);

    /// Matrix product this * other.
    [[nodiscard]] kxTransform3dMatrix operator*(const kxTransform3dMatrix &other) const;
    /// The mapped point.
    [[nodiscard]] Point3dT<double> operator*(const Point3dT<double> &p) const;

    /// Element (row, column), both 0..3.
    [[nodiscard]] double Get(int row, int col) const { return m_[row][col]; }
    void SetElement(int row, int col, double v) { m_[row][col] = v; }

private:
    double m_[4][4];
};

#endif
