#!/usr/bin/env bash
# asserted_layouts.sh LAYOUTS HEADER...: the layout assertions of the headers, which the compiler checks, say what the
# list says, record by record and field by field.
set -euo pipefail
list=$1
shift
asserted=$(sed -nE \
  -e 's/^KT3_LAYOUT\(sizeof\((struct )?(\w+)\) == ([0-9]+)\);.*/\2 \3/p' \
  -e 's/^KT3_LAYOUT\(offsetof\((struct )?(\w+), (\w+)\) == ([0-9]+)\);.*/  \3 \4/p' "$@")
if ! diff <(grep -v '^#' "$list") <(echo "$asserted"); then
  echo "'<' is listed in $list, '>' is asserted in the header"
  exit 1
fi
