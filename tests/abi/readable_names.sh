#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# readable_names.sh EXPORTS_MAP: the comment beside a name that the compiler encoded names the same function or object.
set -euo pipefail
failed=0
while read -r encoded rest; do
  encoded=${encoded%;}
  wanted=$(c++filt "$encoded")
  wanted=${wanted%%(*}
  readable=${rest#/\* }
  readable=${readable%%(*}
  readable=${readable% \*/}
  if [ "$readable" != "${wanted//\[abi:cxx11\]/}" ]; then
    echo "$encoded is $wanted, but \"$rest\" stands beside it"
    failed=1
  fi
done < <(grep -E '^ +_Z' "$1")
exit $failed
