// kxcommandelt.h - KXCommandElt, the record by which a published member of a KXObject is offered
// to the command language, and the published-kind table through which other modules add types
// that objects can publish.
//
// What an object publishes
// ------------------------
// In OnPublish an object calls KXObject::PublishVar / PublishObj / PublishFunc once per member.
// While a command is being resolved (operation record of kind kxOpCommand) each call builds a
// KXCommandElt: the member's name, help text and flags, its kind (variable, function or child
// object) and access to the member itself. getPublishedElt and getChildList collect elements
// this way; the command language plugs in its own kxCommandResolver.
//
// Adding a publishable type from another module
// ---------------------------------------------
// A variable's type is described by a kxPublishedKind: a type name and three functions (append
// the value to a CheckSum, write it as text, set it from text). To make a type T publishable
// with the ordinary `PublishVar(name, member, help, flags)` call, specialise kxPublishTraits
// next to T's declaration, e.g. in the header of kxParameter<T>:
//
//   extern const kxPublishedKind kxPublishedParameterDouble;   // defined in your .cpp
//   template <> struct kxPublishTraits<kxParameter<double>> {
//       static const kxPublishedKind &Kind() { return kxPublishedParameterDouble; }
//   };
//
// KXObject::PublishVar's template overload picks the specialisation up; the built-in overloads
// (bool, char, short, int, float, double, complex, char array, KXString, KXObject) win over it.
// Without a specialisation the template fails to compile with a message naming kxPublishTraits.
// A kind's functions receive the member's address and the extent given at publication (the
// length of a char array, 0 otherwise); setText receives the owning object, so it can use the
// owner's namespace (GetNameSpace) to bind formulas. A null setText makes the type read-only.
// KXObject::PublishValue is the same path without traits, for one-off publications.
#ifndef KX_OBJECTS_KXCOMMANDELT_H
#define KX_OBJECTS_KXCOMMANDELT_H

#include <complex>
#include <functional>

#include "kx/foundation/kxarray.h"
#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"

class CheckSum;
class KXObject;

/// Flags of a publication (bits; 0 for none).
enum {
    kxPublishReadOnly = 0x1,  ///< the command language may read but not set the variable
    kxPublishNoCheckSum = 0x2 ///< the member is left out of the object's checksum
};

/// Describes one publishable variable type. Instances are static and compared by address.
struct kxPublishedKind {
    const char *typeName; ///< e.g. "double", "kxParameter<double>"
    void (*appendCheckSum)(const void *member, int extent, CheckSum &sum);
    KXString (*getText)(const KXObject &owner, const void *member, int extent);
    /// Sets the member from text; false (member unchanged) when the text is not accepted. Null
    /// for a read-only type.
    bool (*setText)(KXObject &owner, void *member, int extent, const char *text);
};

/// Kinds of the built-in overloads of PublishVar. Text forms: bool "1"/"0" (set from
/// "1"/"0"/"true"/"false"); char is one character; short, int "%d"; float, double and complex
/// as written by numtoA-style "%.16lg" (complex "(re, im)"), set through kxStringToNumber;
/// a char array is set only when the text fits with its terminator; "text" is a constant
/// read-only text such as the class name published as "objtype".
extern const kxPublishedKind kxPublishedBool;
extern const kxPublishedKind kxPublishedChar;
extern const kxPublishedKind kxPublishedShort;
extern const kxPublishedKind kxPublishedInt;
extern const kxPublishedKind kxPublishedFloat;
extern const kxPublishedKind kxPublishedDouble;
extern const kxPublishedKind kxPublishedComplex;
extern const kxPublishedKind kxPublishedCharArray;
extern const kxPublishedKind kxPublishedString;
extern const kxPublishedKind kxPublishedText;
/// An Array2d<double> (published through the template overload): the checksum takes the row
/// and column counts, then the elements row by row; the text lists the rows, "; " between
/// rows and ", " between elements, with numtoA. Read-only as text: the command language
/// reaches the elements through KXCommandElt::GetPtrArray.
extern const kxPublishedKind kxPublishedDoubleArray2d;

/// Maps a member type to its kxPublishedKind. Specialise it for a new publishable type (see the
/// top of this file); the primary template is deliberately unusable.
template <class T>
struct kxPublishTraits {
    static_assert(sizeof(T) == 0,
                  "no kxPublishTraits<T> specialisation: this type cannot be published");
};

template <>
struct kxPublishTraits<bool> {
    static const kxPublishedKind &Kind() { return kxPublishedBool; }
};
template <>
struct kxPublishTraits<char> {
    static const kxPublishedKind &Kind() { return kxPublishedChar; }
};
template <>
struct kxPublishTraits<short> {
    static const kxPublishedKind &Kind() { return kxPublishedShort; }
};
template <>
struct kxPublishTraits<int> {
    static const kxPublishedKind &Kind() { return kxPublishedInt; }
};
template <>
struct kxPublishTraits<float> {
    static const kxPublishedKind &Kind() { return kxPublishedFloat; }
};
template <>
struct kxPublishTraits<double> {
    static const kxPublishedKind &Kind() { return kxPublishedDouble; }
};
template <>
struct kxPublishTraits<std::complex<double>> {
    static const kxPublishedKind &Kind() { return kxPublishedComplex; }
};
template <>
struct kxPublishTraits<KXString> {
    static const kxPublishedKind &Kind() { return kxPublishedString; }
};
template <>
struct kxPublishTraits<Array2d<double>> {
    static const kxPublishedKind &Kind() { return kxPublishedDoubleArray2d; }
};

/// What a published element is.
enum kxCmdEltKind {
    kxEltNone = 0,     ///< no element (a failed lookup)
    kxEltVariable = 1, ///< a variable of a kxPublishedKind
    kxEltFunction = 2, ///< a function callable with text arguments
    kxEltObject = 3    ///< a child object
};

/// A published function: takes the arguments as texts (List, indexed from 1), writes its
/// answer to `result` and returns false on failure (having recorded why in `error`).
typedef std::function<bool(const List<KXString> &args, KXString &result)> kxCommandFunction;

/// One published member. The element refers to the member and to the owning object and is
/// valid only while both live; it owns copies of its name and help text. Copyable.
class KXCommandElt {
public:
    /// The empty element (kind kxEltNone), returned by a failed lookup.
    KXCommandElt() = default;

    [[nodiscard]] static KXCommandElt MakeVariable(KXObject &owner, const char *name,
                                                   const char *help, int flags,
                                                   const kxPublishedKind &kind, void *member,
                                                   int extent);
    [[nodiscard]] static KXCommandElt MakeObject(KXObject &owner, const char *name,
                                                 const char *help, int flags, KXObject *child);
    [[nodiscard]] static KXCommandElt MakeFunction(KXObject &owner, const char *name,
                                                   const char *help, int flags,
                                                   kxCommandFunction function);

    /// True unless this is the empty element.
    explicit operator bool() const { return kind_ != kxEltNone; }

    kxCmdEltKind GetKind() const { return kind_; }
    const KXString &GetName() const { return name_; }
    const KXString &GetHelp() const { return help_; }
    int GetFlags() const { return flags_; }
    /// True for a variable published with kxPublishReadOnly or of a type without setText.
    bool IsReadOnly() const;
    /// The object that published the element (null for the empty element).
    KXObject *GetOwner() const { return owner_; }

    /// Variables: the kind of the variable, else null.
    const kxPublishedKind *GetVarKind() const { return varKind_; }
    /// Variables: the kind's type name; functions "function"; objects the child's class name.
    const char *GetTypeName() const;
    /// Variables: the member's address, else null.
    void *GetPtr() const { return member_; }
    /// Variables: the extent given at publication (a char array's length), else 0.
    int GetExtent() const { return extent_; }
    /// The member as a T when it was published as a T (its kind is kxPublishTraits<T>'s), else
    /// null.
    template <class T>
    T *GetVarPtr() const
    {
        return varKind_ == &kxPublishTraits<T>::Kind() ? static_cast<T *>(member_) : nullptr;
    }
    /// Variables published as an Array2d<T>: the array itself, else null.
    template <class T>
    Array2d<T> *GetPtrArray() const
    {
        return GetVarPtr<Array2d<T>>();
    }
    /// Child objects: the object, else null.
    KXObject *GetObject() const { return kind_ == kxEltObject ? child_ : nullptr; }

    /// Variables: the value as text; other kinds give the empty text.
    KXString GetValueString() const;
    /// Variables: sets the value from text. False when the element is not a variable, is
    /// read-only, or the text is not accepted (the member is then unchanged).
    [[nodiscard]] bool SetValueString(const char *text) const;
    /// Functions: calls the function. False when the element is not a function or the function
    /// fails.
    [[nodiscard]] bool Call(const List<KXString> &args, KXString &result) const;
    /// Variables: appends the value to `sum` (as a checksum computation would). Other kinds
    /// append nothing.
    void AppendCheckSum(CheckSum &sum) const;

private:
    KXCommandElt(KXObject &owner, kxCmdEltKind kind, const char *name, const char *help, int flags);

    kxCmdEltKind kind_ = kxEltNone;
    KXString name_;
    KXString help_;
    int flags_ = 0;
    KXObject *owner_ = nullptr;
    const kxPublishedKind *varKind_ = nullptr;
    void *member_ = nullptr;
    int extent_ = 0;
    KXObject *child_ = nullptr;
    kxCommandFunction function_;
};

/// The payload of an operation record of kind kxOpCommand: it sees every publication of the
/// object. Wants() is asked first with the name and kind, so elements nobody wants are never
/// built; Offer() then receives the element. getPublishedElt and getChildList use the two
/// resolvers below; the command language derives its own.
class kxCommandResolver {
public:
    virtual ~kxCommandResolver() = default;
    [[nodiscard]] virtual bool Wants(const char *name, kxCmdEltKind kind) const = 0;
    virtual void Offer(const KXCommandElt &elt) = 0;
};

/// Finds the first element published with exactly this name (case-sensitive), optionally only
/// among child objects.
class kxEltFinder : public kxCommandResolver {
public:
    kxEltFinder(const char *name, bool objectsOnly) : name_(name), objectsOnly_(objectsOnly) {}
    bool Wants(const char *name, kxCmdEltKind kind) const override;
    void Offer(const KXCommandElt &elt) override { found_ = elt; }
    const KXCommandElt &GetFound() const { return found_; }

private:
    const char *name_;
    bool objectsOnly_;
    KXCommandElt found_;
};

/// Appends every element (or every child object) in publication order to a list it does not
/// own.
class kxEltCollector : public kxCommandResolver {
public:
    kxEltCollector(List<KXCommandElt> &list, bool objectsOnly)
        : list_(list), objectsOnly_(objectsOnly)
    {
    }
    bool Wants(const char *, kxCmdEltKind kind) const override
    {
        return !objectsOnly_ || kind == kxEltObject;
    }
    void Offer(const KXCommandElt &elt) override { list_.append(elt); }

private:
    List<KXCommandElt> &list_;
    bool objectsOnly_;
};

#endif
