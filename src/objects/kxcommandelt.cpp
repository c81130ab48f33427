// kxcommandelt.cpp - command elements and the published kinds of the built-in variable types.
#include "kx/objects/kxcommandelt.h"

#include <climits>
#include <cstring>

#include "kx/objects/kxchecksum.h"
#include "kx/objects/kxobject.h"

// ---------------------------------------------------------------------------------------------
// Built-in published kinds

namespace {

template <class T>
const T &As(const void *member)
{
    return *static_cast<const T *>(member);
}
template <class T>
T &As(void *member)
{
    return *static_cast<T *>(member);
}

// Numbers read through the strict reader of user input; the member changes only on success.
template <class T>
bool SetNumber(KXObject &, void *member, int, const char *text)
{
    return kxStringToNumber(text, As<T>(member));
}

template <class T>
KXString NumberText(const KXObject &, const void *member, int)
{
    return numtoA(As<T>(member));
}

// bool and int are appended as they are, char and short promote to int, float to double.
template <class T>
void AppendValue(const void *member, int, CheckSum &sum)
{
    sum.Append(As<T>(member));
}

std::size_t CharArrayLength(const void *member, int extent)
{
    return extent > 0 ? strnlen(static_cast<const char *>(member), std::size_t(extent)) : 0;
}

} // namespace

const kxPublishedKind kxPublishedBool = {
    "bool", &AppendValue<bool>,
    [](const KXObject &, const void *m, int) { return KXString(As<bool>(m) ? "1" : "0"); },
    [](KXObject &, void *m, int, const char *text) {
        if (std::strcmp(text, "true") == 0 || std::strcmp(text, "false") == 0) {
            As<bool>(m) = text[0] == 't';
            return true;
        }
        double value = 0;
        if (!kxStringToNumber(text, value))
            return false;
        As<bool>(m) = value != 0;
        return true;
    }};

const kxPublishedKind kxPublishedChar = {"char", &AppendValue<char>,
                                         [](const KXObject &, const void *m, int) {
                                             return KXString(&As<char>(m), As<char>(m) ? 1 : 0);
                                         },
                                         [](KXObject &, void *m, int, const char *text) {
                                             if (std::strlen(text) != 1)
                                                 return false;
                                             As<char>(m) = text[0];
                                             return true;
                                         }};

const kxPublishedKind kxPublishedShort = {
    "short", &AppendValue<short>,
    [](const KXObject &, const void *m, int) { return numtoA(int(As<short>(m))); },
    [](KXObject &, void *m, int, const char *text) {
        int value = 0;
        if (!kxStringToNumber(text, value) || value < SHRT_MIN || value > SHRT_MAX)
            return false;
        As<short>(m) = short(value);
        return true;
    }};

const kxPublishedKind kxPublishedInt = {"int", &AppendValue<int>, &NumberText<int>,
                                        &SetNumber<int>};

const kxPublishedKind kxPublishedFloat = {"float", &AppendValue<float>, &NumberText<float>,
                                          &SetNumber<float>};

const kxPublishedKind kxPublishedDouble = {"double", &AppendValue<double>, &NumberText<double>,
                                           &SetNumber<double>};

const kxPublishedKind kxPublishedComplex = {"complex", &AppendValue<std::complex<double>>,
                                            &NumberText<std::complex<double>>,
                                            &SetNumber<std::complex<double>>};

const kxPublishedKind kxPublishedCharArray = {
    "char[]",
    [](const void *m, int extent, CheckSum &sum) {
        sum.AppendText(static_cast<const char *>(m), CharArrayLength(m, extent));
    },
    [](const KXObject &, const void *m, int extent) {
        return KXString(static_cast<const char *>(m), int(CharArrayLength(m, extent)));
    },
    [](KXObject &, void *m, int extent, const char *text) {
        const std::size_t length = std::strlen(text);
        if (extent <= 0 || length >= std::size_t(extent))
            return false;
        std::memcpy(m, text, length + 1);
        return true;
    }};

const kxPublishedKind kxPublishedString = {
    "string",
    [](const void *m, int, CheckSum &sum) {
        sum.AppendText(As<KXString>(m).c_str(), std::size_t(As<KXString>(m).Length()));
    },
    [](const KXObject &, const void *m, int) { return As<KXString>(m); },
    [](KXObject &, void *m, int, const char *text) {
        As<KXString>(m) = text;
        return true;
    }};

const kxPublishedKind kxPublishedText = {
    "text", [](const void *m, int, CheckSum &sum) { sum.Append(static_cast<const char *>(m)); },
    [](const KXObject &, const void *m, int) { return KXString(static_cast<const char *>(m)); },
    nullptr};

const kxPublishedKind kxPublishedDoubleArray2d = {
    "Array2d<double>",
    [](const void *m, int, CheckSum &sum) {
        const Array2d<double> &a = As<Array2d<double>>(m);
        sum.Append(a.get_rows());
        sum.Append(a.get_cols());
        for (int r = a.get_rlbd(); r <= a.get_rubd(); ++r)
            for (int c = a.get_clbd(); c <= a.get_cubd(); ++c)
                sum.Append(a(r, c));
    },
    [](const KXObject &, const void *m, int) {
        const Array2d<double> &a = As<Array2d<double>>(m);
        KXString text;
        for (int r = a.get_rlbd(); r <= a.get_rubd(); ++r) {
            if (r > a.get_rlbd())
                text += "; ";
            for (int c = a.get_clbd(); c <= a.get_cubd(); ++c) {
                if (c > a.get_clbd())
                    text += ", ";
                text += numtoA(a(r, c));
            }
        }
        return text;
    },
    nullptr};

// ---------------------------------------------------------------------------------------------
// KXCommandElt

KXCommandElt::KXCommandElt(KXObject &owner, kxCmdEltKind kind, const char *name, const char *help,
                           int flags)
    : kind_(kind), name_(name ? name : ""), help_(help ? help : ""), flags_(flags), owner_(&owner)
{
}

KXCommandElt KXCommandElt::MakeVariable(KXObject &owner, const char *name, const char *help,
                                        int flags, const kxPublishedKind &kind, void *member,
                                        int extent)
{
    KXCommandElt elt(owner, kxEltVariable, name, help, flags);
    elt.varKind_ = &kind;
    elt.member_ = member;
    elt.extent_ = extent;
    return elt;
}

KXCommandElt KXCommandElt::MakeObject(KXObject &owner, const char *name, const char *help,
                                      int flags, KXObject *child)
{
    KXCommandElt elt(owner, kxEltObject, name, help, flags);
    elt.child_ = child;
    return elt;
}

KXCommandElt KXCommandElt::MakeFunction(KXObject &owner, const char *name, const char *help,
                                        int flags, kxCommandFunction function)
{
    KXCommandElt elt(owner, kxEltFunction, name, help, flags);
    elt.function_ = std::move(function);
    return elt;
}

bool KXCommandElt::IsReadOnly() const
{
    if (flags_ & kxPublishReadOnly)
        return true;
    return kind_ == kxEltVariable && !varKind_->setText;
}

const char *KXCommandElt::GetTypeName() const
{
    switch (kind_) {
    case kxEltVariable: return varKind_->typeName;
    case kxEltFunction: return "function";
    case kxEltObject: return child_->getClassName();
    default: return "";
    }
}

KXString KXCommandElt::GetValueString() const
{
    if (kind_ != kxEltVariable)
        return KXString();
    return varKind_->getText(*owner_, member_, extent_);
}

bool KXCommandElt::SetValueString(const char *text) const
{
    if (kind_ != kxEltVariable || IsReadOnly() || !text)
        return false;
    return varKind_->setText(*owner_, member_, extent_, text);
}

bool KXCommandElt::Call(const List<KXString> &args, KXString &result) const
{
    return kind_ == kxEltFunction && function_ && function_(args, result);
}

void KXCommandElt::AppendCheckSum(CheckSum &sum) const
{
    if (kind_ == kxEltVariable)
        varKind_->appendCheckSum(member_, extent_, sum);
}

// ---------------------------------------------------------------------------------------------
// Resolvers

bool kxEltFinder::Wants(const char *name, kxCmdEltKind kind) const
{
    if (found_ || (objectsOnly_ && kind != kxEltObject))
        return false;
    return name_ && std::strcmp(name, name_) == 0;
}
