// kxshape.cpp - KXShape, the shape base class, its text form (ParseShape, WriteShape), and the
// published parameter kinds the shape units share.
#include "kx/geometry/kxshape.h"

#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/foundation/kxtokenizer.h"
#include "kx/foundation/kxunits.h"
#include "kx/geometry/kxellipse.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxrectangle.h"
#include "kx/geometry/kxregularpolygon.h"

#include "kxshapeutil.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

KX_IMPLEMENT_ABSTRACT_CLASS(KXShape, KXObject)

// ---------------------------------------------------------------------------------------------
// Shared helpers

namespace {

constexpr size_t kMaxQuoted = 800;

template <class T>
void AppendParamCheckSum(const void *member, int, CheckSum &sum)
{
    const kxParameter<T> &p = *static_cast<const kxParameter<T> *>(member);
    sum.Append(p.HasExpression());
    if (p.HasExpression())
        sum.Append(p.GetExpression().c_str());
    else
        sum.Append(p.GetStoredValue());
}

template <class T>
KXString ParamText(const KXObject &, const void *member, int)
{
    const kxParameter<T> &p = *static_cast<const kxParameter<T> *>(member);
    return p.HasExpression() ? p.GetExpression() : numtoA(p.GetStoredValue());
}

template <class T>
bool SetParamText(KXObject &owner, void *member, int, const char *text)
{
    kxParameter<T> &p = *static_cast<kxParameter<T> *>(member);
    T value;
    if (kxStringToNumber(text, value)) {
        p.SetValue(value);
        return true;
    }
    kxNameSpace *ns = owner.GetNameSpace();
    if (!ns || kxIsReservedNameSpace(ns))
        return false;
    p.SetExpression(ns, text);
    return true;
}

} // namespace

const kxPublishedKind kxPublishedShapeParamDouble = {
    "kxParameter<double>", AppendParamCheckSum<double>, ParamText<double>, SetParamText<double>};
const kxPublishedKind kxPublishedShapeParamInt = {"kxParameter<int>", AppendParamCheckSum<int>,
                                                  ParamText<int>, SetParamText<int>};

KXString kxMicronsHelp(const char *prefix)
{
    KXString help(prefix);
    help += kxMicronsString;
    return help;
}

template <class T>
bool kxReadNextParam(kxNameSpace *ns, KXString &rest, kxParameter<T> &p)
{
    const char *comma = std::strchr(rest.c_str(), ',');
    if (!comma || comma[1] == '\0')
        return false;
    KXString after(comma + 1);
    rest = after;
    return p.Read(ns, rest);
}
template bool kxReadNextParam(kxNameSpace *, KXString &, kxParameter<double> &);
template bool kxReadNextParam(kxNameSpace *, KXString &, kxParameter<int> &);

void kxAppendDefParam(KXString &out, const kxParameter<double> &p)
{
    if (p.HasExpression()) {
        out += "\"";
        out += p.GetExpression();
        out += "\"";
        return;
    }
    // The shortest of 15, 16 or 17 significant digits that reads back to the same double.
    const double v = p.GetStoredValue();
    char buf[40];
    for (int digits = 15; digits <= 17; ++digits) {
        std::snprintf(buf, sizeof buf, "%.*g", digits, v);
        if (std::strtod(buf, nullptr) == v || !std::isfinite(v))
            break;
    }
    out += buf;
}

void kxAppendDefParam(KXString &out, const kxParameter<int> &p)
{
    if (p.HasExpression()) {
        out += "\"";
        out += p.GetExpression();
        out += "\"";
    } else {
        out += numtoA(p.GetStoredValue());
    }
}

std::string kxQuoteForMessage(const char *text) { return kxQuoteCut(text ? text : "", kMaxQuoted); }

kxRect kxBoundsOf(const kxPoint *v, int n)
{
    if (n <= 0)
        return kxRect();
    kxRect r(v[0].x, v[0].y, v[0].x, v[0].y);
    for (int i = 1; i < n; ++i) {
        r.left = std::min(r.left, v[i].x);
        r.right = std::max(r.right, v[i].x);
        r.bottom = std::min(r.bottom, v[i].y);
        r.top = std::max(r.top, v[i].y);
    }
    return r;
}

// ---------------------------------------------------------------------------------------------
// KXShape

kxNameSpace *KXShape::GetNameSpace() const
{
    kxNameSpace *ns = KXObject::GetNameSpace();
    if (!ns && parent_)
        ns = parent_->GetNameSpace();
    return ns;
}

void KXShape::OnPublish()
{
    KXObject::OnPublish();
    PublishVar("type", type_, "type of shape", kxPublishReadOnly);
}

KXShape *KXShape::ParseShape(const char *text) { return ParseShape(nullptr, text); }

KXShape *KXShape::ParseShape(kxNameSpace *ns, const char *text)
{
    if (!text)
        return nullptr;
    while (*text == ' ' || *text == '\t')
        ++text;
    const char *open = std::strchr(text, '(');
    if (!open)
        return nullptr;
    const char *close = nullptr;
    int depth = 0;
    for (const char *c = open; *c && !close; ++c) {
        if (*c == '(')
            ++depth;
        else if (*c == ')' && --depth == 0)
            close = c;
    }
    if (!close || close == open + 1)
        return nullptr;

    KXShape *shape = nullptr;
    if (std::strncmp(text, "ELLIPSE(", 8) == 0)
        shape = new KXEllipse();
    else if (std::strncmp(text, "RECTANGLE(", 10) == 0)
        shape = new KXRectangle();
    else if (std::strncmp(text, "POLYGON(", 8) == 0)
        shape = new KXPolygon();
    else if (std::strncmp(text, "REGPOLY(", 8) == 0)
        shape = new KXRegularPolygon(8);
    else
        return nullptr;
    shape->SetNameSpace(ns);
    const KXString inner(open + 1, static_cast<int>(close - open - 1));
    if (!shape->ParseString(inner.c_str())) {
        delete shape;
        return nullptr;
    }
    return shape;
}

void KXShape::WriteShape(KXShape &shape, KXString &out) { out = shape.getDefString(); }
