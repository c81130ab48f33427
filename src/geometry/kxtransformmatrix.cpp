// kxtransformmatrix.cpp - kxTransformMatrix, the 2-D affine transform.
#include "kx/geometry/kxtransformmatrix.h"

#include "kx/foundation/kxmath.h"

#include <cmath>

namespace {

constexpr double kSnap = 1e-15;

} // namespace

void kxTransformMatrix::Set(double angle, double tx, double ty)
{
    double s = std::sin(kxDegreesToRadians(angle)), c = std::cos(kxDegreesToRadians(angle));
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
    const double s = std::sin(kxDegreesToRadians(angle)), c = std::cos(kxDegreesToRadians(angle));
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
            r.m_[i][j] =
                m_[i][0] * other.m_[0][j] + m_[i][1] * other.m_[1][j] + m_[i][2] * other.m_[2][j];
    return r;
}

double kxTransformMatrix::TransformAngleRadians(double a) const
{
    const double c = std::cos(a), s = std::sin(a);
    return std::atan2(m_[1][0] * c + m_[1][1] * s, m_[0][0] * c + m_[0][1] * s);
}

double kxTransformMatrix::TransformAngleDegrees(double a) const
{
    return kxRadiansToDegrees(TransformAngleRadians(kxDegreesToRadians(a)));
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
