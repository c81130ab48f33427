// qvchart.cpp - charts and data sets: validation, ranges, block files, data export and the
// command-language functions.
#define KX_UNIT "qvchart"
#include "kx/graph/qvchart.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/graph/qvcontour.h"
#include "kx/graph/qvrender.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

KX_IMPLEMENT_CLASS(qvChart, KXObject)
KX_IMPLEMENT_CLASS(qvChartList, KXObject)

namespace {

const TBlockSig kAxisSig = {"qvAxis", 1, 0};
const TBlockSig kDataSig = {"qvDataSet", 1, 0};
const TBlockSig kChartSig = {"qvChart", 1, 0};

const char *const kKindNames[] = {"line", "contour", "colourmap", "vector", "mesh", "gouraud"};
const char *const kDashNames[] = {"solid", "dashed", "dotted", "dashdot"};
const char *const kMarkerNames[] = {"none", "circle", "square", "triangle", "cross", "plus"};
const char *const kSideNames[] = {"bottom", "left", "top", "right"};

// The automatic colours of successive data sets, as whole bytes so that they survive being
// written as "#rrggbb" and read back unchanged.
const unsigned char kPalette[][3] = {{31, 119, 180},  {255, 127, 14},  {44, 160, 44},
                                     {214, 39, 40},   {148, 103, 189}, {140, 86, 75},
                                     {227, 119, 194}, {127, 127, 127}};

template <size_t N>
bool FromName(const char *const (&names)[N], const char *name, int &out)
{
    for (size_t i = 0; i < N; ++i)
        if (name && strcasecmp(names[i], name) == 0) {
            out = static_cast<int>(i);
            return true;
        }
    return false;
}

std::string Quote(const std::string &s)
{
    std::string q = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\')
            q += '\\';
        q += (c == '\n' || c == '\r') ? ' ' : c;
    }
    return q + "\"";
}

// Reads a quoted text written by Quote; false when the text is not quoted.
bool Unquote(const std::string &s, std::string &out)
{
    if (s.size() < 2 || s.front() != '"' || s.back() != '"')
        return false;
    out.clear();
    for (size_t i = 1; i + 1 < s.size(); ++i) {
        if (s[i] == '\\' && i + 2 < s.size())
            ++i;
        out += s[i];
    }
    return true;
}

std::string Trim(const char *line)
{
    std::string s = line ? line : "";
    size_t a = s.find_first_not_of(" \t\r\n");
    size_t b = s.find_last_not_of(" \t\r\n");
    return a == std::string::npos ? std::string() : s.substr(a, b - a + 1);
}

// Splits "key = value"; false when there is no "=".
bool SplitKey(const std::string &line, std::string &key, std::string &value)
{
    size_t eq = line.find('=');
    if (eq == std::string::npos)
        return false;
    key = Trim(line.substr(0, eq).c_str());
    value = Trim(line.substr(eq + 1).c_str());
    return !key.empty();
}

// Numbers separated by blanks, commas, semicolons or brackets; false at the first non-number.
bool ParseNumbers(const char *text, std::vector<double> &out)
{
    const char *p = text;
    for (;;) {
        while (*p && std::strchr(" \t\r\n,;[]()", *p))
            ++p;
        if (!*p)
            return true;
        char *end = nullptr;
        double v = std::strtod(p, &end);
        if (end == p)
            return false;
        out.push_back(v);
        p = end;
    }
}

std::string Num(double v)
{
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.17g", v);
    return buf;
}

void WriteArray(TextBlock &b, const char *key, const std::vector<double> &a)
{
    if (a.empty())
        return;
    b.writeline("%s = %zu", key, a.size());
    std::string line;
    for (size_t i = 0; i < a.size(); ++i) {
        line += (i % 8 ? " " : "") + Num(a[i]);
        if (i % 8 == 7 || i + 1 == a.size()) {
            b.WriteLine(line.c_str());
            line.clear();
        }
    }
}

// Reads `count` numbers from the lines after an array's header line.
bool ReadArray(TextBlock &b, const char *key, size_t count, std::vector<double> &out)
{
    out.clear();
    while (out.size() < count) {
        if (b.EOB()) {
            SyntaxErr("qvDataSet: array \"%.200s\" ends after %zu of %zu numbers\n", key,
                      out.size(), count);
            return false;
        }
        const char *line = b.gets();
        if (!line || !ParseNumbers(line, out)) {
            SyntaxErr("qvDataSet: bad number in array \"%.200s\": %.200s\n", key,
                      Trim(line).c_str());
            return false;
        }
    }
    if (out.size() != count) {
        SyntaxErr("qvDataSet: array \"%.200s\" holds %zu numbers, not %zu\n", key, out.size(),
                  count);
        return false;
    }
    return true;
}

bool ParseCount(const std::string &value, size_t &count)
{
    char *end = nullptr;
    errno = 0;
    unsigned long long n = std::strtoull(value.c_str(), &end, 10);
    if (end == value.c_str() || *end || errno || n > 100000000ULL || value[0] == '-')
        return false;
    count = static_cast<size_t>(n);
    return true;
}

bool ParseDouble(const std::string &value, double &out)
{
    char *end = nullptr;
    out = std::strtod(value.c_str(), &end);
    return end != value.c_str() && *end == '\0';
}

bool ParseBool(const std::string &value, bool &out)
{
    if (value == "1" || strcasecmp(value.c_str(), "true") == 0)
        out = true;
    else if (value == "0" || strcasecmp(value.c_str(), "false") == 0)
        out = false;
    else
        return false;
    return true;
}

bool IsBeginLine(const char *line)
{
    std::string t = Trim(line);
    return t.size() >= 5 && strncasecmp(t.c_str(), "begin", 5) == 0 &&
           (t.size() == 5 || t[5] == ' ' || t[5] == '\t');
}

// Loads the nested block at the block's position when the next line opens one.
bool NextNested(TextBlock &block, TextBlock &child, bool &isNested)
{
    uint32_t at = block.getPosn();
    const char *line = block.gets();
    isNested = line && IsBeginLine(line);
    if (!isNested)
        return line != nullptr;
    block.setPosn(at);
    if (!child.LoadBlock(block)) {
        error.reset();
        SyntaxErr("qvChart: unreadable nested block: %.200s\n", Trim(line).c_str());
        return false;
    }
    return true;
}

} // namespace

const char *qvKindName(qvDataKind kind) { return kKindNames[kind]; }
const char *qvDashName(qvDash dash) { return kDashNames[dash]; }
const char *qvMarkerName(qvMarker marker) { return kMarkerNames[marker]; }

bool qvKindFromName(const char *name, qvDataKind &kind)
{
    int k = 0;
    if (name && strcasecmp(name, "scatter") == 0)
        name = "line";
    if (!FromName(kKindNames, name, k))
        return false;
    kind = static_cast<qvDataKind>(k);
    return true;
}

bool qvDashFromName(const char *name, qvDash &dash)
{
    int k = 0;
    if (!FromName(kDashNames, name, k))
        return false;
    dash = static_cast<qvDash>(k);
    return true;
}

bool qvMarkerFromName(const char *name, qvMarker &marker)
{
    int k = 0;
    if (!FromName(kMarkerNames, name, k))
        return false;
    marker = static_cast<qvMarker>(k);
    return true;
}

// ---------------------------------------------------------------------------------------------
// qvDataSet

bool qvNameIsWritable(const std::string &name, bool isAxis)
{
    for (char c : name)
        if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 32 || (isAxis && c == ' '))
            return false;
    return !isAxis || !name.empty();
}

bool qvDataSet::Validate() const
{
    const char *n = name.c_str();
    if (!qvNameIsWritable(name, false) || !qvNameIsWritable(xAxis, true) ||
        !qvNameIsWritable(yAxis, true)) {
        error.set("Data set \"%s\": names may not hold quotes, backslashes or control "
                  "characters (axis names no blanks either)",
                  n);
        return false;
    }
    if (IsGrid()) {
        if (nx < 2 || ny < 2 || x.size() != size_t(nx) || y.size() != size_t(ny)) {
            error.set("Data set \"%s\": a grid needs at least 2 x 2 points and %d x and %d y "
                      "values (has %zu and %zu)",
                      n, nx, ny, x.size(), y.size());
            return false;
        }
        size_t cellsWanted = size_t(nx) * size_t(ny);
        bool vec = kind == qvVector;
        if ((!vec && z.size() != cellsWanted) ||
            (vec && (u.size() != cellsWanted || v.size() != cellsWanted))) {
            error.set("Data set \"%s\": the grid needs %zu values per component", n, cellsWanted);
            return false;
        }
        return true;
    }
    if (x.empty()) {
        error.set("Data set \"%s\" is empty", n);
        return false;
    }
    if (x.size() != y.size() || (!yerr.empty() && yerr.size() != x.size())) {
        error.set("Data set \"%s\": %zu x values but %zu y values%s", n, x.size(), y.size(),
                  yerr.empty() ? "" : " (and error bars)");
        return false;
    }
    if (kind == qvLine)
        return true;
    if (kind == qvGouraud && z.size() != x.size()) {
        error.set("Data set \"%s\": %zu nodes but %zu values", n, x.size(), z.size());
        return false;
    }
    if (cells.empty() || cells.size() % 4) {
        error.set("Data set \"%s\": cells need 4 node indices each (-1 closes a triangle)", n);
        return false;
    }
    for (size_t c = 0; c < cells.size(); c += 4) {
        for (size_t k = 0; k < 4; ++k) {
            int idx = cells[c + k];
            bool optional = k == 3 && idx == -1;
            if (!optional && (idx < 0 || size_t(idx) >= x.size())) {
                error.set("Data set \"%s\": cell %zu names node %d of %zu", n, c / 4 + 1, idx,
                          x.size());
                return false;
            }
        }
        if (kind == qvGouraud && cells[c + 3] != -1) {
            error.set("Data set \"%s\": Gouraud shading takes triangles only", n);
            return false;
        }
    }
    return true;
}

void qvDataSet::Range(bool alongX, bool positiveOnly, double &lo, double &hi) const
{
    lo = INFINITY;
    hi = -INFINITY;
    const std::vector<double> &a = alongX ? x : y;
    auto take = [&](double val) {
        if (std::isfinite(val) && (!positiveOnly || val > 0)) {
            lo = std::min(lo, val);
            hi = std::max(hi, val);
        }
    };
    for (size_t i = 0; i < a.size(); ++i) {
        if (!alongX && kind == qvLine && !yerr.empty() && std::isfinite(yerr[i])) {
            take(a[i] - std::fabs(yerr[i]));
            take(a[i] + std::fabs(yerr[i]));
        } else {
            take(a[i]);
        }
    }
    if (lo > hi)
        lo = hi = NAN;
}

void qvDataSet::ZRange(double &lo, double &hi) const
{
    lo = INFINITY;
    hi = -INFINITY;
    for (double val : z)
        if (std::isfinite(val)) {
            lo = std::min(lo, val);
            hi = std::max(hi, val);
        }
    if (lo > hi)
        lo = hi = NAN;
}

void qvDataSet::ColourRange(double &lo, double &hi) const
{
    if (!autoRange) {
        lo = zMin;
        hi = zMax;
        return;
    }
    ZRange(lo, hi);
}

std::vector<double> qvDataSet::ContourLevels() const
{
    if (!levels.empty())
        return levels;
    double lo, hi;
    ColourRange(lo, hi);
    return qvAutoLevels(lo, hi, levelCount);
}

bool qvDataSet::XMonotonic() const
{
    for (size_t i = 1; i < x.size(); ++i)
        if (!(x[i] >= x[i - 1]))
            return false;
    return true;
}

void qvDataSet::WriteTB(TextBlock &parent) const
{
    TextBlock b;
    b.StartWrite(kDataSig, name.c_str());
    b.writeline("kind = %s", qvKindName(kind));
    b.writeline("axes = %s %s", xAxis.c_str(), yAxis.c_str());
    b.writeline("colour = %s", qvColourToText(colour).c_str());
    b.writeline("linewidth = %s", Num(lineWidth).c_str());
    b.writeline("dash = %s", qvDashName(dash));
    b.writeline("line = %d", drawLine ? 1 : 0);
    b.writeline("marker = %s %s", qvMarkerName(marker), Num(markerSize).c_str());
    b.writeline("scheme = %s %d", colourMap.GetName().c_str(), colourMap.IsReversed() ? 1 : 0);
    if (!colourMap.GetUserColours().empty()) {
        std::string cols;
        for (const qvColour &c : colourMap.GetUserColours())
            cols += (cols.empty() ? "" : " ") + qvColourToText(c);
        b.writeline("colours = %s", cols.c_str());
    }
    b.writeline("colourbar = %d", colourBar ? 1 : 0);
    b.writeline("labels = %d", labels ? 1 : 0);
    b.writeline("colouredlevels = %d", colouredLevels ? 1 : 0);
    b.writeline("levelcount = %d", levelCount);
    if (!autoRange)
        b.writeline("range = %s %s", Num(zMin).c_str(), Num(zMax).c_str());
    b.writeline("arrowscale = %s", Num(arrowScale).c_str());
    if (IsGrid())
        b.writeline("grid = %d %d", nx, ny);
    WriteArray(b, "levels", levels);
    WriteArray(b, "x", x);
    WriteArray(b, "y", y);
    WriteArray(b, "z", z);
    WriteArray(b, "u", u);
    WriteArray(b, "v", v);
    WriteArray(b, "yerr", yerr);
    if (!cells.empty()) {
        std::vector<double> c(cells.begin(), cells.end());
        WriteArray(b, "cells", c);
    }
    b.EndWrite();
    parent.Append(b);
}

bool qvDataSet::ReadTB(TextBlock &b)
{
    if (!b.CheckStartRead(kDataSig, false))
        return false;
    name = b.getName() ? b.getName() : "";
    bool ok = true;
    while (ok && !b.EOB()) {
        std::string line = Trim(b.gets()), key, value;
        if (line.empty())
            continue;
        if (!SplitKey(line, key, value)) {
            SyntaxErr("qvDataSet \"%.200s\": not a setting: %.200s\n", name.c_str(), line.c_str());
            ok = false;
            break;
        }
        const char *val = value.c_str();
        std::vector<double> nums;
        bool good = true;
        size_t count = 0;
        if (key == "kind") {
            good = qvKindFromName(val, kind);
        } else if (key == "axes") {
            char a[128], c[128];
            good = std::sscanf(val, "%127s %127s", a, c) == 2;
            if (good) {
                xAxis = a;
                yAxis = c;
            }
        } else if (key == "colour") {
            good = qvParseColour(val, colour);
            autoColour = false;
        } else if (key == "linewidth") {
            good = ParseDouble(value, lineWidth) && lineWidth >= 0 && lineWidth < 1000;
        } else if (key == "dash") {
            good = qvDashFromName(val, dash);
        } else if (key == "line") {
            good = ParseBool(value, drawLine);
        } else if (key == "marker") {
            char m[64];
            good = std::sscanf(val, "%63s %lf", m, &markerSize) == 2 &&
                   qvMarkerFromName(m, marker) && markerSize >= 0 && markerSize < 1000;
        } else if (key == "scheme") {
            char s[64];
            int rev = 0;
            good = std::sscanf(val, "%63s %d", s, &rev) == 2;
            if (good && strcasecmp(s, "user") != 0) {
                good = colourMap.SetScheme(s);
                if (!good)
                    error.reset();
            }
            colourMap.SetReversed(rev != 0);
        } else if (key == "colours") {
            std::vector<qvColour> cols;
            char word[64];
            int used = 0;
            for (const char *p = val; good && std::sscanf(p, "%63s%n", word, &used) == 1;
                 p += used) {
                qvColour c;
                good = qvParseColour(word, c);
                cols.push_back(c);
            }
            bool rev = colourMap.IsReversed();
            good = good && colourMap.SetColours(cols);
            if (!good)
                error.reset();
            colourMap.SetReversed(rev);
        } else if (key == "colourbar") {
            good = ParseBool(value, colourBar);
        } else if (key == "labels") {
            good = ParseBool(value, labels);
        } else if (key == "colouredlevels") {
            good = ParseBool(value, colouredLevels);
        } else if (key == "levelcount") {
            good =
                std::sscanf(val, "%d", &levelCount) == 1 && levelCount >= 0 && levelCount <= 1000;
        } else if (key == "range") {
            good = std::sscanf(val, "%lf %lf", &zMin, &zMax) == 2;
            autoRange = false;
        } else if (key == "arrowscale") {
            good = ParseDouble(value, arrowScale);
        } else if (key == "grid") {
            good = std::sscanf(val, "%d %d", &nx, &ny) == 2 && nx >= 0 && ny >= 0;
        } else if (key == "levels" || key == "x" || key == "y" || key == "z" || key == "u" ||
                   key == "v" || key == "yerr" || key == "cells") {
            good = ParseCount(value, count);
            if (good) {
                ok = ReadArray(b, key.c_str(), count, nums);
                if (!ok)
                    break;
                std::vector<double> *target = key == "levels" ? &levels
                                              : key == "x"    ? &x
                                              : key == "y"    ? &y
                                              : key == "z"    ? &z
                                              : key == "u"    ? &u
                                              : key == "v"    ? &v
                                              : key == "yerr" ? &yerr
                                                              : nullptr;
                if (target) {
                    *target = std::move(nums);
                } else {
                    cells.clear();
                    for (double d : nums) {
                        good = good && d >= -1 && d <= 2e9 && d == std::floor(d);
                        cells.push_back(good ? static_cast<int>(d) : -1);
                    }
                }
            }
        } else {
            SyntaxErr("qvDataSet \"%.200s\": unknown setting \"%.200s\"\n", name.c_str(),
                      key.c_str());
            continue;
        }
        if (!good) {
            SyntaxErr("qvDataSet \"%.200s\": bad value of \"%.200s\": %.200s\n", name.c_str(),
                      key.c_str(), val);
            ok = false;
        }
    }
    b.EndRead();
    if (ok && !Validate()) {
        SyntaxErr("%.200s\n", error.chars(true));
        ok = false;
    }
    return ok;
}

std::string qvDataSet::ExportText(bool csv) const
{
    const char *sep = csv ? "," : " ";
    std::vector<std::pair<const char *, const std::vector<double> *>> cols;
    std::string out = csv ? "" : "# ";
    auto header = [&](std::initializer_list<const char *> names) {
        bool first = true;
        for (const char *h : names) {
            out += (first ? "" : sep);
            out += h;
            first = false;
        }
        out += "\n";
    };
    auto row = [&](std::initializer_list<double> values) {
        bool first = true;
        for (double d : values) {
            out += (first ? "" : sep) + Num(d);
            first = false;
        }
        out += "\n";
    };
    if (IsGrid()) {
        if (kind == qvVector)
            header({"x", "y", "u", "v"});
        else
            header({"x", "y", "z"});
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i) {
                size_t k = size_t(j) * nx + i;
                if (kind == qvVector)
                    row({x[i], y[j], u[k], v[k]});
                else
                    row({x[i], y[j], z[k]});
            }
        return out;
    }
    if (kind == qvGouraud) {
        header({"x", "y", "z"});
        for (size_t i = 0; i < x.size(); ++i)
            row({x[i], y[i], z[i]});
    } else if (!yerr.empty()) {
        header({"x", "y", "yerr"});
        for (size_t i = 0; i < x.size(); ++i)
            row({x[i], y[i], yerr[i]});
    } else {
        header({"x", "y"});
        for (size_t i = 0; i < x.size(); ++i)
            row({x[i], y[i]});
    }
    return out;
}

// ---------------------------------------------------------------------------------------------
// qvChart

qvChart::qvChart()
{
    axes_.emplace_back("x", qvSideBottom);
    axes_.emplace_back("y", qvSideLeft);
}

qvChart::qvChart(const qvChart &other)
    : KXObject(other), title(other.title), width(other.width), height(other.height), dpi(other.dpi),
      legend(other.legend), axes_(other.axes_), data_(other.data_), nextColour_(other.nextColour_)
{
}

qvChart &qvChart::operator=(const qvChart &other)
{
    KXObject::operator=(other);
    title = other.title;
    width = other.width;
    height = other.height;
    dpi = other.dpi;
    legend = other.legend;
    axes_ = other.axes_;
    data_ = other.data_;
    nextColour_ = other.nextColour_;
    return *this;
}

qvAxis *qvChart::FindAxis(const std::string &name)
{
    for (qvAxis &a : axes_)
        if (a.name == name)
            return &a;
    return nullptr;
}

const qvAxis *qvChart::FindAxis(const std::string &name) const
{
    return const_cast<qvChart *>(this)->FindAxis(name);
}

bool qvChart::AddAxis(const std::string &name, qvAxisSide side)
{
    if (!qvNameIsWritable(name, true)) {
        error.set("Axis name \"%s\" may not be empty or hold blanks, quotes or control "
                  "characters",
                  name.c_str());
        return false;
    }
    if (FindAxis(name)) {
        error.set("Axis \"%s\" already exists", name.c_str());
        return false;
    }
    axes_.emplace_back(name, side);
    return true;
}

qvDataSet *qvChart::FindDataSet(const std::string &name)
{
    for (qvDataSet &d : data_)
        if (d.name == name)
            return &d;
    return nullptr;
}

bool qvChart::AddDataSet(qvDataSet &&set)
{
    if (!set.Validate())
        return false;
    const qvAxis *ax = FindAxis(set.xAxis), *ay = FindAxis(set.yAxis);
    if (!ax || !ay || ax->IsHorizontal() == ay->IsHorizontal()) {
        error.set("Data set \"%s\" needs a horizontal and a vertical axis (\"%s\", \"%s\")",
                  set.name.c_str(), set.xAxis.c_str(), set.yAxis.c_str());
        return false;
    }
    data_.push_back(std::move(set));
    if (data_.back().autoColour) {
        const unsigned char *p = kPalette[nextColour_++ % (sizeof kPalette / sizeof kPalette[0])];
        data_.back().colour = {p[0] / 255.0, p[1] / 255.0, p[2] / 255.0, 1};
    }
    return true;
}

bool qvChart::AddPoint(const std::string &name, double x, double y, const std::string &yAxis)
{
    qvDataSet *d = FindDataSet(name);
    if (!d) {
        qvDataSet made;
        made.name = name;
        made.yAxis = yAxis;
        made.x = {x};
        made.y = {y};
        return AddDataSet(std::move(made));
    }
    if (d->kind != qvLine || !d->yerr.empty()) {
        error.set("addpoint: \"%s\" is not a line without error bars", name.c_str());
        return false;
    }
    d->x.push_back(x);
    d->y.push_back(y);
    return true;
}

bool qvChart::RemoveDataSet(const std::string &name)
{
    for (size_t i = 0; i < data_.size(); ++i)
        if (data_[i].name == name) {
            data_.erase(data_.begin() + i);
            return true;
        }
    error.set("No data set \"%s\"", name.c_str());
    return false;
}

void qvChart::Clear()
{
    data_.clear();
    nextColour_ = 0;
}

bool qvChart::ResolveAxes(std::vector<qvAxis> &resolved) const
{
    resolved = axes_;
    for (qvAxis &axis : resolved) {
        double lo = INFINITY, hi = -INFINITY;
        for (const qvDataSet &d : data_) {
            bool alongX = d.xAxis == axis.name;
            if (!alongX && d.yAxis != axis.name)
                continue;
            double a, b;
            d.Range(alongX, axis.log, a, b);
            if (a == a) {
                lo = std::min(lo, a);
                hi = std::max(hi, b);
            }
        }
        bool hasData = lo <= hi;
        if (axis.log && !hasData) {
            for (const qvDataSet &d : data_)
                if (d.xAxis == axis.name || d.yAxis == axis.name) {
                    error.set("Logarithmic axis \"%s\" has no positive data", axis.name.c_str());
                    return false;
                }
        }
        if (!axis.Resolve(hasData ? lo : NAN, hasData ? hi : NAN))
            return false;
    }
    return true;
}

const TBlockSig &qvChart::Sig() { return kChartSig; }

void qvChart::WriteTB(TextBlock &block, const char *name) const
{
    block.StartWrite(kChartSig, name);
    block.writeline("title = %s", Quote(title.c_str()).c_str());
    block.writeline("size = %d %d %s", width, height, Num(dpi).c_str());
    block.writeline("legend = %d", legend ? 1 : 0);
    for (const qvAxis &a : axes_) {
        TextBlock b;
        b.StartWrite(kAxisSig, a.name.c_str());
        b.writeline("side = %s", kSideNames[a.side]);
        b.writeline("title = %s", Quote(a.title).c_str());
        b.writeline("unit = %s", Quote(a.unit).c_str());
        b.writeline("log = %d", a.log ? 1 : 0);
        b.writeline("grid = %d", a.grid ? 1 : 0);
        b.writeline("min = %s", a.autoMin ? "auto" : Num(a.fixedMin).c_str());
        b.writeline("max = %s", a.autoMax ? "auto" : Num(a.fixedMax).c_str());
        b.writeline("ticks = %d", a.maxTicks);
        b.EndWrite();
        block.Append(b);
    }
    for (const qvDataSet &d : data_)
        d.WriteTB(block);
    block.EndWrite();
}

namespace {

bool ReadAxis(TextBlock &b, qvAxis &a)
{
    if (!b.CheckStartRead(kAxisSig, false))
        return false;
    a.name = b.getName() ? b.getName() : "";
    bool ok = qvNameIsWritable(a.name, true);
    if (!ok)
        SyntaxErr("qvAxis without a usable name\n");
    while (ok && !b.EOB()) {
        std::string line = Trim(b.gets()), key, value;
        if (line.empty())
            continue;
        if (!SplitKey(line, key, value)) {
            SyntaxErr("qvAxis \"%.200s\": not a setting: %.200s\n", a.name.c_str(), line.c_str());
            ok = false;
            break;
        }
        bool good = true;
        int side = 0;
        if (key == "side") {
            good = FromName(kSideNames, value.c_str(), side);
            a.side = static_cast<qvAxisSide>(side);
        } else if (key == "title") {
            good = Unquote(value, a.title);
        } else if (key == "unit") {
            good = Unquote(value, a.unit);
        } else if (key == "log") {
            good = ParseBool(value, a.log);
        } else if (key == "grid") {
            good = ParseBool(value, a.grid);
        } else if (key == "min" || key == "max") {
            bool isAuto = value == "auto";
            double v = 0;
            good = isAuto || ParseDouble(value, v);
            (key == "min" ? a.autoMin : a.autoMax) = isAuto;
            if (!isAuto)
                (key == "min" ? a.fixedMin : a.fixedMax) = v;
        } else if (key == "ticks") {
            good = std::sscanf(value.c_str(), "%d", &a.maxTicks) == 1 && a.maxTicks >= 2 &&
                   a.maxTicks <= 100;
        } else {
            SyntaxErr("qvAxis \"%.200s\": unknown setting \"%.200s\"\n", a.name.c_str(),
                      key.c_str());
        }
        if (!good) {
            SyntaxErr("qvAxis \"%.200s\": bad value of \"%.200s\": %.200s\n", a.name.c_str(),
                      key.c_str(), value.c_str());
            ok = false;
        }
    }
    b.EndRead();
    return ok;
}

} // namespace

bool qvChart::ReadTB(TextBlock &block)
{
    qvChart loaded;
    loaded.axes_.clear();
    if (!block.CheckStartRead(kChartSig, false))
        return false;
    bool ok = true;
    while (ok && !block.EOB()) {
        TextBlock child;
        bool nested = false;
        if (!NextNested(block, child, nested)) {
            ok = false;
            break;
        }
        if (nested) {
            if (child.IsType(kAxisSig)) {
                qvAxis a;
                ok = ReadAxis(child, a);
                if (ok && loaded.FindAxis(a.name)) {
                    SyntaxErr("qvChart: axis \"%.200s\" given twice\n", a.name.c_str());
                    ok = false;
                }
                if (ok)
                    loaded.axes_.push_back(a);
            } else if (child.IsType(kDataSig)) {
                qvDataSet d;
                ok = d.ReadTB(child);
                if (ok)
                    loaded.data_.push_back(std::move(d));
            } else {
                SyntaxErr("qvChart: unknown block \"%.200s\"\n", child.getType());
            }
            continue;
        }
        std::string line = Trim(block.getLastLine()), key, value;
        if (line.empty())
            continue;
        if (!SplitKey(line, key, value)) {
            SyntaxErr("qvChart: not a setting: %.200s\n", line.c_str());
            ok = false;
        } else if (key == "title") {
            std::string t;
            ok = Unquote(value, t);
            loaded.title = t.c_str();
        } else if (key == "size") {
            ok = std::sscanf(value.c_str(), "%d %d %lf", &loaded.width, &loaded.height,
                             &loaded.dpi) == 3 &&
                 loaded.width > 0 && loaded.height > 0 && loaded.width <= 20000 &&
                 loaded.height <= 20000 && loaded.dpi > 0 && loaded.dpi <= 2400;
        } else if (key == "legend") {
            ok = ParseBool(value, loaded.legend);
        } else {
            SyntaxErr("qvChart: unknown setting \"%.200s\"\n", key.c_str());
        }
        if (!ok)
            SyntaxErr("qvChart: bad value of \"%.200s\": %.200s\n", key.c_str(), value.c_str());
    }
    block.EndRead();
    for (size_t i = 0; ok && i < loaded.data_.size(); ++i) {
        const qvDataSet &d = loaded.data_[i];
        const qvAxis *ax = loaded.FindAxis(d.xAxis), *ay = loaded.FindAxis(d.yAxis);
        if (!ax || !ay || ax->IsHorizontal() == ay->IsHorizontal()) {
            SyntaxErr("qvChart: data set \"%.200s\" names missing or parallel axes\n",
                      d.name.c_str());
            ok = false;
        }
    }
    if (!ok)
        return false;
    loaded.nextColour_ = static_cast<int>(loaded.data_.size());
    *this = loaded;
    return true;
}

bool qvChart::SaveFile(const char *path) const
{
    TextBlock block;
    WriteTB(block, "chart");
    return block.SaveFile(path);
}

bool qvChart::LoadFile(const char *path)
{
    FBuff file;
    if (!file.LoadFile(path))
        return false;
    TextBlock block;
    if (!block.LoadBlock(file)) {
        if (!error)
            error.set("\"%s\" holds no chart block", path);
        return false;
    }
    if (!ReadTB(block)) {
        if (!error)
            error.Raise(kxErrSyntax, "Chart file \"%s\" could not be read", path);
        return false;
    }
    return true;
}

bool qvChart::ExportData(const std::string &dataSet, const char *path) const
{
    const qvDataSet *d = const_cast<qvChart *>(this)->FindDataSet(dataSet);
    if (!d) {
        error.set("No data set \"%s\"", dataSet.c_str());
        return false;
    }
    size_t n = std::strlen(path);
    bool csv = n >= 4 && strcasecmp(path + n - 4, ".csv") == 0;
    std::string text = d->ExportText(csv);
    FILE *f = std::fopen(path, "wb");
    if (!f) {
        error.Raise(kxErrFile, "Failed to open file \"%s\"\n", path);
        return false;
    }
    bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    ok = std::fclose(f) == 0 && ok;
    if (!ok)
        error.Raise(kxErrFile, "Failed to write file \"%s\"\n", path);
    return ok;
}

// ---------------------------------------------------------------------------------------------
// Command language

namespace {

bool NeedArgs(const List<KXString> &args, int lo, int hi, const char *usage)
{
    int n = args.size();
    if (n < lo || n > hi) {
        error.set("usage: %s", usage);
        return false;
    }
    return true;
}

bool ArgNumbers(const KXString &text, std::vector<double> &out, const char *what)
{
    out.clear();
    if (!ParseNumbers(text.c_str(), out) || out.empty()) {
        error.set("%s: expected a list of numbers, got \"%.60s\"", what, text.c_str());
        return false;
    }
    return true;
}

bool ArgNumber(const KXString &text, double &out, const char *what)
{
    if (!kxStringToNumber(text.c_str(), out)) {
        error.set("%s: \"%s\" is not a number", what, text.c_str());
        return false;
    }
    return true;
}

// Evaluates `formula` at each point, with the variables x (and y) bound in a scope below `ns`,
// so that the formula may name the project's variables and functions.
bool EvaluateFormula(kxNameSpace *ns, const char *formula, const std::vector<double> &xs,
                     const std::vector<double> &ys, std::vector<double> &out)
{
    kxNameSpace local(kxNameSpace::IsActual(ns) ? ns : nullptr);
    kxNamedVariable *vx = new kxNamedVariable(&local);
    kxNamedVariable *vy = new kxNamedVariable(&local);
    if (!vx->SetName("x") || !vy->SetName("y"))
        return false;
    kxNamedVariable f(&local, kxNamedVariable::NotListed);
    f.SetExpression(formula);
    if (error)
        return false;
    bool grid = !ys.empty();
    out.clear();
    out.reserve(grid ? xs.size() * ys.size() : xs.size());
    for (size_t j = 0; j < (grid ? ys.size() : 1); ++j) {
        if (grid)
            vy->SetValue(ys[j]);
        for (double xv : xs) {
            vx->SetValue(xv);
            std::complex<double> val = f.GetValue();
            out.push_back(val.real());
        }
    }
    return !error;
}

std::vector<double> Spaced(double a, double b, int n)
{
    std::vector<double> v(n);
    for (int i = 0; i < n; ++i)
        v[i] = n == 1 ? a : a + (b - a) * i / (n - 1);
    return v;
}

} // namespace

void qvChart::OnPublish()
{
    KXObject::OnPublish();
    PublishVar("title", title, "chart title");
    PublishVar("width", width, "image width in pixels");
    PublishVar("height", height, "image height in pixels");
    PublishVar("dpi", dpi, "image resolution (dots per inch)");
    PublishVar("legend", legend, "draw the legend");
    PublishFunc(
        "addline",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 3, 5, "addline(name, xs, ys[, marker[, yerr]])"))
                return false;
            qvDataSet d;
            d.name = args[1].c_str();
            if (!ArgNumbers(args[2], d.x, "addline") || !ArgNumbers(args[3], d.y, "addline"))
                return false;
            if (args.size() >= 4 && !qvMarkerFromName(args[4].c_str(), d.marker)) {
                error.set("addline: unknown marker \"%s\"", args[4].c_str());
                return false;
            }
            if (args.size() >= 5 && !ArgNumbers(args[5], d.yerr, "addline"))
                return false;
            return AddDataSet(d);
        },
        "(name, xs, ys[, marker[, yerr]]): add a line through the points");
    PublishFunc(
        "addscatter",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 3, 3, "addscatter(name, xs, ys)"))
                return false;
            qvDataSet d;
            d.name = args[1].c_str();
            d.drawLine = false;
            d.marker = qvMarkerCircle;
            if (!ArgNumbers(args[2], d.x, "addscatter") || !ArgNumbers(args[3], d.y, "addscatter"))
                return false;
            return AddDataSet(d);
        },
        "(name, xs, ys): add markers at the points");
    PublishFunc(
        "addpoint",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 3, 4, "addpoint(name, x, y[, yaxis])"))
                return false;
            double x = 0, y = 0;
            if (!ArgNumber(args[2], x, "addpoint") || !ArgNumber(args[3], y, "addpoint"))
                return false;
            return AddPoint(args[1].c_str(), x, y, args.size() >= 4 ? args[4].c_str() : "y");
        },
        "(name, x, y[, yaxis]): add a point to the end of a line, made (on yaxis) when "
        "missing");
    PublishFunc(
        "addfunction",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 5, 5, "addfunction(name, formula, xmin, xmax, n)"))
                return false;
            double a, b, n;
            if (!ArgNumber(args[3], a, "addfunction") || !ArgNumber(args[4], b, "addfunction") ||
                !ArgNumber(args[5], n, "addfunction"))
                return false;
            if (!(n >= 2 && n <= 1e7)) {
                error.set("addfunction: the number of points must be 2 to 1e7");
                return false;
            }
            qvDataSet d;
            d.name = args[1].c_str();
            d.x = Spaced(a, b, static_cast<int>(n));
            if (!EvaluateFormula(GetNameSpace(), args[2].c_str(), d.x, {}, d.y))
                return false;
            return AddDataSet(d);
        },
        "(name, formula of x, xmin, xmax, n): add a line of a formula that may name "
        "the project's variables");
    PublishFunc(
        "addgrid",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 9, 9,
                          "addgrid(kind, name, formula of x and y, xmin, xmax, nx, ymin, "
                          "ymax, ny)"))
                return false;
            qvDataSet d;
            if (!qvKindFromName(args[1].c_str(), d.kind) || !d.IsGrid() || d.kind == qvVector) {
                error.set("addgrid: kind must be contour or colourmap, not \"%s\"",
                          args[1].c_str());
                return false;
            }
            double v[6];
            for (int k = 0; k < 6; ++k)
                if (!ArgNumber(args[4 + k], v[k], "addgrid"))
                    return false;
            if (!(v[2] >= 2 && v[2] <= 5000 && v[5] >= 2 && v[5] <= 5000)) {
                error.set("addgrid: grid sizes must be 2 to 5000");
                return false;
            }
            d.name = args[2].c_str();
            d.nx = static_cast<int>(v[2]);
            d.ny = static_cast<int>(v[5]);
            d.x = Spaced(v[0], v[1], d.nx);
            d.y = Spaced(v[3], v[4], d.ny);
            if (!EvaluateFormula(GetNameSpace(), args[3].c_str(), d.x, d.y, d.z))
                return false;
            return AddDataSet(d);
        },
        "(kind, name, formula of x and y, xmin, xmax, nx, ymin, ymax, ny): add a "
        "contour or colour map of a formula");
    PublishFunc(
        "addgriddata",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 5, 6, "addgriddata(kind, name, xs, ys, zs[, vs])"))
                return false;
            qvDataSet d;
            if (!qvKindFromName(args[1].c_str(), d.kind) || !d.IsGrid()) {
                error.set("addgriddata: kind must be contour, colourmap or vector, not "
                          "\"%s\"",
                          args[1].c_str());
                return false;
            }
            d.name = args[2].c_str();
            bool vec = d.kind == qvVector;
            if (!ArgNumbers(args[3], d.x, "addgriddata") ||
                !ArgNumbers(args[4], d.y, "addgriddata") ||
                !ArgNumbers(args[5], vec ? d.u : d.z, "addgriddata"))
                return false;
            if (vec && (args.size() < 6 || !ArgNumbers(args[6], d.v, "addgriddata")))
                return false;
            d.nx = static_cast<int>(d.x.size());
            d.ny = static_cast<int>(d.y.size());
            return AddDataSet(d);
        },
        "(kind, name, xs, ys, zs[, vs]): add a contour, colour map or (with vs) vector "
        "field; zs (or us) holds ny rows of nx values");
    PublishFunc(
        "setaxis",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 3, 3, "setaxis(axis, min|auto, max|auto)"))
                return false;
            qvAxis *a = FindAxis(args[1].c_str());
            if (!a) {
                error.set("setaxis: no axis \"%s\"", args[1].c_str());
                return false;
            }
            for (int k = 0; k < 2; ++k) {
                bool isAuto = strcasecmp(args[2 + k].c_str(), "auto") == 0;
                double v = 0;
                if (!isAuto && !ArgNumber(args[2 + k], v, "setaxis"))
                    return false;
                (k ? a->autoMax : a->autoMin) = isAuto;
                (k ? a->fixedMax : a->fixedMin) = v;
            }
            return true;
        },
        "(axis, min|auto, max|auto): set an axis's limits");
    PublishFunc(
        "setlabel",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 2, 3, "setlabel(axis, title[, unit])"))
                return false;
            qvAxis *a = FindAxis(args[1].c_str());
            if (!a) {
                error.set("setlabel: no axis \"%s\"", args[1].c_str());
                return false;
            }
            a->title = args[2].c_str();
            a->unit = args.size() >= 3 ? args[3].c_str() : "";
            return true;
        },
        "(axis, title[, unit]): set an axis's title and unit");
    PublishFunc(
        "setlog",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 2, 2, "setlog(axis, 0|1)"))
                return false;
            qvAxis *a = FindAxis(args[1].c_str());
            if (!a || !ParseBool(args[2].c_str(), a->log)) {
                error.set("setlog: no axis \"%s\" or bad flag", args[1].c_str());
                return false;
            }
            return true;
        },
        "(axis, 0|1): make an axis logarithmic or linear");
    PublishFunc(
        "setgrid",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 2, 2, "setgrid(axis, 0|1)"))
                return false;
            qvAxis *a = FindAxis(args[1].c_str());
            if (!a || !ParseBool(args[2].c_str(), a->grid)) {
                error.set("setgrid: no axis \"%s\" or bad flag", args[1].c_str());
                return false;
            }
            return true;
        },
        "(axis, 0|1): draw grid lines at the axis's ticks");
    PublishFunc(
        "addaxis",
        [this](const List<KXString> &args, KXString &) {
            int side = 0;
            if (!NeedArgs(args, 2, 2, "addaxis(name, bottom|left|top|right)"))
                return false;
            if (!FromName(kSideNames, args[2].c_str(), side)) {
                error.set("addaxis: unknown side \"%s\"", args[2].c_str());
                return false;
            }
            return AddAxis(args[1].c_str(), static_cast<qvAxisSide>(side));
        },
        "(name, side): add another axis");
    PublishFunc(
        "setscheme",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 2, 2, "setscheme(dataset, scheme)"))
                return false;
            qvDataSet *d = FindDataSet(args[1].c_str());
            if (!d) {
                error.set("setscheme: no data set \"%s\"", args[1].c_str());
                return false;
            }
            return d->colourMap.SetScheme(args[2].c_str());
        },
        "(dataset, scheme): colour scheme (viridis, magma, plasma, inferno, cividis, "
        "grey, diverging, rainbow; \"_r\" reverses)");
    PublishFunc(
        "remove",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 1, 1, "remove(dataset)") && RemoveDataSet(args[1].c_str());
        },
        "(dataset): remove a data set");
    PublishFunc(
        "clear",
        [this](const List<KXString> &, KXString &) {
            Clear();
            return true;
        },
        "(): remove every data set");
    PublishFunc(
        "export",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 1, 1, "export(file.png|.svg|.pdf)") &&
                   qvExportChart(*this, args[1].c_str());
        },
        "(file): write the chart as PNG, SVG or PDF (by the file's extension)");
    PublishFunc(
        "exportdata",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 2, 2, "exportdata(dataset, file)") &&
                   ExportData(args[1].c_str(), args[2].c_str());
        },
        "(dataset, file): write a data set as CSV (.csv) or plain columns");
    PublishFunc(
        "save",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 1, 1, "save(file)") && SaveFile(args[1].c_str());
        },
        "(file): save the chart as a block text file");
    PublishFunc(
        "load",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 1, 1, "load(file)") && LoadFile(args[1].c_str());
        },
        "(file): load a chart saved with save");
}

// ---------------------------------------------------------------------------------------------
// qvChartList

qvChartList &qvChartList::Global()
{
    static qvChartList list;
    return list;
}

qvChart *qvChartList::Find(const std::string &name)
{
    for (auto &c : charts_)
        if (c.first == name)
            return c.second.get();
    return nullptr;
}

qvChart &qvChartList::Get(const std::string &name)
{
    if (qvChart *c = Find(name))
        return *c;
    charts_.emplace_back(name, std::make_unique<qvChart>());
    charts_.back().second->SetNameSpace(GetNameSpace());
    return *charts_.back().second;
}

bool qvChartList::Delete(const std::string &name)
{
    for (size_t i = 0; i < charts_.size(); ++i)
        if (charts_[i].first == name) {
            charts_.erase(charts_.begin() + i);
            return true;
        }
    error.set("No chart \"%s\"", name.c_str());
    return false;
}

std::vector<std::string> qvChartList::Names() const
{
    std::vector<std::string> names;
    for (const auto &c : charts_)
        names.push_back(c.first);
    return names;
}

void qvChartList::OnPublish()
{
    KXObject::OnPublish();
    PublishFunc(
        "new",
        [this](const List<KXString> &args, KXString &) {
            if (!NeedArgs(args, 1, 1, "new(name)"))
                return false;
            if (!kxNamedVariable::IsNameValid(args[1].c_str())) {
                error.set("new: \"%s\" is not a valid chart name", args[1].c_str());
                return false;
            }
            Get(args[1].c_str());
            return true;
        },
        "(name): create a chart (or keep the one of that name)");
    PublishFunc(
        "delete",
        [this](const List<KXString> &args, KXString &) {
            return NeedArgs(args, 1, 1, "delete(name)") && Delete(args[1].c_str());
        },
        "(name): delete a chart");
    PublishFunc(
        "list",
        [this](const List<KXString> &, KXString &result) {
            std::string all;
            for (const std::string &n : Names())
                all += (all.empty() ? "" : " ") + n;
            result = all.c_str();
            return true;
        },
        "(): the names of the charts");
    for (auto &c : charts_)
        PublishObj(c.first.c_str(), c.second.get(), "a chart");
}
