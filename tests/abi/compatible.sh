#!/usr/bin/env bash
# Whether programs that were built with the library as the kept description has it run with this one.
# What may have changed without a new SONAME is a compatible addition.
#
#   compatible.sh SOURCE LIBRARY
#
# Exits with 77 when there is nothing to compare.
set -euo pipefail
source_dir=$1
library=$2
# shellcheck source=tests/abi/baseline.sh
source "$source_dir/tests/abi/baseline.sh"

if ! command -v abidw >/dev/null || ! command -v abidiff >/dev/null; then
  echo "Not compared: abidw and abidiff are missing (Debian package abigail-tools)"
  exit 77
fi
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
describe "$library" "$folder/now.abi"

for name in architecture soname; do
  kept=$(attribute "$name" "$baseline")
  now=$(attribute "$name" "$folder/now.abi")
  if [ "$kept" != "$now" ]; then
    echo "Not compared: the $name is $now, and the kept description is of $kept"
    [ "$name" = architecture ] || echo "Run scripts/abi-baseline to keep that of the new one."
    exit 77
  fi
done

if ! compare "$baseline" "$folder/now.abi"; then
  echo
  echo "Programs that are already built would break. CONTRIBUTING.md, \"The binary interface\", says"
  echo "what to do when that is intended."
  exit 1
fi
