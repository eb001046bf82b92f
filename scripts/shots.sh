#!/usr/bin/env bash
# Pictures to look at, of the page and the windows in each of their states. Called by ./dev shots, which builds and installs.
set -euo pipefail
cd "$(dirname "$0")/.."
for window in panel pair guide launch tray update; do
  "build/release/tests/$window-shots" build/shots
done
exec node tests/page/shots.mjs build/shots
