// The formula language's tables and objects: the parsers' registered functions and constants,
// and the compiled expression's text, parameters and copies. Compiling and evaluating live in
// kxfncompiler.cpp and kxfnevaluator.cpp, the built-in functions in kxfnbuiltins.cpp.
#define KX_UNIT "kxfnparserComm"

#include "kx/expressions/kxfnparser.h"

#include "kx/expressions/kxcubicspline.h"
#include "kxfnbuiltins.h"
#include "kxfnevaluator.h"
#include "kxfninternal.h"
#include "kxfnopcodes.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

using namespace kxfn;

// =============================================================================================
// Parser tables.
template <class T>
void KXFuncParserT<T>::RegisterBuiltin(Routine routine, const char *name, int nargs, int inlineOp)
{
    KXFuncDataEltT<T> elt;
    elt.routine = routine;
    elt.name = name;
    elt.nargs = nargs;
    elt.inlineOp = inlineOp;
    if (inlineOp == kInlineIf)
        elt.argNames = {"condition", "expression1", "expression2"};
    functions_.push_back(elt);
    nameLengths_ |= LengthBit(functions_.back().name.Length());
}

template <class T>
bool KXFuncParserT<T>::RegisterFunction(Routine routine, const KXString &name, int nargs)
{
    if (!routine || name.Length() == 0 || nargs < -1)
        return false;
    for (KXFuncDataEltT<T> &f : functions_) {
        if (f.name == name) {
            f.routine = routine;
            f.nargs = nargs;
            f.inlineOp = 0;
            f.argNames.clear();
            return true;
        }
    }
    KXFuncDataEltT<T> elt;
    elt.routine = routine;
    elt.name = name;
    elt.nargs = nargs;
    functions_.push_back(elt);
    nameLengths_ |= LengthBit(functions_.back().name.Length());
    return true;
}

template <class T>
bool KXFuncParserT<T>::RegisterConstant(const KXString &name, const T &value,
                                        const KXString &description)
{
    if (name.Length() == 0)
        return false;
    for (KXParameterT<T> &c : constants_) {
        if (c.name_ == name) {
            c.value_ = value;
            c.description_ = description;
            return true;
        }
    }
    KXParameterT<T> constant(name, KXString());
    constant.SetValue(value);
    constant.SetDescription(description);
    constants_.push_back(constant);
    nameLengths_ |= LengthBit(name.Length());
    return true;
}

template <class T>
const KXFuncDataEltT<T> *KXFuncParserT<T>::FindFunction(const char *name, int length) const
{
    if (!(nameLengths_ & LengthBit(length)))
        return nullptr;
    for (const KXFuncDataEltT<T> &f : functions_)
        if (SameName(f.name, name, length))
            return &f;
    return nullptr;
}

template <class T>
const KXParameterT<T> *KXFuncParserT<T>::FindConstant(const char *name, int length) const
{
    if (!(nameLengths_ & LengthBit(length)))
        return nullptr;
    for (const KXParameterT<T> &c : constants_)
        if (SameName(c.name_, name, length))
            return &c;
    return nullptr;
}

template <class T>
bool KXFuncParserT<T>::IsFunctionRegistered(const KXString &name) const
{
    return FindFunction(name.c_str(), name.Length()) != nullptr;
}

template <class T>
bool KXFuncParserT<T>::IsConstantRegistered(const KXString &name) const
{
    return FindConstant(name.c_str(), name.Length()) != nullptr;
}

KXFuncParserR::KXFuncParserR()
{
    RegisterCommonBuiltins<double>(*this, &KXFuncParserR::RegisterBuiltin);
    RegisterConstant("_PI", 3.141592653589793, "pi");
}

KXFuncParserC::KXFuncParserC()
{
    RegisterCommonBuiltins<Cx>(*this, &KXFuncParserC::RegisterBuiltin);
    RegisterBuiltin(RealRoutine, "real", 1, opReal);
    RegisterBuiltin(ImagRoutine, "imag", 1, opImag);
    RegisterBuiltin(ArgRoutine, "arg", 1, opArg);
    RegisterConstant("_PI", Cx(3.141592653589793, 0.0), "pi");
}

KXFuncParserC &kxGetComplexParser()
{
    static KXFuncParserC parser;
    return parser;
}

KXFuncParserR &kxGetRealParser()
{
    static KXFuncParserR parser;
    return parser;
}

// =============================================================================================
// Expression.

template <class T>
KXExpressionT<T>::KXExpressionT(const KXFuncParserT<T> *parser) : parser_(parser)
{
}

template <class T>
KXExpressionT<T>::KXExpressionT(const KXExpressionT &other)
    : state_(other.state_), valuesChecked_(false), usesParams_(other.usesParams_),
      usesVector_(other.usesVector_), shortPath_(other.shortPath_),
      ownsText_(other.text_ != nullptr), slots_(other.slots_), maxStack_(other.maxStack_),
      params_(other.params_), names_(other.names_), parser_(other.parser_),
      text_(other.text_ ? new KXString(*other.text_) : nullptr), bound_(other.bound_),
      extras_(other.extras_ ? new Extras(*other.extras_) : nullptr)
{
    const int length = other.ProgramLength();
    if (length > 0) {
        code_.reset(new KXExprInstr<T>[length]);
        std::copy(other.code_.get(), other.code_.get() + length, code_.get());
        Evaluator::Bind(*this, slots_); // to this copy's tables and vector parameters
    }
}

template <class T>
KXExpressionT<T>::~KXExpressionT()
{
    ReleaseText();
}

template <class T>
KXExpressionT<T> &KXExpressionT<T>::operator=(const KXExpressionT &other)
{
    if (this == &other)
        return *this;
    KXExpressionT copy(other);
    std::swap(state_, copy.state_);
    std::swap(valuesChecked_, copy.valuesChecked_);
    std::swap(usesParams_, copy.usesParams_);
    std::swap(usesVector_, copy.usesVector_);
    std::swap(shortPath_, copy.shortPath_);
    std::swap(ownsText_, copy.ownsText_);
    std::swap(slots_, copy.slots_);
    std::swap(maxStack_, copy.maxStack_);
    code_.swap(copy.code_);
    params_.swap(copy.params_);
    std::swap(names_, copy.names_);
    std::swap(parser_, copy.parser_);
    std::swap(text_, copy.text_);
    std::swap(bound_, copy.bound_);
    extras_.swap(copy.extras_);
    return *this;
}

KXExpressionR::KXExpressionR(const KXFuncParserR *parser)
    : KXExpressionT<double>(parser ? parser : &kxGetRealParser())
{
}

KXExpressionC::KXExpressionC(const KXFuncParserC *parser)
    : KXExpressionT<Cx>(parser ? parser : &kxGetComplexParser())
{
}

template <class T>
void KXExpressionT<T>::ReleaseText()
{
    if (ownsText_)
        delete text_;
    text_ = nullptr;
    ownsText_ = false;
}

template <class T>
const KXString &KXExpressionT<T>::GetExpression() const
{
    return text_ ? *text_ : KXSubString::EmptyString();
}

template <class T>
void KXExpressionT<T>::setExpression(const KXString &text)
{
    KXString *copy = new KXString(text); // before releasing: `text` may be the current one
    ReleaseText();
    text_ = copy;
    ownsText_ = true;
    state_ = NotCompiled;
    valuesChecked_ = false;
    code_.reset();
}

template <class T>
void KXExpressionT<T>::BorrowExpression(const KXString &text)
{
    if (&text != text_)
        ReleaseText();
    text_ = &text;
    state_ = NotCompiled;
    valuesChecked_ = false;
    code_.reset();
}

template <class T>
void KXExpressionT<T>::BindValues(const T *values)
{
    bound_ = values;
    valuesChecked_ = false; // Evaluate() checks the values and binds the program again
}

template <class T>
typename KXExpressionT<T>::Extras &KXExpressionT<T>::MakeExtras()
{
    if (!extras_)
        extras_.reset(new Extras());
    return *extras_;
}

template <class T>
int KXExpressionT<T>::FindParamIn(const char *name, int length, int limit) const
{
    if (names_.Count() > 0)
        return names_.Find(name, length, limit);
    const int count = std::min(limit, static_cast<int>(params_.size()));
    for (int i = 0; i < count; ++i)
        if (SameName(params_[i].name_, name, length))
            return i;
    return -1;
}

template <class T>
int KXExpressionT<T>::FindParam(const KXString &name) const
{
    return FindParamIn(name.c_str(), name.Length(), INT_MAX);
}

template <class T>
void KXExpressionT<T>::MakeParamRecords()
{
    std::vector<KXParameterT<T>> records;
    records.reserve(names_.Count());
    for (int i = 0; i < names_.Count(); ++i)
        records.emplace_back(KXString(names_.Name(i)), KXString());
    params_.swap(records);
    names_.Clear();
    valuesChecked_ = false; // the records moved
}

template <class T>
void KXExpressionT<T>::DeclareParam(const KXString &name, const KXString &expression, int flags,
                                    int index)
{
    state_ = NotCompiled;
    valuesChecked_ = false;
    code_.reset();
    const int existing = FindParam(name);
    // A parameter without formula or flags is kept as its name while all the others are too.
    const bool plain = expression.Length() == 0 && flags == 0 &&
                       std::memchr(name.c_str(), '\0', name.Length()) == nullptr;
    const bool named = params_.empty();
    if (plain && named && existing >= 0)
        return; // declared again as it was
    const int count = ParamCount();
    const int at = (index < 0 || index > count) ? count : index;
    if (plain && named && at == count) {
        names_.Append(name.c_str(), name.Length());
        return;
    }
    if (names_.Count() > 0)
        MakeParamRecords();
    if (existing >= 0) {
        params_[existing].expression_ = expression;
        params_[existing].flags_ = flags;
        return;
    }
    params_.insert(params_.begin() + at, KXParameterT<T>(name, expression, flags));
}

template <class T>
void KXExpressionT<T>::ClearParams()
{
    params_.clear();
    names_.Clear();
    state_ = NotCompiled;
    valuesChecked_ = false;
    code_.reset();
}

template <class T>
bool KXExpressionT<T>::IsConstant() const
{
    return state_ == Compiled && code_[0].op == opConst && code_[1].op == opEnd;
}

template <class T>
int KXExpressionT<T>::ProgramLength() const
{
    if (!code_)
        return 0;
    int n = 0;
    while (code_[n].op != opEnd)
        ++n;
    return n + 1;
}

template <class T>
int KXExpressionT<T>::ProgramSize() const
{
    const int length = ProgramLength();
    return length > 0 ? length - 1 : 0;
}

// ---------------------------------------------------------------------------------------------
// The names of plain parameters.

KXExprNameList::KXExprNameList(const KXExprNameList &other)
    : size_(other.size_), count_(other.count_)
{
    if (size_ == 0)
        return;
    chars_ = static_cast<char *>(std::malloc(size_));
    if (!chars_)
        throw std::bad_alloc();
    std::memcpy(chars_, other.chars_, size_);
}

KXExprNameList &KXExprNameList::operator=(const KXExprNameList &other)
{
    if (this != &other) {
        KXExprNameList copy(other);
        std::swap(chars_, copy.chars_);
        std::swap(size_, copy.size_);
        std::swap(count_, copy.count_);
    }
    return *this;
}

void KXExprNameList::Append(const char *name, int length)
{
    const uint32_t size = size_ + static_cast<uint32_t>(length) + 1;
    char *chars = static_cast<char *>(std::realloc(chars_, size));
    if (!chars)
        throw std::bad_alloc();
    chars_ = chars;
    std::memcpy(chars_ + size_, name, static_cast<size_t>(length));
    chars_[size - 1] = '\0';
    size_ = size;
    ++count_;
}

int KXExprNameList::Find(const char *name, int length, int limit) const
{
    const char *p = chars_;
    const int count = std::min(limit, Count());
    for (int i = 0; i < count; ++i) {
        const size_t n = std::strlen(p);
        if (n == static_cast<size_t>(length) && std::memcmp(p, name, n) == 0)
            return i;
        p += n + 1;
    }
    return -1;
}

const char *KXExprNameList::Name(int i) const
{
    const char *p = chars_;
    for (; i > 0; --i)
        p += std::strlen(p) + 1;
    return p;
}

void KXExprNameList::Clear()
{
    std::free(chars_);
    chars_ = nullptr;
    size_ = 0;
    count_ = 0;
}

template class KXFuncParserT<double>;
template class KXFuncParserT<Cx>;
template class KXExpressionT<double>;
template class KXExpressionT<Cx>;
