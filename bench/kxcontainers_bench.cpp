// kxcontainers_bench.cpp - List<T> walks against std::list iteration, dynamic array Add against
// std::vector::push_back. Prints the kx/std ratios of the same run.
#include "kx/foundation/kxdynarray.h"
#include "kx/foundation/kxlist.h"

#include "kxbench.h"

#include <list>
#include <vector>

namespace {

constexpr int kElements = 10000;

List<int> MakeKxList()
{
    List<int> list;
    for (int i = 0; i < kElements; ++i)
        list.append(i);
    return list;
}

std::list<int> MakeStdList()
{
    std::list<int> list;
    for (int i = 0; i < kElements; ++i)
        list.push_back(i);
    return list;
}

// for i = 1..n: list[i] (each lookup starts from the current element, one step away).
void BM_KxListIndexWalk(benchmark::State &state)
{
    List<int> list = MakeKxList();
    for (auto _ : state) {
        long sum = 0;
        const int n = list.size();
        for (int i = 1; i <= n; ++i)
            sum += list[i];
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

// The library's walking idiom: set_idx(0), then incr_idx() / curr_cpt().
void BM_KxListIdxWalk(benchmark::State &state)
{
    List<int> list = MakeKxList();
    for (auto _ : state) {
        long sum = 0;
        list.set_idx(0);
        while (list.incr_idx())
            sum += list.curr_cpt();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

void BM_StdListWalk(benchmark::State &state)
{
    std::list<int> list = MakeStdList();
    for (auto _ : state) {
        long sum = 0;
        for (int v : list)
            sum += v;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

// Fill a fresh array each iteration; the argument is the block size (one allocation per block).
void BM_KxDynArrayAdd(benchmark::State &state)
{
    for (auto _ : state) {
        kxIntArray array(static_cast<int>(state.range(0)));
        for (int i = 0; i < kElements; ++i)
            array.Add(i);
        benchmark::DoNotOptimize(&array[kElements - 1]);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

void BM_StdVectorPushBack(benchmark::State &state)
{
    for (auto _ : state) {
        std::vector<int> vector;
        for (int i = 0; i < kElements; ++i)
            vector.push_back(i);
        benchmark::DoNotOptimize(vector.data());
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

} // namespace

BENCHMARK(BM_KxListIndexWalk);
BENCHMARK(BM_KxListIdxWalk);
BENCHMARK(BM_StdListWalk);
BENCHMARK(BM_KxDynArrayAdd)->Arg(256)->Arg(1024);
BENCHMARK(BM_StdVectorPushBack);

KX_BENCH_MAIN({{"List index walk kx/std::list", "BM_KxListIndexWalk", "BM_StdListWalk"},
               {"List set_idx/incr_idx walk kx/std::list", "BM_KxListIdxWalk", "BM_StdListWalk"},
               {"dynamic array Add, block 256, kx/std::vector", "BM_KxDynArrayAdd/256",
                "BM_StdVectorPushBack"},
               {"dynamic array Add, block 1024, kx/std::vector", "BM_KxDynArrayAdd/1024",
                "BM_StdVectorPushBack"}})
