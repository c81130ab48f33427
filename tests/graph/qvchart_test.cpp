// Tests of charts: validation of data sets, automatic limits, block files, data export and the
// command-language functions.
#include "kx/graph/qvchart.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <unistd.h>

// Fontconfig (under Cairo's text) keeps a font pattern for the life of the process that it
// never frees; the leak check of sanitizer builds is told it is fontconfig's.
extern "C" const char *__lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace {

qvDataSet Line(const char *name, std::vector<double> x, std::vector<double> y)
{
    qvDataSet d;
    d.name = name;
    d.x = std::move(x);
    d.y = std::move(y);
    return d;
}

qvDataSet Grid(qvDataKind kind, int nx, int ny)
{
    qvDataSet d;
    d.name = "field";
    d.kind = kind;
    d.nx = nx;
    d.ny = ny;
    for (int i = 0; i < nx; ++i)
        d.x.push_back(i);
    for (int j = 0; j < ny; ++j)
        d.y.push_back(j * 0.5);
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) {
            d.z.push_back(i * j);
            d.u.push_back(1);
            d.v.push_back(j);
        }
    return d;
}

std::string TempPath(const char *ext)
{
    static int n = 0;
    return "/tmp/qvchart_test_" + std::to_string(getpid()) + "_" + std::to_string(n++) + ext;
}

std::string ReadAll(const std::string &path)
{
    std::ifstream f(path);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

bool Call(KXObject &o, const char *fn, std::initializer_list<const char *> args,
          KXString *result = nullptr)
{
    KXCommandElt e = o.getPublishedElt(fn);
    if (!e)
        return false;
    List<KXString> list;
    for (const char *a : args)
        list.append(a);
    KXString r;
    bool ok = e.Call(list, r);
    if (result)
        *result = r;
    return ok;
}

} // namespace

TEST(QVChartTest, BadDataIsRefusedWithAMessage)
{
    qvChart c;
    error.reset();
    EXPECT_FALSE(c.AddDataSet(Line("empty", {}, {})));
    EXPECT_STREQ(error.chars(), "Data set \"empty\" is empty");
    error.reset();
    EXPECT_FALSE(c.AddDataSet(Line("short", {1, 2, 3}, {1, 2})));
    EXPECT_NE(std::string(error.chars()).find("3 x values but 2 y values"), std::string::npos);
    error.reset();
    qvDataSet g = Grid(qvContour, 3, 4);
    g.z.pop_back();
    EXPECT_FALSE(c.AddDataSet(g));
    error.reset();
    qvDataSet m = Line("mesh", {0, 1, 0}, {0, 0, 1});
    m.kind = qvMesh;
    m.cells = {0, 1, 3, -1};
    EXPECT_FALSE(c.AddDataSet(m));
    EXPECT_NE(std::string(error.chars()).find("names node 3"), std::string::npos);
    error.reset();
    m.cells = {0, 1, 2, -1};
    m.kind = qvGouraud;
    EXPECT_FALSE(c.AddDataSet(m)); // no values
    error.reset();
    qvDataSet bad = Line("axes", {1}, {1});
    bad.yAxis = "x";
    EXPECT_FALSE(c.AddDataSet(bad));
    EXPECT_NE(std::string(error.chars()).find("horizontal and a vertical"), std::string::npos);
    error.reset();
    // Names a block file could not hold back (found by the fuzz target).
    EXPECT_FALSE(c.AddDataSet(Line("ar = 1\n", {1}, {1})));
    error.reset();
    EXPECT_FALSE(c.AddDataSet(Line("a\"b", {1}, {1})));
    error.reset();
    EXPECT_FALSE(c.AddAxis("two words", qvSideTop));
    error.reset();
    EXPECT_TRUE(c.DataSets().empty());
}

TEST(QVChartTest, LimitsSkipGapsAndNonPositiveOnLogAxes)
{
    qvChart c;
    ASSERT_TRUE(c.AddDataSet(Line("a", {1, 2, NAN, 4, INFINITY}, {-5, 0, 3, 90, 7})));
    std::vector<qvAxis> axes;
    ASSERT_TRUE(c.ResolveAxes(axes));
    EXPECT_EQ(axes[0].Lo(), 1);
    EXPECT_EQ(axes[0].Hi(), 4);
    EXPECT_EQ(axes[1].Lo(), -20);
    EXPECT_EQ(axes[1].Hi(), 100);
    c.FindAxis("y")->log = true;
    ASSERT_TRUE(c.ResolveAxes(axes)); // only 3, 90, 7 count
    EXPECT_EQ(axes[1].Lo(), 1);
    EXPECT_EQ(axes[1].Hi(), 100);
    // The chart's own axes keep no resolved state.
    EXPECT_TRUE(c.FindAxis("y")->autoMin);

    qvChart n;
    ASSERT_TRUE(n.AddDataSet(Line("neg", {1, 2}, {-1, -2})));
    n.FindAxis("y")->log = true;
    error.reset();
    EXPECT_FALSE(n.ResolveAxes(axes));
    EXPECT_STREQ(error.chars(), "Logarithmic axis \"y\" has no positive data");
    error.reset();

    // Error bars widen the range.
    qvChart e;
    qvDataSet d = Line("err", {0, 1}, {0, 1});
    d.yerr = {3, 0.1};
    ASSERT_TRUE(e.AddDataSet(d));
    ASSERT_TRUE(e.ResolveAxes(axes));
    EXPECT_LE(axes[1].Lo(), -3);
}

TEST(QVChartTest, BlockFileRoundTrip)
{
    qvChart c;
    c.title = "Sweep \"A\"";
    c.width = 640;
    c.dpi = 150;
    ASSERT_TRUE(c.AddAxis("y2", qvSideRight));
    c.FindAxis("x")->title = "Wavelength";
    c.FindAxis("x")->unit = "um";
    c.FindAxis("x")->SetLimits(1.2, 1.7);
    c.FindAxis("y")->log = true;
    c.FindAxis("y")->grid = true;
    qvDataSet l = Line("loss", {1.3, 1.4, 1.5}, {0.1, 1e-17, 3.25});
    l.dash = qvDashDashDot;
    l.marker = qvMarkerTriangle;
    l.yerr = {0.01, 0.02, 0.03};
    ASSERT_TRUE(c.AddDataSet(l));
    qvDataSet g = Grid(qvColourMapPlot, 9, 3);
    g.xAxis = "x";
    g.yAxis = "y2";
    ASSERT_TRUE(g.colourMap.SetScheme("plasma_r"));
    g.autoRange = false;
    g.zMin = -1;
    g.zMax = 2;
    ASSERT_TRUE(c.AddDataSet(g));
    qvDataSet v = Grid(qvVector, 2, 2);
    v.name = "flow";
    v.yAxis = "y2";
    ASSERT_TRUE(c.AddDataSet(v));
    qvDataSet m = Line("mesh", {0, 1, 1, 0}, {0, 0, 1, 1});
    m.kind = qvGouraud;
    m.z = {1, 2, 3, 4};
    m.cells = {0, 1, 2, -1, 0, 2, 3, -1};
    ASSERT_TRUE(m.colourMap.SetColours({{1, 0, 0, 1}, {0, 0, 1, 0.5}}));
    ASSERT_TRUE(c.AddDataSet(m));

    std::string path = TempPath(".qvc");
    ASSERT_TRUE(c.SaveFile(path.c_str()));
    qvChart r;
    ResetSyntaxErrFlag();
    ASSERT_TRUE(r.LoadFile(path.c_str())) << error.chars();
    EXPECT_FALSE(GetSyntaxErrFlag());
    EXPECT_STREQ(r.title.c_str(), "Sweep \"A\"");
    EXPECT_EQ(r.width, 640);
    EXPECT_EQ(r.dpi, 150);
    ASSERT_EQ(r.Axes().size(), 3u);
    EXPECT_EQ(r.FindAxis("y2")->side, qvSideRight);
    EXPECT_EQ(r.FindAxis("x")->Caption(), "Wavelength (um)");
    EXPECT_FALSE(r.FindAxis("x")->autoMin);
    EXPECT_EQ(r.FindAxis("x")->fixedMax, 1.7);
    EXPECT_TRUE(r.FindAxis("y")->log);
    ASSERT_EQ(r.DataSets().size(), 4u);
    const qvDataSet &rl = r.DataSets()[0];
    EXPECT_EQ(rl.y, l.y); // exact doubles
    EXPECT_EQ(rl.yerr, l.yerr);
    EXPECT_EQ(rl.dash, qvDashDashDot);
    EXPECT_EQ(rl.marker, qvMarkerTriangle);
    EXPECT_EQ(rl.colour, c.DataSets()[0].colour);
    const qvDataSet &rg = r.DataSets()[1];
    EXPECT_EQ(rg.kind, qvColourMapPlot);
    EXPECT_EQ(rg.nx, 9);
    EXPECT_EQ(rg.z, g.z);
    EXPECT_EQ(rg.colourMap.GetName(), "plasma");
    EXPECT_TRUE(rg.colourMap.IsReversed());
    EXPECT_FALSE(rg.autoRange);
    EXPECT_EQ(rg.zMin, -1);
    EXPECT_EQ(r.DataSets()[2].v, v.v);
    const qvDataSet &rm = r.DataSets()[3];
    EXPECT_EQ(rm.cells, m.cells);
    EXPECT_EQ(rm.colourMap.GetName(), "user");
    EXPECT_EQ(qvColourToText(rm.colourMap.Map(1)), "#0000ff80");
    // Saving the loaded chart gives the same text.
    std::string again = TempPath(".qvc");
    ASSERT_TRUE(r.SaveFile(again.c_str()));
    EXPECT_EQ(ReadAll(path), ReadAll(again));
    std::remove(path.c_str());
    std::remove(again.c_str());
}

TEST(QVChartTest, DamagedBlocksAreReportedNotLoaded)
{
    const char *cases[] = {
        "begin <qvChart(1.0)> \"c\"\n  size = 0 10 96\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  begin <qvDataSet(1.0)> \"d\"\n    x = 3\n    1 2\n  "
        "end\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  begin <qvDataSet(1.0)> \"d\"\n    x = 2\n    1 zz\n  "
        "end\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  begin <qvDataSet(1.0)> \"d\"\n    x = 1\n    1\n    y = 1\n"
        "    2\n    axes = x nowhere\n  end\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  begin <qvDataSet(1.0)> \"d\"\n    kind = line\n  end\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  begin <qvAxis(1.0)> \"x\"\n    ticks = 1\n  end\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  title = unquoted\nend\n",
        "begin <qvChart(1.0)> \"c\"\n  begin <qvDataSet(1.0)> \"d\"\n    kind = mesh\n    x = 1\n"
        "    0\n    y = 1\n    0\n    cells = 4\n    0 0 0 7\n  end\nend\n",
    };
    for (const char *text : cases) {
        qvChart c;
        ASSERT_TRUE(c.AddDataSet(Line("keep", {1}, {2})));
        TextBlock b;
        ASSERT_TRUE(b.LoadBlock(text));
        ResetSyntaxErrFlag();
        error.reset();
        EXPECT_FALSE(c.ReadTB(b)) << text;
        EXPECT_TRUE(GetSyntaxErrFlag() || error) << text;
        // A failed read leaves the chart as it was.
        EXPECT_EQ(c.DataSets().size(), 1u) << text;
        error.reset();
    }
    // Settings of any length are reported cut short, never ending the process (the message
    // printer is fatal at 1,000 characters; found by the fuzz target).
    {
        std::string longKey(3000, 'k'), longValue(3000, 'v');
        std::string text = "begin <qvChart(1.0)> \"c\"\n  " + longKey +
                           " = 1\n  legend = " + longValue + "\nend\n";
        TextBlock lb;
        ASSERT_TRUE(lb.LoadBlock(text.c_str()));
        qvChart c;
        ResetSyntaxErrFlag();
        EXPECT_FALSE(c.ReadTB(lb));
        EXPECT_EQ(GetSyntaxErrCount(), 2); // the unknown setting and the bad value
        ResetSyntaxErrFlag();
        error.reset();
    }
    // An unknown setting is reported but skipped.
    TextBlock b;
    ASSERT_TRUE(b.LoadBlock("begin <qvChart(1.0)> \"c\"\n  colour = red\n  legend = 0\nend\n"));
    qvChart c;
    ResetSyntaxErrFlag();
    EXPECT_TRUE(c.ReadTB(b));
    EXPECT_TRUE(GetSyntaxErrFlag());
    EXPECT_FALSE(c.legend);
    ResetSyntaxErrFlag();
    error.reset();
    EXPECT_FALSE(c.LoadFile("/nonexistent/dir/chart.qvc"));
    EXPECT_NE(std::string(error.chars()).find("Failed to open file"), std::string::npos);
    error.reset();
}

TEST(QVChartTest, DataExport)
{
    qvChart c;
    qvDataSet d = Line("pts", {1, 2.5}, {3, NAN});
    d.yerr = {0.5, 1};
    ASSERT_TRUE(c.AddDataSet(d));
    ASSERT_TRUE(c.AddDataSet(Grid(qvVector, 2, 2)));
    std::string csv = TempPath(".csv"), dat = TempPath(".dat");
    ASSERT_TRUE(c.ExportData("pts", csv.c_str()));
    EXPECT_EQ(ReadAll(csv), "x,y,yerr\n1,3,0.5\n2.5,nan,1\n");
    ASSERT_TRUE(c.ExportData("field", dat.c_str()));
    EXPECT_EQ(ReadAll(dat), "# x y u v\n0 0 1 0\n1 0 1 0\n0 0.5 1 1\n1 0.5 1 1\n");
    error.reset();
    EXPECT_FALSE(c.ExportData("none", csv.c_str()));
    EXPECT_STREQ(error.chars(), "No data set \"none\"");
    error.reset();
    EXPECT_FALSE(c.ExportData("pts", "/nonexistent/dir/x.csv"));
    EXPECT_EQ(int(error), kxErrFile);
    error.reset();
    std::remove(csv.c_str());
    std::remove(dat.c_str());
}

TEST(QVChartTest, CommandFunctions)
{
    kxNameSpace ns;
    kxNamedVariable *k = new kxNamedVariable(&ns);
    ASSERT_TRUE(k->SetName("k"));
    k->SetValue(3.0);

    qvChartList &list = qvChartList::Global();
    ASSERT_TRUE(Call(list, "new", {"sweep"}));
    qvChart *c = list.Find("sweep");
    ASSERT_NE(c, nullptr);
    c->SetNameSpace(&ns);
    // The chart is reachable by its name under the list.
    EXPECT_EQ(list.getPublishedElt("sweep", true).GetObject(), c);
    KXString names;
    ASSERT_TRUE(Call(list, "list", {}, &names));
    EXPECT_NE(std::string(names.c_str()).find("sweep"), std::string::npos);

    ASSERT_TRUE(Call(*c, "addline", {"data", "[1, 2, 3]", "4 5 6", "circle"}));
    ASSERT_TRUE(Call(*c, "addfunction", {"f", "k*x**2", "0", "2", "5"}));
    const qvDataSet *f = c->FindDataSet("f");
    ASSERT_NE(f, nullptr);
    EXPECT_DOUBLE_EQ(f->y[4], 12); // k = 3 from the namespace, x = 2
    ASSERT_TRUE(Call(*c, "addgrid", {"contour", "g", "x**2+y**2", "-1", "1", "5", "-1", "1", "3"}));
    EXPECT_DOUBLE_EQ(c->FindDataSet("g")->z[0], 2);
    ASSERT_TRUE(
        Call(*c, "addgriddata", {"vector", "w", "0 1", "0 1 2", "1 1 1 1 1 1", "0 0 0 0 0 2"}));
    EXPECT_EQ(c->FindDataSet("w")->ny, 3);
    EXPECT_EQ(c->FindDataSet("w")->v[5], 2);
    error.reset();
    EXPECT_FALSE(Call(*c, "addgriddata", {"colourmap", "bad", "0 1", "0 1", "1 2 3"}));
    EXPECT_NE(std::string(error.chars()).find("values per component"), std::string::npos);
    error.reset();
    ASSERT_TRUE(Call(*c, "setaxis", {"x", "0", "auto"}));
    EXPECT_FALSE(c->FindAxis("x")->autoMin);
    EXPECT_TRUE(c->FindAxis("x")->autoMax);
    ASSERT_TRUE(Call(*c, "setlabel", {"y", "Power", "mW"}));
    EXPECT_EQ(c->FindAxis("y")->Caption(), "Power (mW)");
    ASSERT_TRUE(Call(*c, "setscheme", {"g", "inferno"}));
    EXPECT_TRUE(c->getPublishedElt("title").SetValueString("Swept"));
    EXPECT_STREQ(c->title.c_str(), "Swept");

    error.reset();
    EXPECT_FALSE(Call(*c, "addline", {"bad", "1 2 x", "1 2 3"}));
    EXPECT_NE(std::string(error.chars()).find("expected a list of numbers"), std::string::npos);
    error.reset();
    EXPECT_FALSE(Call(*c, "setaxis", {"z", "0", "1"}));
    error.reset();
    EXPECT_FALSE(Call(*c, "addfunction", {"f2", "x", "0", "1", "1"}));
    error.reset();
    EXPECT_FALSE(Call(*c, "export", {"/tmp/chart.bmp"}));
    EXPECT_NE(std::string(error.chars()).find("Unknown image type"), std::string::npos);
    error.reset();

    std::string png = TempPath(".png"), saved = TempPath(".qvc");
    ASSERT_TRUE(Call(*c, "export", {png.c_str()})) << error.chars();
    ASSERT_TRUE(Call(*c, "save", {saved.c_str()}));
    ASSERT_TRUE(Call(list, "new", {"copy"}));
    ASSERT_TRUE(Call(*list.Find("copy"), "load", {saved.c_str()}));
    EXPECT_EQ(list.Find("copy")->DataSets().size(), 4u);
    EXPECT_FALSE(ReadAll(png).empty());
    EXPECT_EQ(ReadAll(png).substr(1, 3), "PNG");
    ASSERT_TRUE(Call(list, "delete", {"sweep"}));
    ASSERT_TRUE(Call(list, "delete", {"copy"}));
    EXPECT_EQ(list.Find("sweep"), nullptr);
    EXPECT_FALSE(Call(list, "new", {"1bad name"}));
    error.reset();
    std::remove(png.c_str());
    std::remove(saved.c_str());
}

TEST(QVChartTest, AddPointGrowsALineOnItsAxis)
{
    qvChart c;
    ASSERT_TRUE(c.AddAxis("y2", qvSideRight));
    ASSERT_TRUE(Call(c, "addpoint", {"w", "1", "10", "y2"}));
    ASSERT_TRUE(Call(c, "addpoint", {"w", "1.5", "12"}));
    const qvDataSet *w = c.FindDataSet("w");
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->yAxis, "y2"); // the axis given when the line was made
    EXPECT_EQ(w->x, (std::vector<double>{1, 1.5}));
    EXPECT_EQ(w->y, (std::vector<double>{10, 12}));
    std::vector<qvAxis> axes;
    ASSERT_TRUE(c.ResolveAxes(axes)) << error.chars();

    error.reset();
    EXPECT_FALSE(Call(c, "addpoint", {"w", "one", "2"}));
    EXPECT_STREQ(error.chars(), "addpoint: \"one\" is not a number");
    error.reset();
    EXPECT_FALSE(Call(c, "addpoint", {"v", "1", "2", "nosuchaxis"}));
    EXPECT_EQ(c.FindDataSet("v"), nullptr);
    error.reset();
    ASSERT_TRUE(Call(c, "addgrid", {"contour", "g", "x+y", "0", "1", "2", "0", "1", "2"}));
    EXPECT_FALSE(c.AddPoint("g", 1, 2));
    EXPECT_STREQ(error.chars(), "addpoint: \"g\" is not a line without error bars");
    error.reset();
}
