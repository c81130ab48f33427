// kxlineshapeintersections.h - kxLineShapeIntersections, an ordered set of intervals along a
// line: the parts of the line inside a combination of shapes, built up by union, difference,
// exclusive-or and intersection of intervals.
//
// Positions are parameters along the line (a + t (b - a) for a line through a and b, as
// kxIntersectLinePolygon reports them). The set is stored as a flat array of boundaries in
// increasing order, taken in pairs: [t0, t1], [t2, t3], ... Intervals are closed; intervals
// that touch are merged, and parts of zero length vanish. Indices of intervals run from 0.
//
// Storage: by default the set owns its array. Constructed on a caller's array, it writes
// there instead; that array must outlive the set, and the set replaces its content only when
// an operation changes the set (Clear empties it). Constructed on a caller's List<double>, it
// starts from the list's boundaries, keeps its own array and mirrors every change into the
// list (boundaries from index 1); that list too must outlive the set.
#ifndef KX_GEOMETRY_KXLINESHAPEINTERSECTIONS_H
#define KX_GEOMETRY_KXLINESHAPEINTERSECTIONS_H

#include "kx/foundation/kxlist.h"

#include <vector>

class kxLineShapeIntersections {
public:
    /// How DoLineShapeIntersect combines an interval with the set.
    enum Mode {
        kxAddMode,      ///< union (the default)
        kxRemoveMode,   ///< difference
        kxToggleMode,   ///< exclusive-or
        kxIntersectMode ///< common part
    };

    kxLineShapeIntersections() : bounds_(&own_) {}
    /// Works on the caller's array (not owned; it must outlive this set).
    explicit kxLineShapeIntersections(std::vector<double> *target)
        : bounds_(target ? target : &own_)
    {
    }
    /// Mirrors the boundaries into the caller's list (not owned; it must outlive this set).
    explicit kxLineShapeIntersections(List<double> *target);
    /// A copy owns a copy of the other's boundaries, wherever those were kept.
    kxLineShapeIntersections(const kxLineShapeIntersections &other)
        : own_(*other.bounds_), bounds_(&own_), mode_(other.mode_)
    {
    }
    /// Copies the boundaries into this set's own storage (or its caller's array).
    kxLineShapeIntersections &operator=(const kxLineShapeIntersections &other);
    virtual ~kxLineShapeIntersections() = default;

    /// Empties the set.
    void Clear();
    /// Appends one boundary as it is. Two successive appends in increasing order make an
    /// interval; this is the fast path for crossings that are already ordered.
    void Append(double t);
    /// Appends the interval [min(t1, t2), max(t1, t2)] at the end without merging.
    void Append(double t1, double t2);
    /// Union with [t1, t2] (either order).
    void Add(double t1, double t2);
    /// Removes [t1, t2]; the boundaries of what remains are kept (closed intervals).
    void Remove(double t1, double t2);
    /// Exclusive-or with [t1, t2]. Boundaries closer than tol to each other count as one, so
    /// toggling [0, 1] and then [1, 2] gives [0, 2] and toggling an interval twice clears it.
    void Toggle(double t1, double t2, double tol = 0.0);
    /// Union with every interval of other.
    void Add(const kxLineShapeIntersections &other);
    /// Keeps the parts also in other.
    void Intersect(const kxLineShapeIntersections &other);
    /// Keeps the parts within [t1, t2].
    void Intersect(double t1, double t2);

    /// The mode DoLineShapeIntersect applies.
    void SetMode(Mode mode) { mode_ = mode; }
    Mode GetMode() const { return mode_; }
    /// Combines the interval in which the line runs through one shape with the set, by the
    /// current mode. Derived classes may override it to filter or record the intervals.
    /// Returns the number of intervals afterwards.
    virtual int DoLineShapeIntersect(double t1, double t2);

    /// Number of complete intervals. An unpaired last boundary left by Append(t) is not
    /// counted, and the next union, difference, exclusive-or or intersection drops it.
    int GetNumIntersections() const { return static_cast<int>(bounds_->size() / 2); }
    /// Interval i (from 0); false, and t1 and t2 unchanged, when i is out of range.
    bool GetIntersection(int i, double &t1, double &t2) const;
    /// The boundaries as stored.
    const std::vector<double> &GetBoundaries() const { return *bounds_; }

private:
    enum class Op {
        Union,
        Difference,
        Xor,
        Intersection
    };
    /// Replaces the set by (set op other), where other is given as boundary pairs.
    void Combine(Op op, const std::vector<double> &other, double tol);
    /// Rewrites the caller's list, if any, from the boundaries.
    void MirrorToList();

    std::vector<double> own_;
    std::vector<double> *bounds_;
    List<double> *list_ = nullptr; ///< caller's list mirrored after each change, not owned
    Mode mode_ = kxAddMode;
};

#endif
