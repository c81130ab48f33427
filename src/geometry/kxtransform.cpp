// kxtransform.cpp - 2-D and 3-D transform matrices and the matrix stack.
#include "kx/geometry/kxmatrixstack.h"
#include "kx/geometry/kxtransform3dmatrix.h"
#include "kx/geometry/kxtransformmatrix.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxmath.h"

#include <cmath>

#define KX_UNIT "kxtransform"

namespace {

constexpr double kSnap = 1e-15;

double Radians(double degrees) { return degrees * kxPi / 180.0; }
double Degrees(double radians) { return radians * 180.0 / kxPi; }

} // namespace

// ---------------------------------------------------------------------------------------------
// kxTransformMatrix

void kxTransformMatrix::Set(double angle, double tx, double ty)
{
    double s = std::sin(Radians(angle)), c = std::cos(Radians(angle));
    if (std::fabs(s) < kSnap)
        s = 0.0;
    if (std::fabs(c) < kSnap)
        c = 0.0;
    m_[0][0] = c, m_[0][1] = -s, m_[0][2] = tx;
    m_[1][0] = s, m_[1][1] = c, m_[1][2] = ty;
    m_[2][0] = 0.0, m_[2][1] = 0.0, m_[2][2] = 1.0;
}

void kxTransformMatrix::SetInverse(double angle, double tx, double ty)
{
    const double s = std::sin(Radians(angle)), c = std::cos(Radians(angle));
    m_[0][0] = c, m_[0][1] = s, m_[0][2] = -c * tx - s * ty;
    m_[1][0] = -s, m_[1][1] = c, m_[1][2] = s * tx - c * ty;
    m_[2][0] = 0.0, m_[2][1] = 0.0, m_[2][2] = 1.0;
}

void kxTransformMatrix::SetIdentity() { *this = kxTransformMatrix(); }

kxTransformMatrix kxTransformMatrix::Multiply(const kxTransformMatrix &other) const
{
    kxTransformMatrix r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m_[i][j] = m_[i][0] * other.m_[0][j] + m_[i][1] * other.m_[1][j] + m_[i][2] * other.m_[2][j];
    return r;
}

double kxTransformMatrix::TransformAngleRadians(double a) const
{
    const double c = std::cos(a), s = std::sin(a);
    return std::atan2(m_[1][0] * c + m_[1][1] * s, m_[0][0] * c + m_[0][1] * s);
}

double kxTransformMatrix::TransformAngleDegrees(double a) const
{
    return Degrees(TransformAngleRadians(Radians(a)));
}

bool kxTransformMatrix::IsTranslation() const
{
    return DoublesAreEqual(m_[0][0], 1.0) && DoublesAreEqual(m_[1][1], 1.0) &&
           DoubleIsZero(m_[0][1]) && DoubleIsZero(m_[1][0]);
}

bool operator==(const kxTransformMatrix &a, const kxTransformMatrix &b)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (a.m_[i][j] != b.m_[i][j])
                return false;
    return true;
}

// ---------------------------------------------------------------------------------------------
// kxTransform3dMatrix

void kxTransform3dMatrix::loadIdentity()
{
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            m_[i][j] = i == j ? 1.0 : 0.0;
}

void kxTransform3dMatrix::loadScaling(double sx, double sy, double sz)
{
    loadIdentity();
    m_[0][0] = sx, m_[1][1] = sy, m_[2][2] = sz;
}

void kxTransform3dMatrix::loadTranslation(double tx, double ty, double tz)
{
    loadIdentity();
    m_[0][3] = tx, m_[1][3] = ty, m_[2][3] = tz;
}

void kxTransform3dMatrix::loadRotationOX(double angle)
{
    const double s = std::sin(Radians(angle)), c = std::cos(Radians(angle));
    loadIdentity();
    m_[1][1] = c, m_[1][2] = -s;
    m_[2][1] = s, m_[2][2] = c;
}

void kxTransform3dMatrix::loadRotationOY(double angle)
{
    const double s = std::sin(Radians(angle)), c = std::cos(Radians(angle));
    loadIdentity();
    m_[0][0] = c, m_[0][2] = s;
    m_[2][0] = -s, m_[2][2] = c;
}

void kxTransform3dMatrix::loadRotationOZ(double angle)
{
    const double s = std::sin(Radians(angle)), c = std::cos(Radians(angle));
    loadIdentity();
    m_[0][0] = c, m_[0][1] = -s;
    m_[1][0] = s, m_[1][1] = c;
}

kxTransform3dMatrix kxTransform3dMatrix::operator*(const kxTransform3dMatrix &other) const
{
    kxTransform3dMatrix r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += m_[i][k] * other.m_[k][j];
            r.m_[i][j] = sum;
        }
    return r;
}

Point3dT<double> kxTransform3dMatrix::operator*(const Point3dT<double> &p) const
{
    double out[4];
    for (int i = 0; i < 4; ++i)
        out[i] = m_[i][0] * p.x + m_[i][1] * p.y + m_[i][2] * p.z + m_[i][3];
    if (out[3] != 1.0 && out[3] != 0.0)
        return Point3dT<double>(out[0] / out[3], out[1] / out[3], out[2] / out[3]);
    return Point3dT<double>(out[0], out[1], out[2]);
}

// ---------------------------------------------------------------------------------------------
// kxMatrixStack

void kxMatrixStack::PushMatrix(double angle, double tx, double ty)
{
    kxTransformMatrix m;
    m.Set(angle, tx, ty);
    forward_.append(m);
    m.SetInverse(angle, tx, ty);
    inverse_.append(m);
    Recombine();
}

void kxMatrixStack::PopMatrix()
{
    KX_CHECK_RET(!IsEmpty(), "kxMatrixStack::PopMatrix on an empty stack");
    forward_.erase(forward_.size());
    inverse_.erase(inverse_.size());
    Recombine();
}

void kxMatrixStack::Recombine()
{
    combined_.SetIdentity();
    combinedInverse_.SetIdentity();
    for (int i = 1; i <= forward_.size(); ++i) {
        combined_ = combined_.Multiply(forward_[i]);
        combinedInverse_ = inverse_[i].Multiply(combinedInverse_);
    }
}

kxPoint kxMatrixStack::ToAbs(const kxPoint &p) const
{
    return IsEmpty() ? p : combined_.Multiply(p);
}

kxPoint kxMatrixStack::ToObj(const kxPoint &p) const
{
    return IsEmpty() ? p : combinedInverse_.Multiply(p);
}

double kxMatrixStack::ToAbs(double angle) const
{
    return IsEmpty() ? angle : combined_.TransformAngleDegrees(angle);
}

double kxMatrixStack::ToObj(double angle) const
{
    return IsEmpty() ? angle : combinedInverse_.TransformAngleDegrees(angle);
}
