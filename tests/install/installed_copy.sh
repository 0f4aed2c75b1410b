# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Sourced with find_package or pkg_config as the first argument: installs the build below $prefix, a folder that goes
# when the script ends, and makes the copy known to pkg-config.
way=$1
case "$way" in
  find_package | pkg_config) ;;
  *) echo "unknown way: $way"; exit 2 ;;
esac
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
"$KT3_CMAKE" --install "$KT3_BUILD" --prefix "$prefix" >"$work/install.log" || { cat "$work/install.log"; exit 1; }
export PKG_CONFIG_PATH=$prefix/$KT3_LIBDIR/pkgconfig
