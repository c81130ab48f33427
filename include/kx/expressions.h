// expressions.h - every public header of the expressions module.
#ifndef KX_EXPRESSIONS_H
#define KX_EXPRESSIONS_H

#include "kx/expressions/kxcubicspline.h"
#include "kx/expressions/kxfnparser.h"
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/expressions/kxnamespacesnapshot.h"
#include "kx/expressions/kxparameter.h"

#endif
