#!/usr/bin/env bash
# The main job: installs what is missing, builds the library, the service
# emulator and lumoctl (what the demo runs, nothing else) and runs the
# end-to-end demo against the emulator; then builds the other tools and the
# benchmarks, so that scripts/test.sh, in the same folder, has only the tests
# left to build before it runs the suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh --main
scripts/build.sh default lumoipc lumo-service lumoctl
scripts/demo.sh build
echo "main: the demo passed; building the other tools and the benchmarks"
scripts/build.sh default tools/all bench/all
