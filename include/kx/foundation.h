// foundation.h - every public header of the foundation module.
#ifndef KX_FOUNDATION_H
#define KX_FOUNDATION_H

#include "kx/foundation/kxarray.h"
#include "kx/foundation/kxdynarray.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxfbuff.h"
#include "kx/foundation/kxgarbage.h"
#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxnumtext.h"
#include "kx/foundation/kxregex.h"
#include "kx/foundation/kxstreambuf.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/foundation/kxtokenizer.h"
#include "kx/foundation/kxunits.h"

#endif
