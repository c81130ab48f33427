// qvcolourmap.cpp - colour-map schemes and colour texts.
#define KX_UNIT "qvcolourmap"
#include "kx/graph/qvcolourmap.h"

#include "kx/foundation/kxerror.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "qvcolourtables.inc"

namespace {

struct NamedTable {
    const char *name;
    const unsigned char (*table)[3];
};

const NamedTable kTables[] = {{"viridis", kTable_viridis},
                              {"magma", kTable_magma},
                              {"plasma", kTable_plasma},
                              {"inferno", kTable_inferno},
                              {"cividis", kTable_cividis}};

qvColour FromBytes(int r, int g, int b) { return {r / 255.0, g / 255.0, b / 255.0, 1}; }

std::vector<qvColour> TableStops(const unsigned char (*table)[3])
{
    std::vector<qvColour> stops;
    stops.reserve(256);
    for (int i = 0; i < 256; ++i)
        stops.push_back(FromBytes(table[i][0], table[i][1], table[i][2]));
    return stops;
}

// The classic rainbow: hue from 240 degrees (blue) down to 0 (red) at full saturation.
std::vector<qvColour> RainbowStops()
{
    std::vector<qvColour> stops;
    for (int i = 0; i <= 64; ++i) {
        double h = (1.0 - i / 64.0) * 4.0; // sextant 0..4 (red..blue)
        int k = static_cast<int>(h);
        double f = h - k;
        qvColour c;
        switch (k) {
        case 0: c = {1, f, 0, 1}; break;
        case 1: c = {1 - f, 1, 0, 1}; break;
        case 2: c = {0, 1, f, 1}; break;
        case 3: c = {0, 1 - f, 1, 1}; break;
        default: c = {0, 0, 1, 1}; break;
        }
        stops.push_back(c);
    }
    return stops;
}

struct NamedColour {
    const char *name;
    qvColour colour;
};

const NamedColour kColourNames[] = {{"black", {0, 0, 0, 1}},
                                    {"white", {1, 1, 1, 1}},
                                    {"red", {0.84, 0.15, 0.16, 1}},
                                    {"green", {0.17, 0.63, 0.17, 1}},
                                    {"blue", {0.12, 0.47, 0.71, 1}},
                                    {"grey", {0.5, 0.5, 0.5, 1}},
                                    {"gray", {0.5, 0.5, 0.5, 1}},
                                    {"orange", {1, 0.5, 0.05, 1}},
                                    {"purple", {0.58, 0.4, 0.74, 1}},
                                    {"cyan", {0.09, 0.75, 0.81, 1}},
                                    {"magenta", {0.89, 0.47, 0.76, 1}},
                                    {"yellow", {0.74, 0.74, 0.13, 1}},
                                    {"brown", {0.55, 0.34, 0.29, 1}}};

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

double SrgbToLinear(double c)
{
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

} // namespace

bool qvParseColour(const char *text, qvColour &out)
{
    if (!text)
        return false;
    size_t n = std::strlen(text);
    if (text[0] == '#' && (n == 7 || n == 9)) {
        int v[4] = {0, 0, 0, 255};
        for (size_t i = 0; i < (n - 1) / 2; ++i) {
            int hi = HexDigit(text[1 + 2 * i]), lo = HexDigit(text[2 + 2 * i]);
            if (hi < 0 || lo < 0)
                return false;
            v[i] = hi * 16 + lo;
        }
        out = {v[0] / 255.0, v[1] / 255.0, v[2] / 255.0, v[3] / 255.0};
        return true;
    }
    for (const NamedColour &c : kColourNames) {
        if (strcasecmp(text, c.name) == 0) {
            out = c.colour;
            return true;
        }
    }
    return false;
}

std::string qvColourToText(const qvColour &c)
{
    auto byte = [](double v) {
        return static_cast<int>(std::lround(std::fmin(1, std::fmax(0, v)) * 255));
    };
    char buf[16];
    if (c.a >= 1)
        std::snprintf(buf, sizeof buf, "#%02x%02x%02x", byte(c.r), byte(c.g), byte(c.b));
    else
        std::snprintf(buf, sizeof buf, "#%02x%02x%02x%02x", byte(c.r), byte(c.g), byte(c.b),
                      byte(c.a));
    return buf;
}

double qvLightness(const qvColour &c)
{
    double y = 0.2126 * SrgbToLinear(c.r) + 0.7152 * SrgbToLinear(c.g) + 0.0722 * SrgbToLinear(c.b);
    return y > 216.0 / 24389 ? 116 * std::cbrt(y) - 16 : y * 24389.0 / 27;
}

qvColourMap::qvColourMap()
{
    if (!SetScheme("viridis"))
        KX_CODE_ERROR("default colour scheme missing");
}

std::vector<std::string> qvColourMap::SchemeNames()
{
    std::vector<std::string> names;
    for (const NamedTable &t : kTables)
        names.push_back(t.name);
    names.insert(names.end(), {"grey", "diverging", "rainbow"});
    return names;
}

bool qvColourMap::SetScheme(const char *name)
{
    std::string want = name ? name : "";
    bool reversed = false;
    if (want.size() > 2 && strcasecmp(want.c_str() + want.size() - 2, "_r") == 0) {
        reversed = true;
        want.resize(want.size() - 2);
    }
    std::vector<qvColour> stops;
    std::string canonical;
    for (const NamedTable &t : kTables) {
        if (strcasecmp(want.c_str(), t.name) == 0) {
            stops = TableStops(t.table);
            canonical = t.name;
        }
    }
    if (strcasecmp(want.c_str(), "grey") == 0 || strcasecmp(want.c_str(), "gray") == 0) {
        stops = {{0, 0, 0, 1}, {1, 1, 1, 1}};
        canonical = "grey";
    } else if (strcasecmp(want.c_str(), "diverging") == 0) {
        stops = {FromBytes(59, 76, 192), FromBytes(141, 176, 254), FromBytes(221, 221, 221),
                 FromBytes(244, 154, 123), FromBytes(180, 4, 38)};
        canonical = "diverging";
    } else if (strcasecmp(want.c_str(), "rainbow") == 0) {
        stops = RainbowStops();
        canonical = "rainbow";
    }
    if (stops.empty()) {
        error.set("Unknown colour scheme \"%s\"", name ? name : "");
        return false;
    }
    name_ = canonical;
    stops_ = std::move(stops);
    user_.clear();
    reversed_ = reversed;
    BuildLut();
    return true;
}

bool qvColourMap::SetColours(const std::vector<qvColour> &colours)
{
    if (colours.size() < 2) {
        error.set("A colour scheme needs at least two colours");
        return false;
    }
    name_ = "user";
    stops_ = colours;
    user_ = colours;
    BuildLut();
    return true;
}

qvColour qvColourMap::MapForward(double t) const
{
    double x = std::fmin(1, std::fmax(0, t)) * (stops_.size() - 1);
    size_t i = static_cast<size_t>(x);
    if (i >= stops_.size() - 1)
        return stops_.back();
    double f = x - i;
    const qvColour &a = stops_[i], &b = stops_[i + 1];
    return {a.r + (b.r - a.r) * f, a.g + (b.g - a.g) * f, a.b + (b.b - a.b) * f,
            a.a + (b.a - a.a) * f};
}

qvColour qvColourMap::Map(double t) const
{
    if (!(t == t))
        return {0, 0, 0, 0};
    return MapForward(reversed_ ? 1 - t : t);
}

void qvColourMap::BuildLut()
{
    lut_.resize(kLutSize);
    for (int i = 0; i < kLutSize; ++i) {
        qvColour c = MapForward(static_cast<double>(i) / (kLutSize - 1));
        auto byte = [&](double v) { return static_cast<uint32_t>(std::lround(v * c.a * 255)); };
        lut_[i] = (static_cast<uint32_t>(std::lround(c.a * 255)) << 24) | (byte(c.r) << 16) |
                  (byte(c.g) << 8) | byte(c.b);
    }
}
