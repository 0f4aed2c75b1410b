#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# dynamic_section.sh LIBRARY READELF
set -euo pipefail
dynamic=$("$2" -dW "$1")
segments=$("$2" -lW "$1")
failed=0
expect() { # expect TEXT STATUS: complains when the status is not 0
  if [ "$2" -ne 0 ]; then echo "not so: $1"; failed=1; fi
}
has() { grep -qE "$1" <<<"$dynamic"; }

status() { "$@" && echo 0 || echo 1; }
expect "the library is called libkt3_mgmt_interface.so" "$(status has 'SONAME.*\[libkt3_mgmt_interface\.so\]$')"
expect "libdrm is a needed library" "$(status has 'NEEDED.*\[libdrm\.so\.2\]')"
expect "every symbol is bound at load time" "$(status has '(BIND_NOW|FLAGS.*NOW)')"
expect "there is no RPATH or RUNPATH" "$(has '(RPATH|RUNPATH)' && echo 1 || echo 0)"
expect "there are no text relocations" "$(has 'TEXTREL' && echo 1 || echo 0)"
expect "relocated data is read-only" "$(grep -q GNU_RELRO <<<"$segments" && echo 0 || echo 1)"
expect "the stack is not executable" "$(grep GNU_STACK <<<"$segments" | grep -q 'RWE' && echo 1 || echo 0)"

# The sanitizer runtimes appear in sanitized builds only.
allowed='^(libdrm\.so\.2|libstdc\+\+\.so\.6|libc\.so\.6|libgcc_s\.so\.1|libm\.so\.6|ld-linux.*|libasan\.so\.[0-9]+|libubsan\.so\.[0-9]+)$'
other=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic" | grep -vE "$allowed" || true)
expect "nothing else is needed: $other" "$([ -z "$other" ] && echo 0 || echo 1)"
exit $failed
