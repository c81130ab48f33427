// kxcore.h - the umbrella header of the headless core: brings in every module of libkxcore.
#ifndef KX_KXCORE_H
#define KX_KXCORE_H

#include "kx/app.h"
#include "kx/commands.h"
#include "kx/expressions.h"
#include "kx/foundation.h"
#include "kx/geometry.h"
#include "kx/graph.h"
#include "kx/materials.h"
#include "kx/numerics.h"
#include "kx/objects.h"
#include "kx/project.h"

#endif
