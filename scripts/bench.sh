#!/usr/bin/env bash
# What the programs of a build cost, as a table of ratios. Called by ./dev bench, which builds them.
#   scripts/bench.sh [SECTION...]   hook, daemon, idle, held, json, publish, relay, desktop,
#                                  relayd; all when none is named
# TAMSELL_BENCH_BUILD names another build tree than build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${TAMSELL_BENCH_BUILD:-build/release}
echo "$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ //'), $(nproc) processors, Linux $(uname -r)," \
  "load $(cut -d' ' -f1 /proc/loadavg) before"
exec "$build/bench/tamsell-bench" "$@"
