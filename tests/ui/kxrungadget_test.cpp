// Tests of the run indicator and the warning lamp.
#include "kx/ui/kxrungadget.h"

#include <cstring>

#include <gtest/gtest.h>

#include <wx/dcmemory.h>
#include <wx/frame.h>

namespace {

/// Draws the gadget's current frame into a bitmap and counts the clearly green pixels.
int GreenPixels(kxRunGadget &gadget)
{
    wxBitmap bitmap(32, 32, 24);
    {
        wxMemoryDC dc(bitmap);
        dc.SetBackground(*wxWHITE_BRUSH);
        dc.Clear();
        gadget.DoPaint(dc);
    }
    wxImage image = bitmap.ConvertToImage();
    int green = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 32; ++x)
            if (image.GetGreen(x, y) > 150 && image.GetRed(x, y) < 80 && image.GetBlue(x, y) < 80)
                ++green;
    return green;
}

/// The pixel colours of the current frame.
wxImage Frame(kxRunGadget &gadget)
{
    wxBitmap bitmap(32, 32, 24);
    {
        wxMemoryDC dc(bitmap);
        gadget.DoPaint(dc);
    }
    return bitmap.ConvertToImage();
}

} // namespace

TEST(kxRunGadgetTest, StatesPercentAndFrames)
{
    kxRunGadget gadget(nullptr, wxRect(0, 0, 32, 32));
    EXPECT_FALSE(gadget.IsRunning());
    EXPECT_EQ(gadget.getFrame(), 0);

    gadget.Spin(); // idle: nothing moves
    EXPECT_EQ(gadget.getFrame(), 0);

    const long paints = gadget.getPaintCount();
    gadget.Start();
    EXPECT_TRUE(gadget.IsRunning());
    EXPECT_EQ(gadget.getFrame(), 1);
    EXPECT_EQ(gadget.getPercent(), 0);
    EXPECT_GT(gadget.getPaintCount(), paints); // repainted at once

    gadget.Spin();
    EXPECT_EQ(gadget.getFrame(), 2);
    gadget.Spin();
    EXPECT_EQ(gadget.getFrame(), 3);
    gadget.Spin();
    EXPECT_EQ(gadget.getFrame(), 1);

    gadget.Percent(150);
    EXPECT_EQ(gadget.getPercent(), 100);
    gadget.Percent(-5);
    EXPECT_EQ(gadget.getPercent(), 0);
    gadget.Percent(42);
    EXPECT_EQ(gadget.getPercent(), 42);

    gadget.Stop();
    EXPECT_FALSE(gadget.IsRunning());
    EXPECT_EQ(gadget.getFrame(), 0);
    EXPECT_EQ(gadget.getPercent(), 100);
}

TEST(kxRunGadgetTest, FramesAreDrawnDifferently)
{
    kxRunGadget gadget(nullptr, wxRect(0, 0, 32, 32));
    EXPECT_EQ(GreenPixels(gadget), 0) << "the idle frame lights nothing";
    gadget.Start();
    EXPECT_GT(GreenPixels(gadget), 10);
    const wxImage one = Frame(gadget);
    gadget.Spin();
    const wxImage two = Frame(gadget);
    gadget.Spin();
    const wxImage three = Frame(gadget);
    auto differ = [](const wxImage &a, const wxImage &b) {
        return std::memcmp(a.GetData(), b.GetData(), size_t(a.GetWidth() * a.GetHeight() * 3)) != 0;
    };
    EXPECT_TRUE(differ(one, two));
    EXPECT_TRUE(differ(two, three));
    EXPECT_TRUE(differ(one, three));
}

TEST(kxRunGadgetTest, ClickRunsHandlerOnWindowAndGadget)
{
    auto *frame = new wxFrame(nullptr, wxID_ANY, "run");
    auto &ctrl = *new kxRunCtrl(frame);
    int clicks = 0;
    ctrl.getGadget().setClickHandler([&] { ++clicks; });
    ctrl.Click();
    wxMouseEvent down(wxEVT_LEFT_DOWN);
    down.SetEventObject(&ctrl);
    ctrl.GetEventHandler()->ProcessEvent(down);
    EXPECT_EQ(clicks, 2);
    ctrl.Start();
    ctrl.Spin();
    EXPECT_EQ(ctrl.getGadget().getFrame(), 2);
    ctrl.Stop();
    EXPECT_EQ(ctrl.getGadget().getFrame(), 0);
    frame->Destroy();
}

TEST(kxWarnSignalTest, ShowHideAndClick)
{
    auto *frame = new wxFrame(nullptr, wxID_ANY, "lamp");
    auto &lamp = *new kxWarnSignal(frame);
    int shown = 0;
    lamp.setClickHandler([&] { ++shown; });
    EXPECT_FALSE(lamp.IsLit());
    lamp.ShowWarnSignal();
    EXPECT_TRUE(lamp.IsLit());

    wxMouseEvent down(wxEVT_LEFT_DOWN);
    down.SetEventObject(&lamp);
    lamp.GetEventHandler()->ProcessEvent(down);
    EXPECT_EQ(shown, 1);
    EXPECT_FALSE(lamp.IsLit()) << "a click puts the lamp out";

    lamp.Click(); // unlit: the handler still opens the warnings
    EXPECT_EQ(shown, 2);
    EXPECT_FALSE(lamp.IsLit());
    lamp.ShowWarnSignal();
    lamp.HideWarnSignal();
    EXPECT_FALSE(lamp.IsLit());
    frame->Destroy();
}
