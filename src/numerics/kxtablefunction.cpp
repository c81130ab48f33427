// Tables of one and two variables: the line reader shared by both, sorting and grid assembly,
// and the interpolation kernels (the cubic ones on top of CSpline).
#define KX_UNIT "kxtablefunction"
#include "kx/numerics/kxtablefunction.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <numeric>
#include <string>
#include <utility>

namespace {

constexpr long kMaxTableFileBytes = 64L * 1024 * 1024;
constexpr size_t kMaxQuoted = 200;

std::string Quoted(const char *begin, const char *end)
{
    std::string line(begin, end);
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return kxQuoteCut(line, kMaxQuoted);
}

bool IsSeparator(char c)
{
    return c == ' ' || c == '\t' || c == ',' || c == ';' || c == '\r' || c == '\v' || c == '\f';
}

// Splits one line into numbers; false when a word is not a finite number or the count differs.
bool ParseLine(const char *begin, const char *end, int expected, double *out)
{
    int count = 0;
    const char *p = begin;
    while (p < end) {
        while (p < end && IsSeparator(*p))
            ++p;
        if (p == end)
            break;
        const char *w = p;
        while (p < end && !IsSeparator(*p))
            ++p;
        if (count == expected)
            return false;
        double v;
        if (!kxStringToNumber(std::string(w, p).c_str(), v) || !std::isfinite(v))
            return false;
        out[count++] = v;
    }
    return count == expected;
}

bool IsComment(const char *begin, const char *end)
{
    while (begin < end && IsSeparator(*begin))
        ++begin;
    return begin == end || *begin == '#' || *begin == '!';
}

struct Row {
    double v[3];
    int line;
};

// Reads every line of `text` with `expected` numbers; reports each bad line. Returns the number
// of bad lines.
int ReadRows(const char *text, const char *source, int expected, std::vector<Row> &rows)
{
    int bad = 0;
    int lineNo = 0;
    for (const char *p = text; *p;) {
        const char *end = p;
        while (*end && *end != '\n')
            ++end;
        ++lineNo;
        Row row{{0, 0, 0}, lineNo};
        if (!IsComment(p, end)) {
            if (ParseLine(p, end, expected, row.v)) {
                rows.push_back(row);
            } else {
                SyntaxErr("%s line %d: expected %d numbers: \"%s\"\n", source, lineNo, expected,
                          Quoted(p, end).c_str());
                ++bad;
            }
        }
        p = *end ? end + 1 : end;
    }
    return bad;
}

bool LoadText(const char *path, std::string &text)
{
    struct stat info;
    std::FILE *f = nullptr;
    if (stat(path, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= kMaxTableFileBytes)
        f = std::fopen(path, "rb");
    if (!f) {
        error.Raise(kxErrFile, "cannot read table file \"%s\"\n", path);
        return false;
    }
    text.resize(static_cast<size_t>(info.st_size));
    const size_t got = std::fread(&text[0], 1, text.size(), f);
    std::fclose(f);
    text.resize(got);
    // A NUL inside the file ends the text, as it would for any text reader.
    text.resize(std::strlen(text.c_str()));
    return true;
}

bool ReportBadLines(int bad, const char *source)
{
    if (bad == 0)
        return true;
    error.Raise(kxErrSyntax, "%d bad line(s) in table \"%s\"\n", bad, source);
    return false;
}

// Index k of the interval x[k] .. x[k+1] holding `at`, clamped to 0 .. n-2 (n >= 2).
int FindInterval(const std::vector<double> &x, double at)
{
    const auto it = std::upper_bound(x.begin() + 1, x.end() - 1, at);
    return static_cast<int>(it - x.begin()) - 1;
}

// Value and derivative of the natural spline through (x, v) at `at`.
void SplineThrough(const std::vector<double> &x, const std::vector<double> &v, double at,
                   double &value, double &slope)
{
    CSpline s;
    if (!s.Set(x.data(), v.data(), static_cast<int>(x.size()))) {
        value = slope = 0.0;
        return;
    }
    value = s.Evaluate(at);
    slope = s.Derivative(at);
}

} // namespace

// =============================================================================================
bool kxTable1D::Set(const std::vector<double> &x, const std::vector<double> &y)
{
    std::vector<double> xs(x.begin(), x.begin() + std::min(x.size(), y.size()));
    std::vector<double> ys(y.begin(), y.begin() + xs.size());
    for (size_t i = 0; i < xs.size(); ++i)
        if (!std::isfinite(xs[i]) || !std::isfinite(ys[i])) {
            x_.clear();
            y_.clear();
            error.Raise(kxErrGeneric, "table \"%s\" holds a value that is not finite\n", "(set)");
            return false;
        }
    return Build(xs, ys, "(set)");
}

bool kxTable1D::Build(std::vector<double> &x, std::vector<double> &y, const char *source)
{
    x_.clear();
    y_.clear();
    spline_ = CSpline();
    std::vector<size_t> order(x.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return x[a] < x[b]; });
    for (size_t k = 0; k < order.size(); ++k) {
        if (k > 0 && x[order[k]] == x[order[k - 1]]) {
            x_.clear();
            y_.clear();
            error.Raise(kxErrGeneric, "table \"%s\" repeats the abscissa %g\n", source,
                        x[order[k]]);
            return false;
        }
        x_.push_back(x[order[k]]);
        y_.push_back(y[order[k]]);
    }
    if (x_.size() < 2) {
        x_.clear();
        y_.clear();
        error.Raise(kxErrGeneric, "table \"%s\" needs at least 2 points\n", source);
        return false;
    }
    if (!spline_.Set(x_.data(), y_.data(), Count())) {
        KX_CODE_ERROR("sorted table refused by the spline");
        return false;
    }
    return true;
}

bool kxTable1D::ReadText(const char *text, const char *source)
{
    std::vector<Row> rows;
    int bad = ReadRows(text, source, 2, rows);
    std::vector<double> x, y;
    std::map<double, int> seen;
    for (const Row &r : rows) {
        const auto found = seen.find(r.v[0]);
        if (found != seen.end()) {
            SyntaxErr("%s line %d: abscissa %g repeats line %d\n", source, r.line, r.v[0],
                      found->second);
            ++bad;
            continue;
        }
        seen.emplace(r.v[0], r.line);
        x.push_back(r.v[0]);
        y.push_back(r.v[1]);
    }
    if (!Build(x, y, source))
        return false;
    return ReportBadLines(bad, source);
}

bool kxTable1D::ReadFile(const char *path)
{
    std::string text;
    return LoadText(path, text) && ReadText(text.c_str(), path);
}

int kxTable1D::Segment(double x) const { return FindInterval(x_, x); }

double kxTable1D::Value(double x, double) const
{
    if (x_.empty())
        return 0.0;
    if (mode_ == kxTableSpline)
        return spline_.Evaluate(x);
    const int k = Segment(x);
    const double t = (x - x_[k]) / (x_[k + 1] - x_[k]);
    return y_[k] + t * (y_[k + 1] - y_[k]);
}

double kxTable1D::Derivative(double x, double, int variable) const
{
    if (x_.empty() || variable != 0)
        return 0.0;
    if (mode_ == kxTableSpline)
        return spline_.Derivative(x);
    const int k = Segment(x);
    return (y_[k + 1] - y_[k]) / (x_[k + 1] - x_[k]);
}

// =============================================================================================
bool kxTable2D::Set(const std::vector<double> &x, const std::vector<double> &y,
                    const std::vector<double> &z)
{
    x_.clear();
    y_.clear();
    z_.clear();
    rows_.clear();
    const bool finite = std::all_of(z.begin(), z.end(), [](double v) { return std::isfinite(v); });
    if (x.size() < 2 || y.size() < 2 || z.size() != x.size() * y.size() || !finite ||
        !CSpline::IsMonotonic(x.data(), static_cast<int>(x.size())) ||
        !CSpline::IsMonotonic(y.data(), static_cast<int>(y.size()))) {
        error.Raise(kxErrGeneric, "table grid is not valid (%d x %d, %d values)\n",
                    static_cast<int>(x.size()), static_cast<int>(y.size()),
                    static_cast<int>(z.size()));
        return false;
    }
    x_ = x;
    y_ = y;
    z_ = z;
    rows_.resize(y_.size());
    for (size_t j = 0; j < y_.size(); ++j)
        if (!rows_[j].Set(x_.data(), &z_[j * x_.size()], CountX())) {
            KX_CODE_ERROR("grid row refused by the spline");
            return false;
        }
    return true;
}

bool kxTable2D::ReadText(const char *text, const char *source)
{
    std::vector<Row> rows;
    int bad = ReadRows(text, source, 3, rows);
    std::map<std::pair<double, double>, const Row *> grid;
    std::vector<double> xs, ys;
    for (const Row &r : rows) {
        const auto key = std::make_pair(r.v[0], r.v[1]);
        const auto found = grid.find(key);
        if (found != grid.end()) {
            SyntaxErr("%s line %d: grid point (%g, %g) repeats line %d\n", source, r.line, r.v[0],
                      r.v[1], found->second->line);
            ++bad;
            continue;
        }
        grid.emplace(key, &r);
        xs.push_back(r.v[0]);
        ys.push_back(r.v[1]);
    }
    for (std::vector<double> *v : {&xs, &ys}) {
        std::sort(v->begin(), v->end());
        v->erase(std::unique(v->begin(), v->end()), v->end());
    }
    x_.clear();
    y_.clear();
    if (xs.size() < 2 || ys.size() < 2) {
        error.Raise(kxErrGeneric, "table \"%s\" needs at least 2 points\n", source);
        return false;
    }
    std::vector<double> z(xs.size() * ys.size());
    for (size_t j = 0; j < ys.size(); ++j)
        for (size_t i = 0; i < xs.size(); ++i) {
            const auto found = grid.find(std::make_pair(xs[i], ys[j]));
            if (found == grid.end()) {
                error.Raise(kxErrGeneric, "table \"%s\" misses the grid point (%g, %g)\n", source,
                            xs[i], ys[j]);
                return false;
            }
            z[i + j * xs.size()] = found->second->v[2];
        }
    if (!Set(xs, ys, z))
        return false;
    return ReportBadLines(bad, source);
}

bool kxTable2D::ReadFile(const char *path)
{
    std::string text;
    return LoadText(path, text) && ReadText(text.c_str(), path);
}

double kxTable2D::Value(double x, double y) const
{
    double out[3];
    Evaluate(x, y, out);
    return out[0];
}

double kxTable2D::Derivative(double x, double y, int variable) const
{
    double out[3];
    Evaluate(x, y, out);
    return out[variable == 0 ? 1 : 2];
}

void kxTable2D::Evaluate(double x, double y, double out[3]) const
{
    out[0] = out[1] = out[2] = 0.0;
    if (x_.empty())
        return;
    if (mode_ == kxTableBilinear)
        EvaluateBilinear(x, y, out);
    else
        EvaluateBicubic(x, y, out);
}

void kxTable2D::EvaluateBilinear(double x, double y, double out[3]) const
{
    const int i = FindInterval(x_, x);
    const int j = FindInterval(y_, y);
    const double hx = x_[i + 1] - x_[i];
    const double hy = y_[j + 1] - y_[j];
    const double t = (x - x_[i]) / hx;
    const double u = (y - y_[j]) / hy;
    const double z00 = Node(i, j), z10 = Node(i + 1, j), z01 = Node(i, j + 1),
                 z11 = Node(i + 1, j + 1);
    out[0] = (1 - t) * (1 - u) * z00 + t * (1 - u) * z10 + (1 - t) * u * z01 + t * u * z11;
    out[1] = ((1 - u) * (z10 - z00) + u * (z11 - z01)) / hx;
    out[2] = ((1 - t) * (z01 - z00) + t * (z11 - z10)) / hy;
}

void kxTable2D::EvaluateBicubic(double x, double y, double out[3]) const
{
    std::vector<double> values(y_.size()), slopes(y_.size());
    for (size_t j = 0; j < y_.size(); ++j) {
        values[j] = rows_[j].Evaluate(x);
        slopes[j] = rows_[j].Derivative(x);
    }
    double dxSlope;
    SplineThrough(y_, values, y, out[0], out[2]);
    SplineThrough(y_, slopes, y, out[1], dxSlope);
}
