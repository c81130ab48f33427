// cmdpoint.h - CMDPoint, a point whose coordinates are parameters (values or formulas), and
// CMDPointList, the list of them that keeps every point's parent up to date.
//
// A point resolves its namespace through its parent object (the polygon holding it) unless it
// was given one of its own. EqualsTo compares the coordinates in form (formula texts or values).
//
// The coordinates are kxCoordParameters, which are kxParameter<double>s: every write to one,
// also through a kxParameter<double>& bound to it, advances the process-wide count of parameter
// writes (kxCoordParameter::Writes()). A polygon that keeps a prepared copy of its outline
// compares that count (and its list's count of structural changes) at every query, so every
// query sees the current values - also writes made through a reference kept from before the
// query - at the cost of two loads when nothing was written.
#ifndef KX_GEOMETRY_CMDPOINT_H
#define KX_GEOMETRY_CMDPOINT_H

#include "kx/expressions/kxparameter.h"
#include "kx/foundation/kxlist.h"
#include "kx/geometry/kxgeomtypes.h"
#include "kx/objects/kxobject.h"

#include <vector>

class kxNameSpace;

/// A point coordinate: a kxParameter<double> with every operation of one (it may be bound to a
/// kxParameter<double>&), whose writes are counted by kxParameter<double>::Writes().
class kxCoordParameter : public kxParameter<double> {
public:
    using kxParameter<double>::kxParameter;
    using kxParameter<double>::operator=;
    kxCoordParameter() = default;
    kxCoordParameter(const kxParameter<double> &other) : kxParameter<double>(other) {}

    /// Number of coordinate writes in the process so far (a change of any kxParameter<double>
    /// counts, since a coordinate may be written through a plain kxParameter<double>&).
    [[nodiscard]] static unsigned long Writes() { return kxParameter<double>::Writes(); }
    /// The coordinate as the parameter it is.
    const kxParameter<double> &Param() const { return *this; }
};

class CMDPoint : public KXObject {
    KX_DECLARE_CLASS(CMDPoint)
public:
    CMDPoint() = default;
    CMDPoint(double px, double py) : x(px), y(py) {}
    CMDPoint(const CMDPoint &other) = default;
    CMDPoint &operator=(const CMDPoint &other) = default;

    /// Copies other's coordinates into ns (formulas re-bound there; null freezes them).
    void CopyFrom(kxNameSpace *ns, const CMDPoint &other);
    [[nodiscard]] bool EqualsTo(const CMDPoint &other) const
    {
        return x == other.x && y == other.y;
    }

    /// Both coordinates read now.
    operator kxPoint() const;

    /// The own namespace, else the parent's.
    kxNameSpace *GetNameSpace() const override;
    void SetParent(KXObject *parent) override { parent_ = parent; }
    KXObject *GetParent() const { return parent_; }
    void OnPublish() override;

    kxCoordParameter x;
    kxCoordParameter y;

private:
    KXObject *parent_ = nullptr; ///< not owned
};

/// A list of CMDPoints (indexed from 1, with List's current position) whose insertions give the
/// new point the list's parent.
///
/// It is built on List<CMDPoint> privately, so that everything that changes its structure goes
/// through the operations below, each of which advances a modification count (Version()).
/// Writes to the points' coordinates are counted by kxCoordParameter instead, so a reference to
/// a point may be kept and written through at any time. Every List operation is available under
/// the same name; AsList() gives the list for reading.
class CMDPointList : private List<CMDPoint> {
public:
    CMDPointList() = default;
    /// Copies the points; the copy has no parent until SetParent.
    CMDPointList(const CMDPointList &other);
    CMDPointList &operator=(const CMDPointList &other);

    // Operations that change the structure.
    void append(const CMDPoint &p);
    void insert(int i, const CMDPoint &p);
    void insert(const CMDPoint &p);
    void erase(int i);
    void erase();
    void unalloc();
    bool move(int to, int from);
    void reverse();

    // Access to the points (writes to their coordinates are counted by the coordinates).
    using List<CMDPoint>::operator[];
    using List<CMDPoint>::curr_cpt;
    using List<CMDPoint>::last_cpt;

    // Operations that change neither the structure nor the points.
    using List<CMDPoint>::set_idx;
    using List<CMDPoint>::incr_idx;
    using List<CMDPoint>::decr_idx;
    using List<CMDPoint>::size;
    using List<CMDPoint>::get_idx;

    /// The list as a List<CMDPoint>, for reading.
    const List<CMDPoint> &AsList() const { return *this; }

    /// Sets the parent of every point, and of points inserted later.
    void SetParent(KXObject *parent);
    KXObject *GetParent() const { return parent_; }

    /// The modification count (see above).
    unsigned long Version() const { return version_; }
    /// Pointers to the points in order, indexed from 0; valid until the next change of the
    /// list's structure.
    const std::vector<const CMDPoint *> &Pointers() const;

private:
    KXObject *parent_ = nullptr; ///< not owned
    unsigned long version_ = 0;
    mutable std::vector<const CMDPoint *> pointers_;
    mutable bool pointersValid_ = false;
};

#endif
