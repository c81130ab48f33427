// kxmatyaml.h - files of the public refractive-index database (YAML, read and written with
// yaml-cpp) and plain two- or three-column tables of n and k.
//
// Database files: a map with optional "REFERENCES" (kept as the material's source) and
// "COMMENTS", and "DATA", a list of entries with a "type":
//   "formula 1" ... "formula 9" with "coefficients" (numbers in one text, or a list) and
//   "wavelength_range" (or the older "range"), two numbers in microns;
//   "tabulated nk", "tabulated n", "tabulated k" with "data", rows of numbers in one text.
// At most one source of n (a formula or a table of n) and one of k. Other keys are ignored.
//
// Plain tables: one row per line, "lambda n" or "lambda n k" (lambda in microns), the numbers
// separated by blanks, tabs, commas or semicolons; blank lines and lines starting with "#" or
// "//" are skipped, and a first row that is not numeric is taken as a heading. Every row has
// the same number of columns and the wavelengths increase.
//
// Every problem is raised in the global error (code 1) as "<file>:<line>: <problem>\n"; line
// numbers count from 1 (0 when the problem has no line). The material is named after the file
// (its name without directory and extension).
#ifndef KX_MATERIALS_KXMATYAML_H
#define KX_MATERIALS_KXMATYAML_H

#include "kx/materials/kxmatmodels.h"

#include <string>

/// Reads a database YAML file; a new material owned by the caller, or null with the error set.
[[nodiscard]] kxDatabaseMaterial *
kxReadDatabaseYAML(const char *path, kxMaterialTable::Interpolation mode = kxMaterialTable::Spline);
/// The same from text; `fileName` names it in messages and gives the material's name.
[[nodiscard]] kxDatabaseMaterial *
kxParseDatabaseYAML(const std::string &text, const char *fileName,
                    kxMaterialTable::Interpolation mode = kxMaterialTable::Spline);
/// The material as a database YAML text (numbers written so that they read back exactly).
[[nodiscard]] std::string kxDatabaseYAMLText(const kxDatabaseMaterial &m);
/// Writes kxDatabaseYAMLText to `path`; false with the error set.
[[nodiscard]] bool kxWriteDatabaseYAML(const kxDatabaseMaterial &m, const char *path);

/// Reads a plain table file; null with the error set.
[[nodiscard]] kxDatabaseMaterial *
kxReadTableFile(const char *path, kxMaterialTable::Interpolation mode = kxMaterialTable::Spline);
/// The same from text.
[[nodiscard]] kxDatabaseMaterial *
kxParseTableText(const std::string &text, const char *fileName,
                 kxMaterialTable::Interpolation mode = kxMaterialTable::Spline);

/// The name of a file without its directory and extension.
[[nodiscard]] std::string kxMaterialNameFromPath(const char *path);

#endif
