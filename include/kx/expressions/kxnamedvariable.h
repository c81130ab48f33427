// kxnamedvariable.h - a named complex-valued quantity of a kxNameSpace that holds either a plain
// value or a formula over other variables, evaluated lazily and cached against the namespace's
// change counter (its pseudo-time).
//
// Evaluation (GetValue)
// ---------------------
// A value variable returns its value. An expression variable returns its cached value while its
// value stamp equals its namespace's pseudo-time; otherwise it re-checks every variable that its
// formula names (looking a name up again when the variable it led to is gone or was renamed),
// and evaluates the formula only when one of those values really changed or the formula was
// recompiled. Cycles, undefined names and evaluation faults are written to the warning log
// (kxWarningLog) and give 0 (cycles) or the value computed with zeros.
//
// The evaluation of a chain of variables runs on an explicit work stack on the heap, not on the
// machine stack: a chain of any depth (10,000 variables each naming the previous one, or far
// more) evaluates without recursion, and there is no depth limit.
//
// Choices where the behaviour was open:
//   - The references of a formula are kept in one block sized to the names it uses (the formula
//     never needs room for more), each as (levels up, index) so that namespaces with more than
//     65,536 variables resolve exactly (FindVariable's int code is the public form), together
//     with the value last seen for each name. The comparison that decides whether to evaluate
//     reads that block, and the formula is evaluated with it as its parameter values, so a
//     variable whose inputs did not change never touches its compiled form. The block is
//     allocated when the formula is first compiled, so a variable that is never evaluated (a
//     project read and written again) costs only its own fields and texts.
//   - A formula that names no variable is evaluated after every recompilation.
//   - A name that is no longer found gives 0 like any other referenced value: when that differs
//     from the value seen before, the formula is evaluated again (a removed or renamed variable
//     never leaves a stale result behind).
//   - Whatever the global error record holds after a formula is evaluated becomes the "could
//     not be evaluated" warning and the record is reset, so a user error that was already
//     pending before the evaluation is reported in that warning too (and then cleared).
//   - GetValueString writes the (evaluated) value with kxNumberToString: a real number when the
//     imaginary part is zero, else the complex pair "(%.8g, %.8g)".
//   - AppendCheckSum adds the name, the kind, and the formula text (for an expression) and the
//     current value, so that a change of a named variable changes the checksum of a dependent.
//   - A listed variable that is destroyed directly (delete) leaves its namespace slot empty and
//     moves the pseudo-time, so that dependents look their names up again.
//
// Lifetimes: a variable that is not entered in its namespace (a parameter's, a temporary one)
// must be destroyed before the namespace. GetValue is not re-entrant except through its cycle
// guard: a warning hook may read variables but must not change or destroy them.
#ifndef KX_EXPRESSIONS_KXNAMEDVARIABLE_H
#define KX_EXPRESSIONS_KXNAMEDVARIABLE_H

#include "kx/foundation/kxstring.h"

#include <complex>

class CheckSum;
class KXExpressionC;
class kxNameSpace;

class kxNamedVariable {
public:
    /// Construction flags.
    enum {
        NotListed = 1,  ///< not entered in the namespace (index -1): parameters' variables
        Temporary = 2,  ///< temporary: takes the given index without being entered
        NotProperty = 4 ///< the property mark is left clear
    };

    /// Makes a variable holding the value 0 (formula text "0", empty name) in `ns`. Without
    /// NotListed or Temporary it is appended to the namespace, which then owns it; otherwise the
    /// caller owns it. The reserved handles kxNoNameSpace() and kxOwnNameSpace() (a variable
    /// has no object to ask) give a variable without a namespace.
    explicit kxNamedVariable(kxNameSpace *ns, int flags = 0, int index = -1);
    /// A listed variable leaves an empty slot in its namespace.
    ~kxNamedVariable();

    kxNamedVariable(const kxNamedVariable &) = delete;
    kxNamedVariable &operator=(const kxNamedVariable &) = delete;

    // -- Names --------------------------------------------------------------------------------
    [[nodiscard]] static bool IsStartCharacter(int c)
    {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    }
    [[nodiscard]] static bool IsContinuationCharacter(int c)
    {
        return IsStartCharacter(c) || (c >= '0' && c <= '9') || c == '_';
    }
    /// A letter, then letters, digits and underscores, and neither a function nor a constant of
    /// the global complex function parser.
    [[nodiscard]] static bool IsNameValid(const char *name);
    /// False when any variable of this namespace (not its parents, this one included) has
    /// exactly that name.
    [[nodiscard]] bool IsNameUnique(const char *name) const;

    /// True at once when the name is unchanged; the empty name is always accepted; any other
    /// name must be valid and unique, else false and nothing changes. Raises the namespace's
    /// events around the change (listed variables only) and renews the name stamp.
    [[nodiscard]] bool SetName(const char *name);
    const KXString &GetName() const { return name_; }

    // -- Value or formula ---------------------------------------------------------------------
    /// Makes this an expression variable with the given formula text.
    void SetExpression(const char *text);
    /// Makes this a value variable; the compiled formula and references are discarded.
    void SetValue(const std::complex<double> &value);
    /// kxStringToNumber for complex (a real number or a parenthesised pair); false on failure.
    [[nodiscard]] bool SetValue(const char *text);
    /// A text that parses as a complex number sets a value, any other text the formula.
    void SetValueOrExpression(const char *text);

    /// The formula text ("0" for a new variable; the last formula for a value variable).
    const KXString &GetExpression() const
    {
        return expressionSet_ ? expression_ : InitialExpression();
    }
    bool IsValue() const { return isValue_; }
    /// The plain value, or the value last computed (without evaluating anything).
    const std::complex<double> &GetStoredValue() const { return value_; }
    /// The value, evaluating the formula when the cache is stale (see the top of this file).
    std::complex<double> GetValue();
    /// The value as display text (kxNumberToString).
    [[nodiscard]] KXString GetValueString();
    /// Adds the variable's state to a checksum.
    void AppendCheckSum(CheckSum &sum);

    // -- Membership and marks -----------------------------------------------------------------
    kxNameSpace *GetNameSpace() const { return ns_; }
    /// The slot in the namespace (or the index given to a temporary variable), -1 otherwise.
    int GetIndex() const { return index_; }
    /// The index under which namespace events are raised: the index of a listed, non-temporary
    /// property variable, else -1.
    int GetListedIndex() const { return (temporary_ || !property_) ? -1 : index_; }
    bool IsPreloaded() const { return preloaded_; }
    void SetPreloaded() { preloaded_ = true; }
    void ResetPreloaded() { preloaded_ = false; }
    bool IsTemporary() const { return temporary_; }
    bool IsProperty() const { return property_; }

    int GetNameStamp() const { return nameStamp_; }
    int GetExpressionStamp() const { return expressionStamp_; }
    int GetValueStamp() const { return valueStamp_; }

private:
    friend class kxNameSpace;
    friend class kxVariableEvaluator;

    struct Reference;
    struct References;

    void DiscardCompiled();
    /// The formula text of a variable whose formula was never set ("0"), shared by all.
    static const KXString &InitialExpression();
    int PseudoTime() const;

    // The fields that a dependent's evaluation reads come first, so that they share a cache line.
    kxNameSpace *ns_; ///< not owned
    std::complex<double> value_{0.0, 0.0};
    int valueStamp_ = 0;
    int nameStamp_ = 0;
    int expressionStamp_ = 0;
    int index_ = -1;
    unsigned refGeneration_ = 0; ///< kxNameSpace::Generation() when references were resolved
    bool isValue_ = true;
    bool busy_ = false;
    bool preloaded_ = false;
    bool temporary_ = false;
    bool property_ = true;
    bool expressionSet_ = false;        ///< expression_ holds the text (else it is "0")
    int referenceCount_ = 0;            ///< one per declared name
    Reference *references_ = nullptr;   ///< the references, then the values last seen
    KXExpressionC *compiled_ = nullptr; ///< owned, built lazily
    KXString name_;
    KXString expression_; ///< the formula text once set (a new variable's "0" takes no block)
};

#endif
