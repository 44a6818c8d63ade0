#!/usr/bin/env bash
# A short tour of the library against the bundled service emulator, in a
# private runtime folder: status, login, a few calls, notifications, clean stop.
# Usage: scripts/demo.sh [BUILD_DIR]   (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
service=$PWD/$build/tools/lumo-service/lumo-service
lumoctl=$PWD/$build/tools/lumoctl/lumoctl
if [ ! -x "$lumoctl" ] && [ -x "$lumoctl-qt6" ]; then # a Qt 6 build's tools carry its suffix
  service+=-qt6 lumoctl+=-qt6
fi
for exe in "$service" "$lumoctl"; do
  [ -x "$exe" ] || { echo "demo: $exe is missing; build first (scripts/build.sh)" >&2; exit 1; }
done

# Everything the service and the library touch (sockets, lock files, settings)
# lives under one throw-away folder, so the demo never meets a real service.
root=$(mktemp -d /tmp/lumodemo-XXXXXX)
export TMPDIR=$root/tmp HOME=$root/home XDG_CONFIG_HOME=$root/home/.config \
       XDG_DATA_HOME=$root/home/.local/share XDG_CACHE_HOME=$root/home/.cache XDG_RUNTIME_DIR=$root/run
mkdir -p "$TMPDIR" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$root" "$XDG_RUNTIME_DIR"
service_pid=""
monitor_pid=""
cleanup() {
  [ -n "$monitor_pid" ] && kill "$monitor_pid" 2>/dev/null || true
  if [ -n "$service_pid" ] && kill -0 "$service_pid" 2>/dev/null; then
    kill "$service_pid" 2>/dev/null || true
    wait "$service_pid" 2>/dev/null || true
  fi
  rm -rf "$root"
}
trap cleanup EXIT

step() { printf '\n\033[1m== %s\033[0m\n' "$*"; }
show() {
  local line="\$ ${1##*/}" a
  for a in "${@:2}"; do
    case $a in *[\ \{\[\"]*) line+=" '$a'" ;; *) line+=" $a" ;; esac
  done
  printf '%s\n' "$line"
  "$@"
}
# Long records are cut for the screen; the tools print them whole.
clip() { cut -c1-150 | sed 's/\(.\{149\}\).$/\1…/'; }

step "Start the service emulator (private TMPDIR: $TMPDIR)"
"$service" --request-log "$root/requests.jsonl" 2>"$root/service.log" &
service_pid=$!
for _ in $(seq 50); do "$service" ctl status >/dev/null 2>&1 && break; sleep 0.1; done
show "$service" ctl status

step "Ask the library what it sees (nobody logged in yet)"
show "$lumoctl" status

step "Log the demo user in; the library notices and fetches the login information"
show "$service" ctl login '{"isLogined":"1","userId":"10001","userName":"demo","nickName":"Demo User","account":"demo@example.org","loginMode":"password","roamingSwitch":"1","companyId":"C-77","companyName":"Demo Ltd"}'
show "$lumoctl" status

step "getLoginInfo through the generic route, decoded as a string map"
show "$lumoctl" generic getLoginInfo demo --pretty

step "Create a folder (the emulator is told what to answer)"
show "$service" ctl reply createFolder '{"reply":{"state":0,"userId":"10001","folderId":"F-1001","folderName":"Demo folder","ctime":1763800000123}}'
show "$lumoctl" call createFolder '{"userId":"10001","parentId":"0","folderName":"Demo folder"}' --pretty

step "A generic call by name"
show "$lumoctl" generic getSkinInfo dark

step "A failing call: exit status and reason"
show "$service" ctl reply remove '{"fail":"the file is locked"}'
set +e
"$lumoctl" call remove '{"fileId":"42"}' >/dev/null 2>"$root/err.txt"
rc=$?
set -e
echo "\$ lumoctl call remove '{\"fileId\":\"42\"}'   -> exit $rc: $(cat "$root/err.txt")"

step "Notifications arriving in lumoctl monitor"
"$lumoctl" monitor --count 4 --timeout 15 --signal SocketConnected --signal signal_notifyFileAction \
  --signal signal_notifyRecentFileStateChanged --signal signal_docCollaborativeStatus >"$root/monitor.jsonl" 2>/dev/null &
monitor_pid=$!
for _ in $(seq 100); do grep -q SocketConnected "$root/monitor.jsonl" 2>/dev/null && break; sleep 0.05; done
show "$service" ctl push notifyFileAction '{"action":1,"fileId":"F-1001","fileName":"Demo folder"}'
show "$service" ctl push notifyRecentFileStateChanged '[{"id":"R1","name":"report.docx","size":9007199254740993}]'
show "$service" ctl push notifyDocCollaborativeStatus '{"fileId":"F-1001","collaborativeStatus":1,"collaboratorNum":3}'
wait "$monitor_pid" || true
monitor_pid=""
echo "\$ lumoctl monitor --count 4 --signal ...   (started before the pushes)"
clip <"$root/monitor.jsonl"

step "What the emulator received"
clip <"$root/requests.jsonl"

step "Stop the emulator cleanly"
show "$service" ctl stop
wait "$service_pid"
echo "lumo-service exited with status $?"
service_pid=""
show "$lumoctl" status --wait 0.2
