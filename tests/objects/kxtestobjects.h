// kxtestobjects.h - the small KXObject class hierarchy and fixture shared by the tests of the
// object model (class registry, checksums, KXObject). Each test program includes it once.
#ifndef KX_TESTS_KXTESTOBJECTS_H
#define KX_TESTS_KXTESTOBJECTS_H

#include "kx/objects/kxobject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "kx/foundation/kxerror.h"
#include "kx/objects/kxchecksum.h"

namespace {
std::vector<std::string> gTrace; // names of the objects that received a message, in order
}

// A small class hierarchy: tstShape <- tstRect <- tstTaggedRect (second base: the mixin
// tstTagged, which is not a KXObject), tstShape <- tstEllipse, and the abstract tstAbstract.
class tstShape : public Checkable {
    KX_DECLARE_CLASS(tstShape)
public:
    explicit tstShape(const char *name = "") : name(name) {}
    void OnMessage(KXMessage &message) override
    {
        gTrace.push_back(name);
        message.SetResult(message.GetResult() + 1);
        Checkable::OnMessage(message);
    }
    void OnPublish() override
    {
        Checkable::OnPublish();
        PublishVar("width", width, "width of shape");
        PublishVar("count", count, "count", kxPublishReadOnly);
        PublishVar("label", label, "label");
        PublishVar("code", code, sizeof code, "code");
        PublishVar("scratch", scratch, "not part of the state", kxPublishNoCheckSum);
        PublishFunc(
            "scale",
            [this](const List<KXString> &args, KXString &result) {
                double factor = 0;
                if (args.size() != 1 || !kxStringToNumber(args[1], factor))
                    return false;
                width *= factor;
                result = numtoA(width);
                return true;
            },
            "( factor ): scale the width");
        for (KXObject *child : children)
            PublishObj("child", child, "a child");
    }
    void ResetTop() override { resets++; }

    std::string name;
    double width = 1.5;
    int count = 3;
    KXString label = "box";
    char code[8] = "ab";
    double scratch = 0;
    int resets = 0;
    std::vector<KXObject *> children;
};

// A class that adds nothing to its base but its own class record.
#define TST_PLAIN_SUBCLASS(Name, Base, ...)                                                        \
    class Name : public Base __VA_ARGS__ {                                                         \
        KX_DECLARE_CLASS(Name)                                                                     \
    public:                                                                                        \
        using Base::Base;                                                                          \
    };

struct tstTagged {
    static kxClassInfo ms_classInfo;
};
kxClassInfo tstTagged::ms_classInfo("tstTagged", nullptr, nullptr, nullptr);

TST_PLAIN_SUBCLASS(tstRect, tstShape)
TST_PLAIN_SUBCLASS(tstEllipse, tstShape)
TST_PLAIN_SUBCLASS(tstTaggedRect, tstRect, , public tstTagged)

class tstAbstract : public KXObject {
    KX_DECLARE_CLASS(tstAbstract)
public:
    virtual void Pure() = 0;
};

KX_IMPLEMENT_CLASS(tstShape, Checkable)
KX_IMPLEMENT_CLASS(tstRect, tstShape)
KX_IMPLEMENT_CLASS(tstEllipse, tstShape)
KX_IMPLEMENT_CLASS2(tstTaggedRect, tstRect, tstTagged)
KX_IMPLEMENT_ABSTRACT_CLASS(tstAbstract, KXObject)

// A type from "another module", made publishable through kxPublishTraits.
struct tstMicrons {
    double value;
};
const kxPublishedKind kxPublishedMicrons = {
    "microns",
    [](const void *m, int, CheckSum &sum) {
        sum.Append(static_cast<const tstMicrons *>(m)->value * 2);
    },
    [](const KXObject &, const void *m, int) {
        return numtoA(static_cast<const tstMicrons *>(m)->value) + "um";
    },
    nullptr};
template <>
struct kxPublishTraits<tstMicrons> {
    static const kxPublishedKind &Kind() { return kxPublishedMicrons; }
};

// Publishes one double, an extension-typed member, and optionally itself or another object.
class tstLeaf : public Checkable {
    KX_DECLARE_CLASS(tstLeaf)
public:
    void OnPublish() override
    {
        Checkable::OnPublish();
        PublishVar("d", d, "a double");
        PublishVar("len", len, "a length");
        PublishObj("other", other, "another object");
        if (matrix.alloced())
            PublishVar("matrix", matrix, "a matrix");
    }
    double d = 0.25;
    Array2d<double> matrix;
    tstMicrons len{4.0};
    KXObject *other = nullptr;
};
KX_IMPLEMENT_CLASS(tstLeaf, Checkable)

// An Updatable that counts its updates; it also exposes the protected operation stack.
class tstCalc : public Updatable {
    KX_DECLARE_CLASS(tstCalc)
public:
    using KXObject::appendEvent;
    using KXObject::eraseTopEvent;
    void OnPublish() override
    {
        Updatable::OnPublish();
        PublishVar("input", input, "input");
    }
    bool Update(const char *target) override
    {
        ++updates;
        return Updatable::Update(target);
    }
    double input = 1;
    int updates = 0;
};
KX_IMPLEMENT_CLASS(tstCalc, Updatable)

// A checksum built from the values, in order.
template <typename... T>
CheckSum Sum(T... values)
{
    CheckSum s;
    (s.Append(values), ...);
    return s;
}

class ObjectFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        error.reset();
        gTrace.clear();
    }
    void TearDown() override { error.reset(); }
    // True when the global error holds an internal fault whose text contains `what`; clears it.
    static bool TakeFault(const std::string &what)
    {
        const bool found =
            int(error) == 507 && std::string(error.chars()).find(what) != std::string::npos;
        error.reset();
        return found;
    }
};

#endif
