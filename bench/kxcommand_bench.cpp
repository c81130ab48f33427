// Benchmarks of the command language on a project tree (the project manager as "app"):
//  - setting and reading a node variable by a command, 100,000 executions each, against the
//    same work done in C++ through getPublishedElt / SetValueString / GetValueString (the named
//    peer, same tree, same run);
//  - completion on a project of 10,000 nodes (target: under 20 ms per call).
#include "kxbench.h"

#include "geometry/kxshapeutil.h"
#include "kx/commands/command_line.h"
#include "kx/foundation/kxerror.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojman.h"

#include <memory>
#include <string>
#include <vector>

class benchLayer : public kxProjectNode {
    KX_DECLARE_CLASS(benchLayer)
public:
    void OnPublish() override
    {
        kxProjectNode::OnPublish();
        PublishVar("x", x, "a double");
        kxPublishParam(*this, "width", width, "width of the layer");
    }
    double x = 0;
    kxParameter<double> width;
};
KX_IMPLEMENT_CLASS(benchLayer, kxProjectNode)

namespace {

kxProjectNodeInfoClass g_layerInfo(
    {KX_CLASSINFO_OF(benchLayer), nullptr, {"benchLayerTB", 1, 0}, "Bench layer", 0, ""});

constexpr int kNodes = 100;
constexpr int kRuns = 100000;

/// A project manager with one project "P1" of `nodes` layers "n1", "n2", ...
struct Tree {
    explicit Tree(int nodes)
    {
        g_layerInfo.Register();
        manager = std::make_unique<kxProjectManager>();
        kxProjectNode *project = manager->AddSubnode("kxProject", "P1");
        for (int i = 1; i <= nodes; ++i)
            project->AddSubnode("benchLayerTB", ("n" + std::to_string(i)).c_str());
        cmd = std::make_unique<kxCommandObject>(manager.get());
    }
    std::unique_ptr<kxProjectManager> manager;
    std::unique_ptr<kxCommandObject> cmd;
};

Tree &SmallTree()
{
    static Tree tree(kNodes);
    return tree;
}

std::vector<std::string> Commands(bool set)
{
    std::vector<std::string> texts;
    for (int k = 1; k <= kNodes; ++k)
        texts.push_back("app.subnodes[1].subnodes[" + std::to_string(k) + "].x" +
                        (set ? " = " + std::to_string(k) + ".5" : ""));
    return texts;
}

void BM_CommandSet(benchmark::State &state)
{
    Tree &t = SmallTree();
    const std::vector<std::string> texts = Commands(true);
    size_t i = 0;
    for (auto _ : state) {
        if (!t.cmd->Execute(texts[i].c_str()))
            state.SkipWithError(error.chars());
        i = (i + 1) % texts.size();
    }
}
BENCHMARK(BM_CommandSet)->Iterations(kRuns);

void BM_CommandGet(benchmark::State &state)
{
    Tree &t = SmallTree();
    const std::vector<std::string> texts = Commands(false);
    size_t i = 0;
    for (auto _ : state) {
        if (!t.cmd->Execute(texts[i].c_str()))
            state.SkipWithError(error.chars());
        benchmark::DoNotOptimize(t.cmd->GetOutput().c_str());
        i = (i + 1) % texts.size();
    }
}
BENCHMARK(BM_CommandGet)->Iterations(kRuns);

/// The peer: the same path walked in C++ (the project and the node by their published names,
/// as the list publishes them), then the variable set or read as text.
KXCommandElt PeerVariable(kxProjectManager &manager, const std::string &node)
{
    KXObject *projects = manager.getPublishedElt("subnodes", true).GetObject();
    KXObject *project = projects->getPublishedElt("P1", true).GetObject();
    KXObject *nodes = project->getPublishedElt("subnodes", true).GetObject();
    KXObject *layer = nodes->getPublishedElt(node.c_str(), true).GetObject();
    return layer->getPublishedElt("x");
}

std::vector<std::string> NodeNames()
{
    std::vector<std::string> names;
    for (int k = 1; k <= kNodes; ++k)
        names.push_back("n" + std::to_string(k));
    return names;
}

void BM_CppSet(benchmark::State &state)
{
    Tree &t = SmallTree();
    const std::vector<std::string> names = NodeNames();
    std::vector<std::string> values;
    for (int k = 1; k <= kNodes; ++k)
        values.push_back(std::to_string(k) + ".5");
    size_t i = 0;
    for (auto _ : state) {
        if (!PeerVariable(*t.manager, names[i]).SetValueString(values[i].c_str()))
            state.SkipWithError("SetValueString failed");
        i = (i + 1) % names.size();
    }
}
BENCHMARK(BM_CppSet)->Iterations(kRuns);

void BM_CppGet(benchmark::State &state)
{
    Tree &t = SmallTree();
    const std::vector<std::string> names = NodeNames();
    size_t i = 0;
    for (auto _ : state) {
        KXString text = PeerVariable(*t.manager, names[i]).GetValueString();
        benchmark::DoNotOptimize(text.c_str());
        i = (i + 1) % names.size();
    }
}
BENCHMARK(BM_CppGet)->Iterations(kRuns);

Tree &LargeTree()
{
    static Tree tree(10000);
    return tree;
}

/// Completing a member of the last of 10,000 nodes.
void BM_CompleteMember10k(benchmark::State &state)
{
    Tree &t = LargeTree();
    const char *text = "app.subnodes[1].subnodes[10000].wi";
    for (auto _ : state) {
        std::vector<KXString> c = t.cmd->Complete(text, -1);
        if (c.size() != 1)
            state.SkipWithError("unexpected candidates");
    }
    state.SetLabel("target < 20 ms");
}
BENCHMARK(BM_CompleteMember10k)->Unit(benchmark::kMillisecond);

/// Completing the names of 10,000 nodes (1,112 candidates start with "n1").
void BM_CompleteNodeNames10k(benchmark::State &state)
{
    Tree &t = LargeTree();
    const char *text = "app.subnodes[1].subnodes.n1";
    for (auto _ : state) {
        std::vector<KXString> c = t.cmd->Complete(text, -1);
        if (c.size() != 1112)
            state.SkipWithError("unexpected candidates");
    }
    state.SetLabel("target < 20 ms");
}
BENCHMARK(BM_CompleteNodeNames10k)->Unit(benchmark::kMillisecond);

} // namespace

KX_BENCH_MAIN(
    {{"set by command / C++ getPublishedElt+SetValueString", "BM_CommandSet", "BM_CppSet"},
     {"read by command / C++ getPublishedElt+GetValueString", "BM_CommandGet", "BM_CppGet"}})
