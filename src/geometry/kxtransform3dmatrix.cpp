// kxtransform3dmatrix.cpp - kxTransform3dMatrix, the 3-D homogeneous transform.
#include "kx/geometry/kxtransform3dmatrix.h"

#include "kx/foundation/kxmath.h"

#include <cmath>

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
    const double s = std::sin(kxDegreesToRadians(angle)), c = std::cos(kxDegreesToRadians(angle));
    loadIdentity();
    m_[1][1] = c, m_[1][2] = -s;
    m_[2][1] = s, m_[2][2] = c;
}

void kxTransform3dMatrix::loadRotationOY(double angle)
{
    const double s = std::sin(kxDegreesToRadians(angle)), c = std::cos(kxDegreesToRadians(angle));
    loadIdentity();
    m_[0][0] = c, m_[0][2] = s;
    m_[2][0] = -s, m_[2][2] = c;
}

void kxTransform3dMatrix::loadRotationOZ(double angle)
{
    const double s = std::sin(kxDegreesToRadians(angle)), c = std::cos(kxDegreesToRadians(angle));
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
