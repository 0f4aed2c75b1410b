#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# symbols.sh LIBRARY EXPORTS_MAP NM: the defined dynamic symbols and the list are the same, both ways.
set -euo pipefail
built=$("$3" -D --defined-only "$1" | awk '{ print $3 }' | sort)
listed=$(sed 's|/\*.*\*/||' "$2" | sed -n '/^global:/,/^local:/p' | grep -oE '[A-Za-z_][A-Za-z0-9_]*;' | tr -d ';' | sort)
[ -n "$built" ] || { echo "no symbols found in $1"; exit 1; }
if ! diff <(echo "$listed") <(echo "$built"); then
  echo "'<' is listed but not built, '>' is built but not listed"
  exit 1
fi
echo "$(echo "$built" | wc -l) symbols"
