#!/usr/bin/env bash
# Checks the formatting of the tracked sources, builds kxCore with -Wall -Wextra -Werror and
# runs every unit test, then does the same again with AddressSanitizer and
# UndefinedBehaviorSanitizer, then builds the formula engine with its switch dispatch forced and
# runs its tests, then runs each fuzz target for a bounded time when clang is present.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
jobs=$(nproc)
fuzz_seconds=${KX_FUZZ_SECONDS:-15}

build_and_test() {  # <build dir> [cmake args...]
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DKX_WERROR=ON "$@"
  cmake --build "$dir" -j "$jobs"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure
}

# Every tracked C++ file is in the repository's .clang-format style.
git ls-files -z -- '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror

# The release build also compiles the benchmarks (run by scripts/bench.sh), so they keep building.
build_and_test build/release -DCMAKE_BUILD_TYPE=Release -DKX_BUILD_BENCH=ON
build_and_test build/sanitize -DCMAKE_BUILD_TYPE=Debug -DKX_SANITIZE=address,undefined

# The formula evaluator's portable switch dispatch, forced where computed goto would be chosen:
# only the formula engine's tests are built and run.
cmake -S . -B build/switch -G Ninja -DKX_WERROR=ON -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_CXX_FLAGS=-DKX_FORCE_SWITCH_DISPATCH
switch_tests=$(cd tests/expressions && ls kxfn*_test.cpp | sed 's/\.cpp$//')
# shellcheck disable=SC2086
cmake --build build/switch -j "$jobs" --target $switch_tests
for t in $switch_tests; do
  "build/switch/tests/$t" --gtest_brief=1
done

if command -v clang++ >/dev/null; then
  cmake -S . -B build/fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER=clang \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKX_SANITIZE=address,undefined \
        -DKX_BUILD_TESTS=OFF -DKX_BUILD_FUZZ=ON -DKX_WERROR=OFF
  cmake --build build/fuzz -j "$jobs" --target fuzzers
  for f in build/fuzz/fuzz/*_fuzz; do
    name=$(basename "$f")
    corpus=build/fuzz/corpus/$name
    mkdir -p "$corpus"
    seeds=()
    [ -d "fuzz/corpus/$name" ] && seeds=("fuzz/corpus/$name")
    echo "fuzzing $name for ${fuzz_seconds}s"
    "$f" -max_total_time="$fuzz_seconds" -rss_limit_mb=4096 -print_final_stats=0 "$corpus" "${seeds[@]}" \
      > "build/fuzz/$name.log" 2>&1 || { tail -n 60 "build/fuzz/$name.log"; exit 1; }
  done
fi
echo "all builds and tests passed"
