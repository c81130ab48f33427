// Cost of the publish machinery: the checksum of a tree of 10,000 objects that publish 10
// doubles each, against a plain loop feeding the same 100,000 doubles into a CheckSum.
#include <memory>
#include <vector>

#include "kx/objects/kxchecksum.h"
#include "kxbench.h"

namespace {

class BenchNode : public Checkable {
public:
    // Written as a model class would: one publication per member, then the children.
    void OnPublish() override
    {
        Checkable::OnPublish();
        PublishVar("v0", values[0], "value 0");
        PublishVar("v1", values[1], "value 1");
        PublishVar("v2", values[2], "value 2");
        PublishVar("v3", values[3], "value 3");
        PublishVar("v4", values[4], "value 4");
        PublishVar("v5", values[5], "value 5");
        PublishVar("v6", values[6], "value 6");
        PublishVar("v7", values[7], "value 7");
        PublishVar("v8", values[8], "value 8");
        PublishVar("v9", values[9], "value 9");
        for (const auto &child : children)
            PublishObj("child", child.get(), "a child node");
    }

    double values[10] = {};
    std::vector<std::unique_ptr<BenchNode>> children;
};

// Root, 99 children, 100 grandchildren each: 10,000 nodes, values 0.5, 1.5, 2.5, ...
struct BenchTree {
    BenchTree()
    {
        Fill(root);
        for (int i = 0; i < 99; ++i) {
            root.children.push_back(std::make_unique<BenchNode>());
            BenchNode &child = *root.children.back();
            Fill(child);
            for (int j = 0; j < 100; ++j) {
                child.children.push_back(std::make_unique<BenchNode>());
                Fill(*child.children.back());
            }
        }
    }
    void Fill(BenchNode &node)
    {
        for (double &v : node.values) {
            v = double(values.size()) + 0.5;
            values.push_back(v);
        }
    }

    std::vector<double> values; // the same doubles, in the order they were published
    BenchNode root;
};

BenchTree &Tree()
{
    static BenchTree tree;
    return tree;
}

void BM_KxTreeCheckSum(benchmark::State &state)
{
    BenchTree &tree = Tree();
    for (auto _ : state) {
        CheckSum sum = tree.root.getCurrCheckSum();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(tree.values.size()));
}
KX_BENCHMARK(BM_KxTreeCheckSum);

void BM_PlainCheckSumLoop(benchmark::State &state)
{
    const std::vector<double> &values = Tree().values;
    for (auto _ : state) {
        CheckSum sum;
        for (double v : values)
            sum.Append(v);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * std::int64_t(values.size()));
}
KX_BENCHMARK(BM_PlainCheckSumLoop);

} // namespace

KX_BENCH_MAIN({{"tree checksum kx/plain loop", "BM_KxTreeCheckSum", "BM_PlainCheckSumLoop"}})
