#!/usr/bin/env bash
# The main job: installs what is missing, builds the library, the service
# emulator and lumoctl (what the demo runs, nothing else), then runs the
# end-to-end demo against the emulator. scripts/test.sh builds the rest (tests,
# benchmarks, the other tools) in the same folder and runs the suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh --main
scripts/build.sh default lumoipc lumo-service lumoctl
exec scripts/demo.sh build
