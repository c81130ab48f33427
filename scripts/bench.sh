#!/usr/bin/env bash
# Builds the library and runs the benchmark suite; each benchmark prints its ratios against the
# peer it is measured with in the same run. (scripts/run.sh runs the example project instead.)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
cmake -S . -B build/bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DKX_BUILD_TESTS=OFF -DKX_BUILD_BENCH=ON
cmake --build build/bench -j "$(nproc)" --target benchmarks kxsh
for b in build/bench/bench/*_bench; do
  echo "== $(basename "$b")"
  "$b" --benchmark_min_time=0.2
done
echo "== kxclient_bench.py"
/usr/bin/python3 bench/kxclient_bench.py build/bench/bin/kxsh
