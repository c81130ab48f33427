// numerics.h - every public header of the numerics module.
#ifndef KX_NUMERICS_H
#define KX_NUMERICS_H

#include "kx/numerics/Splinfit.h"
#include "kx/numerics/cxcuberoot.h"
#include "kx/numerics/kxbessel.h"
#include "kx/numerics/kxfft.h"
#include "kx/numerics/kxfunction.h"
#include "kx/numerics/kxlevmar.h"
#include "kx/numerics/kxpolynomial.h"
#include "kx/numerics/kxtablefunction.h"
#include "kx/numerics/matrixT.h"
#include "kx/numerics/userDefFunc.h"

#endif
