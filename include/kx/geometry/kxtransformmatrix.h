// kxtransformmatrix.h - kxTransformMatrix: a 2-D affine map (rotation plus translation) held as
// a 3x3 matrix in homogeneous coordinates, used by placements and the matrix stack.
//
// Row-major: m[0][0] m[0][1] m[0][2] / m[1][0] m[1][1] m[1][2] / m[2][0] m[2][1] m[2][2]. A point
// (x, y) maps to (m00 x + m01 y + m02, m10 x + m11 y + m12). Angles are in degrees unless the
// name says radians.
//
// Set snaps a sine or cosine below 1e-15 in magnitude to exactly 0, so Set(90, 0, 0) is exactly
// [0 -1 0; 1 0 0; 0 0 1]. SetInverse does not snap: the asymmetry is deliberate, and an inverse
// built there may carry a residue of about 6e-17 where the forward matrix has an exact zero.
#ifndef KX_GEOMETRY_KXTRANSFORMMATRIX_H
#define KX_GEOMETRY_KXTRANSFORMMATRIX_H

#include "kx/geometry/kxgeomtypes.h"

class kxTransformMatrix {
public:
    /// The identity.
    kxTransformMatrix() = default;

    /// Rotation by `angle` degrees counter-clockwise, then translation by (tx, ty):
    /// [c -s tx; s c ty; 0 0 1] with s, c snapped to 0 below 1e-15.
    void Set(double angle, double tx, double ty);
    /// The inverse of Set(angle, tx, ty): [c s -c tx - s ty; -s c s tx - c ty; 0 0 1], unsnapped.
    void SetInverse(double angle, double tx, double ty);
    /// Back to the identity.
    void SetIdentity();

    /// The product this * other (other is applied to a point first).
    [[nodiscard]] kxTransformMatrix Multiply(const kxTransformMatrix &other) const;
    /// The mapped point.
    [[nodiscard]] kxPoint Multiply(const kxPoint &p) const
    {
        return kxPoint(m_[0][0] * p.x + m_[0][1] * p.y + m_[0][2],
                       m_[1][0] * p.x + m_[1][1] * p.y + m_[1][2]);
    }

    /// The direction `a` (radians) after the linear part of the map:
    /// atan2(m10 cos a + m11 sin a, m00 cos a + m01 sin a).
    [[nodiscard]] double TransformAngleRadians(double a) const;
    /// The same in degrees.
    [[nodiscard]] double TransformAngleDegrees(double a) const;

    /// True when m00 and m11 equal 1 (relative comparison) and m01 and m10 are zero
    /// (|v| < 1.7e-306): the map only translates.
    bool IsTranslation() const;

    /// Element (row, column), both 0..2.
    [[nodiscard]] double Get(int row, int col) const { return m_[row][col]; }
    void SetElement(int row, int col, double v) { m_[row][col] = v; }

    friend bool operator==(const kxTransformMatrix &a, const kxTransformMatrix &b);
    friend bool operator!=(const kxTransformMatrix &a, const kxTransformMatrix &b)
    {
        return !(a == b);
    }

private:
    double m_[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
};

#endif
