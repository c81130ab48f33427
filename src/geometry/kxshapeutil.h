// kxshapeutil.h - helpers shared by the shape units: publishing parameters to the object model,
// reading comma-separated parameters from a definition text, writing them back, and quoting
// user text in messages.
#ifndef KX_GEOMETRY_KXSHAPEUTIL_H
#define KX_GEOMETRY_KXSHAPEUTIL_H

#include "kx/expressions/kxparameter.h"
#include "kx/foundation/kxstring.h"
#include "kx/geometry/kxgeomtypes.h"
#include "kx/objects/kxobject.h"

#include <string>
#include <vector>

/// Published kinds of kxParameter<double> and kxParameter<int>: the checksum folds the formula
/// text or the value, the text is the formula or the number ("%.16lg"), and setting from text
/// goes through SetValueOrExpression in the owner's namespace.
extern const kxPublishedKind kxPublishedShapeParamDouble;
extern const kxPublishedKind kxPublishedShapeParamInt;

inline void kxPublishParam(KXObject &owner, const char *name, kxParameter<double> &p,
                           const char *help)
{
    owner.PublishValue(name, help, 0, kxPublishedShapeParamDouble, &p, 0);
}
inline void kxPublishParam(KXObject &owner, const char *name, kxParameter<int> &p, const char *help)
{
    owner.PublishValue(name, help, 0, kxPublishedShapeParamInt, &p, 0);
}

/// "<prefix><microns text>" for a published description.
[[nodiscard]] KXString kxMicronsHelp(const char *prefix);

/// Reads one parameter from the front of `rest` (the first one of a text).
template <class T>
bool kxReadFirstParam(kxNameSpace *ns, KXString &rest, kxParameter<T> &p)
{
    return p.Read(ns, rest);
}
/// Skips through the next ',' of `rest`, requires something after it and reads the parameter.
template <class T>
bool kxReadNextParam(kxNameSpace *ns, KXString &rest, kxParameter<T> &p);

/// Appends the parameter's definition text: a formula between double quotes, or the number
/// written to read back exactly (the shortest of "%.15g", "%.16g", "%.17g"; "%d" for int).
void kxAppendDefParam(KXString &out, const kxParameter<double> &p);
void kxAppendDefParam(KXString &out, const kxParameter<int> &p);

/// `text`, cut to 800 characters with "..." appended when longer.
[[nodiscard]] std::string kxQuoteForMessage(const char *text);

/// The bounding rectangle (left, top, right, bottom; y up) of n points; all zero when n == 0.
[[nodiscard]] kxRect kxBoundsOf(const kxPoint *v, int n);

#endif
