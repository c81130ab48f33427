// qvcolourmap.h - colour-map schemes of the graphing module: a value in [0, 1] to a colour.
//
// Schemes: the perceptually uniform "viridis" (the default), "magma", "plasma", "inferno" and
// "cividis" (published 256-entry tables), "grey" (black to white), "diverging" (blue through
// white to red, for signed fields), "rainbow" (the classic hue sweep, blue to red) and user
// schemes made from a list of colours spaced evenly. Any scheme may be reversed.
//
// Choices: values are interpolated linearly between table entries; values outside [0, 1] are
// clamped; NaN gives the "bad" colour (transparent). Scheme names are matched without regard to
// case, and a trailing "_r" asks for the reversed scheme (matplotlib's convention).
#ifndef KX_GRAPH_QVCOLOURMAP_H
#define KX_GRAPH_QVCOLOURMAP_H

#include <cstdint>
#include <string>
#include <vector>

/// A colour with components in [0, 1].
struct qvColour {
    double r = 0, g = 0, b = 0, a = 1;
    bool operator==(const qvColour &o) const
    {
        return r == o.r && g == o.g && b == o.b && a == o.a;
    }
};

/// Parses "#rrggbb", "#rrggbbaa" or a basic colour name (black, white, red, green, blue, grey,
/// orange, purple, cyan, magenta, yellow, brown); false when the text is none of these.
[[nodiscard]] bool qvParseColour(const char *text, qvColour &out);
/// "#rrggbb" (or "#rrggbbaa" when not opaque).
std::string qvColourToText(const qvColour &c);
/// The CIE L* lightness (0..100) of an sRGB colour.
double qvLightness(const qvColour &c);

class qvColourMap {
public:
    /// The default scheme, viridis.
    qvColourMap();

    /// Selects a named scheme (see the top); false, with the map unchanged and the error
    /// "Unknown colour scheme \"%s\"" recorded, for an unknown name.
    [[nodiscard]] bool SetScheme(const char *name);
    /// A user scheme through the given colours (at least two), spaced evenly.
    [[nodiscard]] bool SetColours(const std::vector<qvColour> &colours);
    void SetReversed(bool reversed) { reversed_ = reversed; }
    bool IsReversed() const { return reversed_; }
    /// The scheme's name ("user" for a user scheme), without the "_r".
    const std::string &GetName() const { return name_; }
    /// The colours a user scheme was made from (empty for a named scheme).
    const std::vector<qvColour> &GetUserColours() const { return user_; }

    /// The colour for t in [0, 1] (clamped); NaN gives a transparent colour.
    qvColour Map(double t) const;
    /// The packed premultiplied ARGB (Cairo's ARGB32 pixel) of Map(t), from a 1024-entry table.
    uint32_t MapPixel(double t) const
    {
        if (!(t == t))
            return 0;
        int i = t <= 0 ? 0 : t >= 1 ? kLutSize - 1 : static_cast<int>(t * (kLutSize - 1) + 0.5);
        return lut_[reversed_ ? kLutSize - 1 - i : i];
    }

    /// Every named scheme.
    static std::vector<std::string> SchemeNames();

private:
    static constexpr int kLutSize = 1024;
    void BuildLut();
    qvColour MapForward(double t) const;

    std::string name_;
    std::vector<qvColour> stops_; ///< evenly spaced colours of the scheme
    std::vector<qvColour> user_;
    bool reversed_ = false;
    std::vector<uint32_t> lut_;
};

#endif
