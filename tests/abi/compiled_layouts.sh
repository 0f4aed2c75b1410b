#!/usr/bin/env bash
# compiled_layouts.sh LAYOUTS PRINT_LAYOUTS
set -euo pipefail
if ! diff <(grep -v '^#' "$1") <("$2"); then
  echo "'<' is listed in $1, '>' is what the compiler says"
  exit 1
fi
