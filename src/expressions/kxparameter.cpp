// kxparameter.cpp - kxParameter<T> and its explicit instances for int, float, double, complex.
#include "kx/expressions/kxparameter.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"

#include <climits>
#include <cstring>

namespace {

const char *NonNull(const char *text) { return text ? text : ""; }

/// True for the characters of a plain number run: decimal digits and + - . e E.
bool IsNumberRunCharacter(char c)
{
    return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E';
}

/// Removes leading blanks from `text` in place.
void StripLeadingBlanks(KXString &text)
{
    int blanks = 0;
    while (blanks < text.Length() && text[blanks] == ' ')
        ++blanks;
    text.Del(0, blanks);
}

/// Cuts the leading run of number characters off `text` and returns it.
KXString TakeNumberRun(KXString &text)
{
    int end = 0;
    while (end < text.Length() && IsNumberRunCharacter(text[end]))
        ++end;
    KXString run(text.c_str(), end);
    text.Del(0, end);
    return run;
}

// Arithmetic of the stored values. Integers are combined in 64 bits and clamped to the range
// that kxComplexToNumber gives (+-2147483647), so no update overflows; an integer division by
// zero gives 0 (the library never traps on user input).
template <class T>
T Add(const T &a, const T &b)
{
    return a + b;
}
template <class T>
T Subtract(const T &a, const T &b)
{
    return a - b;
}
template <class T>
T Multiply(const T &a, const T &b)
{
    return a * b;
}
template <class T>
T Divide(const T &a, const T &b)
{
    return a / b;
}

int ClampToInt(long long v)
{
    if (v > INT_MAX)
        return INT_MAX;
    if (v < -INT_MAX)
        return -INT_MAX;
    return static_cast<int>(v);
}

template <>
int Add<int>(const int &a, const int &b)
{
    return ClampToInt(static_cast<long long>(a) + b);
}
template <>
int Subtract<int>(const int &a, const int &b)
{
    return ClampToInt(static_cast<long long>(a) - b);
}
template <>
int Multiply<int>(const int &a, const int &b)
{
    return ClampToInt(static_cast<long long>(a) * b);
}
template <>
int Divide<int>(const int &a, const int &b)
{
    return b == 0 ? 0 : ClampToInt(static_cast<long long>(a) / b);
}

} // namespace

template <class T>
unsigned long kxParameter<T>::writes_ = 0;

template <class T>
kxParameter<T>::kxParameter() = default;

template <class T>
kxParameter<T>::kxParameter(const T &value) : value_(value)
{
}

template <class T>
kxParameter<T>::kxParameter(const kxParameter &other) : value_(other.value_)
{
    if (other.expression_)
        AssignExpression(other.expression_->GetNameSpace(), other.expression_->GetExpression());
}

template <class T>
kxParameter<T>::kxParameter(kxParameter &&other) noexcept
    : expression_(other.expression_), value_(other.value_)
{
    other.expression_ = nullptr;
}

template <class T>
kxParameter<T>::~kxParameter()
{
    EraseExpression();
}

template <class T>
kxParameter<T> &kxParameter<T>::operator=(const kxParameter &other)
{
    if (this == &other)
        return *this;
    ++writes_;
    value_ = other.value_;
    if (other.expression_)
        AssignExpression(other.expression_->GetNameSpace(), other.expression_->GetExpression());
    else
        EraseExpression();
    return *this;
}

template <class T>
kxParameter<T> &kxParameter<T>::operator=(kxParameter &&other) noexcept
{
    if (this == &other)
        return *this;
    ++writes_;
    EraseExpression();
    expression_ = other.expression_;
    value_ = other.value_;
    other.expression_ = nullptr;
    return *this;
}

template <class T>
void kxParameter<T>::EraseExpression()
{
    delete expression_;
    expression_ = nullptr;
}

template <class T>
void kxParameter<T>::AssignExpression(kxNameSpace *ns, const char *text)
{
    ++writes_;
    if (!expression_ || expression_->GetNameSpace() != ns) {
        EraseExpression();
        expression_ = new kxNamedVariable(ns, kxNamedVariable::NotListed, -1);
    }
    expression_->SetExpression(text);
}

// -- reading ----------------------------------------------------------------------------------

template <class T>
T kxParameter<T>::GetExpressionValue() const
{
    T result{};
    kxComplexToNumber(expression_->GetValue(), result);
    return result;
}

template <class T>
kxParameter<T>::operator T() const
{
    return expression_ ? GetExpressionValue() : value_;
}

template <class T>
KXString kxParameter<T>::GetExpression() const
{
    if (expression_)
        return expression_->GetExpression();
    return kxNumberToString(value_);
}

template <class T>
KXString kxParameter<T>::GetValueString() const
{
    if (!expression_)
        return kxNumberToString(value_);
    if (expression_->GetExpression().Empty())
        return KXString();
    return kxNumberToString(GetExpressionValue());
}

template <class T>
bool kxParameter<T>::IsUndefined() const
{
    return expression_ && expression_->GetExpression().Empty();
}

// -- setting ----------------------------------------------------------------------------------

template <class T>
void kxParameter<T>::SetValue(const T &value)
{
    ++writes_;
    EraseExpression();
    value_ = value;
}

template <class T>
kxParameter<T> &kxParameter<T>::operator=(const T &value)
{
    SetValue(value);
    return *this;
}

template <class T>
bool kxParameter<T>::SetValue(const char *text)
{
    T value{};
    if (!kxStringToNumber(NonNull(text), value))
        return false;
    SetValue(value);
    return true;
}

template <class T>
void kxParameter<T>::SetExpression(kxNameSpace *ns, const char *text)
{
    if (!kxNameSpace::IsActual(ns))
        return;
    AssignExpression(ns, NonNull(text));
}

template <class T>
void kxParameter<T>::SetValueOrExpression(kxNameSpace *ns, const char *text)
{
    T value{};
    if (kxStringToNumber(NonNull(text), value))
        SetValue(value);
    else
        SetExpression(ns, text);
}

template <class T>
void kxParameter<T>::CopyFrom(kxNameSpace *ns, const kxParameter &other)
{
    if (this == &other)
        return;
    ++writes_;
    EraseExpression();
    if (!other.expression_) {
        value_ = other.value_;
    } else if (!kxNameSpace::IsActual(ns)) {
        value_ = other.GetExpressionValue();
    } else {
        AssignExpression(ns, other.expression_->GetExpression());
        value_ = other.value_;
    }
}

// -- arithmetic -------------------------------------------------------------------------------

template <class T>
kxParameter<T> &kxParameter<T>::operator+=(const T &rhs)
{
    SetValue(Add<T>(static_cast<T>(*this), rhs));
    return *this;
}

template <class T>
kxParameter<T> &kxParameter<T>::operator-=(const T &rhs)
{
    SetValue(Subtract<T>(static_cast<T>(*this), rhs));
    return *this;
}

template <class T>
kxParameter<T> &kxParameter<T>::operator*=(const T &rhs)
{
    SetValue(Multiply<T>(static_cast<T>(*this), rhs));
    return *this;
}

template <class T>
kxParameter<T> &kxParameter<T>::operator/=(const T &rhs)
{
    SetValue(Divide<T>(static_cast<T>(*this), rhs));
    return *this;
}

// -- comparison -------------------------------------------------------------------------------

template <class T>
bool kxParameter<T>::ValueEquals(const kxParameter &other) const
{
    return static_cast<T>(*this) == static_cast<T>(other);
}

template <class T>
bool kxParameter<T>::operator==(const T &rhs) const
{
    return static_cast<T>(*this) == rhs;
}

template <class T>
bool kxParameter<T>::operator!=(const T &rhs) const
{
    return !(*this == rhs);
}

template <class T>
bool kxParameter<T>::operator==(const kxParameter &other) const
{
    if (expression_ && other.expression_)
        return expression_->GetExpression() == other.expression_->GetExpression();
    if (!expression_ && !other.expression_)
        return value_ == other.value_;
    return false;
}

template <class T>
bool kxParameter<T>::operator!=(const kxParameter &other) const
{
    return !(*this == other);
}

// -- text form --------------------------------------------------------------------------------

template <class T>
void kxParameter<T>::Write(KXString &out) const
{
    if (expression_) {
        out += '"';
        out += expression_->GetExpression();
        out += '"';
        return;
    }
    out += kxWriteNumber(value_);
}

template <class T>
bool kxParameter<T>::Read(kxNameSpace *ns, KXString &text)
{
    StripLeadingBlanks(text);
    if (text.Empty())
        return false;

    if (text[0] == '"') {
        text.Del(0, 1);
        const int close = text.Index('"');
        if (close < 0)
            return false;
        const KXString formula(text.c_str(), close);
        text.Del(0, close + 1);
        if (kxNameSpace::IsActual(ns))
            AssignExpression(ns, formula);
        return true;
    }

    if (text[0] == '(') {
        const int close = text.Index(')');
        if (close < 0)
            return false;
        const KXString pair(text.c_str(), close + 1);
        if (!SetValue(pair))
            return false;
        text.Del(0, close + 1);
        return true;
    }

    const KXString run = TakeNumberRun(text);
    T value{};
    if (!kxStringToNumber(run, value))
        return false;
    SetValue(value);
    return true;
}

template <class T>
bool kxParameter<T>::Read(T &value, KXString &text)
{
    StripLeadingBlanks(text);
    if (text.Empty())
        return false;
    const KXString run = TakeNumberRun(text);
    return kxStringToNumber(run, value);
}

template class kxParameter<int>;
template class kxParameter<float>;
template class kxParameter<double>;
template class kxParameter<std::complex<double>>;
