#!/usr/bin/env bash
# Everything about the sources that no test sees. Called by ./dev check, which installs the tools.
set -uo pipefail
cd "$(dirname "$0")/.."
failed=0
complain() {
  echo "check: $*" >&2
  failed=1
}

# What counts as the change: all since the main line, or the last commits when this is the main line.
base=${TAMSELL_CHECK_BASE:-}
if [ -z "$base" ]; then
  base=$(git merge-base HEAD origin/HEAD 2>/dev/null || true)
  if [ -z "$base" ] || [ "$base" = "$(git rev-parse HEAD)" ]; then
    base=$(git rev-parse --verify --quiet HEAD~15 || git hash-object -t tree /dev/null)
  fi
fi

echo "== format"
git ls-files -z '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run --Werror || complain "run clang-format"

git ls-files -z '*.js' '*.mjs' '*.ts' '*.tsx' '*.css' | xargs -0 -r tests/page/node_modules/.bin/prettier --check --log-level=warn ||
  complain "run tests/page/node_modules/.bin/prettier --write on these"

echo "== types of the page"
tests/page/node_modules/.bin/tsc -p resources/page/jsconfig.json || complain "the page's types do not fit"
phone/node_modules/.bin/tsc -p phone || complain "the phone page's types do not fit"

echo "== folder arrows"
python3 scripts/arrows.py || complain "an include goes against the folders' arrows"

echo "== commit messages"
while IFS= read -r subject; do
  [ -n "$subject" ] || continue
  [ ${#subject} -le 72 ] || complain "over 72 columns: $subject"
  [[ $subject =~ ^[a-z][a-z0-9-]*(,\ [a-z][a-z0-9-]*)*:\ [A-Z] ]] || complain "not \"folder: Imperative summary\": $subject"
done < <(if git cat-file -e "$base^{commit}" 2>/dev/null; then git log --format=%s "$base..HEAD"; else git log --format=%s; fi)

echo "== wording"
# Documents about how the program came to be have no place in it.
patterns='\bParts? [0-9]+\.[0-9]+|\bspecification\b|\bspec\.md\b|\b(the|per) spec\b|\bissue #?[0-9]+\b'
! git grep -nIiE "$patterns" -- . ':!scripts/check.sh' | grep -viE 'freedesktop|desktop entry' | grep . ||
  complain "names a requirement document"
! git log --format=%B "$(git cat-file -e "$base^{commit}" 2>/dev/null && echo "$base..")HEAD" |
  grep -iE "$patterns" || complain "a commit message names a requirement document"

echo "== tamsell-hook"
cmake --preset release >/dev/null && cmake --build build/release --target tamsell-hook >/dev/null ||
  complain "tamsell-hook does not build"
# In a static program these read plug-ins, data bases and locales of another machine's library.
forbidden='getaddrinfo|gethostby|getpw|getgr|getserv|iconv_open|setlocale|_ZNSt8ios_base4InitC1Ev'
! nm build/release/bin/tamsell-hook | grep -E " [TW] (${forbidden})" || complain "tamsell-hook links what it must not"
! readelf --program-headers --wide build/release/bin/tamsell-hook | grep INTERP || complain "tamsell-hook is not static"

echo "== clang-tidy"
cmake --preset release -B build/check -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
  -DTAMSELL_TESTS=ON -DTAMSELL_BENCH=ON >build/check.log 2>&1 && cmake --build build/check --target ext_idle_notify_client ext_idle_notify_server >>build/check.log 2>&1 ||
  { cat build/check.log; complain "cannot configure for clang-tidy"; }
mapfile -t changed < <(git diff --name-only --diff-filter=d "$base" -- '*.cpp')
if [ ${#changed[@]} -gt 0 ]; then
  printf '%s\0' "${changed[@]}" |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy -p build/check --quiet 2>/dev/null || complain "clang-tidy"
fi

[ $failed = 0 ] && echo "check: all good"
exit $failed
