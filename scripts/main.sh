#!/usr/bin/env bash
# The main job: installs what is missing, builds everything, then runs the
# end-to-end demo against the bundled service emulator.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
scripts/build.sh default
if [ -x scripts/demo.sh ] && [ -x build/tools/lumo-service/lumo-service ] && [ -x build/tools/lumoctl/lumoctl ]; then
  exec scripts/demo.sh build
fi
echo "Built:"
find build -maxdepth 4 \( -name 'liblumoipc.so*' -o -name 'lumo-service' -o -name 'lumoctl' \) -printf '  %p\n' | sort
