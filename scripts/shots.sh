#!/usr/bin/env bash
# Pictures to look at, of the pages and the windows in each of their states. Called by ./dev shots, which builds and installs.
set -euo pipefail
cd "$(dirname "$0")/.."
for window in panel pair guide launch tray update; do
  "build/release/tests/$window-shots" build/shots
done
node tests/page/shots.mjs build/shots
exec node tests/phone/shots.mjs build/shots
