#!/usr/bin/env bash
# What somebody does on a new machine without a desktop, with the real programs: start the daemon, install the
# hooks, prove the road, answer a question, remove the hooks. In namespaces of its own, so that nothing but the
# user data base says where the home is, and the usual port is free.
#
#   new-machine.sh BIN      exits with 77 where the system allows no namespaces
set -euo pipefail

if [ "${2:-}" != inside ]; then
  apart=(unshare --mount --net)
  "${apart[@]}" true 2>/dev/null || apart=(unshare --user --map-root-user --mount --net)
  "${apart[@]}" true || exit 77
  scratch=$(mktemp -d)
  trap 'rm -rf "$scratch"' EXIT
  SCRATCH=$scratch "${apart[@]}" bash "$0" "$1" inside
  exit
fi

bin=$1
home=$SCRATCH/home
fail() {
  echo "new-machine: $*" >&2
  exit 1
}
eventually() {
  for _ in $(seq 300); do
    "$@" >/dev/null 2>&1 && return
    sleep 0.1
  done
  fail "never came true: $*"
}

mkdir -p "$home/dotfiles" "$home/.claude" "$SCRATCH/elsewhere"
awk -F: -v OFS=: -v user="$(id -u)" -v home="$home" '$3 == user { $6 = home } { print }' /etc/passwd >"$SCRATCH/passwd"
mount --bind "$SCRATCH/passwd" /etc/passwd
# In a new network not even the loopback interface is up: SIOCSIFFLAGS with IFF_UP, see netdevice(7).
python3 -c 'import fcntl, socket, struct
fcntl.ioctl(socket.socket(), 0x8914, struct.pack("16sh14x", b"lo", 1))'
unset TAMSELL_HOME TAMSELL_CLAUDE_SETTINGS CODEX_HOME XDG_CONFIG_HOME
export HOME=$SCRATCH/elsewhere TAMSELL_FORCE_IDLE=0

cp "$(dirname "$0")/../fixtures/claude/config/settings_existing_user_hooks.json" "$home/dotfiles/settings.json"
ln -s ../dotfiles/settings.json "$home/.claude/settings.json"
cp "$home/dotfiles/settings.json" "$SCRATCH/before.json"

"$bin/tamsell" --headless >"$SCRATCH/daemon.log" &
daemon=$!
trap 'kill $daemon 2>/dev/null || true' EXIT
eventually "$bin/tamsellctl" mode

"$bin/tamsellctl" hooks install
[ -L "$home/.claude/settings.json" ] || fail "the link is no link any more"
cmp "$SCRATCH/before.json" "$home/.claude/settings.json.tamsell-backup"
cmp "$bin/tamsell-hook" "$home/.tamsell/tamsell-hook"
[ ! -e "$home/.codex" ] || fail "Codex is not on this machine"
"$bin/tamsellctl" test

"$bin/tamsellctl" mode on
command=$(python3 -c 'import json, sys
hooks = json.load(open(sys.argv[1]))["hooks"]["PermissionRequest"]
print(hooks[-1]["hooks"][0]["command"])' "$home/.claude/settings.json")
sh -c "$command" >"$SCRATCH/reply" <<<'{"hook_event_name":"PermissionRequest","session_id":"s","tool_name":"Bash","tool_input":{"command":"ls"}}' &
agent=$!
is_waiting() { "$bin/tamsellctl" pending | grep -q Bash; }
eventually is_waiting
id=$("$bin/tamsellctl" pending | cut -c1-8 | head -1)
"$bin/tamsellctl" answer "$id" allow
wait $agent
grep -q '"behavior":"allow"' "$SCRATCH/reply" || fail "the agent got: $(cat "$SCRATCH/reply")"

"$bin/tamsellctl" hooks remove
python3 -c 'import json, sys
sys.exit(json.load(open(sys.argv[1])) != json.load(open(sys.argv[2])))' "$SCRATCH/before.json" "$home/.claude/settings.json" ||
  fail "the settings are not what they were"
[ -z "$(ls -A "$HOME")" ] || fail "something was written to HOME: $(ls -A "$HOME")"
kill $daemon
wait $daemon
echo "new-machine: all good"
