// qvchartnode.h - qvChartNode, a project node holding a chart, so that a plot is saved and
// opened with its project.
//
// Block: the chart's own block ("qvChart", version 1.0, the node's name; see qvchart.h), so a
// chart block file and a chart node in a project file have the same text.
//
// Published to the command language, besides what every node publishes: "chart", the chart
// object itself with its functions (addline, setaxis, export, ...), and "changed" ("(): mark
// the project modified and redraw the views"), which a script calls after changing the chart
// through "chart" (the chart itself does not know its node).
//
// The type is registered by the application object before it makes its project manager
// (RegisterType); a program without one calls RegisterType itself.
#ifndef KX_GRAPH_QVCHARTNODE_H
#define KX_GRAPH_QVCHARTNODE_H

#include "kx/graph/qvchart.h"
#include "kx/project/kxprojnode.h"

class qvChartNode : public kxProjectNode {
    KX_DECLARE_CLASS(qvChartNode)
public:
    /// Registers the node type ("Chart"); a second call does nothing.
    static void RegisterType();

    /// The chart; callers that change it call Changed() afterwards.
    [[nodiscard]] qvChart &GetChart() { return chart_; }
    [[nodiscard]] const qvChart &GetChart() const { return chart_; }
    /// Marks the project modified and tells the views that the chart changed.
    void Changed();

    bool ReadTB(TextBlock &block) override;
    bool WriteTB(TextBlock &block) override;
    bool CanReadTextBlockVersion(int major, int minor) override;
    int getTextBlockVersionMajor() override { return 1; }
    void OnPublish() override;

private:
    qvChart chart_;
};

#endif
