#!/usr/bin/env bash
# installed_sample.sh find_package|pkg_config: installs into a temporary prefix, builds the sample against it, runs it.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
"$KT3_CMAKE" --install "$KT3_BUILD" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log"; exit 1; }

for file in "$KT3_LIBDIR/libkt3_mgmt_interface.so" include/kt3_mgmt/kt3_mgmt_interface.h \
            include/kt3_mgmt/kt3_mgmt_interface_cxx.h "$KT3_LIBDIR/pkgconfig/kt3-mgmt.pc"; do
  [ -f "$prefix/$file" ] || { echo "not installed: $file"; exit 1; }
done
# Nothing that is installed may point back to the build or the source.
if grep -rIl -e "$KT3_BUILD" -e "$(dirname "$(dirname "$KT3_EXAMPLE")")" "$prefix"; then
  echo "the files above name the build or source folder"
  exit 1
fi

sample=$work/build/list_adapters
case "$1" in
  find_package)
    "$KT3_CMAKE" -S "$KT3_EXAMPLE" -B "$work/build" -G "$KT3_GENERATOR" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON
    "$KT3_CMAKE" --build "$work/build"
    ;;
  pkg_config)
    mkdir "$work/build"
    export PKG_CONFIG_PATH=$prefix/$KT3_LIBDIR/pkgconfig
    # shellcheck disable=SC2046,SC2086 # flags are words
    "$CC" $CFLAGS -std=c99 -Wall -Wextra -pedantic -Werror "$KT3_EXAMPLE/list_adapters.c" \
      $(pkg-config --cflags --libs kt3-mgmt) -o "$sample"
    ;;
  *) echo "unknown way: $1"; exit 2 ;;
esac
LD_LIBRARY_PATH=$prefix/$KT3_LIBDIR "$sample" | tee "$work/output"
grep -qE '^[0-9] adapters$' "$work/output"
