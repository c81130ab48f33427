// geometry.h - every public header of the geometry module.
#ifndef KX_GEOMETRY_H
#define KX_GEOMETRY_H

#include "kx/geometry/cmdpoint.h"
#include "kx/geometry/kxellipse.h"
#include "kx/geometry/kxgeomtypes.h"
#include "kx/geometry/kxlineshapeintersections.h"
#include "kx/geometry/kxmatrixstack.h"
#include "kx/geometry/kxplacement.h"
#include "kx/geometry/kxplanegeom.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxpolygoncontains.h"
#include "kx/geometry/kxpolygonset.h"
#include "kx/geometry/kxrectangle.h"
#include "kx/geometry/kxregularpolygon.h"
#include "kx/geometry/kxshape.h"
#include "kx/geometry/kxshapecontainer.h"
#include "kx/geometry/kxtransform3dmatrix.h"
#include "kx/geometry/kxtransformmatrix.h"
#include "kx/geometry/kxweightfunc.h"

#endif
