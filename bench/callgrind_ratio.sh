#!/usr/bin/env bash
# callgrind_ratio.sh - instruction-count ratio of two benchmarks of one Google Benchmark program,
# measured with valgrind --tool=callgrind (repeatable on any machine, unlike times).
#
#   bench/callgrind_ratio.sh <benchmark binary> <benchmark A> <benchmark B> [label]
#
# prints the instructions per iteration of A and of B and the ratio A/B. Each benchmark is run
# alone (--benchmark_filter=^name(/|$)) twice under callgrind, with KX_BENCH_ITERATIONS fixing the
# iteration count (the program must register its benchmarks with KX_BENCHMARK, see kxbench.h);
# the difference of the two totals divided by the difference of the iteration counts is the
# cost of one iteration, free of start-up, set-up and reporting. KX_CALLGRIND_ITERATIONS="n1 n2"
# changes the two counts (default "2 12").
set -euo pipefail
if [ $# -lt 3 ]; then
  echo "usage: $0 <benchmark binary> <benchmark A> <benchmark B> [label]" >&2
  exit 2
fi
binary=$1 first=$2 second=$3 label=${4:-"$2/$3"}
read -r n1 n2 <<<"${KX_CALLGRIND_ITERATIONS:-2 12}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Instructions of one run of benchmark $1 with $2 iterations.
instructions() {
  local name=$1 iterations=$2 out="$work/run"
  KX_BENCH_ITERATIONS=$iterations valgrind --tool=callgrind --callgrind-out-file="$out.cg" \
    "$binary" --benchmark_filter="^$name(/|\$)" --benchmark_color=false >"$out.txt" 2>"$out.err" || {
    cat "$out.err" >&2
    exit 1
  }
  # The program must have run exactly the requested iterations (KX_BENCHMARK registration).
  if ! sed 's/\x1b\[[0-9;]*m//g' "$out.txt" |
      awk -v n="$name" -v it="$iterations" 'index($1, n) == 1 && $6 == it { found = 1 }
                                             END { exit !found }'; then
    echo "$name did not run $iterations iterations (registered with KX_BENCHMARK?):" >&2
    cat "$out.txt" >&2
    exit 1
  fi
  sed -n 's/^==[0-9]*== Collected : \([0-9]*\)$/\1/p' "$out.err"
}

per_iteration() {
  local a b
  a=$(instructions "$1" "$n1")
  b=$(instructions "$1" "$n2")
  echo $(((b - a) / (n2 - n1)))
}

ia=$(per_iteration "$first")
ib=$(per_iteration "$second")
printf '%s: %s instructions per iteration\n' "$first" "$ia"
printf '%s: %s instructions per iteration\n' "$second" "$ib"
awk -v l="$label" -v a="$ia" -v b="$ib" 'BEGIN { printf "  %-44s %8.3f  (callgrind instructions)\n", l, a / b }'
