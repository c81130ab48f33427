// Tests of the chart node: a chart written into a project file and read back with its data and
// axis settings, the block being the chart's own, and the node's published elements.
#include "kx/graph/qvchartnode.h"

#include "kx/project/kxnoderegistry.h"
#include "project/kxnodefiles.h"

// Fontconfig (under Cairo's text) keeps a font pattern for the life of the process.
extern "C" const char *__lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace {

class QVChartNodeTest : public kxtest::NodeFilesFixture {
protected:
    void SetUp() override
    {
        qvChartNode::RegisterType(); // before the fixture's manager builds its table
        qvChartNode::RegisterType(); // a second call does nothing
        NodeFilesFixture::SetUp();
    }
};

} // namespace

TEST_F(QVChartNodeTest, ChartRoundTripsThroughAProjectFile)
{
    kxProject *project = Open("empty.txt", "");
    ASSERT_NE(project, nullptr) << error.chars();
    auto *node = dynamic_cast<qvChartNode *>(project->AddSubnode("qvChart", "plot"));
    ASSERT_NE(node, nullptr) << error.chars();
    qvChart &chart = node->GetChart();
    chart.title = "sweep";
    qvDataSet d;
    d.name = "areas";
    d.x = {1, 1.5, 2};
    d.y = {0.5, 0.75, 1.25};
    ASSERT_TRUE(chart.AddDataSet(d)) << error.chars();
    chart.FindAxis("x")->SetLimits(0.5, 2.5);
    chart.FindAxis("y")->log = true;

    const std::string saved = Saved(project, "chart.txt");
    // The node's block is the chart's own block, nested in the project.
    EXPECT_NE(saved.find("  begin <qvChart(1.0)> \"plot\"\n"), std::string::npos) << saved;
    EXPECT_NE(saved.find("title = \"sweep\""), std::string::npos) << saved;

    ASSERT_TRUE(manager->ProjectCloseAll());
    ASSERT_TRUE(manager->ProjectOpen(Path("chart.txt").c_str())) << error.chars();
    auto *again = dynamic_cast<qvChartNode *>(manager->FindNode("P/plot"));
    ASSERT_NE(again, nullptr);
    const qvChart &read = again->GetChart();
    EXPECT_EQ(std::string(read.title.c_str()), "sweep");
    ASSERT_EQ(read.DataSets().size(), 1u);
    EXPECT_EQ(read.DataSets()[0].y, d.y);
    const qvAxis *x = read.FindAxis("x");
    ASSERT_NE(x, nullptr);
    EXPECT_FALSE(x->autoMin);
    EXPECT_DOUBLE_EQ(x->fixedMin, 0.5);
    EXPECT_DOUBLE_EQ(x->fixedMax, 2.5);
    EXPECT_TRUE(read.FindAxis("y")->log);
    // Saved again: the same text.
    EXPECT_EQ(Saved(static_cast<kxProject *>(manager->FindNode("P")), "again.txt"), saved);
}

TEST_F(QVChartNodeTest, PublishesTheChartAndMarksChanges)
{
    kxProject *project = Open("c.txt", "  begin <qvChart(1.0)> \"c\"\n    title = \"t\"\n  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    kxProjectNode *node = project->FindNode("c");
    ASSERT_NE(dynamic_cast<qvChartNode *>(node), nullptr);
    EXPECT_EQ(std::string(static_cast<qvChartNode *>(node)->GetChart().title.c_str()), "t");
    EXPECT_TRUE(bool(node->getPublishedElt("chart")));
    project->setModified(false);
    KXString result;
    ASSERT_TRUE(node->getPublishedElt("changed").Call(List<KXString>(), result));
    EXPECT_TRUE(project->IsModified());

    // A chart block of a later major version is refused.
    qvChartNode other;
    EXPECT_TRUE(other.CanReadTextBlockVersion(1, 0));
    EXPECT_FALSE(other.CanReadTextBlockVersion(2, 0));
}
