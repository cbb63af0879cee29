#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Fails if programs that were built with the library of the kept description would not run with this
# one. Without a new SONAME, only compatible additions are allowed.
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

# Each format describes the same type differently.
for name in architecture version soname; do
  kept=$(attribute "$name" "$baseline")
  now=$(attribute "$name" "$folder/now.abi")
  if [ "$kept" != "$now" ]; then
    echo "Not compared: this description's $name is $now, the kept one's is $kept"
    case $name in
      version) echo "Only the abidw of the kept description's version can compare it." ;;
      soname) echo "Run scripts/abi-baseline to update the description." ;;
    esac
    exit 77
  fi
done

if ! compare "$baseline" "$folder/now.abi"; then
  echo
  echo "Programs that are already built would break. CONTRIBUTING.md, \"The binary interface\", says"
  echo "what to do if that is intended."
  exit 1
fi
