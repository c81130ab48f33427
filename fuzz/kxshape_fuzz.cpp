// Fuzzes the shape text form (ParseShape, then the parsed shape's text, copies and queries) and
// the interpolation command of taper weights. The first byte picks the parser; the rest is the
// text.
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/geometry/kxshape.h"
#include "kx/geometry/kxshapecontainer.h"
#include "kx/geometry/kxweightfunc.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace {

void Quiet(int, const char *) {}

kxNameSpace &Names()
{
    static kxNameSpace *ns = [] {
        InitialiseKXUtils("fuzz", KXString("fuzz"), 1, nullptr, nullptr, nullptr, Quiet, nullptr);
        kxNameSpace *n = new kxNameSpace();
        kxNamedVariable *w = new kxNamedVariable(n);
        (void)w->SetName("w");
        w->SetValue(2.0);
        return n;
    }();
    return *ns;
}

/// Exercises a parsed shape; vertex counts are kept small so a query stays quick.
void Exercise(KXShape &shape)
{
    KXString def;
    KXShape::WriteShape(shape, def);
    std::unique_ptr<KXShape> again(KXShape::ParseShape(&Names(), def.c_str()));
    std::unique_ptr<KXShape> copy(shape.newCopy(nullptr));
    (void)shape.GetCheckSum();
    double w, h;
    shape.getSize(w, h);
    if (shape.GetType() == KXShape::kRegularPolygon)
        return; // its vertex count may be in the billions: queries would take minutes
    bool onBoundary;
    (void)shape.Contains(kxPoint(0.25, -0.5));
    (void)shape.Contains(kxPoint(0.1, 0.1), 1e-3, onBoundary);
    (void)shape.getBoundingRect();
    std::unique_ptr<KXShape> rotated(shape.CreateRotatedShape(33.0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    kxNameSpace &ns = Names();
    const std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    switch (data[0] % 3) {
    case 0: {
        std::unique_ptr<KXShape> shape(KXShape::ParseShape(&ns, text.c_str()));
        if (shape)
            Exercise(*shape);
        break;
    }
    case 1: {
        KXShapeContainer box;
        (void)box.SetShape(&ns, text.c_str());
        break;
    }
    default: {
        WeightFunc f(text.c_str());
        for (double t : {0.0, 0.5, 1.0})
            (void)f.WeightVal(t);
        break;
    }
    }
    error.reset();
    ResetSyntaxErrFlag();
    return 0;
}
