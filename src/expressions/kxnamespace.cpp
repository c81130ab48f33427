// kxnamespace.cpp - namespaces: the variable array with its name index, variable codes, the
// pseudo-time and the change events.
#include "kx/expressions/kxnamespace.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/foundation/kxerror.h"
#include "kx/objects/kxobject.h"

#include <cstring>

#define KX_UNIT "kxnamespace"

namespace {

constexpr int kCodeLevel = 0x10000; // one level up the parent chain in a variable code
constexpr int kVariableBlock = 256; // block size of the variable array
constexpr int kParentCookie = 1;    // cookie of the subscription to the parent's events
constexpr int kEmptyEntry = -1;
constexpr int kDeletedEntry = -2;

} // namespace

unsigned kxNameSpace::generation_ = 1;

kxNameSpace::kxNameSpace(kxNameSpace *parent) : variables_(kVariableBlock) { setParent(parent); }

kxNameSpace::~kxNameSpace()
{
    const std::vector<kxNameSpace *> children = children_;
    for (kxNameSpace *child : children)
        child->setParent(nullptr);
    setParent(nullptr);
    EraseVariables();
    NextGeneration();
}

void kxNameSpace::EraseVariables()
{
    for (int i = 0; i < variables_.Size(); ++i) {
        auto *variable = static_cast<kxNamedVariable *>(variables_[i]);
        if (!variable)
            continue;
        variable->index_ = -1; // already leaving: no slot to empty
        delete variable;
    }
    variables_.Clear();
}

int kxNameSpace::WillChangeEventID()
{
    static const int id = kxEventIDServer::GetEventID();
    return id;
}

int kxNameSpace::ChangedEventID()
{
    static const int id = kxEventIDServer::GetEventID();
    return id;
}

// ---------------------------------------------------------------------------------------------
// Parent chain

void kxNameSpace::setParent(kxNameSpace *parent)
{
    if (!IsActual(parent))
        parent = nullptr; // the reserved handles stand for no namespace
    if (parent == parent_)
        return;
    for (const kxNameSpace *ns = parent; ns; ns = ns->parent_)
        KX_CHECK_RET(ns != this, "kxNameSpace::setParent: a namespace cannot be its own ancestor");
    if (parent_) {
        std::vector<kxNameSpace *> &siblings = parent_->children_;
        for (size_t i = 0; i < siblings.size(); ++i)
            if (siblings[i] == this) {
                siblings.erase(siblings.begin() + static_cast<long>(i));
                break;
            }
        RemoveSource(*parent_);
    }
    parent_ = parent;
    if (parent_) {
        parent_->children_.push_back(this);
        ListenTo(*parent_, 0, kParentCookie);
    }
    NextGeneration();
    Advance();
}

void kxNameSpace::Advance()
{
    // Wraps instead of overflowing; equality, which the caches test, stays meaningful.
    pseudoTime_ = static_cast<int>(static_cast<unsigned>(pseudoTime_) + 1u);
    if (children_.empty())
        return;
    std::vector<kxNameSpace *> work(children_);
    while (!work.empty()) {
        kxNameSpace *ns = work.back();
        work.pop_back();
        ns->pseudoTime_ = static_cast<int>(static_cast<unsigned>(ns->pseudoTime_) + 1u);
        work.insert(work.end(), ns->children_.begin(), ns->children_.end());
    }
}

void kxNameSpace::OnEvent(kxEvent &event, int cookie)
{
    if (cookie != kParentCookie)
        return;
    if (event.GetId() == WillChangeEventID())
        RaiseEvent(WillChangeEventID(), this, nullptr);
    else if (event.GetId() == ChangedEventID())
        RaiseEvent(ChangedEventID(), this, event.GetData2());
}

// ---------------------------------------------------------------------------------------------
// Lookup

int kxNameSpace::FindLocal(const char *name) const
{
    if (!*name) {
        for (int i = 0; i < variables_.Size(); ++i) {
            const auto *variable = static_cast<const kxNamedVariable *>(variables_[i]);
            if (variable && variable->name_.Empty())
                return i;
        }
        return -1;
    }
    const long entry = IndexProbe(name);
    return entry < 0 ? -1 : nameIndex_[static_cast<size_t>(entry)].slot;
}

bool kxNameSpace::LocateVariable(const char *name, int &levels, int &index) const
{
    int climbed = 0;
    for (const kxNameSpace *ns = this; ns; ns = ns->parent_, ++climbed) {
        const int slot = ns->FindLocal(name);
        if (slot >= 0) {
            levels = climbed;
            index = slot;
            return true;
        }
    }
    return false;
}

int kxNameSpace::FindVariable(const char *name, bool searchParents) const
{
    if (!name)
        name = "";
    if (!searchParents)
        return FindLocal(name);
    int levels = 0;
    int index = -1;
    if (!LocateVariable(name, levels, index))
        return -1;
    return levels * kCodeLevel + index;
}

kxNamedVariable *kxNameSpace::GetVariable(int code) const
{
    const kxNameSpace *ns = this;
    for (int levels = code / kCodeLevel; levels > 0 && ns->parent_; --levels)
        ns = ns->parent_;
    return static_cast<kxNamedVariable *>(ns->variables_[code % kCodeLevel]);
}

kxNamedVariable *kxNameSpace::GetVariableByName(const char *name, bool searchParents) const
{
    int levels = 0;
    int index = -1;
    if (!name)
        name = "";
    if (!searchParents) {
        index = FindLocal(name);
        return index >= 0 ? PeekVariable(0, index) : nullptr;
    }
    return LocateVariable(name, levels, index) ? PeekVariable(levels, index) : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Name index

unsigned kxNameSpace::Hash(const char *name)
{
    unsigned h = 2166136261u; // FNV-1a
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(name); *p; ++p)
        h = (h ^ *p) * 16777619u;
    return h;
}

void kxNameSpace::IndexRehash(size_t capacity)
{
    // The entries keep their names' hashes, so the variables are not read again.
    std::vector<IndexEntry> old(capacity, IndexEntry{kEmptyEntry, 0});
    old.swap(nameIndex_);
    nameIndexUsed_ = 0;
    const size_t mask = capacity - 1;
    for (const IndexEntry &entry : old) {
        if (entry.slot < 0)
            continue;
        size_t h = entry.hash & mask;
        while (nameIndex_[h].slot != kEmptyEntry)
            h = (h + 1) & mask;
        nameIndex_[h] = entry;
        ++nameIndexUsed_;
    }
}

void kxNameSpace::IndexInsert(const char *name, int slot)
{
    // At most half the entries are in use (deleted ones count): a lookup ends at an empty entry
    // within a few steps. A rehash drops the deleted entries and leaves at least 60% empty, so
    // rehashes stay rare however names are renamed.
    if (2 * static_cast<size_t>(nameIndexUsed_ + 1) > nameIndex_.size()) {
        size_t live = 0;
        for (const IndexEntry &entry : nameIndex_)
            live += entry.slot >= 0;
        size_t capacity = 16;
        while (2 * capacity < 5 * (live + 1))
            capacity *= 2;
        IndexRehash(capacity);
    }
    const unsigned hash = Hash(name);
    const size_t mask = nameIndex_.size() - 1;
    size_t h = hash & mask;
    while (nameIndex_[h].slot >= 0)
        h = (h + 1) & mask;
    if (nameIndex_[h].slot == kEmptyEntry)
        ++nameIndexUsed_;
    nameIndex_[h] = IndexEntry{slot, hash};
}

long kxNameSpace::IndexProbe(const char *name) const
{
    if (nameIndex_.empty())
        return -1;
    const unsigned hash = Hash(name);
    const size_t mask = nameIndex_.size() - 1;
    for (size_t h = hash & mask;; h = (h + 1) & mask) {
        const IndexEntry entry = nameIndex_[h];
        if (entry.slot == kEmptyEntry)
            return -1;
        if (entry.slot == kDeletedEntry || entry.hash != hash)
            continue;
        const auto *variable = static_cast<const kxNamedVariable *>(variables_[entry.slot]);
        if (variable && variable->name_ == name)
            return static_cast<long>(h);
    }
}

void kxNameSpace::IndexErase(const char *name)
{
    const long entry = IndexProbe(name);
    if (entry >= 0)
        nameIndex_[static_cast<size_t>(entry)].slot = kDeletedEntry;
}

// ---------------------------------------------------------------------------------------------
// Variables

int kxNameSpace::AddVariable(kxNamedVariable *variable)
{
    KX_CHECK_MSG(variable && variable->ns_ == this && variable->index_ < 0 && !variable->temporary_,
                 -1, "kxNameSpace::AddVariable: the variable is not free to enter here");
    const int index = variables_.Add(variable);
    variable->index_ = index;
    if (!variable->name_.Empty())
        IndexInsert(variable->name_.c_str(), index);
    return index;
}

void kxNameSpace::UnlinkVariable(int index)
{
    auto *variable = PeekVariable(0, index);
    if (!variable)
        return;
    if (!variable->name_.Empty())
        IndexErase(variable->name_.c_str());
    variables_[index] = nullptr;
    variable->index_ = -1;
    NextGeneration();
    Advance();
}

void kxNameSpace::RemoveVariable(int index)
{
    kxNamedVariable *variable = PeekVariable(0, index);
    KX_CHECK_RET(variable, "kxNameSpace::RemoveVariable: no variable at this index");
    const int listed = variable->GetListedIndex();
    NotifyVariableWillChange(listed);
    delete variable; // empties the slot and moves the pseudo-time
    if (listed != -1)
        RaiseEvent(ChangedEventID(), this, nullptr);
}

void kxNameSpace::PrepareToLoad()
{
    for (int i = 0; i < variables_.Size(); ++i)
        if (auto *variable = static_cast<kxNamedVariable *>(variables_[i]))
            variable->ResetPreloaded();
}

void kxNameSpace::unalloc()
{
    RaiseEvent(WillChangeEventID(), this, nullptr);
    EraseVariables();
    nameIndex_.clear();
    nameIndexUsed_ = 0;
    NextGeneration();
    Advance();
    RaiseEvent(ChangedEventID(), this, nullptr);
}

// ---------------------------------------------------------------------------------------------
// Notification

void kxNameSpace::NotifyVariableWillChange(int index)
{
    if (index != -1)
        RaiseEvent(WillChangeEventID(), this, nullptr);
}

void kxNameSpace::NotifyVariableChanged(int index, int *stamp)
{
    Advance();
    if (stamp)
        *stamp = pseudoTime_;
    if (index != -1)
        RaiseEvent(ChangedEventID(), this, PeekVariable(0, index));
}

void kxNameSpace::SetNameSpace(KXObject &object, kxNameSpace *ns)
{
    if (ns == kxOwnNameSpace())
        ns = object.GetNameSpace();
    else if (ns == kxNoNameSpace())
        ns = nullptr;
    object.SetNameSpace(ns);
}
