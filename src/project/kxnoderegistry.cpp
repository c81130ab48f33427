// kxnoderegistry.cpp - the node-type records, their lists and the registry table.
#define KX_UNIT "kxnoderegistry"

#include "kx/project/kxnoderegistry.h"

#include <cstring>
#include <strings.h>

#include <vector>

namespace {

kxProjectNodeInfoClass *g_nodeInfos = nullptr;
kxProjectNodeViewInfoClass *g_viewInfos = nullptr;

bool SameText(const char *a, const char *b) { return a && b && std::strcmp(a, b) == 0; }

/// Block types compare as the block reader compares them: the first 31 characters, any case.
/// (First characters that differ even with bit 0x20 set cannot match in any case.)
bool SameBlockType(const char *a, const char *b)
{
    return a && b && (a[0] | 0x20) == (b[0] | 0x20) && strncasecmp(a, b, 31) == 0;
}

} // namespace

// -- node records -----------------------------------------------------------------------------

kxProjectNodeInfoClass::~kxProjectNodeInfoClass()
{
    if (!registered_)
        return;
    for (kxProjectNodeInfoClass **p = &g_nodeInfos; *p; p = &(*p)->next_)
        if (*p == this) {
            *p = next_;
            break;
        }
}

void kxProjectNodeInfoClass::Register()
{
    if (registered_)
        return;
    next_ = g_nodeInfos;
    g_nodeInfos = this;
    registered_ = true;
}

const kxProjectNodeInfoClass *kxProjectNodeInfoClass::getFirst() { return g_nodeInfos; }

// -- view records -----------------------------------------------------------------------------

kxProjectNodeViewInfoClass::~kxProjectNodeViewInfoClass()
{
    if (!registered_)
        return;
    for (kxProjectNodeViewInfoClass **p = &g_viewInfos; *p; p = &(*p)->next_)
        if (*p == this) {
            *p = next_;
            break;
        }
}

void kxProjectNodeViewInfoClass::Register()
{
    if (registered_)
        return;
    next_ = g_viewInfos;
    g_viewInfos = this;
    registered_ = true;
}

const kxProjectNodeViewInfoClass *kxProjectNodeViewInfoClass::getFirst() { return g_viewInfos; }

// -- entries ----------------------------------------------------------------------------------

kxMetaData::kxMetaData(const kxProjectNodeInfo &node, const kxProjectNodeViewInfo *view)
    : classInfo_(node.classInfo), view_(view), blockSig_(node.blockSig),
      displayName_(node.displayName ? node.displayName : ""), flags_(node.flags),
      suffix_(node.suffix ? node.suffix : "")
{
    if (!blockSig_.type)
        blockSig_.type = "";
    for (int i = 0; node.childClasses && node.childClasses[i] && i < kxMaxChildClasses; ++i)
        childClasses_[childCount_++] = node.childClasses[i];
    if (view) {
        viewClass_ = view->viewClass;
        frameClass_ = view->frameClass;
    }
}

const char *kxMetaData::getClassName() const
{
    return classInfo_ ? classInfo_->GetClassName() : "";
}

bool kxMetaData::AllowsChild(const kxClassInfo *candidate) const
{
    if (!candidate)
        return false;
    for (int i = 0; i < childCount_; ++i)
        if (candidate->IsKindOf(childClasses_[i]))
            return true;
    return false;
}

// -- table ------------------------------------------------------------------------------------

bool kxMetaDataTable::AddNode(kxMetaData *entry)
{
    if (!entry)
        return false;
    for (int i = 1; i <= entries_.size(); ++i)
        if (SameText(entries_[i]->getClassName(), entry->getClassName())) {
            wlprintf("registration of duplicate node:\n\"%s\"\nignored\n",
                     entry->getDisplayName().c_str());
            delete entry;
            return false;
        }
    entries_.append(entry);
    return true;
}

void kxMetaDataTable::Clear()
{
    for (int i = 1; i <= entries_.size(); ++i)
        delete entries_[i];
    entries_.unalloc();
}

void kxMetaDataTable::Build()
{
    Clear();
    std::vector<const kxProjectNodeInfoClass *> nodes;
    for (const kxProjectNodeInfoClass *r = kxProjectNodeInfoClass::getFirst(); r; r = r->getNext())
        nodes.push_back(r);
    for (auto it = nodes.rbegin(); it != nodes.rend(); ++it) {
        const kxProjectNodeInfo &info = (*it)->getInfo();
        const kxProjectNodeViewInfo *view = nullptr;
        // The oldest view record of the class: the last one found in the newest-first list.
        for (const kxProjectNodeViewInfoClass *v = kxProjectNodeViewInfoClass::getFirst(); v;
             v = v->getNext())
            if (v->getInfo().nodeClass && v->getInfo().nodeClass == info.classInfo)
                view = &v->getInfo();
        AddNode(new kxMetaData(info, view));
    }
}

template <class Pred>
kxMetaData *kxMetaDataTable::FindFirst(Pred pred) const
{
    for (int i = 1; i <= entries_.size(); ++i)
        if (pred(*entries_[i]))
            return entries_[i];
    return nullptr;
}

kxMetaData *kxMetaDataTable::FindMetaDataByClassInfo(const kxClassInfo *info) const
{
    if (!info)
        return nullptr;
    return FindFirst([info](const kxMetaData &e) { return e.getClassInfo() == info; });
}

kxMetaData *kxMetaDataTable::FindMetaDataByClass(const char *className) const
{
    return FindFirst([className](const kxMetaData &e) {
        return e.getClassInfo() && SameText(e.getClassName(), className);
    });
}

kxMetaData *kxMetaDataTable::FindMetaDataByName(const char *displayName) const
{
    return FindFirst(
        [displayName](const kxMetaData &e) { return SameText(e.getDisplayName(), displayName); });
}

kxMetaData *kxMetaDataTable::FindMetaDataByBlockType(const char *typeName) const
{
    return FindFirst(
        [typeName](const kxMetaData &e) { return SameBlockType(e.getBlockSig().type, typeName); });
}

kxMetaData *kxMetaDataTable::FindMetaDataBySuffix(const char *suffix) const
{
    return FindFirst([suffix](const kxMetaData &e) {
        return !e.getSuffix().Empty() && SameText(e.getSuffix(), suffix);
    });
}

long kxMetaDataTable::FindMetaDataFlags(const kxClassInfo *info) const
{
    const kxMetaData *entry = FindMetaDataByClassInfo(info);
    return entry ? entry->getFlags() : 0;
}
