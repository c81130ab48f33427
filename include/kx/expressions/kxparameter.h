// kxparameter.h - a typed number that the user may give either as a plain value or as a formula
// over named variables (`kxParameter<T>` for int, float, double and std::complex<double>).
//
// A parameter holding a formula owns one anonymous kxNamedVariable (created with flag 1, so it
// is not entered in its namespace's variable list and raises no namespace events); every read
// of the value evaluates that variable afresh, so the parameter follows the variables it names.
// A parameter holding a plain value owns nothing.
//
// Text form (project files, shape definitions, commands):
//   - a formula is written between double quotes, without escaping:  "w/2"
//   - a plain value is written by kxWriteNumber: 2.500000, 3, (1.000000, 2.000000)
// Read consumes one parameter from the front of a text and leaves the rest for the caller.
//
// Choices where the behaviour was open:
//   - Copy construction and copy assignment copy both parts; an owned formula is copied into a
//     new anonymous variable of the same namespace as the source's variable.
//   - Moving steals the owned variable.
//   - A formula is turned into a number by every arithmetic update (+=, -=, *=, /=), on purpose.
//     For int the result is computed in 64 bits and clamped to +-2147483647 (the range of
//     kxComplexToNumber), and an integer division by zero gives 0.
//   - Every change of a parameter (any setter, Read, CopyFrom, an arithmetic update or an
//     assignment) advances one process-wide count per T, Writes(). A cache built from many
//     parameters compares that count instead of visiting each parameter, so it also sees changes
//     made through a plain kxParameter<T>& (CMDPoint's coordinates rely on it).
//   - The reserved namespace handles 1 and 2 (kxNoNameSpace(), kxOwnNameSpace() of
//     kxobject.h) are treated like null by CopyFrom (the copy is frozen) and by
//     SetExpression, Read and SetValueOrExpression (formula input is ignored).
//
// Only the four instances named above exist (explicit instantiations in kxparameter.cpp).
#ifndef KX_EXPRESSIONS_KXPARAMETER_H
#define KX_EXPRESSIONS_KXPARAMETER_H

#include "kx/foundation/kxstring.h"

#include <complex>

class kxNameSpace;
class kxNamedVariable;

template <class T>
class kxParameter {
public:
    /// No formula, value zero.
    kxParameter();
    /// A plain value.
    kxParameter(const T &value);
    kxParameter(const kxParameter &other);
    kxParameter(kxParameter &&other) noexcept;
    /// Destroys the owned formula variable, if any.
    ~kxParameter();

    kxParameter &operator=(const kxParameter &other);
    kxParameter &operator=(kxParameter &&other) noexcept;

    // -- Reading ------------------------------------------------------------------------------

    /// The value: the plain value, or the formula evaluated now and narrowed by
    /// kxComplexToNumber (int: real part clamped to +-2147483647 and rounded; float and double:
    /// real part; complex unchanged).
    operator T() const;
    /// The same as the conversion, for call sites where a named function reads better.
    T GetValue() const { return static_cast<T>(*this); }

    /// The formula text when there is one, else the value written by kxNumberToString.
    KXString GetExpression() const;
    /// kxNumberToString of the value (evaluated when there is a non-empty formula); the empty
    /// string for an empty formula.
    KXString GetValueString() const;
    /// True only when the parameter holds a formula variable whose text is empty.
    bool IsUndefined() const;
    /// True while the parameter holds a formula.
    bool HasExpression() const { return expression_ != nullptr; }
    /// The owned formula variable, or null for a plain value. The view never outlives the
    /// parameter, nor its next change.
    const kxNamedVariable *GetNamedVariable() const { return expression_; }
    /// The stored plain value (also carried along by copies of a formula parameter), without
    /// evaluating anything.
    const T &GetStoredValue() const { return value_; }
    /// Number of changes made so far to all kxParameter<T> of this process (see the top).
    static unsigned long Writes() { return writes_; }

    // -- Setting ------------------------------------------------------------------------------

    /// Destroys any formula and stores the value.
    void SetValue(const T &value);
    kxParameter &operator=(const T &value);
    /// Parses the text with kxStringToNumber for T; on failure returns false and changes
    /// nothing, else stores the value (destroying any formula).
    [[nodiscard]] bool SetValue(const char *text);
    /// With a null (or reserved) namespace nothing happens. Otherwise an owned variable of the
    /// same namespace only gets the new text; else the old variable is destroyed and a new
    /// anonymous one is made in `ns` with the text.
    void SetExpression(kxNameSpace *ns, const char *text);
    /// A text that is wholly a number for kxStringToNumber becomes a plain value; any other
    /// text goes to SetExpression (so with a null namespace it is ignored).
    void SetValueOrExpression(kxNameSpace *ns, const char *text);
    /// Copies `other` into namespace `ns`: a plain value is copied; a formula is frozen into its
    /// current (narrowed) value when `ns` is null or a reserved handle, else re-made in `ns`
    /// as a new anonymous variable with the same text (other's stored value comes along).
    /// Copying a parameter onto itself does nothing.
    void CopyFrom(kxNameSpace *ns, const kxParameter &other);

    // -- Arithmetic: evaluate, drop any formula, store the result as a plain value ------------
    kxParameter &operator+=(const T &rhs);
    kxParameter &operator-=(const T &rhs);
    kxParameter &operator*=(const T &rhs);
    kxParameter &operator/=(const T &rhs);

    // -- Comparison ---------------------------------------------------------------------------

    /// Compares the evaluated values of both sides.
    [[nodiscard]] bool ValueEquals(const kxParameter &other) const;
    /// Compares the evaluated value with `rhs`.
    bool operator==(const T &rhs) const;
    bool operator!=(const T &rhs) const;
    /// Compares the form: two formulas are equal when their texts are equal (exact), two plain
    /// values when the values are equal; a formula never equals a plain value.
    bool operator==(const kxParameter &other) const;
    bool operator!=(const kxParameter &other) const;

    // -- Text form ----------------------------------------------------------------------------

    /// Appends the text form to `out`: "<formula>" in double quotes, or kxWriteNumber(value).
    void Write(KXString &out) const;
    /// Consumes one parameter from the front of `text` (leading blanks first):
    ///  - "formula": through the closing quote; given to the formula variable as SetExpression
    ///    does (skipped with a null namespace). No closing quote: false.
    ///  - (...): through the first ')', read by SetValue(text). No ')' or bad number: false.
    ///  - otherwise the leading run of digits and + - . e E is consumed and parsed by
    ///    kxStringToNumber; on success any formula is dropped and the value stored.
    /// Returns false for an empty text or a failed parse; the parameter is then unchanged (but
    /// what was gathered stays consumed).
    [[nodiscard]] bool Read(kxNameSpace *ns, KXString &text);
    /// The plain-number form where no formulas are allowed: strips leading blanks, consumes the
    /// leading run of digits and + - . e E and parses it into `value` (false on failure or on
    /// an empty text).
    [[nodiscard]] static bool Read(T &value, KXString &text);

protected:
    /// The formula evaluated and narrowed; the caller has made sure that there is a formula.
    T GetExpressionValue() const;

private:
    /// Destroys the owned formula variable (if any); the parameter then holds its plain value.
    void EraseExpression();
    /// Makes sure an owned formula variable of namespace `ns` exists and gives it `text`.
    void AssignExpression(kxNameSpace *ns, const char *text);

    kxNamedVariable *expression_ = nullptr; ///< owned; null for a plain value
    T value_{};                             ///< the plain value
    static unsigned long writes_;           ///< see Writes()
};

extern template class kxParameter<int>;
extern template class kxParameter<float>;
extern template class kxParameter<double>;
extern template class kxParameter<std::complex<double>>;

#endif
