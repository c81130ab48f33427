// kxgeomtypes.h - the plane value types of the geometry module: points, sizes and rectangles
// over int, float, double and complex, and the integer screen rectangle of the GUI twins.
//
// Model coordinates have y growing upward. A RectT is stored as left, top, right, bottom, so a
// normal rectangle has left <= right and bottom <= top; nothing here reorders the fields.
//
// Typedefs:
//   kxPoint,  kxSize,  kxRect    PointT/SizeT/RectT<double>   (the everyday model types)
//   kxPointF, kxSizeF, kxRectF   ... <float>
//   kxPointC, kxSizeC, kxRectC   ... <std::complex<double>>
//   kxIntPoint                   PointT<int>
//   kxIntRect                    integer rectangle laid out like the GUI toolkit's rectangle:
//                                x, y, width, height with y growing DOWNWARD (screen pixels).
//                                The GUI layer converts field by field to and from its own types.
//
// Member functions that need ordering (min/max) are templates instantiated only when called, so
// the complex instantiations hold and copy values and do arithmetic, but cannot be ordered.
#ifndef KX_GEOMETRY_KXGEOMTYPES_H
#define KX_GEOMETRY_KXGEOMTYPES_H

#include <complex>

/// A point (or vector) in the plane.
template <class T>
struct PointT {
    T x{};
    T y{};

    constexpr PointT() = default;
    constexpr PointT(T xx, T yy) : x(xx), y(yy) {}
    /// Converting copy between element types (int -> double and the like).
    template <class U>
    constexpr explicit PointT(const PointT<U> &p) : x(static_cast<T>(p.x)), y(static_cast<T>(p.y))
    {
    }

    PointT &operator+=(const PointT &p)
    {
        x += p.x;
        y += p.y;
        return *this;
    }
    PointT &operator-=(const PointT &p)
    {
        x -= p.x;
        y -= p.y;
        return *this;
    }
    PointT &operator*=(T f)
    {
        x *= f;
        y *= f;
        return *this;
    }
    PointT &operator/=(T f)
    {
        x /= f;
        y /= f;
        return *this;
    }

    friend PointT operator+(PointT a, const PointT &b) { return a += b; }
    friend PointT operator-(PointT a, const PointT &b) { return a -= b; }
    friend PointT operator-(const PointT &a) { return PointT(-a.x, -a.y); }
    friend PointT operator*(PointT a, T f) { return a *= f; }
    friend PointT operator*(T f, PointT a) { return a *= f; }
    friend PointT operator/(PointT a, T f) { return a /= f; }
    /// Exact comparison; use the tolerance functions of kxplanegeom.h for approximate tests.
    friend bool operator==(const PointT &a, const PointT &b) { return a.x == b.x && a.y == b.y; }
    friend bool operator!=(const PointT &a, const PointT &b) { return !(a == b); }
};

/// A width and a height.
template <class T>
struct SizeT {
    T width{};
    T height{};

    constexpr SizeT() = default;
    constexpr SizeT(T w, T h) : width(w), height(h) {}

    friend bool operator==(const SizeT &a, const SizeT &b)
    {
        return a.width == b.width && a.height == b.height;
    }
    friend bool operator!=(const SizeT &a, const SizeT &b) { return !(a == b); }
};

/// An axis-aligned rectangle in model coordinates (y up): left, top, right, bottom.
template <class T>
struct RectT {
    T left{};
    T top{};
    T right{};
    T bottom{};

    constexpr RectT() = default;
    constexpr RectT(T l, T t, T r, T b) : left(l), top(t), right(r), bottom(b) {}
    /// The rectangle with the given top-left corner and size (bottom = top - height).
    constexpr RectT(const PointT<T> &topLeft, const SizeT<T> &size)
        : left(topLeft.x), top(topLeft.y), right(topLeft.x + size.width),
          bottom(topLeft.y - size.height)
    {
    }

    T GetWidth() const { return right - left; }
    T GetHeight() const { return top - bottom; }
    SizeT<T> GetSize() const { return SizeT<T>(GetWidth(), GetHeight()); }
    PointT<T> GetTopLeft() const { return PointT<T>(left, top); }
    PointT<T> GetTopRight() const { return PointT<T>(right, top); }
    PointT<T> GetBottomLeft() const { return PointT<T>(left, bottom); }
    PointT<T> GetBottomRight() const { return PointT<T>(right, bottom); }
    /// Centre point; for int the halves round toward zero.
    PointT<T> GetCentre() const
    {
        return PointT<T>((left + right) / static_cast<T>(2), (top + bottom) / static_cast<T>(2));
    }
    /// True when right < left or top < bottom (a zero-width rectangle is not inverted).
    bool IsInverted() const { return right < left || top < bottom; }

    friend bool operator==(const RectT &a, const RectT &b)
    {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
    friend bool operator!=(const RectT &a, const RectT &b) { return !(a == b); }
};

typedef PointT<double> kxPoint;
typedef SizeT<double> kxSize;
typedef RectT<double> kxRect;
typedef PointT<float> kxPointF;
typedef SizeT<float> kxSizeF;
typedef RectT<float> kxRectF;
typedef PointT<std::complex<double>> kxPointC;
typedef SizeT<std::complex<double>> kxSizeC;
typedef RectT<std::complex<double>> kxRectC;
typedef PointT<int> kxIntPoint;

/// Integer screen rectangle in the GUI toolkit's layout: (x, y) is the top-left pixel, y grows
/// downward, and the rectangle covers x <= px < x + width, y <= py < y + height. The plane
/// geometry twins on this type apply the model rules with "low edge inside, high edge outside".
struct kxIntRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    constexpr kxIntRect() = default;
    constexpr kxIntRect(int xx, int yy, int w, int h) : x(xx), y(yy), width(w), height(h) {}

    int GetLeft() const { return x; }
    int GetTop() const { return y; }
    /// One past the last column (x + width), unlike an inclusive "right" of some toolkits.
    int GetRightEnd() const { return x + width; }
    /// One past the last row (y + height).
    int GetBottomEnd() const { return y + height; }
    kxIntPoint GetTopLeft() const { return kxIntPoint(x, y); }

    friend bool operator==(const kxIntRect &a, const kxIntRect &b)
    {
        return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
    }
    friend bool operator!=(const kxIntRect &a, const kxIntRect &b) { return !(a == b); }
};

#endif
