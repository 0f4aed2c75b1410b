#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# demo_answers.sh KT3-SIM KT3: on the scene `demo` every command that reads has something to show and succeeds.
set -uo pipefail
sim=$1
kt3=$2
# A home of the caller's own, to see that a run leaves it alone.
HOME=$(mktemp -d)
export HOME ASAN_OPTIONS=verify_asan_link_order=0
trap 'rm -rf "$HOME"' EXIT
failures=0

fail() {
  echo "kt3 $1: $2"
  failures=$((failures + 1))
}

# The arguments, and what a line of the answer has to hold.
while IFS='|' read -r arguments expected; do
  # shellcheck disable=SC2086 # the arguments are words
  answer=$("$sim" run demo -- "$kt3" $arguments </dev/null)
  status=$?
  [ $status -eq 0 ] || fail "$arguments" "exit status $status"
  grep -qE "$expected" <<<"$answer" || fail "$arguments" "no line with '$expected' in: $answer"
done <<'ROWS'
list|^ +2 .*Nvidia
info|Engine clock +300 MHz
metric| 1 +0000:05:00\.0 +200 +1333
dvfs get|gfx_voltage +750
process|^ +0 +4711 +desk .*/usr/games/game +unit session-2\.scope$
process|^ +1 +41006 +desk .*/usr/bin/player +unit session-2\.scope$
process --by user|^ +1 +desk +1 
alloc list|^ +0 .* 1024 +1024 .*/usr/games/game$
alloc summary|process .*/usr/bin/desktop \(998\)$
alloc diff -w 0|process +\+.*/usr/games/game
leak -w 0 -n 3|^grew in 2 looks in a row: 1024x1024
segment|^ +1 +87\.7 MiB.* local$
vm clients|^00000012 +4711 +game +yes
vm pagetable|0x2000\.\.0x2002
vm nodes|^ +1f43 +0x7f0000000000
vm map|0x50000 +0x7f0000000000
prefer list|^game +0 +Gpu0:Vorla-55F0 +0000:03:00.0 +/usr/games/game$
doctor|^Healthy\.$
ROWS

"$sim" run demo -- "$kt3" prefer set /usr/bin/desktop --value 1 >/dev/null || fail "prefer set" "exit status $?"
"$sim" run demo -- "$kt3" prefer list | grep -q desktop && fail "prefer list" "shows what an earlier run stored"
[ -z "$(ls -A "$HOME")" ] || fail "prefer set" "left files in the caller's home"
exit $((failures > 0))
