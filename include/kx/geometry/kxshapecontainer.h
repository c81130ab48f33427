// kxshapecontainer.h - KXShapeContainer: owns at most one shape (null when empty), deep-copied
// with the container.
#ifndef KX_GEOMETRY_KXSHAPECONTAINER_H
#define KX_GEOMETRY_KXSHAPECONTAINER_H

#include "kx/geometry/kxshape.h"

class kxNameSpace;

class KXShapeContainer {
public:
    KXShapeContainer() = default;
    /// Deep copy: the other's shape through newCopy(nullptr) (formulas frozen).
    KXShapeContainer(const KXShapeContainer &other);
    KXShapeContainer &operator=(const KXShapeContainer &other);
    /// Deletes the held shape.
    ~KXShapeContainer();

    /// Deletes the held shape and holds newCopy(nullptr) of `shape`.
    void SetShape(const KXShape &shape);
    /// Parses a definition line: the line is first cut into blank-separated pieces by sliceup
    /// (brackets and quotes keep a piece together), whose count is the result; the held shape
    /// is deleted and ParseShape(ns, line) held. When that fails, "syntax error in line %s\n"
    /// goes to the message window (the line cut to 800 characters) and the result is 0.
    int SetShape(kxNameSpace *ns, const char *line);
    /// Deep copy into namespace ns (formulas re-bound there).
    void CopyFrom(kxNameSpace *ns, const KXShapeContainer &other);

    /// The held shape (owned by the container), or null.
    KXShape *GetShape() const { return shape_; }
    /// Deletes the held shape.
    void Clear();

private:
    KXShape *shape_ = nullptr; ///< owned
};

#endif
