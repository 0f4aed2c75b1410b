#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# package_version.sh find_package|pkg_config: the installed package answers to the interface version of its own header
# and to earlier ones, and to no later one.
set -euo pipefail
# shellcheck source=SCRIPTDIR/installed_copy.sh
source "$(dirname "$0")/installed_copy.sh"
version=$(sed -nE 's/.*KT3_INTERFACE_VERSION = ([0-9]+).*/\1/p' "$prefix/include/kt3_mgmt/kt3_mgmt_interface.h")
failed=0

# found REQUEST: whether a project that asks for that version finds the package.
found() {
  case "$way" in
    find_package)
      printf '%s\n' 'cmake_minimum_required(VERSION 3.22)' 'project(asking LANGUAGES NONE)' \
        "find_package(kt3-mgmt $1 REQUIRED)" >"$work/CMakeLists.txt"
      "$KT3_CMAKE" -S "$work" -B "$work/asked-$1" -G "$KT3_GENERATOR" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON
      ;;
    pkg_config) pkg-config --exists "kt3-mgmt >= $1" ;;
  esac >"$work/log" 2>&1
}
expect() { # expect yes|no REQUEST
  local answer=no
  if found "$2"; then answer=yes; fi
  if [ "$answer" != "$1" ]; then
    echo "version $2 found: $answer, expected $1"
    cat "$work/log"
    failed=1
  fi
}

expect yes "$version"
expect yes "$((version - 1))"
expect yes 0.23
expect no "$((version + 1))"
exit $failed
