#!/usr/bin/env bash
# Regenerates the golden chart images in testdata/graph from the renderer as it stands.
# Run from the repository root after building: scripts/graph/regen_golden.sh [build-dir]
# Look at the new images before committing them.
set -euo pipefail
build=${1:-build/dev}
QV_REGENERATE_GOLDEN=1 "$build/tests/qvrender_test" --gtest_filter=QVRenderTest.GoldenImages
ls -l testdata/graph/*.png
