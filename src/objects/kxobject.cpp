// kxobject.cpp - KXObject: namespace, operation stack, messages, publishing and command elements.
#include "kx/objects/kxobject.h"

#include "kx/objects/kxchecksum.h"

#include <cstdio>
#include <cstring>

#include "kx/foundation/kxerror.h"

#define KX_UNIT "kxobject"

namespace {

// Reports an internal fault whose text starts with the class name.
void ReportClassFault(const KXObject &object, const char *what)
{
    char text[256];
    std::snprintf(text, sizeof text, "%s::%s", object.getClassName(), what);
    KX_CODE_ERROR(text);
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Longest filter text that is looked at.
constexpr std::size_t kMaxFilterLength = 999;

} // namespace

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

// The records of the classes of kxchecksum.h follow KXObject's in this unit, so that the
// registry (in order of static initialisation) lists the base before them.
KX_IMPLEMENT_CLASS(Checkable, KXObject)
KX_IMPLEMENT_CLASS(Updatable, Checkable)

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
            matches = getClassInfo()->IsNamed(name, std::size_t(close - name));
        } else {
            matches = getClassInfo()->IsKindOf(p, length);
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
    default: KX_CODE_ERROR("KXObject::sendMessage1: unknown mode"); break;
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
