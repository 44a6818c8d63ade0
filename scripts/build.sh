#!/usr/bin/env bash
# Configures and builds one preset: default (build/), or tsan, asan, qt6, qt6-tsan,
# qt6-asan or fuzz (build-<preset>/). Everything, or only the TARGETs given.
# Usage: scripts/build.sh [PRESET [TARGET...]]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-default}
case "$preset" in
  default) dir=build ;;
  tsan|asan|qt6|qt6-tsan|qt6-asan|fuzz) dir=build-$preset ;;
  *) echo "unknown preset: $preset" >&2; exit 2 ;;
esac
targets=()
[ $# -le 1 ] || targets=(--target "${@:2}")
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
[ -f "$dir/build.ninja" ] || cmake --preset "$preset"
cmake --build --preset "$preset" "${targets[@]}"
