#!/usr/bin/env bash
# Installs into a scratch prefix, looks at the tree with the desktop's own checkers, and runs what is in it.
#
#   installed-tree.sh BUILD CMAKE
set -euo pipefail
build=$1
cmake=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
  echo "installed-tree: $*" >&2
  exit 1
}
files() { (cd "$1" && find . -type f -printf '%P\n' | sort); }

"$cmake" --install "$build" --prefix "$scratch/headless" --component runtime >/dev/null
diff <(files "$scratch/headless") - <<'TEXT' || fail "the programs' files are others"
bin/tamsell
bin/tamsellctl
libexec/tamsell/tamsell-hook
share/tamsell/app.html
TEXT

# A relay's server gets the relay and the page that it serves, which the relay finds by itself.
"$cmake" --install "$build" --prefix "$scratch/relay" --component relay >/dev/null
TAMSELL_RELAY_DATABASE=$scratch/relay.db \
  "$scratch/relay/bin/tamsell-relay" --listen 127.0.0.1:0 >"$scratch/relay.log" &
relay=$!
trap 'kill $relay || true; rm -rf "$scratch"' EXIT
for _ in {1..100}; do
  address=$(grep -o '127\.0\.0\.1:[1-9][0-9]*' "$scratch/relay.log") && break
  sleep 0.1
done
script=$(curl -sSf "http://$address/" | grep -o 'assets/index-[^"]*\.js') || fail "the relay serves no page"
curl -sSf -o /dev/null "http://$address/$script" || fail "the relay does not serve the page's script"
kill $relay
trap 'rm -rf "$scratch"' EXIT

prefix=$scratch/whole
"$cmake" --install "$build" --prefix "$prefix" >/dev/null
[ ! -e "$build/bin/tamsell-desktop" ] || [ -x "$prefix/libexec/tamsell/tamsell-desktop" ] || fail "no tamsell-desktop"
desktop-file-validate "$prefix/share/applications/tamsell.desktop"
appstreamcli validate --no-net "$prefix"/share/metainfo/*.metainfo.xml
for size in 16 22 24 32 48 64 128 256; do
  python3 -c 'import struct, sys
head = open(sys.argv[1], "rb").read(24)
sys.exit(struct.unpack(">II", head[16:24]) != (int(sys.argv[2]),) * 2)' \
    "$prefix/share/icons/hicolor/${size}x$size/apps/tamsell.png" $size || fail "the icon of $size is not that size"
done
for drawing in scalable/apps/tamsell symbolic/apps/tamsell-symbolic; do
  python3 -c 'import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])' \
    "$prefix/share/icons/hicolor/$drawing.svg"
done

# Whoever runs them has a home of their own, and no hooks yet.
export HOME=$scratch/home TAMSELL_HOME=$scratch/home/.tamsell TAMSELL_NO_WELCOME=1
export TAMSELL_CLAUDE_SETTINGS=$HOME/.claude/settings.json CODEX_HOME=$HOME/.codex
export XDG_CONFIG_HOME=$HOME/.config XDG_RUNTIME_DIR=$scratch/run
mkdir -p "$HOME/.claude"
mkdir -m 700 "$scratch/run"
for tree in headless whole; do
  "$scratch/$tree/bin/tamsell" --version | grep -q '[0-9]\.[0-9]' || fail "$tree: tamsell does not run"
done
# What it installs is found beside it, under libexec.
"$prefix/bin/tamsellctl" hooks install >/dev/null
cmp "$prefix/libexec/tamsell/tamsell-hook" "$TAMSELL_HOME/tamsell-hook" || fail "it installed another hook"
echo "installed-tree: all good"
