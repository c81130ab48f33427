#!/usr/bin/env bash
# The main job: builds the console kxsh and the plug-ins (Release), opens the bundled example
# project (a ridge waveguide whose dimensions are formulas of named variables) and runs its two
# scripts: "sweep" in the command language prints the table of derived values and shape areas
# for a range of core widths and draws the derived values as a chart (a PNG); "sweep_python"
# does the same through the Python client and checks every area against the formulas. Then
# says how to open the example in the console.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
build=build/run  # its own build tree: scripts/test.sh configures build/release with the tests
example=examples/ridge_waveguide.txt
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKX_BUILD_TESTS=OFF > "$build.configure.log" 2>&1 ||
  { cat "$build.configure.log"; exit 1; }
cmake --build "$build" -j "$(nproc)" --target kxsh crosssection > "$build.build.log" 2>&1 ||
  { tail -n 60 "$build.build.log"; exit 1; }

echo "== $example: the command-language sweep (its chart goes to $build/ridge_sweep.png)"
(cd "$build" && bin/kxsh -c 'app.subnodes["ridge"].subnodes["sweep"].runscript()' "../../$example")

echo "== $example: the Python sweep (full output in $build/sweep_python.log)"
if "$build/bin/kxsh" -c 'app.subnodes["ridge"].subnodes["sweep_python"].runscript()' "$example" \
     > "$build/sweep_python.log" 2>&1; then
  grep '^python:' "$build/sweep_python.log"
else
  tail -n 30 "$build/sweep_python.log"
  exit 1
fi

echo "To work on the example interactively: $build/bin/kxsh $example"
