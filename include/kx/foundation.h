// foundation.h - every public header of the foundation module.
#ifndef KX_FOUNDATION_H
#define KX_FOUNDATION_H

#include "kx/foundation/kxmath.h"

#endif
