# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# listed_layouts LAYOUTS HEADER: the rows that the list has for one header.
listed_layouts() {
  awk -v heading="# $2" '/^#/ { inside = ($0 == heading); next } inside && NF > 0' "$1"
}
