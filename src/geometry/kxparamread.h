// kxparamread.h - reading a shape parameter's number on hot paths: the stored value of a plain
// parameter without a call into the parameter unit, the formula evaluated otherwise.
#ifndef KX_GEOMETRY_KXPARAMREAD_H
#define KX_GEOMETRY_KXPARAMREAD_H

#include "kx/expressions/kxparameter.h"

template <class T>
inline T kxReadParam(const kxParameter<T> &p)
{
    return p.HasExpression() ? p.GetValue() : p.GetStoredValue();
}

#endif
