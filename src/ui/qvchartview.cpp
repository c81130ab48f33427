// qvchartview.cpp - the view of the chart node (see qvchartview.h).
#define KX_UNIT "qvchartview"
#include "kx/ui/qvchartview.h"

#include <wx/aui/auibook.h>
#include <wx/sizer.h>

#include "kx/graph/qvchartnode.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/ui/kxapp.h"
#include "kx/ui/kxmainframe.h"

namespace {

/// The registry's callback: opens the view in the current application's notebook.
void OpenChartView(void *node, void *)
{
    kxApp *app = kxApp::GetCurrent();
    kxMainFrame *frame = app ? app->getMainFrame() : nullptr;
    if (!frame || !node)
        return;
    auto &projectNode = *static_cast<kxProjectNode *>(node);
    wxAuiNotebook *book = frame->getNotebook();
    book->AddPage(new qvChartView(book, *app, projectNode),
                  wxString::FromUTF8(projectNode.getName().c_str()), true);
}

kxProjectNodeViewInfoClass g_chartView({KX_CLASSINFO_OF(qvChartNode), nullptr, nullptr, "chart",
                                        "&Chart", "show the chart", &OpenChartView, nullptr});

struct RegisterChartView {
    RegisterChartView() { g_chartView.Register(); }
} g_registerChartView;

} // namespace

qvChartView::qvChartView(wxWindow *parent, kxApp &app, kxProjectNode &node)
    : kxNodeView(parent, app, node)
{
    chart_ = new qvChartW(this);
    readOut_ = new wxStaticText(this, wxID_ANY, " ");
    chart_->SetReadOutHandler([this](const wxString &text) { readOut_->SetLabel(text); });
    auto *sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(chart_, 1, wxEXPAND);
    sizer->Add(readOut_, 0, wxEXPAND | wxALL, 4);
    SetSizer(sizer);
    UpdateView();
}

void qvChartView::UpdateView()
{
    if (auto *node = dynamic_cast<qvChartNode *>(getNode()))
        chart_->SetChart(node->GetChart());
}

wxString qvChartView::GetViewText() const
{
    const qvChart &chart = chart_->GetChart();
    wxString text = wxString::FromUTF8(chart.title.c_str());
    for (const qvAxis &a : chart.Axes()) {
        double lo = 0, hi = 0;
        if (!chart_->GetAxisLimits(a.name, lo, hi))
            continue;
        text += wxString::Format("\n%s\t%.6g\t%.6g", wxString::FromUTF8(a.name.c_str()), lo, hi);
    }
    return text;
}
