// cmdpoint.h - CMDPoint, a point whose coordinates are parameters (values or formulas), and
// CMDPointList, the list of them that keeps every point's parent up to date.
//
// A point resolves its namespace through its parent object (the polygon holding it) unless it
// was given one of its own. EqualsTo compares the coordinates in form (formula texts or values).
#ifndef KX_GEOMETRY_CMDPOINT_H
#define KX_GEOMETRY_CMDPOINT_H

#include "kx/expressions/kxparameter.h"
#include "kx/foundation/kxlist.h"
#include "kx/geometry/kxgeomtypes.h"
#include "kx/objects/kxobject.h"

#include <vector>

class kxNameSpace;

class CMDPoint : public KXObject {
    KX_DECLARE_CLASS(CMDPoint)
public:
    CMDPoint() = default;
    CMDPoint(double px, double py) : x(px), y(py) {}
    CMDPoint(const CMDPoint &other) = default;
    CMDPoint &operator=(const CMDPoint &other) = default;

    /// Copies other's coordinates into ns (formulas re-bound there; null freezes them).
    void CopyFrom(kxNameSpace *ns, const CMDPoint &other);
    [[nodiscard]] bool EqualsTo(const CMDPoint &other) const { return x == other.x && y == other.y; }

    /// Both coordinates read now.
    operator kxPoint() const;

    /// The own namespace, else the parent's.
    [[nodiscard]] kxNameSpace *GetNameSpace() const override;
    void SetParent(KXObject *parent) override { parent_ = parent; }
    [[nodiscard]] KXObject *GetParent() const { return parent_; }
    void OnPublish() override;

    kxParameter<double> x;
    kxParameter<double> y;

private:
    KXObject *parent_ = nullptr;   ///< not owned
};

/// A list of CMDPoints (indexed from 1, with List's current position) whose insertions give the
/// new point the list's parent.
///
/// It is built on List<CMDPoint> privately, so that every change of its structure goes through
/// the operations below; that lets it keep, besides the list, an array of pointers to its points
/// (Pointers()) that polygons read in one pass instead of walking the links. Every List operation
/// is available under the same name.
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

    // Operations that leave the structure alone.
    using List<CMDPoint>::operator[];
    using List<CMDPoint>::set_idx;
    using List<CMDPoint>::incr_idx;
    using List<CMDPoint>::decr_idx;
    using List<CMDPoint>::curr_cpt;
    using List<CMDPoint>::last_cpt;
    using List<CMDPoint>::size;
    using List<CMDPoint>::get_idx;

    /// The list as a List<CMDPoint>, for reading.
    [[nodiscard]] const List<CMDPoint> &AsList() const { return *this; }

    /// Sets the parent of every point, and of points inserted later.
    void SetParent(KXObject *parent);
    [[nodiscard]] KXObject *GetParent() const { return parent_; }

    /// Pointers to the points in order, indexed from 0; valid until the next change of the
    /// list's structure.
    [[nodiscard]] const std::vector<const CMDPoint *> &Pointers() const;

private:
    KXObject *parent_ = nullptr;   ///< not owned
    mutable std::vector<const CMDPoint *> pointers_;
    mutable bool pointersValid_ = false;
};

#endif
