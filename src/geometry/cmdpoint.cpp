// cmdpoint.cpp - CMDPoint, a point whose coordinates are parameters, and CMDPointList.
#include "kx/geometry/cmdpoint.h"

#include "kx/expressions/kxnamespace.h"

#include "kxshapeutil.h"

KX_IMPLEMENT_CLASS(CMDPoint, KXObject)

void CMDPoint::CopyFrom(kxNameSpace *ns, const CMDPoint &other)
{
    x.CopyFrom(ns, other.x);
    y.CopyFrom(ns, other.y);
}

CMDPoint::operator kxPoint() const { return kxPoint(x, y); }

kxNameSpace *CMDPoint::GetNameSpace() const
{
    kxNameSpace *ns = KXObject::GetNameSpace();
    if (!ns && parent_)
        ns = parent_->GetNameSpace();
    return ns;
}

void CMDPoint::OnPublish()
{
    KXObject::OnPublish();
    // The coordinates are published as the shapes' parameters are; writes through the
    // published element are counted like any other write to a kxParameter<double>.
    kxPublishParam(*this, "x", x, kxMicronsHelp("x coordinate in ").c_str());
    kxPublishParam(*this, "y", y, kxMicronsHelp("y coordinate in ").c_str());
}

CMDPointList::CMDPointList(const CMDPointList &other) : List<CMDPoint>(other)
{
    SetParent(nullptr);
}

CMDPointList &CMDPointList::operator=(const CMDPointList &other)
{
    if (this == &other)
        return *this;
    List<CMDPoint>::operator=(other);
    pointersValid_ = false;
    ++version_;
    SetParent(parent_);
    return *this;
}

void CMDPointList::append(const CMDPoint &p)
{
    List<CMDPoint>::append(p);
    pointersValid_ = false;
    ++version_;
    last_cpt().SetParent(parent_);
}

void CMDPointList::insert(int i, const CMDPoint &p)
{
    List<CMDPoint>::insert(i, p);
    pointersValid_ = false;
    ++version_;
    curr_cpt().SetParent(parent_);
}

void CMDPointList::insert(const CMDPoint &p)
{
    List<CMDPoint>::insert(p);
    pointersValid_ = false;
    ++version_;
    curr_cpt().SetParent(parent_);
}

void CMDPointList::erase(int i)
{
    pointersValid_ = false;
    ++version_;
    List<CMDPoint>::erase(i);
}

void CMDPointList::erase()
{
    pointersValid_ = false;
    ++version_;
    List<CMDPoint>::erase();
}

void CMDPointList::unalloc()
{
    pointersValid_ = false;
    ++version_;
    List<CMDPoint>::unalloc();
}

bool CMDPointList::move(int to, int from)
{
    pointersValid_ = false;
    ++version_;
    return List<CMDPoint>::move(to, from);
}

void CMDPointList::reverse()
{
    pointersValid_ = false;
    ++version_;
    List<CMDPoint>::reverse();
}

void CMDPointList::SetParent(KXObject *parent)
{
    parent_ = parent;
    for (int i = 1; i <= size(); ++i)
        (*this)[i].SetParent(parent);
}

const std::vector<const CMDPoint *> &CMDPointList::Pointers() const
{
    if (!pointersValid_) {
        pointers_.clear();
        pointers_.reserve(static_cast<size_t>(size()));
        for (int i = 1; i <= size(); ++i)
            pointers_.push_back(&(*this)[i]);
        pointersValid_ = true;
    }
    return pointers_;
}
