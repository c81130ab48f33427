// kxobject.cpp - class information, KXObject (operation stack, messages, publishing),
// CheckSum, Checkable and Updatable.
#include "kx/objects/kxobject.h"

#include <cstdio>
#include <cstring>

#include "kx/foundation/kxerror.h"
#include "objects/kxfpguard.h"

#define KX_UNIT "kxobject"

namespace {

// The registry, in order of construction. Constant-initialised, so records built during any
// other unit's static initialisation find it ready.
kxClassInfo *gFirstClass = nullptr;
kxClassInfo *gLastClass = nullptr;

// Reports an internal fault whose text starts with the class name.
void ReportClassFault(const KXObject &object, const char *what)
{
    char text[256];
    std::snprintf(text, sizeof text, "%s::%s", object.getClassName(), what);
    KX_CODE_ERROR(text);
}

// Class name `own` is the `length` characters at `name`.
bool IsNamed(const char *own, const char *name, std::size_t length)
{
    return std::strlen(own) == length && std::memcmp(own, name, length) == 0;
}

// Class `info` or one of its bases is named by the `length` characters at `name`.
bool IsKindOfName(const kxClassInfo *info, const char *name, std::size_t length)
{
    if (!info)
        return false;
    if (IsNamed(info->GetClassName(), name, length))
        return true;
    return IsKindOfName(info->GetBaseClass1(), name, length) ||
           IsKindOfName(info->GetBaseClass2(), name, length);
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Longest filter text that is looked at.
constexpr std::size_t kMaxFilterLength = 999;

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
    return className && IsKindOfName(this, className, std::strlen(className));
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

// ---------------------------------------------------------------------------------------------
// Operation records

bool KXObjectEvent::Equals(const KXObjectEvent &other) const
{
    if (kind != other.kind)
        return false;
    switch (kind) {
    case kxOpMessage: return message == other.message;
    case kxOpCommand: return resolver == other.resolver;
    case kxOpCheckSum: return true;
    default: return false;
    }
}

// ---------------------------------------------------------------------------------------------
// KXObject: class information, namespace

static KXObject *kxCreateObject_KXObject() { return new KXObject; }
kxClassInfo KXObject::ms_classInfo("KXObject", nullptr, nullptr, &kxCreateObject_KXObject);

void KXObject::SetNameSpace(kxNameSpace *ns)
{
    if (ns == kxNoNameSpace())
        nameSpace_ = nullptr;
    else if (ns == kxOwnNameSpace())
        nameSpace_ = GetNameSpace();
    else
        nameSpace_ = ns;
}

// ---------------------------------------------------------------------------------------------
// KXObject: operation stack

kxAppendResult KXObject::AppendEventChecked(KXObjectEvent &record)
{
    if ((opTop_ && opDepth_ < 1) || (!opTop_ && opDepth_ > 0)) {
        ReportClassFault(*this, "appendEvent 1");
        return kxAppendFault;
    }
    for (const KXObjectEvent *r = opTop_; r; r = r->below)
        if (r->Equals(record))
            return kxAppendRecursion;
    record.below = opTop_;
    opTop_ = &record;
    ++opDepth_;
    return kxAppended;
}

void KXObject::EraseTopEventChecked()
{
    if (!opTop_) {
        ReportClassFault(*this, "eraseTopEvent 0");
        return;
    }
    KXObjectEvent *top = opTop_;
    opTop_ = top->below;
    top->below = nullptr;
    --opDepth_;
    if (opDepth_ < 0)
        ReportClassFault(*this, "eraseTopEvent 1");
    else if (opDepth_ == 0 && opTop_)
        ReportClassFault(*this, "eraseTopEvent 2");
}

// ---------------------------------------------------------------------------------------------
// KXObject: messages

bool KXObject::MatchesTarget(const char *target) const
{
    if (!target || !*target)
        return true;
    const char *end = target + strnlen(target, kMaxFilterLength);
    bool star = false;
    for (const char *item = target; item <= end;) {
        const char *itemEnd = item;
        while (itemEnd < end && *itemEnd != ',')
            ++itemEnd;
        const char *p = item;
        while (p < itemEnd && IsBlank(*p))
            ++p;
        const bool exclusion = p < itemEnd && *p == '-';
        if (exclusion)
            ++p;
        const std::size_t length = std::size_t(itemEnd - p);
        bool matches;
        if (!exclusion && length == 1 && *p == '*') {
            star = true;
            matches = false;
        } else if (length >= 9 && std::memcmp(p, "MAINTYPE(", 9) == 0) {
            const char *name = p + 9;
            const char *close = name;
            while (close < itemEnd && *close != ')')
                ++close;
            matches = IsNamed(getClassName(), name, std::size_t(close - name));
        } else {
            matches = IsKindOfName(getClassInfo(), p, length);
        }
        if (matches)
            return !exclusion;
        item = itemEnd + 1;
    }
    return star;
}

int KXObject::sendMessage(KXMessage &message, kxMsgMode mode)
{
    sendMessage1(mode, message.GetTarget(), message);
    return message.GetResult();
}

int KXObject::sendMessage(const char *target, int id, void *data1, void *data2)
{
    KXMessage message(target, id, data1, data2);
    return sendMessage(message);
}

void KXObject::sendMessage1(int mode, const char *target, KXMessage &message)
{
    KXObjectEvent record = KXObjectEvent::ForMessage(mode, target, message);
    const kxAppendResult pushed = appendEvent(record);
    if (pushed == kxAppendRecursion)
        KX_CODE_ERROR("KXObject::sendMessage1");
    if (pushed != kxAppended)
        return;
    switch (mode) {
    case kxMsgThisOnly:
        if (MatchesTarget(target))
            OnMessage(message);
        break;
    case kxMsgPreOrder:
        if (MatchesTarget(target))
            OnMessage(message);
        OnPublish();
        break;
    case kxMsgPostOrder:
        OnPublish();
        if (MatchesTarget(target))
            OnMessage(message);
        break;
    default:
        KX_CODE_ERROR("KXObject::sendMessage1: unknown mode");
        break;
    }
    eraseTopEvent();
}

void KXObject::OnMessage(KXMessage &message)
{
    if (message.GetId() == kxMsgReset)
        ResetTop();
}

void KXObject::ResetAll(const char *target)
{
    KXMessage message(target, kxMsgReset);
    sendMessage(message, kxMsgPostOrder);
}

// ---------------------------------------------------------------------------------------------
// KXObject: publishing

void KXObject::PublishValue(const char *name, const char *help, int flags,
                            const kxPublishedKind &kind, void *member, int extent)
{
    if (!opTop_)
        return;
    if (opTop_->kind == kxOpCheckSum) {
        if (!(flags & kxPublishNoCheckSum))
            kind.appendCheckSum(member, extent, *opTop_->sum);
        return;
    }
    if (opTop_->kind != kxOpCommand)
        return;
    kxCommandResolver &resolver = *opTop_->resolver;
    if (resolver.Wants(name ? name : "", kxEltVariable))
        resolver.Offer(KXCommandElt::MakeVariable(*this, name, help, flags, kind, member, extent));
}

void KXObject::PublishFunction(const char *name, kxCommandFunction function, const char *help,
                               int flags)
{
    if (!opTop_ || opTop_->kind != kxOpCommand)
        return;
    kxCommandResolver &resolver = *opTop_->resolver;
    if (resolver.Wants(name ? name : "", kxEltFunction))
        resolver.Offer(KXCommandElt::MakeFunction(*this, name, help, flags, std::move(function)));
}

void KXObject::PublishObjOther(const char *name, KXObject *child, const char *help, int flags)
{
    if (!child || !opTop_)
        return;
    if (opTop_->kind == kxOpMessage) {
        child->sendMessage1(opTop_->mode, opTop_->target, *opTop_->message);
        return;
    }
    if (opTop_->kind != kxOpCommand)
        return;
    kxCommandResolver &resolver = *opTop_->resolver;
    if (resolver.Wants(name ? name : "", kxEltObject))
        resolver.Offer(KXCommandElt::MakeObject(*this, name, help, flags, child));
}

void KXObject::ReportCheckSumCycle()
{
    // The computation already running on this object is part of the cycle: it ends zero.
    for (KXObjectEvent *r = opTop_; r; r = r->below)
        if (r->kind == kxOpCheckSum)
            r->recursive = true;
    ReportClassFault(*this, "getCurrCheckSum. Recursive structure!");
}

// ---------------------------------------------------------------------------------------------
// KXObject: command elements

bool KXObject::ResolveCommand(kxCommandResolver &resolver)
{
    KXObjectEvent record = KXObjectEvent::ForCommand(resolver);
    if (appendEvent(record) != kxAppended)
        return false;
    OnPublish();
    eraseTopEvent();
    return true;
}

KXCommandElt KXObject::getPublishedElt(const char *name, bool objectsOnly)
{
    kxEltFinder finder(name, objectsOnly);
    ResolveCommand(finder);
    return finder.GetFound();
}

void KXObject::getChildList(List<KXCommandElt> &list, bool objectsOnly)
{
    kxEltCollector collector(list, objectsOnly);
    ResolveCommand(collector);
}

bool KXObject::SetParam(const char *name, const char *value)
{
    const KXCommandElt elt = getPublishedElt(name, false);
    return elt.GetKind() == kxEltVariable && elt.SetValueString(value);
}

// ---------------------------------------------------------------------------------------------
// CheckSum

void CheckSum::AppendText(const char *text, std::size_t length)
{
    Rotate();
    const std::size_t whole = length / 4;
    for (std::size_t i = 0; i < whole; ++i) {
        std::uint32_t word;
        std::memcpy(&word, text + 4 * i, 4);
        Xor(int(i), word);
    }
    // The terminator and the bytes up to the next multiple of 4 are 0xFE.
    unsigned char last[4] = {0xFE, 0xFE, 0xFE, 0xFE};
    if (length % 4)
        std::memcpy(last, text + 4 * whole, length % 4);
    std::uint32_t word;
    std::memcpy(&word, last, 4);
    Xor(int(whole), word);
}

std::uint32_t CheckSum::GetWord(int i) const
{
    switch (i) {
    case 0: return std::uint32_t(lo_);
    case 1: return std::uint32_t(lo_ >> 32);
    case 2: return std::uint32_t(hi_);
    case 3: return std::uint32_t(hi_ >> 32);
    default: return 0;
    }
}

bool CheckSum::WriteString(char *buffer, int size) const
{
    if (!buffer || size <= 0)
        return false;
    std::snprintf(buffer, std::size_t(size), "%08x%08x%08x%08x", unsigned(GetWord(3)),
                  unsigned(GetWord(2)), unsigned(GetWord(1)), unsigned(GetWord(0)));
    return size >= 33;
}

// ---------------------------------------------------------------------------------------------
// Checkable, Updatable

KX_IMPLEMENT_CLASS(Checkable, KXObject)
KX_IMPLEMENT_CLASS(Updatable, Checkable)

CheckSum Checkable::getCurrCheckSum()
{
    kxGuardFloatingPoint();
    CheckSum sum;
    CollectCheckSum(sum);
    return sum;
}

CheckSum Checkable::getUpdatedCheckSum(const char *target)
{
    KXMessage message(target, kxMsgUpdate);
    sendMessage(message, kxMsgPostOrder);
    return getCurrCheckSum();
}

bool Checkable::IsOutOfDate()
{
    bool outOfDate = false;
    KXMessage message(nullptr, kxMsgIsOutOfDate, &outOfDate);
    sendMessage(message, kxMsgPreOrder);
    return outOfDate;
}

bool Updatable::Update(const char *)
{
    sum_ = getCurrCheckSum();
    return true;
}

void Updatable::OnMessage(KXMessage &message)
{
    switch (message.GetId()) {
    case kxMsgIsOutOfDate:
        if (message.GetData1() && IsSelfOutOfDate())
            *static_cast<bool *>(message.GetData1()) = true;
        return;
    case kxMsgUpdate:
        if (IsSelfOutOfDate())
            Update(message.GetTarget());
        return;
    default:
        Checkable::OnMessage(message);
        return;
    }
}
