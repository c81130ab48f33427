// kxclassinfo.cpp - kxClassInfo, the registry of class records.
#include "kx/objects/kxclassinfo.h"

#include "kx/objects/kxchecksum.h"

#include <cstring>

namespace {

// The registry, in order of construction. Constant-initialised, so records built during any
// other unit's static initialisation find it ready.
kxClassInfo *gFirstClass = nullptr;
kxClassInfo *gLastClass = nullptr;

} // namespace

// ---------------------------------------------------------------------------------------------
// kxClassInfo

kxClassInfo::kxClassInfo(const char *name, const kxClassInfo *base1, const kxClassInfo *base2,
                         Factory factory)
    : name_(name), base1_(base1), base2_(base2), factory_(factory)
{
    CheckSum folded;
    folded.Append(name);
    for (int i = 0; i < 4; ++i)
        nameDigest_[i] = folded.GetWord(i);
    if (gLastClass)
        gLastClass->next_ = this;
    else
        gFirstClass = this;
    gLastClass = this;
}

kxClassInfo::~kxClassInfo()
{
    kxClassInfo *previous = nullptr;
    for (kxClassInfo *c = gFirstClass; c; previous = c, c = c->next_) {
        if (c != this)
            continue;
        (previous ? previous->next_ : gFirstClass) = next_;
        if (gLastClass == this)
            gLastClass = previous;
        return;
    }
}

bool kxClassInfo::IsKindOf(const kxClassInfo *other) const
{
    if (!other)
        return false;
    if (other == this)
        return true;
    return (base1_ && base1_->IsKindOf(other)) || (base2_ && base2_->IsKindOf(other));
}

bool kxClassInfo::IsKindOf(const char *className) const
{
    return className && IsKindOf(className, std::strlen(className));
}

KXObject *kxClassInfo::CreateObject() const { return factory_ ? factory_() : nullptr; }

const kxClassInfo *kxClassInfo::GetFirst() { return gFirstClass; }

const kxClassInfo *kxClassInfo::FindClass(const char *className)
{
    if (!className)
        return nullptr;
    for (const kxClassInfo *c = gFirstClass; c; c = c->next_)
        if (std::strcmp(c->name_, className) == 0)
            return c;
    return nullptr;
}

KXObject *kxClassInfo::CreateObject(const char *className)
{
    const kxClassInfo *info = FindClass(className);
    return info ? info->CreateObject() : nullptr;
}

bool kxClassInfo::IsNamed(const char *name, std::size_t length) const
{
    return std::strlen(name_) == length && std::memcmp(name_, name, length) == 0;
}

bool kxClassInfo::IsKindOf(const char *name, std::size_t length) const
{
    if (IsNamed(name, length))
        return true;
    return (base1_ && base1_->IsKindOf(name, length)) || (base2_ && base2_->IsKindOf(name, length));
}
