#!/usr/bin/env bash
# Processes a test run left behind: those still carrying the LUMO_TEST_SUITE
# marker of BUILD_DIR, which the test guard sets and everything a test starts
# inherits, detached or not.
#   scripts/leftovers.sh BUILD_DIR              waits up to 10 s for them to end;
#                                               names, kills and fails on any left
#   scripts/leftovers.sh --interrupt BUILD_DIR  the same after killing ctest halfway
#                                               through the fault test, once the
#                                               service it has started detached runs
set -euo pipefail
cd "$(dirname "$0")/.."
interrupt=false
[ "${1:-}" != --interrupt ] || { interrupt=true; shift; }
dir=$(realpath "${1:?usage: scripts/leftovers.sh [--interrupt] BUILD_DIR}")

marked() {
  local env pid
  for env in /proc/[0-9]*/environ; do
    pid=${env#/proc/} pid=${pid%/environ}
    grep -qzxF "LUMO_TEST_SUITE=$dir" "$env" 2>/dev/null && echo "$pid" || true
  done
}
describe() { tr '\0' ' ' <"/proc/$1/cmdline" 2>/dev/null || true; }

if $interrupt; then
  ctest --test-dir "$dir" -R tst_systemfaults >/dev/null 2>&1 &
  ctest_pid=$!
  for _ in $(seq 600); do # until a service of the run is up
    for pid in $(marked); do describe "$pid"; done | grep -q lumo-service && break
    sleep 0.1
  done
  echo "leftovers: killing ctest with $(marked | wc -l) test processes running"
  kill -TERM "$ctest_pid"
  wait "$ctest_pid" || true
fi

for _ in $(seq 100); do
  [ -n "$(marked)" ] || exit 0
  sleep 0.1
done
for pid in $(marked); do
  echo "leftovers: $pid still runs: $(describe "$pid")" >&2
  kill -KILL "$pid" 2>/dev/null || true
done
exit 1
