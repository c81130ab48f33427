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

/// A List<CMDPoint> whose insertions give the new point the list's parent.
class CMDPointList : public List<CMDPoint> {
public:
    CMDPointList() = default;
    /// Copies the points; the copy has no parent until SetParent.
    CMDPointList(const CMDPointList &other);
    CMDPointList &operator=(const CMDPointList &other);

    void append(const CMDPoint &p);
    void insert(int i, const CMDPoint &p);
    void insert(const CMDPoint &p);
    /// Sets the parent of every point, and of points inserted later.
    void SetParent(KXObject *parent);
    [[nodiscard]] KXObject *GetParent() const { return parent_; }

private:
    KXObject *parent_ = nullptr;   ///< not owned
};

#endif
