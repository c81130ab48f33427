// kxobject.h - KXObject, the base of every model object: class information, the stack of active
// operations, message broadcast down an object tree, and publishing of members.
//
// The one list of members
// -----------------------
// A class lists its members once, in OnPublish(), with the PublishVar / PublishObj / PublishFunc
// family (and DeclareChild for unnamed children). What a call does depends on the record on top
// of the object's operation stack:
//   kxOpCheckSum (3)  a variable appends its value to the CheckSum being accumulated; a child
//                     object (Checkable or not) appends its own checksum, computed the same way;
//   kxOpMessage  (1)  a variable does nothing; a child object gets the message passed on, in
//                     the same mode (sendMessage);
//   kxOpCommand  (2)  each publication is offered to a kxCommandResolver as a KXCommandElt
//                     (getPublishedElt, getChildList, the command language);
//   empty stack       nothing happens.
// Publications flagged kxPublishNoCheckSum are skipped by checksums. Null children are skipped
// in every operation. The base OnPublish publishes one read-only variable, "objtype", the class
// name; derived classes call it first. New publishable types: see kxcommandelt.h.
//
// The operation stack
// -------------------
// Operation records (KXObjectEvent) belong to the operation that pushes them and usually live
// in its stack frame: appendEvent links a record on top, eraseTopEvent unlinks it again (it
// frees nothing). A record equal to one already on the stack (the same message, any checksum,
// the same resolver) is refused as recursion, which is how a cyclic object structure is caught.
// Consistency faults of the stack are internal faults ("%s::appendEvent 1",
// "%s::eraseTopEvent 0/1/2" with the class name, through CodeError, unit "kxobject").
//
// Target filters
// --------------
// A message reaches an object when its target filter matches (MatchesTarget): a null or empty
// filter matches every object; otherwise the filter (cut to 999 characters) is a comma-separated
// list of items, leading blanks of an item skipped, tried in order, the first matching item
// deciding. "Name" matches when the object's class or one of its bases is Name (exact case);
// "MAINTYPE(Name)" when the object's own class is Name (the name runs to the ")" or the item's
// end); a leading "-" makes an item an exclusion (a match gives false); "*" matches nothing by
// itself but makes the result true when no item decides. "-*" is an exclusion that never matches.
// Blanks after a name belong to it (so "A ,B" never matches class "A").
//
// Namespaces: SetNameSpace takes the reserved handles of kxNameSpace pointers: 1
// (kxNoNameSpace) stores null, 2 (kxOwnNameSpace) stores what the virtual GetNameSpace answers.
//
// Nothing here locks: an object tree belongs to one thread.
#ifndef KX_OBJECTS_KXOBJECT_H
#define KX_OBJECTS_KXOBJECT_H

#include <complex>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"
#include "kx/objects/kxclassinfo.h"
#include "kx/objects/kxcommandelt.h"
#include "kx/objects/kxmessage.h"

class CheckSum;
class kxNameSpace;

/// Reserved namespace handle 1: no namespace (values are frozen).
inline kxNameSpace *kxNoNameSpace() { return reinterpret_cast<kxNameSpace *>(std::uintptr_t(1)); }
/// Reserved namespace handle 2: ask the object for its own namespace.
inline kxNameSpace *kxOwnNameSpace() { return reinterpret_cast<kxNameSpace *>(std::uintptr_t(2)); }
/// True for the handles 1 and 2.
inline bool kxIsReservedNameSpace(const kxNameSpace *ns)
{
    return ns == kxNoNameSpace() || ns == kxOwnNameSpace();
}

/// Kinds of operation records.
enum kxOpKind {
    kxOpMessage = 1, ///< a message is being sent
    kxOpCommand = 2, ///< a command is being resolved
    kxOpCheckSum = 3 ///< a checksum is being computed
};

/// Message modes of sendMessage.
enum kxMsgMode {
    kxMsgPreOrder = 1,  ///< the object first (if matched), then its published children
    kxMsgPostOrder = 2, ///< the published children first, then the object (if matched)
    kxMsgThisOnly = 3   ///< this object only (if matched)
};

/// Result of appendEvent.
enum kxAppendResult {
    kxAppended = 0,    ///< the record is on top of the stack
    kxAppendRecursion, ///< an equal record is already on the stack: refused, nothing reported
    kxAppendFault      ///< the stack is inconsistent: refused, reported through CodeError
};

/// One operation record. Only the payload of its kind is used.
struct KXObjectEvent {
    int kind = 0;
    KXObjectEvent *below = nullptr; ///< the record below, set by appendEvent
    // kxOpMessage
    int mode = 0;
    const char *target = nullptr;
    KXMessage *message = nullptr;
    // kxOpCheckSum
    CheckSum *sum = nullptr;
    bool recursive = false; ///< set when the checksum found itself again (a cycle)
    // kxOpCommand
    kxCommandResolver *resolver = nullptr;

    [[nodiscard]] static KXObjectEvent ForMessage(int mode, const char *target, KXMessage &message)
    {
        KXObjectEvent record;
        record.kind = kxOpMessage;
        record.mode = mode;
        record.target = target;
        record.message = &message;
        return record;
    }
    [[nodiscard]] static KXObjectEvent ForCheckSum(CheckSum &sum)
    {
        KXObjectEvent record;
        record.kind = kxOpCheckSum;
        record.sum = &sum;
        return record;
    }
    [[nodiscard]] static KXObjectEvent ForCommand(kxCommandResolver &resolver)
    {
        KXObjectEvent record;
        record.kind = kxOpCommand;
        record.resolver = &resolver;
        return record;
    }

    /// Same kind and: the same message (messages), always (checksums), the same resolver
    /// (commands).
    [[nodiscard]] bool Equals(const KXObjectEvent &other) const;
};

class KXObject {
public:
    static kxClassInfo ms_classInfo;

    KXObject() = default;
    /// Copies the namespace; the copy has an empty operation stack and no socket file.
    KXObject(const KXObject &other) : nameSpace_(other.nameSpace_) {}
    /// Copies the namespace; the operation stack and socket file stay as they are.
    KXObject &operator=(const KXObject &other)
    {
        nameSpace_ = other.nameSpace_;
        return *this;
    }
    virtual ~KXObject() = default;

    // -- class information ----------------------------------------------------------------------
    virtual const kxClassInfo *getClassInfo() const { return &ms_classInfo; }
    const char *getClassName() const { return getClassInfo()->GetClassName(); }
    [[nodiscard]] bool IsKindOf(const kxClassInfo *info) const
    {
        return getClassInfo()->IsKindOf(info);
    }
    [[nodiscard]] bool IsKindOf(const char *className) const
    {
        return getClassInfo()->IsKindOf(className);
    }
    /// True when the object's own class is exactly `info`.
    [[nodiscard]] bool IsMainType(const kxClassInfo *info) const { return getClassInfo() == info; }

    /// A copy that the caller owns, or null when the class does not support copying (the base
    /// implementation: classes that can be cloned override it).
    virtual KXObject *Clone() const { return nullptr; }

    // -- namespace, parent, command server -------------------------------------------------------
    /// The namespace in which the object's formulas are evaluated (base: the one stored).
    virtual kxNameSpace *GetNameSpace() const { return nameSpace_; }
    /// Stores a namespace (not owned); the reserved handles are resolved (see the top).
    void SetNameSpace(kxNameSpace *ns);
    /// Tells the object its parent object (base: ignored; KXObject keeps no parent).
    virtual void SetParent(KXObject *) {}
    /// Socket-file handle of the command server connection driving this object (not owned).
    void *GetSocketFile() const { return socketFile_; }
    void SetSocketFile(void *handle) { socketFile_ = handle; }

    // -- messages --------------------------------------------------------------------------------
    /// True when the target filter reaches this object (see the top of this file).
    [[nodiscard]] bool MatchesTarget(const char *target) const;
    /// Sends the message pre-order through the tree, filtered by its own target; returns its
    /// result field.
    int sendMessage(KXMessage &message) { return sendMessage(message, kxMsgPreOrder); }
    /// Sends the message in the given mode; returns its result field.
    int sendMessage(KXMessage &message, kxMsgMode mode);
    /// Builds a message (result 0), sends it pre-order and returns its result field.
    int sendMessage(const char *target, int id, void *data1 = nullptr, void *data2 = nullptr);
    /// Receives a message whose target matched. The base handles kxMsgReset (calls ResetTop);
    /// overrides pass the ids they do not handle on to their base class.
    virtual void OnMessage(KXMessage &message);

    // -- publishing ------------------------------------------------------------------------------
    /// Lists the object's members (see the top). The base publishes "objtype".
    virtual void OnPublish();

    void PublishVar(const char *name, bool &var, const char *help, int flags = 0);
    void PublishVar(const char *name, char &var, const char *help, int flags = 0);
    void PublishVar(const char *name, short &var, const char *help, int flags = 0);
    void PublishVar(const char *name, int &var, const char *help, int flags = 0);
    void PublishVar(const char *name, float &var, const char *help, int flags = 0);
    void PublishVar(const char *name, double &var, const char *help, int flags = 0);
    void PublishVar(const char *name, std::complex<double> &var, const char *help, int flags = 0);
    /// A character array of `length` bytes holding a NUL-terminated text (a text without a
    /// terminator within `length` is taken as `length` bytes).
    void PublishVar(const char *name, char *buffer, int length, const char *help, int flags = 0);
    void PublishVar(const char *name, KXString &var, const char *help, int flags = 0);
    /// A constant, read-only text that outlives the object (a literal, a class name).
    void PublishVar(const char *name, const char *constantText, const char *help, int flags = 0);
    /// An embedded child object (same as PublishObj).
    void PublishVar(const char *name, KXObject &child, const char *help, int flags = 0)
    {
        PublishObj(name, &child, help, flags);
    }
    /// Any other type: a KXObject-derived member is a child object; other types need a
    /// kxPublishTraits<T> specialisation (kxcommandelt.h).
    template <class T>
    void PublishVar(const char *name, T &member, const char *help, int flags = 0)
    {
        if constexpr (std::is_base_of<KXObject, T>::value)
            PublishObj(name, &member, help, flags);
        else
            PublishValue(name, help, flags, kxPublishTraits<T>::Kind(), &member, 0);
    }
    /// A child object (may be null: then nothing is published).
    void PublishObj(const char *name, KXObject *child, const char *help, int flags = 0);
    /// PublishObj for every operation but checksums (messages and commands).
    void PublishObjOther(const char *name, KXObject *child, const char *help, int flags);
    /// A function of the command language (built only while a command is being resolved).
    template <class F>
    void PublishFunc(const char *name, F &&function, const char *help, int flags = 0)
    {
        if (opTop_ && opTop_->kind == kxOpCommand)
            PublishFunction(name, kxCommandFunction(std::forward<F>(function)), help, flags);
    }
    /// The generic publication of a variable of any kind; `extent` is handed to the kind's
    /// functions (a char array's length, else 0).
    void PublishValue(const char *name, const char *help, int flags, const kxPublishedKind &kind,
                      void *member, int extent);
    /// The non-template part of PublishFunc.
    void PublishFunction(const char *name, kxCommandFunction function, const char *help, int flags);
    /// An unnamed child object.
    void DeclareChild(KXObject &child) { PublishObj("", &child, "", 0); }

    // -- command elements ------------------------------------------------------------------------
    /// The first element published under `name` (exact case), or the empty element. With
    /// objectsOnly only child objects are considered.
    [[nodiscard]] KXCommandElt getPublishedElt(const char *name, bool objectsOnly = false);
    /// Appends every published element (objectsOnly: every child object) in publication order.
    void getChildList(List<KXCommandElt> &list, bool objectsOnly = false);
    /// Runs OnPublish under a kxOpCommand record holding `resolver`. False (nothing offered)
    /// when the same resolver is already at work on this object.
    bool ResolveCommand(kxCommandResolver &resolver);

    // -- state hooks -------------------------------------------------------------------------------
    /// Resets the object's own state (base: nothing).
    virtual void ResetTop() {}
    /// Sends kxMsgReset post-order to the objects of the tree that `target` reaches.
    virtual void ResetAll(const char *target);
    /// Saves / restores a state snapshot (base: nothing).
    virtual void SaveState() {}
    virtual void LoadState() {}
    /// Sets the published variable `name` from text (see KXCommandElt::SetValueString). False
    /// when there is no such variable, it is read-only, or the text is refused.
    [[nodiscard]] virtual bool SetParam(const char *name, const char *value);

    /// Number of records on the operation stack, and the top record (null when empty).
    int GetOpDepth() const { return opDepth_; }
    const KXObjectEvent *GetTopEvent() const { return opTop_; }

protected:
    /// Links `record` (owned by the caller, who must keep it alive until eraseTopEvent) on top.
    [[nodiscard]] kxAppendResult appendEvent(KXObjectEvent &record)
    {
        if (opTop_ || opDepth_ != 0)
            return AppendEventChecked(record);
        record.below = nullptr; // an empty, consistent stack: nothing to compare with
        opTop_ = &record;
        opDepth_ = 1;
        return kxAppended;
    }
    /// Unlinks the top record (frees nothing).
    void eraseTopEvent()
    {
        if (opTop_ && opDepth_ == 1 && !opTop_->below) {
            opTop_ = nullptr;
            opDepth_ = 0;
            return;
        }
        EraseTopEventChecked();
    }

    /// Accumulates the object's checksum into `out` (cleared first) by running OnPublish under a
    /// checksum record. A cycle reports "%s::getCurrCheckSum. Recursive structure!" and leaves
    /// `out` all zero; the computation that found itself again also ends with zero. No
    /// floating-point guard (Checkable::getCurrCheckSum adds it). Defined in kxchecksum.h.
    void CollectCheckSum(CheckSum &out);

private:
    // The general forms of appendEvent / eraseTopEvent: consistency checks and the recursion
    // test against every record on the stack.
    kxAppendResult AppendEventChecked(KXObjectEvent &record);
    void EraseTopEventChecked();
    /// Marks the checksum computation running on this object as cyclic and reports it.
    void ReportCheckSumCycle();
    void sendMessage1(int mode, const char *target, KXMessage &message);
    /// The built-in number overloads of PublishVar: appended to the checksum inline, else
    /// published through `kind`. Defined in kxchecksum.h.
    template <class T>
    void PublishNumber(const char *name, T &var, const char *help, int flags,
                       const kxPublishedKind &kind);
    /// The checksum to append to, when a checksum is being computed and `flags` allow it.
    CheckSum *CheckSumSink(int flags) const
    {
        return opTop_ && opTop_->kind == kxOpCheckSum && !(flags & kxPublishNoCheckSum)
                   ? opTop_->sum
                   : nullptr;
    }

    KXObjectEvent *opTop_ = nullptr;
    std::int32_t opDepth_ = 0;
    kxNameSpace *nameSpace_ = nullptr;
    void *socketFile_ = nullptr;
};

// CheckSum (and with it Checkable, Updatable and the inline bodies of the built-in PublishVar
// overloads) is completed here, so that either header may be included first.
#include "kx/objects/kxchecksum.h"

#endif
