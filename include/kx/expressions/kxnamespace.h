// kxnamespace.h - the scope that owns a set of named variables (kxNamedVariable), may have a
// parent scope, counts its changes (the pseudo-time) and tells listeners when a variable is
// about to change and when it has changed.
//
// Variable codes
// --------------
// FindVariable returns a code: (levels up the parent chain) * 0x10000 + (index in the namespace
// where the name was found), or -1. GetVariable(code) goes the other way. The int code is
// exact for namespaces of up to 65,536 variables; named variables resolve their formulas with
// (levels, index) pairs internally, so larger namespaces evaluate exactly too.
//
// Events
// ------
// The namespace is a kxEventSource. WillChangeEventID() is raised before a listed variable
// changes (data1: the namespace), ChangedEventID() after it changed (data1: the namespace,
// data2: the variable, null after a removal). Both ids come from the event-id server, once per
// process.
//
// Choices where the behaviour was open:
//   - Every change that moves a namespace's pseudo-time moves that of all its descendants too,
//     so formulas of a child follow the variables of every ancestor.
//   - A namespace listens to its parent: the parent's events are passed on to the child's own
//     listeners (data1 is then the child, data2 the parent's variable). A namespace that is
//     destroyed first turns its children into roots.
//   - The namespace owns its listed variables: RemoveVariable and unalloc destroy them.
//     Removal leaves an empty slot, so the indices of the others (and codes held by formulas)
//     stay valid; unalloc empties the array.
//   - PrepareToLoad clears the preload mark of every variable, ready for the two-pass read of
//     a project file; it creates and destroys nothing.
//   - Every structural change (RemoveVariable, unalloc) moves the pseudo-time. unalloc raises
//     the will-change event and the changed event (data2 null) once for the whole namespace.
//   - Names are found through a hash index of the namespace's variables, so SetName (with its
//     uniqueness test) and FindVariable stay cheap in namespaces of 100,000 variables.
#ifndef KX_EXPRESSIONS_KXNAMESPACE_H
#define KX_EXPRESSIONS_KXNAMESPACE_H

#include "kx/foundation/kxdynarray.h"
#include "kx/objects/kxevent.h"
#include "kx/objects/kxobject.h"

#include <cstdint>
#include <vector>

class kxNamedVariable;

class kxNameSpace : public kxEventSource, public kxEventListener {
public:
    explicit kxNameSpace(kxNameSpace *parent = nullptr);
    /// Destroys the listed variables and stops listening to the parent.
    ~kxNameSpace() override;

    kxNameSpace(const kxNameSpace &) = delete;
    kxNameSpace &operator=(const kxNameSpace &) = delete;

    /// True for an actual namespace: neither null nor one of the reserved handles
    /// kxNoNameSpace() (1) and kxOwnNameSpace() (2) of kxobject.h.
    [[nodiscard]] static bool IsActual(const kxNameSpace *ns)
    {
        return reinterpret_cast<std::uintptr_t>(ns) > 2;
    }

    static int WillChangeEventID();
    static int ChangedEventID();

    /// The change counter: incremented by every change of a name, formula or value here (and
    /// by every change announced by an ancestor). It only grows.
    int GetPseudoTime() const { return pseudoTime_; }

    kxNameSpace *getParent() const { return parent_; }
    /// Re-parents the namespace (null or a reserved handle: a root); moves the pseudo-time.
    void setParent(kxNameSpace *parent);

    /// The code of the first variable named exactly `name` (see the top of this file), -1 when
    /// there is none.
    [[nodiscard]] int FindVariable(const char *name, bool searchParents = true) const;
    /// The variable for a code: climbs (code / 0x10000) parents (stopping at the root) and
    /// indexes there with code % 0x10000. An index outside the array is fatal; an empty slot
    /// gives null.
    [[nodiscard]] kxNamedVariable *GetVariable(int code) const;
    /// The variable named `name` here or in an ancestor, or null.
    [[nodiscard]] kxNamedVariable *GetVariableByName(const char *name,
                                                     bool searchParents = true) const;
    /// The variable in slot `index` of this namespace; null for an empty slot or an index
    /// outside 0 .. GetVariableCount()-1 (never fatal).
    [[nodiscard]] kxNamedVariable *GetVariableAt(int index) const { return PeekVariable(0, index); }
    /// Number of slots (variables and empty slots of removed ones).
    int GetVariableCount() const { return variables_.Size(); }

    /// Enters a variable (made for this namespace and not yet entered) and returns its index.
    /// The kxNamedVariable constructor calls this; the namespace then owns the variable.
    int AddVariable(kxNamedVariable *variable);
    /// Destroys the variable at `index` (raising both events); the slot stays empty.
    void RemoveVariable(int index);
    /// Clears every variable's preload mark.
    void PrepareToLoad();
    /// Destroys every variable and empties the array.
    void unalloc();

    /// Raises the will-change event for a listed index (nothing for -1).
    void NotifyVariableWillChange(int index);
    /// Moves the pseudo-time, hands the new value out through `stamp` (when given) and raises
    /// the changed event with the variable for a listed index (nothing for -1).
    void NotifyVariableChanged(int index, int *stamp = nullptr);

    /// Attaches an object to a namespace: kxOwnNameSpace() asks the object for its own
    /// namespace (GetNameSpace) and writes that back, kxNoNameSpace() becomes null, any other
    /// value is stored.
    static void SetNameSpace(KXObject &object, kxNameSpace *ns);

    /// Passes the parent's announcements on (see the top of this file).
    void OnEvent(kxEvent &event, int cookie) override;

private:
    friend class kxNamedVariable;
    friend class kxVariableEvaluator;

    /// The variable in slot `index` of the namespace `levels` parents up, or null when there is
    /// no such slot or namespace (never fatal).
    [[nodiscard]] kxNamedVariable *PeekVariable(int levels, int index) const
    {
        const kxNameSpace *ns = this;
        for (; levels > 0 && ns; --levels)
            ns = ns->parent_;
        if (!ns || index < 0 || index >= ns->variables_.Size())
            return nullptr;
        return static_cast<kxNamedVariable *>(ns->variables_[index]);
    }
    /// Counts, for the whole process, the changes after which a variable found earlier may be
    /// gone or reached differently: a variable unlinked, a namespace emptied, re-parented or
    /// destroyed. Formulas keep direct pointers to the variables they name only while it holds.
    static unsigned Generation() { return generation_; }
    static void NextGeneration() { ++generation_; }
    /// Finds `name` as (levels up, index there); false (outputs unchanged) when not found.
    bool LocateVariable(const char *name, int &levels, int &index) const;
    /// The slot of the variable named `name` here (not in parents), or -1.
    [[nodiscard]] int FindLocal(const char *name) const;
    /// Empties the slot of a variable that is being destroyed and moves the pseudo-time.
    void UnlinkVariable(int index);
    /// Moves the pseudo-time of this namespace and of every descendant.
    void Advance();
    /// Deletes every variable without emptying slots one by one, then clears the array.
    void EraseVariables();

    // Name index: open addressing over slot numbers (empty: -1, deleted: -2), capacity a power
    // of two kept at least twice the number of entries, so that name lookup and the uniqueness
    // test stay cheap in namespaces of many thousands of variables. Each entry keeps its name's
    // hash beside the slot, so a probe passes over other names without reading their variables.
    struct IndexEntry {
        int slot;
        unsigned hash;
    };
    static unsigned Hash(const char *name);
    /// The index entry that holds the slot of the variable named `name` (not empty), or -1.
    [[nodiscard]] long IndexProbe(const char *name) const;
    void IndexInsert(const char *name, int slot);
    void IndexErase(const char *name);
    void IndexRehash(size_t capacity);

    kxVoidPointerArray variables_;
    kxNameSpace *parent_ = nullptr;
    std::vector<kxNameSpace *> children_; ///< not owned; they unregister themselves
    std::vector<IndexEntry> nameIndex_;
    int nameIndexUsed_ = 0; ///< live and deleted entries
    int pseudoTime_ = 0;
    static unsigned generation_;
};

#endif
