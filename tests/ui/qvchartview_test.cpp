// Tests of the chart node's view: opened through the view registry in the main frame, showing
// the node's chart, refreshed when the node changes, and zoomed without touching the node.
#include "kx/ui/qvchartview.h"

#include <memory>

#include <gtest/gtest.h>

#include <wx/app.h>

#include "kx/foundation/kxerror.h"
#include "kx/graph/qvchartnode.h"
#include "kx/project/kxprojman.h"
#include "kx/project/kxrunsignal.h"
#include "kx/ui/kxapp.h"
#include "kx/ui/kxmainframe.h"

namespace {

class QVChartViewTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        app_ = std::make_unique<kxApp>();
        app_->Install();
        frame_ = new kxMainFrame(*app_, "test");
        frame_->Show();
    }
    void TearDown() override
    {
        app_.reset(); // takes the frame with it
        kxRunControl::Reset();
        error.reset();
    }
    std::unique_ptr<kxApp> app_;
    kxMainFrame *frame_ = nullptr;
};

} // namespace

TEST_F(QVChartViewTest, ViewShowsTheNodesChartAndFollowsIt)
{
    kxProjectManager *pm = app_->getProjectManager();
    kxProjectNode *project = pm->AddSubnode("kxProject", "P");
    ASSERT_NE(project, nullptr);
    auto *node = dynamic_cast<qvChartNode *>(project->AddSubnode("qvChart", "plot"));
    ASSERT_NE(node, nullptr) << error.chars();
    qvDataSet d;
    d.name = "line";
    d.x = {0, 10};
    d.y = {0, 100};
    ASSERT_TRUE(node->GetChart().AddDataSet(d));
    node->GetChart().title = "sweep";

    ASSERT_TRUE(kxFindOrCreateView(*app_, *node));
    auto *view = dynamic_cast<qvChartView *>(kxFindView(*app_, "/P/plot"));
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(frame_->getNotebook()->GetPageText(frame_->getNotebook()->GetSelection()), "plot");
    EXPECT_EQ(view->GetViewText(), "sweep\nx\t0\t10\ny\t0\t100");

    // The node changes: the view follows once the events are handled.
    node->GetChart().FindAxis("x")->SetLimits(2, 4);
    node->Changed();
    wxTheApp->ProcessPendingEvents();
    EXPECT_EQ(view->GetViewText(), "sweep\nx\t2\t4\ny\t0\t100");

    // Zooming in the view leaves the node's chart as it was.
    view->getChartWindow()->AutoScale();
    EXPECT_EQ(view->GetViewText(), "sweep\nx\t0\t10\ny\t0\t100");
    EXPECT_FALSE(node->GetChart().FindAxis("x")->autoMin);

    // Asked again, the same view comes to the front.
    const size_t pages = frame_->getNotebook()->GetPageCount();
    ASSERT_TRUE(kxFindOrCreateView(*app_, *node));
    EXPECT_EQ(frame_->getNotebook()->GetPageCount(), pages);
}
