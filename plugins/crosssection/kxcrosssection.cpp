// kxcrosssection.cpp - the example plug-in: a waveguide cross-section node that holds named
// shapes whose numbers are formulas of the project's variables.
//
// It shows everything an application's own node type needs: a kxProjectNode subclass, its
// registry record, its block (ReadTB / WriteTB), its commands (OnPublish), and the plug-in entry
// point that registers the type.
//
// Block ("crossSectionTB", version 1.0, the node's name): one line per shape, in order,
// "name = SHAPE(...)" with the shape texts RECTANGLE(width,height), ELLIPSE(width,height),
// POLYGON(x1,y1,x2,y2,...) and REGPOLY(n,angle,width,height); a number may be a "formula" of
// the project's variables. Rectangles, ellipses and regular polygons are centred on the origin;
// polygons place their vertices. A line that is not a shape is a syntax error
// ("bad shape definition: %s\n") and is skipped.
//
// Commands: "numshapes", "addshape", "removeshape", "listshapes", "area", "boundingbox" and
// "contains" (help texts below). Areas are in square microns, evaluated now.
#include "kx/app/kxplugins.h"
#include "kx/geometry/kxellipse.h"
#include "kx/geometry/kxplanegeom.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxrectangle.h"
#include "kx/geometry/kxregularpolygon.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojnode.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <strings.h>
#include <vector>

namespace {

/// The area of a shape now: exact for rectangles and ellipses, the outline's for polygons.
double ShapeArea(const KXShape &shape)
{
    double w = 0.0, h = 0.0;
    if (dynamic_cast<const KXRectangle *>(&shape)) {
        shape.getSize(w, h);
        return std::fabs(w * h);
    }
    if (dynamic_cast<const KXEllipse *>(&shape)) {
        shape.getSize(w, h);
        return std::fabs(M_PI * w * h / 4.0);
    }
    kxPointVector outline;
    if (auto *polygon = dynamic_cast<const KXPolygon *>(&shape))
        outline = polygon->GetVertices();
    else if (auto *regular = dynamic_cast<const KXRegularPolygon *>(&shape))
        outline = regular->GetVertices();
    return std::fabs(kxGetPolygonSignedArea2(outline)) / 2.0;
}

KXString Trimmed(const char *begin, const char *end)
{
    while (begin < end && (*begin == ' ' || *begin == '\t'))
        ++begin;
    while (end > begin && std::strchr(" \t\r\n", end[-1]))
        --end;
    return KXString(begin, static_cast<int>(end - begin));
}

} // namespace

class kxCrossSectionNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxCrossSectionNode)
public:
    static const TBlockSig &Sig()
    {
        static const TBlockSig sig{"crossSectionTB", 1, 0};
        return sig;
    }

    bool ReadTB(TextBlock &block) override
    {
        if (!block.StartRead(Sig()))
            return false;
        shapes_.clear();
        while (!block.EOB()) {
            const char *line = block.gets();
            if (!line)
                break;
            const char *eq = std::strchr(line, '=');
            const KXString name = eq ? Trimmed(line, eq) : KXString();
            if (!eq || !AddShape(name.c_str(), eq + 1)) {
                error.reset();
                SyntaxErr("bad shape definition: %s\n",
                          Trimmed(line, line + std::strlen(line)).c_str());
            }
        }
        return true;
    }

    bool WriteTB(TextBlock &block) override
    {
        block.StartWrite(Sig(), getName());
        for (const Named &named : shapes_)
            block.writeline("%s = %s", named.name.c_str(), named.shape->getDefString().c_str());
        block.EndWrite();
        return true;
    }

    /// Adds a shape, or replaces the one of that name; false with the pending error.
    bool AddShape(const char *name, const char *text)
    {
        // "begin" and "end" first on a line would open or close a block.
        if (!kxIsNodeNameValid(name) || strcasecmp(name, "begin") == 0 ||
            strcasecmp(name, "end") == 0) {
            error.set("invalid shape name \"%s\"\n", name);
            return false;
        }
        std::unique_ptr<KXShape> shape(KXShape::ParseShape(GetNameSpace(), text));
        if (!shape) {
            if (!error)
                error.set("not a shape: %s\n", text);
            return false;
        }
        if (Named *old = Find(name))
            old->shape = std::move(shape);
        else
            shapes_.push_back({name, std::move(shape)});
        MarkModified();
        return true;
    }

    bool RemoveShape(const char *name)
    {
        for (auto it = shapes_.begin(); it != shapes_.end(); ++it)
            if (it->name == name) {
                shapes_.erase(it);
                MarkModified();
                return true;
            }
        error.set("no shape named \"%s\"\n", name);
        return false;
    }

    void OnPublish() override
    {
        kxProjectNode::OnPublish();
        const KXObjectEvent *top = GetTopEvent();
        if (!top || top->kind != kxOpCommand)
            return;
        PublishFunc(
            "numshapes",
            [this](const List<KXString> &, KXString &result) {
                result.sprintf("%d", static_cast<int>(shapes_.size()));
                return true;
            },
            "(): number of shapes");
        PublishFunc(
            "addshape",
            [this](const List<KXString> &args, KXString &) {
                return Need(args, 2) && AddShape(args[1], args[2]);
            },
            "( name, shape ): add a shape, or replace the one of that name; shape is "
            "RECTANGLE(w,h), ELLIPSE(w,h), POLYGON(x1,y1,...) or REGPOLY(n,angle,w,h)");
        PublishFunc(
            "removeshape",
            [this](const List<KXString> &args, KXString &) {
                return Need(args, 1) && RemoveShape(args[1]);
            },
            "( name ): remove a shape");
        PublishFunc(
            "listshapes",
            [this](const List<KXString> &, KXString &result) {
                result = "";
                for (const Named &named : shapes_) {
                    result += named.name;
                    result += " = ";
                    result += named.shape->getDefString();
                    result += "\n";
                }
                return true;
            },
            "(): the shapes, one line each");
        PublishFunc(
            "area",
            [this](const List<KXString> &args, KXString &result) {
                if (!Need(args, 1))
                    return false;
                result = "";
                KXString number;
                for (int i = 1; i <= args.size(); ++i) {
                    const Named *named = Lookup(args[i]);
                    if (!named)
                        return false;
                    number.sprintf(i == 1 ? "%.6g" : " %.6g", ShapeArea(*named->shape));
                    result += number;
                }
                return true;
            },
            "( name, ... ): areas of shapes in square microns, separated by blanks");
        PublishFunc(
            "boundingbox",
            [this](const List<KXString> &args, KXString &result) {
                const Named *named = Need(args, 1) ? Lookup(args[1]) : nullptr;
                if (!named)
                    return false;
                const kxRect r = named->shape->getBoundingRect();
                result.sprintf("%.6g %.6g %.6g %.6g", r.left, r.bottom, r.right, r.top);
                return true;
            },
            "( name ): left bottom right top of a shape's bounding box");
        PublishFunc(
            "contains",
            [this](const List<KXString> &args, KXString &result) {
                const Named *named = Need(args, 3) ? Lookup(args[1]) : nullptr;
                if (!named)
                    return false;
                const kxPoint p(std::atof(args[2].c_str()), std::atof(args[3].c_str()));
                result = named->shape->Contains(p) ? "1" : "0";
                return true;
            },
            "( name, x, y ): 1 when the shape contains the point, else 0");
    }

private:
    struct Named {
        KXString name;
        std::unique_ptr<KXShape> shape;
    };

    Named *Find(const char *name)
    {
        for (Named &named : shapes_)
            if (named.name == name)
                return &named;
        return nullptr;
    }
    const Named *Lookup(const char *name)
    {
        const Named *named = Find(name);
        if (!named)
            error.set("no shape named \"%s\"\n", name);
        return named;
    }
    static bool Need(const List<KXString> &args, int n)
    {
        if (args.size() >= n)
            return true;
        error.set("%d argument(s) expected\n", n);
        return false;
    }

    std::vector<Named> shapes_;
};

KX_IMPLEMENT_CLASS(kxCrossSectionNode, kxProjectNode)

namespace {

kxProjectNodeInfoClass g_info({KX_CLASSINFO_OF(kxCrossSectionNode), nullptr,
                               kxCrossSectionNode::Sig(), "Cross-section", 0, ""});

} // namespace

void kxInitPlugin(PluginInfo &info, const char *const *, const char *&errorText, void *)
{
    errorText = nullptr;
    g_info.Register();
    info.name = "crosssection";
    info.description = "waveguide cross-sections made of named shapes";
}
