#!/usr/bin/env bash
# The whole road on one machine, in a scratch directory: the daemon runs, the hooks are installed
# into an agent's settings, an "agent" runs what it finds there with a permission request, somebody
# answers on the page or at a terminal, the agent gets the reply.
set -euo pipefail
cd "$(dirname "$0")/.."
auto=no
case "${1:-}" in
  "") ;;
  --auto) auto=yes ;;
  *) echo "usage: ./dev demo [--auto]" >&2; exit 2 ;;
esac

bin=$PWD/build/release/bin
scratch=$(mktemp -d)
export TAMSELL_HOME=$scratch TAMSELL_CLAUDE_SETTINGS=$scratch/claude/settings.json CODEX_HOME=$scratch/codex
daemon=
agent=
clean_up() {
  [ -z "$agent" ] || kill "$agent" 2>/dev/null || true
  [ -z "$daemon" ] || kill "$daemon" 2>/dev/null || true
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
echo "The daemon runs:    $(head -n 1 "$scratch/daemon.log")"

"$bin/tamsellctl" hooks install >"$scratch/install.log" || { cat "$scratch/install.log" >&2; exit 1; }
# What an agent would run on this event: the text in its settings, with JSON's escapes undone.
command=$(sed -n '/"PermissionRequest"/,/"timeout"/s/.*"command": "\(.*\)",$/\1/p' "$TAMSELL_CLAUDE_SETTINGS" |
  sed 's/\\\(["\\]\)/\1/g')
[ -n "$command" ] || { echo "demo: no hook in the settings" >&2; exit 1; }
echo "Hooks installed:    $command"

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
echo "An agent asks:      may I run \"git push origin release/2.4\"?"

pending_id() { "$bin/tamsellctl" pending --json | sed -n 's/^ *"id": "\([0-9a-f-]*\)".*/\1/p'; }
has_pending() { [ -n "$(pending_id)" ]; }
wait_for 10 has_pending || { echo "demo: the question did not arrive" >&2; exit 1; }
id=$(pending_id)

if [ $auto = yes ]; then
  echo "You answer:         $("$bin/tamsellctl" answer "$id" allow)"
else
  page=$("$bin/tamsellctl" url)
  printf "You are away, so it waits. Answer on the page:\n\n  %s\n\n" "$page"
  printf "or from another terminal (allow, always or deny):\n\n"
  printf "  TAMSELL_HOME=%s %s answer %s allow\n\n" "$scratch" "$bin/tamsellctl" "${id:0:8}"
  if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && command -v xdg-open >/dev/null; then
    # In a shell of its own, because it may stay for as long as the browser does.
    (xdg-open "$page" >/dev/null 2>&1 &)
  fi
fi
wait "$agent"
agent=
reply=$(cat "$scratch/reply")
echo "The agent gets:     ${reply:-nothing, so it asks at the computer as usual}"
[ $auto = no ] ||
  [ "$reply" = '{"hookSpecificOutput":{"decision":{"behavior":"allow"},"hookEventName":"PermissionRequest"}}' ] ||
  { echo "demo: that is not the reply" >&2; exit 1; }
