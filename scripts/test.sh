#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [preset]   (default, tsan, asan, qt6, qt6-tsan or qt6-asan)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
preset=${1:-default}
scripts/build.sh "$preset"
ctest --preset "$preset"
