#!/usr/bin/env bash
# Instruction counts per iteration of two benchmarks of one Google Benchmark program, and their
# ratio, from valgrind's callgrind: repeatable on any machine, unlike times.
#   bench/callgrind_formula.sh <benchmark binary> <benchmark A> <benchmark B> [iterations]
# Each benchmark name is matched exactly. The program runs each one for n and for 2n iterations
# (it honours KX_BENCH_ITERATIONS), so that the difference of the two totals, divided by n, is
# the cost of one iteration without the program's start-up and the benchmark's set-up.
set -euo pipefail
if [ $# -lt 3 ]; then
  echo "usage: $0 <benchmark binary> <benchmark A> <benchmark B> [iterations]" >&2
  exit 2
fi
binary=$1
n=${4:-20000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

total_instructions() {  # <benchmark> <iterations>
  KX_BENCH_ITERATIONS=$2 valgrind --tool=callgrind --callgrind-out-file="$work/out" \
    "$binary" --benchmark_filter="^$1(/iterations:[0-9]+)?\$" > "$work/log" 2>&1 ||
    { cat "$work/log" >&2; exit 1; }
  grep -q "^$1/iterations:$2 " <(sed 's/\x1b\[[0-9;]*m//g' "$work/log") ||
    { echo "benchmark $1 did not run $2 iterations" >&2; exit 1; }
  awk '/^(summary|totals):/ { print $2; exit }' "$work/out"
}

per_iteration() {  # <benchmark>
  local one two
  one=$(total_instructions "$1" "$n")
  two=$(total_instructions "$1" $((2 * n)))
  echo "scale=2; ($two - $one) / $n" | bc
}

a=$(per_iteration "$2")
b=$(per_iteration "$3")
printf '%-40s %12s instructions per iteration\n' "$2" "$a" "$3" "$b"
printf '%-40s %12s\n' "ratio (instructions)" "$(echo "scale=3; $a / $b" | bc)"
