# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034,SC2154
# Functions to describe and compare the interfaces of built libraries, for the test and for updating
# the kept description. To be sourced; `source_dir` is this repository.

baseline=$source_dir/tests/abi/baseline-amd64.abi

# describe LIBRARY FILE
#
# Describes the types of the public headers, as in the library's debug information, and all exported
# functions. The description does not depend on the path of the sources.
describe() {
  abidw --headers-dir "$source_dir/include" --drop-private-types --exported-interfaces-only \
    --suppressions "$source_dir/tests/abi/standard-library.suppr" --type-id-style hash \
    --no-comp-dir-path --no-corpus-path --no-show-locs --no-parameter-names --no-elf-needed \
    --out-file "$2" "$1"
  sed -i -E "s|( path=')[^']*/src/|\1src/|" "$2"
  local name
  for name in OXObject OXCoder OXPortCoder; do
    if ! grep -qE "<class-decl name='$name'( visibility='default')? size-in-bits=" "$2"; then
      echo "$1 has no debug information about the type $name: compile the library with -g" >&2
      return 1
    fi
  done
}

# attribute NAME FILE
#
# Prints an attribute of a description: soname or architecture of the library, or the format's version.
attribute() {
  sed -n "/^<abi-corpus /{s/.* $1='\([^']*\)'.*/\1/p;q}" "$2"
}

# compare OLD NEW
#
# Fails if programs that were built with the old library would not run with the new one, and prints
# why. Ignores additions.
compare() {
  abidiff --no-added-syms --ignore-soname "$1" "$2"
}
