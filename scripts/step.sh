# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# For scripts of several steps, which include this file.

# step NAME COMMAND...: runs the command, then prints how long it took.
step() {
  local name=$1 began=$SECONDS
  shift
  printf '\n== %s\n' "$name"
  "$@"
  printf '== %s: %d s\n' "$name" $((SECONDS - began))
}
