#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [preset]   (default, tsan, asan, qt6, qt6-tsan, qt6-asan or fuzz)
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-default}
# The fuzz preset builds with clang and links libFuzzer from its runtime.
extra=()
[ "$preset" != fuzz ] || extra=(clang libclang-rt-dev)
[[ "$preset" != qt6* ]] || extra=(qt6-base-dev)
scripts/deps.sh "${extra[@]}"
scripts/build.sh "$preset"
ctest --preset "$preset"
