// kxclassinfo.h - run-time class information of KXObject classes and the process-wide class
// registry, with the macro pair that gives a class its kxClassInfo.
//
// Every class derived from KXObject carries one static kxClassInfo: its name, up to two base
// classes and an optional factory. Constructing a kxClassInfo appends it to one process-wide
// registry, so the registry lists every class in the order of static initialisation; a record
// destroyed (a plug-in unloaded) unlinks itself again. Nothing here locks: the registry is
// filled during static initialisation and read from the user-interface thread.
//
// Giving a class its class information takes two lines:
//
//   // kxwidget.h                                  // kxwidget.cpp
//   class kxWidget : public KXObject {              KX_IMPLEMENT_CLASS(kxWidget, KXObject)
//       KX_DECLARE_CLASS(kxWidget)
//   public:
//       ...
//   };
//
// KX_DECLARE_CLASS declares the static record `ms_classInfo` and overrides getClassInfo(); it
// leaves the class body in the public section. The IMPLEMENT macros define the record:
//   KX_IMPLEMENT_CLASS(Class, Base)                    a concrete class: the factory is `new Class`
//   KX_IMPLEMENT_CLASS2(Class, Base1, Base2)           the same with two base classes
//   KX_IMPLEMENT_ABSTRACT_CLASS(Class, Base)           no factory: CreateObject() gives null
//   KX_IMPLEMENT_ABSTRACT_CLASS2(Class, Base1, Base2)
// A concrete class needs a public default constructor. Use the IMPLEMENT macro at global
// scope; the class name must be a plain identifier (the factory function is named after it).
#ifndef KX_OBJECTS_KXCLASSINFO_H
#define KX_OBJECTS_KXCLASSINFO_H

#include <cstddef>
#include <cstdint>

class KXObject;

class kxClassInfo {
public:
    /// Creates a default instance that the caller owns.
    typedef KXObject *(*Factory)();

    /// Appends the record to the end of the registry. `name` must outlive the record (a
    /// literal); the bases may be null; a null factory marks an abstract class.
    kxClassInfo(const char *name, const kxClassInfo *base1, const kxClassInfo *base2,
                Factory factory);
    /// Unlinks the record from the registry.
    ~kxClassInfo();

    kxClassInfo(const kxClassInfo &) = delete;
    kxClassInfo &operator=(const kxClassInfo &) = delete;

    const char *GetClassName() const { return name_; }
    const kxClassInfo *GetBaseClass1() const { return base1_; }
    const kxClassInfo *GetBaseClass2() const { return base2_; }
    /// The next record in the registry, or null after the last.
    const kxClassInfo *GetNext() const { return next_; }
    /// True when the class has a factory (is not abstract).
    bool IsDynamic() const { return factory_ != nullptr; }
    /// The class name folded into four words w0..w3: what appending the name to a CheckSum
    /// XORs in after the rotation. Appending these words as a CheckSum equals appending the
    /// name, so checksums publish the class name without re-reading the text.
    const std::uint32_t *GetNameDigest() const { return nameDigest_; }

    /// True when `other` is this class or, depth first, base 1 before base 2, one of its bases.
    /// A null `other` is never matched.
    [[nodiscard]] bool IsKindOf(const kxClassInfo *other) const;
    /// The same test by class name (exact, case-sensitive). A null name is never matched.
    [[nodiscard]] bool IsKindOf(const char *className) const;
    /// The same test by the `length` characters at `name` (exact, case-sensitive).
    [[nodiscard]] bool IsKindOf(const char *name, std::size_t length) const;
    /// True when the class name is exactly the `length` characters at `name`.
    [[nodiscard]] bool IsNamed(const char *name, std::size_t length) const;

    /// A new default instance that the caller owns, or null for an abstract class.
    KXObject *CreateObject() const;

    /// The first record of the registry (the first class initialised), or null.
    [[nodiscard]] static const kxClassInfo *GetFirst();
    /// The first registered class with exactly this name, or null.
    [[nodiscard]] static const kxClassInfo *FindClass(const char *className);
    /// A new default instance of the named class (caller owns), or null when the class is
    /// unknown or abstract.
    [[nodiscard]] static KXObject *CreateObject(const char *className);

private:
    const char *name_;
    const kxClassInfo *base1_;
    const kxClassInfo *base2_;
    kxClassInfo *next_ = nullptr;
    Factory factory_;
    std::uint32_t nameDigest_[4];
};

/// In the class body: the class's static record and its getClassInfo(). Leaves the body in the
/// public section.
#define KX_DECLARE_CLASS(Class)                                                                    \
public:                                                                                            \
    static kxClassInfo ms_classInfo;                                                               \
    const kxClassInfo *getClassInfo() const override { return &ms_classInfo; }

#define KX_CLASSINFO_OF(Class) (&Class::ms_classInfo)

#define KX_IMPLEMENT_CLASS_RECORD(Class, base1, base2, factory)                                    \
    kxClassInfo Class::ms_classInfo(#Class, base1, base2, factory);

#define KX_IMPLEMENT_CLASS_FACTORY(Class)                                                          \
    static KXObject *kxCreateObject_##Class() { return new Class; }

#define KX_IMPLEMENT_CLASS(Class, Base)                                                            \
    KX_IMPLEMENT_CLASS_FACTORY(Class)                                                              \
    KX_IMPLEMENT_CLASS_RECORD(Class, KX_CLASSINFO_OF(Base), nullptr, &kxCreateObject_##Class)

#define KX_IMPLEMENT_CLASS2(Class, Base1, Base2)                                                   \
    KX_IMPLEMENT_CLASS_FACTORY(Class)                                                              \
    KX_IMPLEMENT_CLASS_RECORD(Class, KX_CLASSINFO_OF(Base1), KX_CLASSINFO_OF(Base2),               \
                              &kxCreateObject_##Class)

#define KX_IMPLEMENT_ABSTRACT_CLASS(Class, Base)                                                   \
    KX_IMPLEMENT_CLASS_RECORD(Class, KX_CLASSINFO_OF(Base), nullptr, nullptr)

#define KX_IMPLEMENT_ABSTRACT_CLASS2(Class, Base1, Base2)                                          \
    KX_IMPLEMENT_CLASS_RECORD(Class, KX_CLASSINFO_OF(Base1), KX_CLASSINFO_OF(Base2), nullptr)

#endif
