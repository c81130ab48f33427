// kxmatbuiltin.h - the built-in library of common photonic materials, each with its published
// coefficients, its validity range and its source (see docs/materials.md for the list).
//
// Names: "SiO2" (fused silica), "Si", "Si3N4", "InP", "GaAs", "AlGaAs" (x = Al fraction of
// Al(x)Ga(1-x)As), "InGaAsP" (x = As fraction y of In(1-x')Ga(x')As(y)P(1-y) lattice-matched
// to InP), "LiNbO3_o" and "LiNbO3_e" (congruent lithium niobate, ordinary and extraordinary
// rays), "Air". Names are matched without regard to case.
#ifndef KX_MATERIALS_KXMATBUILTIN_H
#define KX_MATERIALS_KXMATBUILTIN_H

#include "kx/materials/materb.h"

#include <string>
#include <vector>

/// A new copy of the built-in material `name`, owned by the caller; null for an unknown name.
[[nodiscard]] kxMaterial *kxNewBuiltinMaterial(const char *name);
/// The names of the built-in materials, in the order listed above.
[[nodiscard]] std::vector<std::string> kxBuiltinMaterialNames();

#endif
