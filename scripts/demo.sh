#!/usr/bin/env bash
# The whole road on one machine, in a scratch directory: the daemon runs, the hooks are installed
# into an agent's settings, an "agent" runs what it finds there with a permission request, somebody
# answers on the page, at a terminal or from a phone, the agent gets the reply.
set -euo pipefail
cd "$(dirname "$0")/.."
answers=person
case "${1:-}" in
  "") ;;
  --auto) answers=itself ;;
  --phone) answers=phone ;;
  *) echo "usage: ./dev demo [--auto|--phone]" >&2; exit 2 ;;
esac
began=$(date +%s%N)

bin=$PWD/build/release/bin
doubles=$PWD/build/release/tests
scratch=$(mktemp -d)
export TAMSELL_HOME=$scratch TAMSELL_CLAUDE_SETTINGS=$scratch/claude/settings.json CODEX_HOME=$scratch/codex
daemon=
agent=
relay=
phone=
clean_up() {
  local process
  for process in $agent $phone $daemon $relay; do
    kill "$process" 2>/dev/null || true
  done
  wait 2>/dev/null || true
  rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

# wait_for SECONDS COMMAND...: until the command succeeds.
wait_for() {
  local rounds=$(($1 * 20))
  shift
  until "$@"; do
    rounds=$((rounds - 1))
    [ $rounds -gt 0 ] || return 1
    sleep 0.05
  done
}

# say WHO TEXT: one step, with the time since the beginning.
say() { printf '%6d ms  %-20s%s\n' $((($(date +%s%N) - began) / 1000000)) "$1:" "$2"; }

if [ $answers = phone ]; then
  "$bin/tamsell-relay" --listen 127.0.0.1:0 --database "$scratch/relay.db" >"$scratch/relay.log" &
  relay=$!
  wait_for 10 grep -q listening "$scratch/relay.log" || { echo "demo: the relay did not start" >&2; exit 1; }
  relay_url=http://$(sed -n 's/.*listening on //p' "$scratch/relay.log")
  say "A relay runs" "$relay_url"
fi

# A free port below the ephemeral range: the first on which the daemon gets to listen.
for port in 18787 18788 18789 18790 18791; do
  printf '{"port": %s, "mode": "on", "permissionWait": 600}\n' "$port" >"$scratch/config.json"
  "$bin/tamsell" --headless >"$scratch/daemon.log" &
  daemon=$!
  wait_for 10 grep -qE 'listening|already in use|tamsell: ' "$scratch/daemon.log" || true
  ! grep -q listening "$scratch/daemon.log" || break
  kill "$daemon"
  wait "$daemon" || true
  daemon=
done
[ -n "$daemon" ] || { cat "$scratch/daemon.log" >&2; exit 1; }
say "The daemon runs" "$(head -n 1 "$scratch/daemon.log")"

"$bin/tamsellctl" hooks install >"$scratch/install.log" || { cat "$scratch/install.log" >&2; exit 1; }
# What an agent would run on this event: the text in its settings, with JSON's escapes undone.
command=$(sed -n '/"PermissionRequest"/,/"timeout"/s/.*"command": "\(.*\)",$/\1/p' "$TAMSELL_CLAUDE_SETTINGS" |
  sed 's/\\\(["\\]\)/\1/g')
[ -n "$command" ] || { echo "demo: no hook in the settings" >&2; exit 1; }
say "Hooks installed" "$command"

if [ $answers = phone ]; then
  "$bin/tamsellctl" relay set "$relay_url" >/dev/null
  is_connected() { grep -q "relay: connected" "$scratch/daemon.log"; }
  wait_for 10 is_connected || { cat "$scratch/daemon.log" >&2; exit 1; }
  say "It has a relay" "$(grep -m 1 "relay: connected" "$scratch/daemon.log" | cut -d ' ' -f 2-)"
  # Where its output is no terminal, pair prints the link alone.
  "$bin/tamsellctl" pair >"$scratch/link"
  mkfifo "$scratch/phone.output"
  "$doubles/phone-double" <"$scratch/link" >"$scratch/phone.output" &
  phone=$!
  exec 4<"$scratch/phone.output"
  for step in paired connected; do
    read -r line <&4 || { echo "demo: the phone gave up" >&2; exit 1; }
    say "The phone" "$line"
  done
fi

cat >"$scratch/request.json" <<'JSON'
{"session_id": "demo-session", "cwd": "/home/user/work/orchard", "hook_event_name": "PermissionRequest",
 "permission_mode": "default", "tool_name": "Bash",
 "tool_input": {"command": "git push origin release/2.4", "description": "Push the release branch"},
 "permission_suggestions": [{"type": "addRules", "behavior": "allow", "destination": "localSettings",
   "rules": [{"toolName": "Bash", "ruleContent": "git push:*"}]}]}
JSON
# The agent's own environment knows nothing of the scratch directory.
env -u TAMSELL_HOME sh -c "$command" <"$scratch/request.json" >"$scratch/reply" &
agent=$!
say "An agent asks" "may I run \"git push origin release/2.4\"?"

pending_id() { "$bin/tamsellctl" pending --json | sed -n 's/^ *"id": "\([0-9a-f-]*\)".*/\1/p'; }
has_pending() { [ -n "$(pending_id)" ]; }
if [ $answers != phone ]; then
  wait_for 10 has_pending || { echo "demo: the question did not arrive" >&2; exit 1; }
  id=$(pending_id)
fi

case $answers in
  itself) say "You answer" "$("$bin/tamsellctl" answer "$id" allow)" ;;
  phone)
    while read -r line <&4; do
      say "The phone" "$line"
    done
    ;;
  person)
    page=$("$bin/tamsellctl" url)
    printf "You are away, so it waits. Answer on the page:\n\n  %s\n\n" "$page"
    printf "or from another terminal (allow, always or deny):\n\n"
    printf "  TAMSELL_HOME=%s %s answer %s allow\n\n" "$scratch" "$bin/tamsellctl" "${id:0:8}"
    if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && command -v xdg-open >/dev/null; then
      # In a shell of its own, because it may stay for as long as the browser does.
      (xdg-open "$page" >/dev/null 2>&1 &)
    fi
    ;;
esac
wait "$agent"
agent=
reply=$(cat "$scratch/reply")
say "The agent gets" "${reply:-nothing, so it asks at the computer as usual}"
[ $answers = person ] ||
  [ "$reply" = '{"hookSpecificOutput":{"decision":{"behavior":"allow"},"hookEventName":"PermissionRequest"}}' ] ||
  { echo "demo: that is not the reply" >&2; exit 1; }
