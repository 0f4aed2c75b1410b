#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# compiled_layouts.sh LAYOUTS HEADER PRINT_LAYOUTS
set -euo pipefail
# shellcheck source=SCRIPTDIR/layout_list.sh
source "$(dirname "$0")/layout_list.sh"
if ! diff <(listed_layouts "$1" "$2") <("$3"); then
  echo "'<' is listed in $1, '>' is what the compiler says"
  exit 1
fi
