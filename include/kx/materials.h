// materials.h - every public header of the materials module: the material base, the models, the
// built-in library, the file readers and the materials node.
#ifndef KX_MATERIALS_H
#define KX_MATERIALS_H

#include "kx/materials/kxmatbuiltin.h"
#include "kx/materials/kxmaterialsnode.h"
#include "kx/materials/kxmatlibrary.h"
#include "kx/materials/kxmatmodels.h"
#include "kx/materials/kxmatyaml.h"
#include "kx/materials/materb.h"

#endif
