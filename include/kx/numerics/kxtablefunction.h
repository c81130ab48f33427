// kxtablefunction.h - functions given as tables: of one variable (x, y pairs; linear or natural
// cubic spline interpolation) and of two variables (x, y, z triples on a rectangular grid;
// bilinear or bicubic spline interpolation), set from arrays or read from plain text files.
//
// Table text
// ----------
// One point per line: two numbers (x y) for a table of one variable, three (x y z) for two.
// Numbers are separated by blanks, tabs, commas or semicolons. Empty lines and lines whose first
// non-blank character is '#' or '!' are comments. Any other line that does not hold exactly the
// expected count of finite numbers is reported through SyntaxErr, one message per bad line:
//   "%s line %d: expected %d numbers: \"%s\"\n"        (source name, line from 1, the line)
//   "%s line %d: abscissa %g repeats line %d\n"         (tables of one variable)
//   "%s line %d: grid point (%g, %g) repeats line %d\n" (tables of two variables)
// The bad lines are skipped and the table is built from the good ones; a read with any bad line
// still returns false, with the global `error` set (code 504):
//   "%d bad line(s) in table \"%s\"\n".
// A table needs at least two points ("table \"%s\" needs at least 2 points\n", code 1); the
// points of a table of one variable may come in any order (they are sorted by x). A table of
// two variables must fill its grid: every pair of a listed x and a listed y must be present
// ("table \"%s\" misses the grid point (%g, %g)\n", code 1) and needs two x and two y values.
// Quoted lines are cut to 200 characters. A file must be a regular file of up to 64 MiB
// ("cannot read table file \"%s\"\n", code 500).
//
// Interpolation and beyond the table
// ----------------------------------
// Linear: straight segments, continued beyond the ends with the slope of the end segments.
// Spline: the natural cubic spline of the formula language's `spline` (CSpline), continued as a
// straight line with its end slopes. Bilinear: the cell's bilinear form, the end cells'
// forms continued beyond the grid. Bicubic: natural splines along x through each grid row,
// then a natural spline along y through their values (the tensor-product natural spline),
// continued linearly outside like the splines it is made of. Derivatives are exact (for the
// linear forms, the slope of the segment or cell; at a node the right-hand one).
#ifndef KX_NUMERICS_KXTABLEFUNCTION_H
#define KX_NUMERICS_KXTABLEFUNCTION_H

#include "kx/expressions/kxcubicspline.h"
#include "kx/foundation/kxstring.h"
#include "kx/numerics/kxfunction.h"

#include <vector>

/// Interpolation of a table of one variable.
enum kxTable1DMode {
    kxTableLinear,
    kxTableSpline
};
/// Interpolation of a table of two variables.
enum kxTable2DMode {
    kxTableBilinear,
    kxTableBicubic
};

class kxTable1D : public kxFunction {
public:
    explicit kxTable1D(kxTable1DMode mode = kxTableSpline) : mode_(mode) {}

    /// Sets the table from n pairs in any order of x; false (table emptied) when there are
    /// fewer than 2 pairs, a repeated x or a value that is not finite.
    [[nodiscard]] bool Set(const std::vector<double> &x, const std::vector<double> &y);
    /// Reads the table from text (see the top of this file); `source` names it in messages.
    [[nodiscard]] bool ReadText(const char *text, const char *source);
    /// Reads the table from a file.
    [[nodiscard]] bool ReadFile(const char *path);

    void SetMode(kxTable1DMode mode) { mode_ = mode; }
    [[nodiscard]] kxTable1DMode Mode() const { return mode_; }
    [[nodiscard]] int Count() const { return static_cast<int>(x_.size()); }
    [[nodiscard]] const std::vector<double> &X() const { return x_; }
    [[nodiscard]] const std::vector<double> &Y() const { return y_; }

    [[nodiscard]] int Dimension() const override { return 1; }
    /// 0 for an empty table.
    [[nodiscard]] double Value(double x, double y = 0.0) const override;
    [[nodiscard]] bool HasDerivative() const override { return true; }
    [[nodiscard]] double Derivative(double x, double y = 0.0, int variable = 0) const override;

private:
    [[nodiscard]] bool Build(std::vector<double> &x, std::vector<double> &y, const char *source);
    [[nodiscard]] int Segment(double x) const;

    kxTable1DMode mode_;
    std::vector<double> x_;
    std::vector<double> y_;
    CSpline spline_;
};

class kxTable2D : public kxFunction {
public:
    explicit kxTable2D(kxTable2DMode mode = kxTableBicubic) : mode_(mode) {}

    /// Sets the grid: x (nx values), y (ny values), both strictly increasing, and
    /// z[i + j * nx] at (x[i], y[j]); false (table emptied) otherwise.
    [[nodiscard]] bool Set(const std::vector<double> &x, const std::vector<double> &y,
                           const std::vector<double> &z);
    [[nodiscard]] bool ReadText(const char *text, const char *source);
    [[nodiscard]] bool ReadFile(const char *path);

    void SetMode(kxTable2DMode mode) { mode_ = mode; }
    [[nodiscard]] kxTable2DMode Mode() const { return mode_; }
    [[nodiscard]] int CountX() const { return static_cast<int>(x_.size()); }
    [[nodiscard]] int CountY() const { return static_cast<int>(y_.size()); }
    /// The grid value at (x[i], y[j]).
    [[nodiscard]] double Node(int i, int j) const { return z_[i + j * x_.size()]; }

    [[nodiscard]] int Dimension() const override { return 2; }
    [[nodiscard]] double Value(double x, double y) const override;
    [[nodiscard]] bool HasDerivative() const override { return true; }
    [[nodiscard]] double Derivative(double x, double y, int variable = 0) const override;

private:
    /// value, d/dx and d/dy at (x, y).
    void Evaluate(double x, double y, double out[3]) const;
    void EvaluateBilinear(double x, double y, double out[3]) const;
    void EvaluateBicubic(double x, double y, double out[3]) const;

    kxTable2DMode mode_;
    std::vector<double> x_;
    std::vector<double> y_;
    std::vector<double> z_;
    std::vector<CSpline> rows_; ///< one spline along x per grid row y[j]
};

#endif
