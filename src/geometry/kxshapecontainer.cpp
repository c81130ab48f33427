// kxshapecontainer.cpp - KXShapeContainer, the owner of one shape read from a definition line.
#include "kx/geometry/kxshapecontainer.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtokenizer.h"
#include "kx/geometry/kxshape.h"

#include "kxshapeutil.h"

KXShapeContainer::KXShapeContainer(const KXShapeContainer &other)
    : shape_(other.shape_ ? other.shape_->newCopy(nullptr) : nullptr)
{
}

KXShapeContainer &KXShapeContainer::operator=(const KXShapeContainer &other)
{
    if (this != &other) {
        KXShape *copy = other.shape_ ? other.shape_->newCopy(nullptr) : nullptr;
        delete shape_;
        shape_ = copy;
    }
    return *this;
}

KXShapeContainer::~KXShapeContainer() { delete shape_; }

void KXShapeContainer::Clear()
{
    delete shape_;
    shape_ = nullptr;
}

void KXShapeContainer::SetShape(const KXShape &shape)
{
    KXShape *copy = shape.newCopy(nullptr);
    delete shape_;
    shape_ = copy;
}

int KXShapeContainer::SetShape(kxNameSpace *ns, const char *line)
{
    int count = 0;
    delete sliceup(line ? line : "", "% ", count);
    Clear();
    shape_ = KXShape::ParseShape(ns, line);
    if (shape_)
        return count;
    wlprintf("syntax error in line %s\n", kxQuoteForMessage(line).c_str());
    return 0;
}

void KXShapeContainer::CopyFrom(kxNameSpace *ns, const KXShapeContainer &other)
{
    if (this == &other)
        return;
    KXShape *copy = other.shape_ ? other.shape_->newCopy(ns) : nullptr;
    delete shape_;
    shape_ = copy;
}
