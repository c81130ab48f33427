// kxnamespacesnapshot.h - saving the variables of a namespace and bringing them back later
// (for instance to undo the edits made in a variables dialog, or to run a calculation with
// changed variables and return to the user's values afterwards).
//
// A kxNamedVariableSnapshot records one listed variable: its slot, its name, and its plain value
// or its formula text. A kxNameSpaceSnapshot records every listed variable of one namespace.
//
// Restore brings the namespace back to the recorded state through the variables' public
// operations (SetName, SetValue, SetExpression, RemoveVariable), so that listeners receive the
// usual events and every cached value is recomputed on its next read. Only what differs is
// changed. Variables added since the snapshot are removed; recorded variables that were removed
// since are made again (in new slots, since slots are never reused). Before changing anything,
// Restore records the state it replaces; Unrestore brings that state back (once per Restore).
//
// A snapshot holds a pointer to its namespace and must not outlive it. Destroying a snapshot
// changes nothing in the namespace.
#ifndef KX_EXPRESSIONS_KXNAMESPACESNAPSHOT_H
#define KX_EXPRESSIONS_KXNAMESPACESNAPSHOT_H

#include "kx/foundation/kxstring.h"

#include <complex>
#include <memory>
#include <vector>

class kxNameSpace;
class kxNamedVariable;

class kxNamedVariableSnapshot {
public:
    /// Records the variable's slot, name and value or formula.
    explicit kxNamedVariableSnapshot(const kxNamedVariable &variable);

    /// Gives `variable` the recorded value or formula (only when it differs).
    void RestoreContents(kxNamedVariable &variable) const;
    /// True when the variable's value or formula equals the recorded one.
    [[nodiscard]] bool ContentsEqual(const kxNamedVariable &variable) const;

    int GetIndex() const { return index_; }
    void SetIndex(int index) { index_ = index; }
    const KXString &GetName() const { return name_; }
    bool IsValue() const { return isValue_; }
    const std::complex<double> &GetValue() const { return value_; }
    const KXString &GetExpression() const { return expression_; }
    bool IsProperty() const { return property_; }

private:
    int index_;
    KXString name_;
    bool isValue_;
    bool property_;
    std::complex<double> value_;
    KXString expression_;
};

class kxNameSpaceSnapshot {
public:
    /// Records every listed variable of `ns` (not those of its parents).
    explicit kxNameSpaceSnapshot(kxNameSpace &ns);
    ~kxNameSpaceSnapshot();

    kxNameSpaceSnapshot(const kxNameSpaceSnapshot &) = delete;
    kxNameSpaceSnapshot &operator=(const kxNameSpaceSnapshot &) = delete;

    /// Brings the namespace back to the recorded state, remembering the state it replaces.
    void Restore();
    /// Brings back the state that the last Restore replaced; false when there is none.
    bool Unrestore();

    kxNameSpace &GetNameSpace() const { return ns_; }
    int GetCount() const { return static_cast<int>(variables_.size()); }
    /// Record i, counted from 0.
    [[nodiscard]] const kxNamedVariableSnapshot &GetVariable(int i) const { return variables_[i]; }

private:
    /// Makes the namespace hold exactly the variables of `records` (slots updated in place
    /// when a variable has to be made again).
    void Apply(std::vector<kxNamedVariableSnapshot> &records);

    kxNameSpace &ns_;
    std::vector<kxNamedVariableSnapshot> variables_;
    std::unique_ptr<kxNameSpaceSnapshot> replaced_; ///< the state replaced by Restore
};

#endif
