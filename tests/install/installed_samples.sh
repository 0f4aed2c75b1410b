#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# installed_samples.sh find_package|pkg_config: installs into a temporary prefix, builds the samples against it, runs them.
set -euo pipefail
# shellcheck source=SCRIPTDIR/installed_copy.sh
source "$(dirname "$0")/installed_copy.sh"

for file in "$KT3_LIBDIR/libkt3_mgmt_interface.so" include/kt3_mgmt/kt3_mgmt_interface.h \
            include/kt3_mgmt/kt3_mgmt_interface_cxx.h "$KT3_LIBDIR/pkgconfig/kt3-mgmt.pc"; do
  [ -f "$prefix/$file" ] || { echo "not installed: $file"; exit 1; }
done
# Nothing that is installed may point back to the build or the source.
if grep -rIl -e "$KT3_BUILD" -e "$(dirname "$KT3_EXAMPLES")" "$prefix"; then
  echo "the files above name the build or source folder"
  exit 1
fi

build_with_find_package() {
  "$KT3_CMAKE" -S "$KT3_EXAMPLES/$1" -B "$work/build/$1" -G "$KT3_GENERATOR" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON
  "$KT3_CMAKE" --build "$work/build/$1"
}

build_with_pkg_config() {
  mkdir -p "$work/build/$1"
  local compile=("$CC" -std=c99) source=$KT3_EXAMPLES/$1/$1.c
  [ -f "$source" ] || { compile=("$CXX" -std=c++17) source=$KT3_EXAMPLES/$1/$1.cpp; }
  # shellcheck disable=SC2046,SC2086 # flags are words
  "${compile[@]}" $CFLAGS -Wall -Wextra -pedantic -Werror "$source" $(pkg-config --cflags --libs kt3-mgmt) \
    -o "$work/build/$1/$1"
}

# expect FILE PATTERN: a line of the file has this form.
expect() {
  grep -qE "$2" "$1" || { echo "no line '$2' in:"; cat "$1"; exit 1; }
}

for sample in list_adapters watch_clocks allocations_by_process; do
  "build_with_$way" $sample
done
export LD_LIBRARY_PATH=$prefix/$KT3_LIBDIR
sim=$prefix/bin/kt3-sim

"$work/build/list_adapters/list_adapters" >"$work/real"
expect "$work/real" '^[0-9] adapters$'

"$sim" run demo -- "$work/build/list_adapters/list_adapters" >"$work/demo"
expect "$work/demo" '^2 adapters$'
expect "$work/demo" '^1: Gpu1:QN R-4480 at 0000:05:00.0, /dev/dri/card1$'

"$sim" run demo -- "$work/build/allocations_by_process/allocations_by_process" >"$work/owners"
expect "$work/owners" '^/usr/games/game \(4711\): 16 allocations$'
expect "$work/owners" '^  0x1005: 33177600 bytes in segment 1, 3840 x 2160$'

# Interrupted after its first sample, it ends well and leaves the driver as it found it.
# shellcheck disable=SC2016 # expanded inside the run
"$sim" run idle -- sh -c '
  "$0" >"$1" & watch=$!
  while kill -0 $watch && ! grep -q engine "$1"; do sleep 0.02; done
  kill -INT $watch
  wait $watch
  echo "ended with $?"
  kt3-sim log' "$work/build/watch_clocks/watch_clocks" "$work/samples" >"$work/ended"
expect "$work/samples" '^engine 300 MHz, video 250 MHz, memory 1600 MHz, 41 C$'
expect "$work/ended" '^ended with 0$'
[ "$(tail -n 1 "$work/ended" | cut -f 2)" = '"0"' ] || { echo "usage accounting stays on:"; cat "$work/ended"; exit 1; }
