#!/bin/sh
# The example service in a private folder, its commands through a FIFO:
# logged in, proved by lumo-conform (every case but the one that asks for each
# notification by name), then serving the example host, whose notification
# it pushes when the host says it waits for one.
#   run_example_service.sh WORK_DIR SERVICE CONFORM HOST
set -eu
work=$1 service=$2 conform=$3 host=$4
mkdir -p "$work/t" "$work/home" "$work/suite"
export TMPDIR="$work/t" HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" \
  XDG_DATA_HOME="$work/home/.local/share" LUMO_SUITE_DIR="$work/suite" \
  LUMOIPC_CALL_EXPIRY_MS=1000 QT_LOGGING_RULES="lumoipc*=false"
fail() {
  echo "$1" >&2
  for f in service.log conform.out host.out; do [ -f "$work/$f" ] && cat "$work/$f" >&2; done
  exit 1
}
mkfifo "$work/commands"
"$service" <"$work/commands" >"$work/service.log" 2>&1 &
pid=$!
exec 3>"$work/commands"
trap 'exec 3>&-; wait $pid || true' EXIT
echo login >&3
for _ in $(seq 200); do grep -q "login: done" "$work/service.log" && break; sleep 0.05; done
grep -q "login: done" "$work/service.log" || fail "the example service did not log in"

# The example pushes its notifications typed, so it can be asked for one
# (any: notifyNewMsgList) but not for each of the interface's by name.
"$conform" --timeout 2000 --skip notifications-01 --push-command "echo messages >>'$work/commands'" \
  >"$work/conform.out" 2>&1 || fail "lumo-conform failed"

"$host" | while IFS= read -r line; do
  printf '%s\n' "$line"
  if [ "$line" = "waiting for notifications" ]; then echo "messages m1 m2" >&3; fi
done >"$work/host.out"
for text in "login: logined=1" "createFile: cancelled=1" 'createFolder: ok=1 id=32 folderId="f-' \
  "getLoginInfo: ok=1 isLogined=1" "notifyNewMsgList: m1,m2" \
  "remove: the service said \"Invalid method name: 'remove'\" (state=0)" \
  "freed object=(nil)"; do
  grep -qF "$text" "$work/host.out" || fail "the example host's output lacks \"$text\""
done
if grep -q "although" "$work/host.out"; then fail "the example host saw a call it should not have"; fi
echo quit >&3
tail -1 "$work/conform.out"
