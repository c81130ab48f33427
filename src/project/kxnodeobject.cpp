// kxnodeobject.cpp - node objects: counting, delegation of events, and graph copying.
#define KX_UNIT "kxnodeobject"

#include "kx/project/kxnodeobject.h"

#include "kx/expressions/kxnamespace.h"

KX_IMPLEMENT_CLASS(kxNodeObject, KXObject)

namespace {
kxNodeDeleteNotifier g_deleteNotifier = nullptr;
} // namespace

kxNodeObject *kxNodeObjCopyList::FindCopy(const kxNodeObject *source) const
{
    for (int i = 1; i <= pairs_.size(); ++i)
        if (pairs_[i].source == source)
            return pairs_[i].copy;
    return nullptr;
}

kxNodeObject::kxNodeObject() = default;

kxNodeObject::kxNodeObject(const kxNodeObject &other) : KXObject(other) {}

kxNodeObject &kxNodeObject::operator=(const kxNodeObject &other)
{
    KXObject::operator=(other);
    return *this;
}

kxNodeObject::~kxNodeObject()
{
    if (g_deleteNotifier)
        g_deleteNotifier(this);
}

void kxNodeObject::ListenAndDelegate(kxNodeObject &source, int eventId)
{
    relay_.ListenTo(source.GetEventSource(), eventId, 0);
}

void kxNodeObject::StopDelegating(kxNodeObject &source)
{
    relay_.RemoveSource(source.GetEventSource());
}

void kxNodeObject::Relay::OnEvent(kxEvent &event, int)
{
    owner_.GetEventSource().RaiseEvent(event.GetId(), event.GetData1(), event.GetData2());
}

void kxNodeObject::ApplyNameSpace(kxNameSpace *ns)
{
    if (ns == kxOwnNameSpace())
        return;
    SetNameSpace(ns == kxNoNameSpace() ? nullptr : ns);
}

bool kxNodeObject::CopyChecked(const kxNodeObject &source, kxNodeObjCopyList *list, kxNameSpace *ns,
                               bool clone)
{
    if (&source == this)
        return true;
    if (!IsKindOf(source.getClassInfo())) {
        KX_CODE_ERROR("kxNodeObject::CloneFrom");
        return false;
    }
    kxNodeObjCopyList local;
    kxNodeObjCopyList &used = list ? *list : local;
    used.setClone(clone);
    ApplyNameSpace(ns);
    return DoCopy(source, used);
}

bool kxNodeObject::CopyFrom(const kxNodeObject &source, kxNodeObjCopyList *list, kxNameSpace *ns)
{
    return CopyChecked(source, list, ns, false);
}

bool kxNodeObject::CloneFrom(const kxNodeObject &source, kxNodeObjCopyList *list, kxNameSpace *ns)
{
    return CopyChecked(source, list, ns, true);
}

bool kxNodeObject::DoCopy(const kxNodeObject &, kxNodeObjCopyList &) { return true; }

void kxNodeObject::RegisterDeleteNotifier(kxNodeDeleteNotifier notifier)
{
    g_deleteNotifier = notifier;
}

kxNodeDeleteNotifier kxNodeObject::GetDeleteNotifier() { return g_deleteNotifier; }

// ---------------------------------------------------------------------------------------------

void kxBaseRefPtr::Detach()
{
    kxNodeObject *object = object_;
    object_ = nullptr;
    if (object && object->DecRef() == 0 && !object->IsOwned())
        delete object;
}

void kxBaseRefPtr::set(kxNodeObject *object)
{
    if (object == object_)
        return;
    if (object)
        object->IncRef();
    Detach();
    object_ = object;
}

bool kxBaseRefPtr::CopyFrom(const kxBaseRefPtr &source, kxNodeObjCopyList &list, kxNameSpace *ns)
{
    if (!source.object_) {
        set(nullptr);
        return true;
    }
    kxNodeObject *copy = source.FindOrCreateCopy(list, ns);
    if (!copy)
        return false;
    set(copy);
    return true;
}

kxNodeObject *kxBaseRefPtr::FindOrCreateCopy(kxNodeObjCopyList &list, kxNameSpace *ns) const
{
    if (!object_)
        return nullptr;
    if (!list.IsClone() && object_->IsOwned())
        return object_;
    if (kxNodeObject *found = list.FindCopy(object_))
        return found;
    KXObject *made = object_->getClassInfo()->CreateObject();
    auto *copy = dynamic_cast<kxNodeObject *>(made);
    if (!copy) {
        delete made;
        KX_CODE_ERROR("kxBaseRefPtr::FindOrCreateCopy");
        return nullptr;
    }
    copy->ApplyNameSpace(ns);
    list.Add(object_, copy);
    // The pair is listed first, so a cycle ends at this copy. A failing copy operation leaves
    // its error pending; the copy keeps what could be copied.
    copy->DoCopy(*object_, list);
    return copy;
}
