#!/usr/bin/env bash
# The whole road on one machine, in a scratch directory: a relay runs and serves the phone page, the daemon
# runs and is paired with it, the hooks are installed into an agent's settings, an "agent" runs what it finds
# there with a permission request, somebody answers on the phone page, the agent gets the reply.
set -euo pipefail
cd "$(dirname "$0")/.."
answers=person
case "${1:-}" in
  "") ;;
  --auto) answers=browser ;;
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

"$bin/tamsell-relay" --listen 127.0.0.1:0 --database "$scratch/relay.db" >"$scratch/relay.log" &
relay=$!
wait_for 10 grep -q listening "$scratch/relay.log" || { echo "demo: the relay did not start" >&2; exit 1; }
relay_url=http://$(sed -n 's/.*listening on //p' "$scratch/relay.log")
say "A relay runs" "$relay_url"

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

"$bin/tamsellctl" relay set "$relay_url" >/dev/null
is_connected() { grep -q "relay: connected" "$scratch/daemon.log"; }
wait_for 10 is_connected || { cat "$scratch/daemon.log" >&2; exit 1; }
say "It has a relay" "$(grep -m 1 "relay: connected" "$scratch/daemon.log" | cut -d ' ' -f 2-)"

# Where its output is no terminal, pair prints the link alone.
is_paired() { [ "$("$bin/tamsellctl" devices --json | grep -c '"id"')" -gt 0 ]; }
play() {
  "$bin/tamsellctl" pair >"$scratch/link"
  mkfifo "$scratch/phone.output"
  "$@" <"$scratch/link" >"$scratch/phone.output" &
  phone=$!
  exec 4<"$scratch/phone.output"
  for step in paired connected; do
    read -r line <&4 || { echo "demo: the phone gave up" >&2; exit 1; }
    say "The phone" "$line"
  done
}
case $answers in
  phone) play "$doubles/phone-double" ;;
  browser) play node tests/phone/play.mjs ;;
  person)
    printf "\nOpen this in a browser on this computer, which plays the phone here, and pair it:\n\n"
    "$bin/tamsellctl" pair
    printf "\n"
    wait_for 600 is_paired || { echo "demo: nobody paired" >&2; exit 1; }
    say "The phone" "paired"
    ;;
esac

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

if [ $answers = person ]; then
  printf "\nYou are away, so it waits. Answer on the phone page.\n\n"
else
  while read -r line <&4; do
    say "The phone" "$line"
  done
fi
wait "$agent"
agent=
reply=$(cat "$scratch/reply")
say "The agent gets" "${reply:-nothing, so it asks at the computer as usual}"
[ $answers = person ] ||
  [ "$reply" = '{"hookSpecificOutput":{"decision":{"behavior":"allow"},"hookEventName":"PermissionRequest"}}' ] ||
  { echo "demo: that is not the reply" >&2; exit 1; }
