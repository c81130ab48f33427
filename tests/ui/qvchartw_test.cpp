// Tests of the chart window: the pixels on screen against the image file of the same size, zoom,
// pan and autoscale against the expected axis limits (through the actions and through simulated
// mouse and keys), the read-out, the clipboard image and the printed page.
#include "kx/ui/qvchartw.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

#include <wx/app.h>
#include <wx/clipbrd.h>
#include <wx/dcclient.h>
#include <wx/dcmemory.h>
#include <wx/frame.h>
#include <wx/uiaction.h>
#include <wx/utils.h>

#include "kx/foundation/kxerror.h"
#include "kx/graph/qvrender.h"

namespace {

qvChart LineChart(bool logY = false)
{
    qvChart chart;
    chart.title = "sweep";
    qvDataSet d;
    d.name = "line";
    for (int i = 0; i <= 10; ++i) {
        d.x.push_back(i);
        d.y.push_back(logY ? std::pow(10.0, 0.4 * i) : 10.0 * i);
    }
    EXPECT_TRUE(chart.AddDataSet(d)) << error.chars();
    chart.FindAxis("y")->log = logY;
    return chart;
}

/// Pixels differing by more than `level` in any channel, as a fraction of all pixels.
double DifferentFraction(const wxImage &a, const wxImage &b, int level = 24)
{
    if (a.GetSize() != b.GetSize())
        return 1;
    const unsigned char *p = a.GetData(), *q = b.GetData();
    const long n = long(a.GetWidth()) * a.GetHeight();
    long bad = 0;
    for (long i = 0; i < n; ++i, p += 3, q += 3)
        if (std::abs(p[0] - q[0]) > level || std::abs(p[1] - q[1]) > level ||
            std::abs(p[2] - q[2]) > level)
            ++bad;
    return double(bad) / double(n);
}

long DarkPixels(const wxImage &image)
{
    long dark = 0;
    const unsigned char *p = image.GetData();
    for (long i = long(image.GetWidth()) * image.GetHeight(); i-- > 0; p += 3)
        dark += p[0] < 100 && p[1] < 100 && p[2] < 100;
    return dark;
}

wxImage FileImage(const qvChart &chart, int w, int h)
{
    char name[] = "/tmp/qvchartwXXXXXX.png";
    const int fd = mkstemps(name, 4);
    EXPECT_GE(fd, 0);
    close(fd);
    EXPECT_TRUE(qvExportPNG(chart, name, w, h, 96)) << error.chars();
    wxImage image(name, wxBITMAP_TYPE_PNG);
    std::remove(name);
    return image;
}

void Settle()
{
    for (int i = 0; i < 20; ++i) {
        wxTheApp->ProcessPendingEvents();
        wxYield();
        wxMilliSleep(10);
    }
}

class QVChartWTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!wxImage::FindHandler(wxBITMAP_TYPE_PNG))
            wxImage::AddHandler(new wxPNGHandler);
        frame_ = new wxFrame(nullptr, wxID_ANY, "chart", wxPoint(0, 0), wxDefaultSize);
        chart_ = new qvChartW(frame_, wxID_ANY, wxDefaultPosition, wxSize(400, 300));
        frame_->SetClientSize(400, 300);
        frame_->Show();
        chart_->SetChart(LineChart());
        Settle();
        ASSERT_EQ(chart_->GetClientSize(), wxSize(400, 300));
    }
    void TearDown() override
    {
        frame_->Destroy();
        Settle();
        error.reset();
    }

    /// The window point at data values (x, y) of the bottom and left axes.
    wxPoint At(double x, double y) const
    {
        const qvPlotArea a = qvChartPlotArea(chart_->GetChart(), 400, 300);
        double xlo = 0, xhi = 0, ylo = 0, yhi = 0;
        EXPECT_TRUE(chart_->GetAxisLimits("x", xlo, xhi));
        EXPECT_TRUE(chart_->GetAxisLimits("y", ylo, yhi));
        const bool logY = chart_->GetChart().FindAxis("y")->log;
        const double fy =
            logY ? std::log10(y / ylo) / std::log10(yhi / ylo) : (y - ylo) / (yhi - ylo);
        return wxPoint(int(std::lround(a.x + (x - xlo) / (xhi - xlo) * a.w)),
                       int(std::lround(a.y + (1 - fy) * a.h)));
    }

    void ExpectLimits(const char *axis, double lo, double hi, double tol)
    {
        double l = 0, h = 0;
        ASSERT_TRUE(chart_->GetAxisLimits(axis, l, h));
        EXPECT_NEAR(l, lo, tol) << axis;
        EXPECT_NEAR(h, hi, tol) << axis;
    }

    wxFrame *frame_ = nullptr;
    qvChartW *chart_ = nullptr;
};

} // namespace

TEST_F(QVChartWTest, ScreenShowsTheFilePixels)
{
    chart_->Update();
    Settle();
    wxBitmap shot(400, 300, 24);
    {
        wxClientDC client(chart_);
        wxMemoryDC memory(shot);
        ASSERT_TRUE(memory.Blit(0, 0, 400, 300, &client, 0, 0));
    }
    const wxImage screen = shot.ConvertToImage();
    const wxImage file = FileImage(chart_->GetChart(), 400, 300);
    ASSERT_TRUE(file.IsOk());
    EXPECT_GT(DarkPixels(file), 500); // axes, labels and the line are there
    EXPECT_LT(DifferentFraction(screen, file), 0.002);
    EXPECT_LT(DifferentFraction(chart_->RenderImage(), file), 0.002);

    // The comparison sees a change: another title gives other pixels.
    qvChart other = chart_->GetChart();
    other.title = "another title";
    EXPECT_GT(DifferentFraction(screen, FileImage(other, 400, 300)), 0.002);
}

TEST_F(QVChartWTest, ZoomPanAndAutoscaleSetTheLimits)
{
    ExpectLimits("x", 0, 10, 1e-9);
    ExpectLimits("y", 0, 100, 1e-9);
    const double px = 10.0 / qvChartPlotArea(chart_->GetChart(), 400, 300).w; // x per pixel
    const double py = 100.0 / qvChartPlotArea(chart_->GetChart(), 400, 300).h;

    // A rectangle dragged either way round gives the same limits.
    EXPECT_TRUE(chart_->ZoomToRect(At(4, 60), At(2, 20)));
    ExpectLimits("x", 2, 4, px);
    ExpectLimits("y", 20, 60, py);
    EXPECT_FALSE(chart_->GetChart().FindAxis("x")->autoMin);
    // Too small a rectangle is a click: nothing changes.
    const wxPoint p = At(3, 40);
    EXPECT_FALSE(chart_->ZoomToRect(p, p + wxPoint(3, 40)));
    ExpectLimits("x", 2, 4, px);

    // The wheel zooms about the cursor: the value under it stays.
    double xlo = 0, xhi = 0;
    ASSERT_TRUE(chart_->GetAxisLimits("x", xlo, xhi));
    const wxPoint c = At(2.5, 30);
    const wxString before = chart_->ReadOut(c);
    EXPECT_TRUE(chart_->ZoomAt(c, 0.5));
    ExpectLimits("x", 2.5 - 0.25, 2.5 + 0.75, px);
    EXPECT_EQ(chart_->ReadOut(c), before);

    // Panning moves the contents with the mouse: 40 pixels right shows smaller x.
    double lo = 0, hi = 0;
    ASSERT_TRUE(chart_->GetAxisLimits("x", lo, hi));
    const double perPixel = (hi - lo) / qvChartPlotArea(chart_->GetChart(), 400, 300).w;
    EXPECT_TRUE(chart_->PanBy(40, 0));
    ExpectLimits("x", lo - 40 * perPixel, hi - 40 * perPixel, 1e-9);
    EXPECT_FALSE(chart_->PanBy(0, 0));

    chart_->AutoScale();
    ExpectLimits("x", 0, 10, 1e-9);
    ExpectLimits("y", 0, 100, 1e-9);
}

TEST_F(QVChartWTest, LogAxisZoomsInDecades)
{
    chart_->SetChart(LineChart(true)); // y from 1 to 1e4
    ExpectLimits("y", 1, 1e4, 1e-9);
    EXPECT_TRUE(chart_->ZoomToRect(At(1, 1000), At(9, 10)));
    double lo = 0, hi = 0;
    ASSERT_TRUE(chart_->GetAxisLimits("y", lo, hi));
    EXPECT_NEAR(std::log10(lo), 1, 0.02);
    EXPECT_NEAR(std::log10(hi), 3, 0.02);
    EXPECT_TRUE(chart_->ZoomAt(At(5, 100), 2)); // out, about 100: two decades become four
    ASSERT_TRUE(chart_->GetAxisLimits("y", lo, hi));
    EXPECT_NEAR(std::log10(lo), 0, 0.02);
    EXPECT_NEAR(std::log10(hi), 4, 0.02);
}

TEST_F(QVChartWTest, ReadOutGivesTheValuesUnderTheCursor)
{
    const wxString text = chart_->ReadOut(At(5, 50));
    double x = 0, y = 0;
    ASSERT_EQ(std::sscanf(text.utf8_str().data(), "x = %lf   y = %lf", &x, &y), 2) << text;
    EXPECT_NEAR(x, 5, 0.05);
    EXPECT_NEAR(y, 50, 0.5);
    EXPECT_EQ(chart_->ReadOut(wxPoint(2, 2)), ""); // outside the plot area
}

TEST_F(QVChartWTest, MouseAndKeysDriveTheWindow)
{
    wxString readOut;
    chart_->SetReadOutHandler([&](const wxString &t) { readOut = t; });
    wxUIActionSimulator sim;
    const wxPoint a = chart_->ClientToScreen(At(2, 80)), b = chart_->ClientToScreen(At(6, 20));
    sim.MouseMove(a);
    Settle();
    EXPECT_TRUE(readOut.StartsWith("x = ")) << readOut;
    sim.MouseDown();
    Settle();
    sim.MouseMove((a + b) / 2);
    Settle();
    sim.MouseMove(b);
    Settle();
    sim.MouseUp();
    Settle();
    ExpectLimits("x", 2, 6, 0.1);
    ExpectLimits("y", 20, 80, 1);

    // "a" autoscales.
    chart_->SetFocus();
    Settle();
    sim.Char('a');
    Settle();
    ExpectLimits("x", 0, 10, 1e-9);

    // The wheel zooms in about the cursor.
    sim.MouseMove(chart_->ClientToScreen(At(5, 50)));
    Settle();
    wxMouseEvent wheel(wxEVT_MOUSEWHEEL);
    wheel.SetPosition(At(5, 50));
    wheel.m_wheelRotation = 120;
    wheel.m_wheelDelta = 120;
    wheel.m_wheelAxis = wxMOUSE_WHEEL_VERTICAL;
    chart_->GetEventHandler()->ProcessEvent(wheel);
    ExpectLimits("x", 5 - 5 / 1.25, 5 + 5 / 1.25, 0.05);

    // A double click autoscales too.
    sim.MouseDblClick();
    Settle();
    ExpectLimits("x", 0, 10, 1e-9);
    sim.MouseMove(wxPoint(1200, 850)); // off the window
    Settle();
}

TEST_F(QVChartWTest, ClipboardGetsTheImage)
{
    {
        wxClipboardLocker lock;
        ASSERT_FALSE(!lock);
        wxTheClipboard->SetData(new wxTextDataObject("not a chart"));
    }
    ASSERT_TRUE(chart_->CopyToClipboard());
    Settle();
    wxClipboardLocker lock;
    ASSERT_FALSE(!lock);
    ASSERT_TRUE(wxTheClipboard->IsSupported(wxDF_BITMAP));
    wxBitmapDataObject data;
    ASSERT_TRUE(wxTheClipboard->GetData(data));
    const wxImage image = data.GetBitmap().ConvertToImage();
    EXPECT_EQ(image.GetSize(), wxSize(400, 300));
    EXPECT_LT(DifferentFraction(image, FileImage(chart_->GetChart(), 400, 300)), 0.002);
}

TEST_F(QVChartWTest, PrintoutCentresTheChartOnThePage)
{
    qvChartPrintout printout(chart_->GetChart(), 4.0 / 3);
    int minPage = 0, maxPage = 0, from = 0, to = 0;
    printout.GetPageInfo(&minPage, &maxPage, &from, &to);
    EXPECT_EQ(maxPage, 1);
    EXPECT_FALSE(printout.HasPage(2));

    wxBitmap page(800, 600, 24);
    wxMemoryDC dc(page);
    dc.SetBackground(*wxWHITE_BRUSH);
    dc.Clear();
    printout.SetDC(&dc);
    printout.SetPPIPrinter(96, 96);
    EXPECT_FALSE(printout.OnPrintPage(2));
    ASSERT_TRUE(printout.OnPrintPage(1));
    dc.SelectObject(wxNullBitmap);
    const wxImage printed = page.ConvertToImage();
    // 90% of the page's width, 4:3: 720 x 540 at (40, 30).
    const wxImage inner = printed.GetSubImage(wxRect(40, 30, 720, 540));
    EXPECT_LT(DifferentFraction(inner, FileImage(chart_->GetChart(), 720, 540)), 0.002);
    EXPECT_EQ(DarkPixels(printed.GetSubImage(wxRect(0, 0, 800, 30))), 0);
}
