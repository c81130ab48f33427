// qvchartview.h - the view of a chart node (qvChartNode): a chart window (qvChartW) with the
// read-out of the values under the cursor below it, opened through the view registry like the
// views of the standard nodes ("findorcreateview", a double click in the tree window).
//
// The view shows a copy of the node's chart: zooming and panning in it do not change the node
// (nor mark the project modified). "updateviews" (or the node's "changed") shows the node's
// chart again, with the node's own limits.
#ifndef KX_UI_QVCHARTVIEW_H
#define KX_UI_QVCHARTVIEW_H

#include "kx/ui/kxnodeview.h"
#include "kx/ui/qvchartw.h"

class qvChartView : public kxNodeView {
public:
    qvChartView(wxWindow *parent, kxApp &app, kxProjectNode &node);
    void UpdateView() override;
    /// The chart's title, then one row per axis: name, lower and upper limit as shown.
    [[nodiscard]] wxString GetViewText() const override;
    [[nodiscard]] qvChartW *getChartWindow() { return chart_; }
    [[nodiscard]] wxString getReadOut() const { return readOut_->GetLabel(); }

private:
    qvChartW *chart_;
    wxStaticText *readOut_;
};

#endif
