#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# listed_fields.sh LAYOUTS HEADER: the list has every record of the header with the size asserted below it, and every
# field of the record, in order; nothing else is listed for that header.
set -euo pipefail
# shellcheck source=SCRIPTDIR/layout_list.sh
source "$(dirname "$0")/layout_list.sh"

# One field a line, four spaces in; functions have parentheses.
published=$(awk '
  { sub(/ *\/\*.*/, "") }
  /^(typedef )?struct [A-Za-z_0-9]+ \{$/ { record = $(NF - 1); order[++records] = record; next }
  /^}/ { record = "" }
  record != "" && /^    [A-Za-z_][^()]*;$/ {
    sub(/( = \{\})?;$/, "")
    count = split($0, names, ",")
    for (i = 1; i <= count; ++i) {
      gsub(/\[[^]]*\]/, "", names[i])
      sub(/.*[ *&]/, "", names[i])
      fields[record] = fields[record] "  " names[i] "\n"
    }
  }
  /^KT3_LAYOUT\(sizeof\(/ { split($0, part, /[()= ]+/); size[part[3]] = part[4] }
  END { for (i = 1; i <= records; ++i) printf "%s %s\n%s", order[i], size[order[i]], fields[order[i]] }
' "$2")

if ! diff <(listed_layouts "$1" "$(basename "$2")" | sed 's/^\(  .*\) .*/\1/') <(echo "$published"); then
  echo "'<' is listed in $1, '>' stands in the header"
  exit 1
fi
