// qvchartnode.cpp - the chart node (see qvchartnode.h).
#define KX_UNIT "qvchartnode"
#include "kx/graph/qvchartnode.h"

#include "kx/foundation/kxerror.h"
#include "kx/project/kxnoderegistry.h"

KX_IMPLEMENT_CLASS(qvChartNode, kxProjectNode)

void qvChartNode::Changed()
{
    MarkModified();
    GetEventSource().RaiseEvent(kxEventNodeChanged, this, nullptr);
}

bool qvChartNode::CanReadTextBlockVersion(int major, int minor)
{
    return major == qvChart::Sig().major && minor <= qvChart::Sig().minor;
}

bool qvChartNode::ReadTB(TextBlock &block) { return chart_.ReadTB(block); }

bool qvChartNode::WriteTB(TextBlock &block)
{
    chart_.WriteTB(block, getName());
    return true;
}

void qvChartNode::OnPublish()
{
    kxProjectNode::OnPublish();
    PublishObj("chart", &chart_, "the chart");
    PublishFunc(
        "changed",
        [this](const List<KXString> &, KXString &) {
            Changed();
            return true;
        },
        "(): mark the project modified and redraw the views");
}

void qvChartNode::RegisterType()
{
    static kxProjectNodeInfoClass info(
        {KX_CLASSINFO_OF(qvChartNode), nullptr, qvChart::Sig(), "Chart", 0, ""});
    info.Register();
}
