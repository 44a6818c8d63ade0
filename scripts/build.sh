#!/usr/bin/env bash
# Configures and builds one preset: default (build/), or tsan, asan, qt6, qt6-tsan,
# qt6-asan or fuzz (build-<preset>/). Everything, or only the TARGETs given.
# Usage: scripts/build.sh [PRESET [TARGET...]]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-default}
case "$preset" in
  default|tsan|asan|qt6|qt6-tsan|qt6-asan|fuzz) ;;
  *) echo "unknown preset: $preset" >&2; exit 2 ;;
esac
targets=()
[ $# -le 1 ] || targets=(--target "${@:2}")
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
# Configured every time (under a second once done): what scripts/deps.sh
# installed since the last time (doxygen, man) adds its targets and tests.
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" "${targets[@]}"
