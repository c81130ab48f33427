// Fuzz target for the chart block reader: arbitrary bytes are loaded as a chart block and read.
// A chart that reads must write a block that reads again to the same text, and must draw onto
// a small image without fault. Any outcome is fine except a crash or a sanitizer report.
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/graph/qvchart.h"
#include "kx/graph/qvrender.h"

#include "kxfuzzutil.h"

#include <cairo.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using kxfuzz::Check;

size_t Points(const qvChart &c)
{
    size_t n = 0;
    for (const qvDataSet &d : c.DataSets())
        n += d.x.size() + d.z.size() + d.u.size() + d.cells.size();
    return n;
}

} // namespace

// Fontconfig keeps font patterns for the life of the process and never frees them, and Cairo's
// font objects hang off them (met when inputs make text of new sizes); both belong to the font
// machinery, not to the chart code, whose surfaces and patterns the unit tests' leak checks
// cover without this list.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libfontconfig.so\nleak:libcairo.so\n";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool once = [] {
        kxfuzz::InitialiseQuietly();
        // Fontconfig keeps what it loads for the life of the process: load it before the
        // first input, so that the leak check per input does not count it.
        qvChart warm;
        warm.title = "warm";
        cairo_surface_t *s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 64, 48);
        cairo_t *cr = cairo_create(s);
        (void)qvRenderChart(warm, cr, 64, 48, 0.3);
        cairo_destroy(cr);
        cairo_surface_destroy(s);
        return true;
    }();
    (void)once;
    std::string text(reinterpret_cast<const char *>(data), size);
    TextBlock block;
    error.reset();
    if (!block.LoadBlock(text.c_str())) {
        error.reset();
        return 0;
    }
    qvChart chart;
    ResetSyntaxErrFlag();
    if (!chart.ReadTB(block)) {
        error.reset();
        ResetSyntaxErrFlag();
        return 0;
    }
    error.reset();
    TextBlock out;
    chart.WriteTB(out, "chart");
    qvChart again;
    Check(again.ReadTB(out), "a written chart does not read again");
    TextBlock out2;
    again.WriteTB(out2, "chart");
    Check(std::string(out.getText()) == out2.getText(), "a chart does not write the same twice");
    // Drawing is bounded by the data read; keep the fuzzer fast on big inputs.
    if (Points(chart) < 20000) {
        cairo_surface_t *s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 64, 48);
        cairo_t *cr = cairo_create(s);
        (void)qvRenderChart(chart, cr, 64, 48, 0.3);
        cairo_destroy(cr);
        cairo_surface_destroy(s);
        // Cairo caches the fonts of every size it drew; drop them, so the per-input leak check
        // sees only what the chart code itself keeps.
        cairo_debug_reset_static_data();
    }
    error.reset();
    ResetSyntaxErrFlag();
    return 0;
}
