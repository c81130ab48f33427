// qvchart.h - a chart of the graphing module: axes, a legend and data sets, saved and loaded as
// a block of the block text format, exported as data, and published to the command language.
//
// Data sets (qvDataSet) are of one kind each:
//   line      x, y (optional yerr: error bars), drawn as a line and/or markers ("scatter" is a
//             line data set with no line and a marker);
//   contour   a grid (x: nx columns, y: ny rows, z: ny rows of nx) drawn as level lines,
//             labelled, at the chosen levels or `levelCount` automatic ones;
//   colourmap a grid drawn as coloured cells, with a colour bar;
//   vector    a grid with components u, v at each point, drawn as arrows scaled so that the
//             longest is `arrowScale` times the grid spacing;
//   mesh      nodes x, y and cells (3 or 4 node indices, from 0) drawn as a wireframe;
//   gouraud   nodes x, y with values z and triangles, coloured per vertex and interpolated.
// NaN and infinite values are gaps: a line breaks there, a cell or arrow is left out; they never
// count for the automatic limits. On a logarithmic axis non-positive values are gaps too.
//
// Block file: "begin qvChart(1.0) \"name\"" with lines "key = value" and one nested block per
// axis ("qvAxis") and data set ("qvDataSet"); numeric arrays are a line "x = N" followed by N
// numbers, 8 to a line. Unknown keys are reported as syntax errors and skipped.
//
// Command language: a chart publishes "title", "width", "height", "dpi", "legend" and the
// functions listed in OnPublish (help texts there). qvChartList is a process-wide list of
// charts that an application publishes as one child object (e.g. PublishObj("charts",
// &qvChartList::Global(), ...)); it creates, lists and deletes charts by name and publishes
// each chart under its name.
#ifndef KX_GRAPH_QVCHART_H
#define KX_GRAPH_QVCHART_H

#include "kx/graph/qvaxis.h"
#include "kx/graph/qvcolourmap.h"
#include "kx/objects/kxobject.h"

#include <memory>
#include <string>
#include <vector>

class TextBlock;
struct TBlockSig;

enum qvDataKind {
    qvLine = 0,
    qvContour,
    qvColourMapPlot,
    qvVector,
    qvMesh,
    qvGouraud
};
enum qvDash {
    qvDashSolid = 0,
    qvDashDashed,
    qvDashDotted,
    qvDashDashDot
};
enum qvMarker {
    qvMarkerNone = 0,
    qvMarkerCircle,
    qvMarkerSquare,
    qvMarkerTriangle,
    qvMarkerCross,
    qvMarkerPlus
};

/// Names of kinds, dashes and markers as written in block files and commands.
const char *qvKindName(qvDataKind kind);
const char *qvDashName(qvDash dash);
const char *qvMarkerName(qvMarker marker);
[[nodiscard]] bool qvKindFromName(const char *name, qvDataKind &kind);
[[nodiscard]] bool qvDashFromName(const char *name, qvDash &dash);
[[nodiscard]] bool qvMarkerFromName(const char *name, qvMarker &marker);
/// True for a name that a block file can hold: no quote, backslash or control character; an
/// axis name is also non-empty and has no blank.
[[nodiscard]] bool qvNameIsWritable(const std::string &name, bool isAxis);

class qvDataSet {
public:
    std::string name;
    qvDataKind kind = qvLine;
    std::string xAxis = "x", yAxis = "y";
    // style
    qvColour colour{0.12, 0.47, 0.71, 1};
    bool autoColour = true; ///< take the chart's next colour when added
    double lineWidth = 1.5;
    qvDash dash = qvDashSolid;
    bool drawLine = true;
    qvMarker marker = qvMarkerNone;
    double markerSize = 5;
    qvColourMap colourMap;
    bool colourBar = true;       ///< colour maps and Gouraud plots
    bool labels = true;          ///< contour labels
    bool colouredLevels = false; ///< contour lines coloured by the colour map
    int levelCount = 10;
    std::vector<double> levels; ///< chosen contour levels (empty: automatic)
    bool autoRange = true;      ///< colour range from the data
    double zMin = 0, zMax = 1;  ///< the colour range when not automatic
    double arrowScale = 0.9;
    // data
    std::vector<double> x, y, z, u, v, yerr;
    int nx = 0, ny = 0;     ///< grid sizes of grid kinds
    std::vector<int> cells; ///< mesh / gouraud: 4 entries per cell, -1 for a triangle's 4th

    bool IsGrid() const { return kind == qvContour || kind == qvColourMapPlot || kind == qvVector; }
    /// Checks sizes and indices; false with a message naming the data set.
    [[nodiscard]] bool Validate() const;
    /// Range of the data along x (horizontal) or y; NaN, NaN when there is none. Positive
    /// values only when `positiveOnly`.
    void Range(bool alongX, bool positiveOnly, double &lo, double &hi) const;
    /// Range of z (finite values), for colour maps and contours.
    void ZRange(double &lo, double &hi) const;
    /// The colour range in use (automatic or fixed).
    void ColourRange(double &lo, double &hi) const;
    /// The contour levels in use.
    std::vector<double> ContourLevels() const;
    /// True when x never decreases (lines may then be thinned per pixel column).
    bool XMonotonic() const;

    void WriteTB(TextBlock &parent) const;
    [[nodiscard]] bool ReadTB(TextBlock &block);
    /// Data as CSV (comma, header line) or plain columns (blank separated, "#" header).
    std::string ExportText(bool csv) const;
};

class qvChart : public KXObject {
public:
    static kxClassInfo ms_classInfo;
    const kxClassInfo *getClassInfo() const override { return &ms_classInfo; }

    /// A chart with the axes "x" (bottom) and "y" (left).
    qvChart();
    qvChart(const qvChart &other);
    qvChart &operator=(const qvChart &other);
    KXObject *Clone() const override { return new qvChart(*this); }

    KXString title;
    int width = 800, height = 600; ///< pixels of an image export
    double dpi = 96;               ///< of an image export; text and lines scale with it
    bool legend = true;

    std::vector<qvAxis> &Axes() { return axes_; }
    const std::vector<qvAxis> &Axes() const { return axes_; }
    /// The axis of that name, or null.
    qvAxis *FindAxis(const std::string &name);
    const qvAxis *FindAxis(const std::string &name) const;
    /// Adds an axis; false (error recorded) when the name is taken.
    [[nodiscard]] bool AddAxis(const std::string &name, qvAxisSide side);

    const std::vector<qvDataSet> &DataSets() const { return data_; }
    qvDataSet *FindDataSet(const std::string &name);
    /// Adds a data set after validating it; automatic colours cycle through a fixed palette.
    /// False (error recorded, nothing added) when it is invalid or names a missing axis.
    [[nodiscard]] bool AddDataSet(const qvDataSet &set) { return AddDataSet(qvDataSet(set)); }
    /// The same, taking over the data set's arrays without copying them (on failure `set`
    /// keeps them).
    [[nodiscard]] bool AddDataSet(qvDataSet &&set);
    /// Appends a point to the line data set `name`, made on the axes "x" and `yAxis` when
    /// missing. False (error recorded) when the data set is of another kind or has error bars,
    /// or when a new one is invalid.
    [[nodiscard]] bool AddPoint(const std::string &name, double x, double y,
                                const std::string &yAxis = "y");
    [[nodiscard]] bool RemoveDataSet(const std::string &name);
    void Clear();

    /// Copies of the axes with their limits resolved from the data (the chart is unchanged).
    /// False with the error recorded when an axis has no usable range.
    [[nodiscard]] bool ResolveAxes(std::vector<qvAxis> &resolved) const;

    // persistence
    static const TBlockSig &Sig();
    void WriteTB(TextBlock &block, const char *name) const;
    /// Reads a block written by WriteTB; problems go through SyntaxErr. False when the block
    /// is not a chart, or the chart's data are unusable (the chart is then left empty).
    [[nodiscard]] bool ReadTB(TextBlock &block);
    [[nodiscard]] bool SaveFile(const char *path) const;
    [[nodiscard]] bool LoadFile(const char *path);
    /// Writes the data set's data as CSV (".csv") or plain columns (any other extension).
    [[nodiscard]] bool ExportData(const std::string &dataSet, const char *path) const;

    void OnPublish() override;

private:
    std::vector<qvAxis> axes_;
    std::vector<qvDataSet> data_;
    int nextColour_ = 0;
};

/// The process-wide list of charts reachable from the command language.
class qvChartList : public KXObject {
public:
    static kxClassInfo ms_classInfo;
    const kxClassInfo *getClassInfo() const override { return &ms_classInfo; }

    static qvChartList &Global();
    /// The chart of that name, made when missing.
    qvChart &Get(const std::string &name);
    qvChart *Find(const std::string &name);
    bool Delete(const std::string &name);
    std::vector<std::string> Names() const;
    void OnPublish() override;

private:
    std::vector<std::pair<std::string, std::unique_ptr<qvChart>>> charts_;
};

#endif
