#!/usr/bin/env bash
# Pictures to look at, of the page in each of its states. Called by ./dev shots, which builds and installs.
set -euo pipefail
cd "$(dirname "$0")/.."
exec node tests/page/shots.mjs build/shots
