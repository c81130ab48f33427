// kxnodeobject.h - kxNodeObject, the base of every object that can live in the project tree, with
// its reference count, owner link, event source and the machinery that copies a graph of shared
// objects (kxBaseRefPtr, kxNodeObjCopyList).
//
// Sharing and ownership
// ---------------------
// An object referred to through kxBaseRefPtr is shared: every pointer counts itself in the
// object's reference count, and the pointer that drops the count to 0 destroys the object,
// unless the object has an owner (it belongs to the project tree, whose nodes destroy their own
// objects). A new object starts with the count 0.
//
// Copying a graph
// ---------------
// CopyFrom / CloneFrom copy a source object into this one through the class's own copy
// operation (DoCopy). Shared objects reached from the source are copied through
// kxBaseRefPtr::CopyFrom / FindOrCreateCopy with one kxNodeObjCopyList for the whole copy, so
// an object that several pointers share is copied once and the copies share it again, and a
// cycle ends at the object already being copied. A plain copy (clone flag false) shares objects
// that the tree owns instead of copying them; a clone copies them too. The target of CopyFrom
// itself is not entered in the list (it may not be a shared object): a cycle that leads back to
// the source reaches a new copy of it.
//
// The namespace argument of the copy operations takes the reserved handles of kxobject.h:
// kxOwnNameSpace() (2) keeps the target's namespace, kxNoNameSpace() (1) gives it none, any
// other value is the namespace the copy gets.
//
// Events: every node object is an event source (GetEventSource). ListenAndDelegate makes this
// object listen to another one and raise every event it hears again on its own source.
//
// The process-wide delete notifier (RegisterDeleteNotifier) is called with every node object
// that is being destroyed, while it is still whole as a kxNodeObject. There is one notifier;
// registering another replaces it, null removes it.
#ifndef KX_PROJECT_KXNODEOBJECT_H
#define KX_PROJECT_KXNODEOBJECT_H

#include "kx/foundation/kxlist.h"
#include "kx/objects/kxevent.h"
#include "kx/objects/kxobject.h"

class kxNameSpace;
class kxNodeObject;

/// The pairs (source, copy) made during one copy of an object graph, and the clone flag.
class kxNodeObjCopyList {
public:
    struct Pair {
        const kxNodeObject *source;
        kxNodeObject *copy;
    };

    [[nodiscard]] bool IsClone() const { return clone_; }
    void setClone(bool clone) { clone_ = clone; }
    /// The copy made of `source` during this copy, or null.
    [[nodiscard]] kxNodeObject *FindCopy(const kxNodeObject *source) const;
    /// Records that `copy` is the copy of `source`.
    void Add(const kxNodeObject *source, kxNodeObject *copy) { pairs_.append(Pair{source, copy}); }
    [[nodiscard]] int size() const { return pairs_.size(); }

private:
    List<Pair> pairs_;
    bool clone_ = false;
};

typedef void (*kxNodeDeleteNotifier)(kxNodeObject *object);

class kxNodeObject : public KXObject {
    KX_DECLARE_CLASS(kxNodeObject)
public:
    kxNodeObject();
    /// A copy starts unshared (count 0), without owner and without listeners.
    kxNodeObject(const kxNodeObject &other);
    kxNodeObject &operator=(const kxNodeObject &other);
    /// Calls the delete notifier, then stops listening and tells listeners nothing more.
    ~kxNodeObject() override;

    // -- reference count -------------------------------------------------------------------------
    [[nodiscard]] int getRefcount() const { return refCount_; }
    void IncRef() { ++refCount_; }
    /// Decrements the count (never below 0) and returns the new count.
    int DecRef() { return refCount_ > 0 ? --refCount_ : 0; }

    // -- owner link ------------------------------------------------------------------------------
    /// The object that owns this one in the project tree (not owned; null when unowned).
    [[nodiscard]] KXObject *getOwner() const { return owner_; }
    void setOwner(KXObject *owner) { owner_ = owner; }
    [[nodiscard]] bool IsOwned() const { return owner_ != nullptr; }

    // -- events ----------------------------------------------------------------------------------
    [[nodiscard]] kxEventSource &GetEventSource() { return events_; }
    /// Listens to `source`'s events (eventId 0: all of them) and raises each again, with the same
    /// id and data, on this object's own source. Listening twice gives two deliveries.
    void ListenAndDelegate(kxNodeObject &source, int eventId = 0);
    /// Stops listening to `source` (all delegated ids).
    void StopDelegating(kxNodeObject &source);

    // -- copying ---------------------------------------------------------------------------------
    /// Copies `source` into this object (see the top of this file). Copying onto itself does
    /// nothing; a target that is not of the source's class (or a subclass) is the code error
    /// "kxNodeObject::CloneFrom" and false. `list` null: a fresh list for this call.
    bool CopyFrom(const kxNodeObject &source, kxNodeObjCopyList *list = nullptr,
                  kxNameSpace *ns = kxOwnNameSpace());
    /// The same with the clone flag set: objects owned by the tree are copied too.
    bool CloneFrom(const kxNodeObject &source, kxNodeObjCopyList *list = nullptr,
                   kxNameSpace *ns = kxOwnNameSpace());

    /// Gives the object the namespace `ns` by the rule of the reserved handles.
    void ApplyNameSpace(kxNameSpace *ns);

    // -- process-wide delete notifier -----------------------------------------------------------
    static void RegisterDeleteNotifier(kxNodeDeleteNotifier notifier);
    [[nodiscard]] static kxNodeDeleteNotifier GetDeleteNotifier();

protected:
    friend class kxBaseRefPtr;
    /// The class's own copy operation: copies the members of `source` (of this object's class
    /// or a base) into this object, using `list` for shared objects. Base: copies nothing and
    /// returns true. Overrides call their base class first.
    virtual bool DoCopy(const kxNodeObject &source, kxNodeObjCopyList &list);

private:
    /// Passes what it hears on to its owner's event source.
    class Relay : public kxEventListener {
    public:
        explicit Relay(kxNodeObject &owner) : owner_(owner) {}
        void OnEvent(kxEvent &event, int cookie) override;

    private:
        kxNodeObject &owner_;
    };

    bool CopyChecked(const kxNodeObject &source, kxNodeObjCopyList *list, kxNameSpace *ns,
                     bool clone);

    int refCount_ = 0;
    KXObject *owner_ = nullptr;
    kxEventSource events_;
    Relay relay_{*this};
};

/// A counted pointer to a shared kxNodeObject (see the top of this file).
class kxBaseRefPtr {
public:
    kxBaseRefPtr() = default;
    explicit kxBaseRefPtr(kxNodeObject *object) { Attach(object); }
    kxBaseRefPtr(const kxBaseRefPtr &other) { Attach(other.object_); }
    kxBaseRefPtr &operator=(const kxBaseRefPtr &other)
    {
        set(other.object_);
        return *this;
    }
    ~kxBaseRefPtr() { Detach(); }

    [[nodiscard]] kxNodeObject *get() const { return object_; }
    /// Refers to `object` (may be null), releasing the previous one.
    void set(kxNodeObject *object);
    explicit operator bool() const { return object_ != nullptr; }

    /// Makes this pointer refer to the copy of what `source` refers to (FindOrCreateCopy).
    /// False (pointer unchanged) when a copy was needed and could not be made.
    bool CopyFrom(const kxBaseRefPtr &source, kxNodeObjCopyList &list,
                  kxNameSpace *ns = kxOwnNameSpace());
    /// The object to refer to in a copy: null for null; the object itself when the list is not
    /// a clone and the object is owned by the tree; the copy already made during this copy;
    /// else a new object of the same class (the code error "kxBaseRefPtr::FindOrCreateCopy" and
    /// null when it cannot be created), recorded in the list before its contents are copied.
    /// A new copy has the count 0: the pointer that takes it counts it.
    [[nodiscard]] kxNodeObject *FindOrCreateCopy(kxNodeObjCopyList &list,
                                                 kxNameSpace *ns = kxOwnNameSpace()) const;

private:
    void Attach(kxNodeObject *object)
    {
        object_ = object;
        if (object_)
            object_->IncRef();
    }
    void Detach();

    kxNodeObject *object_ = nullptr;
};

/// A typed kxBaseRefPtr.
template <class T>
class kxRefPtr : public kxBaseRefPtr {
public:
    kxRefPtr() = default;
    explicit kxRefPtr(T *object) : kxBaseRefPtr(object) {}
    [[nodiscard]] T *get() const { return static_cast<T *>(kxBaseRefPtr::get()); }
    T *operator->() const { return get(); }
};

#endif
