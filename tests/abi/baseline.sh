# shellcheck shell=bash disable=SC2034,SC2154
# How the interface of a built library is put into words, for the test and for renewing what is kept.
# To be sourced; `source_dir` is this repository.

baseline=$source_dir/tests/abi/baseline-amd64.abi

# describe LIBRARY FILE
#
# The types of the public headers as the library's debug information has them, and every function
# that is exported. Nothing in it depends on where the sources lie.
describe() {
  abidw --headers-dir "$source_dir/include" --drop-private-types --exported-interfaces-only \
    --suppressions "$source_dir/tests/abi/standard-library.suppr" --type-id-style hash \
    --no-comp-dir-path --no-corpus-path --no-show-locs --no-parameter-names --no-elf-needed \
    --out-file "$2" "$1"
  sed -i -E "s|( path=')[^']*/src/|\1src/|" "$2"
  local name
  for name in OXObject OXCoder OXPortCoder; do
    if ! grep -q "<class-decl name='$name' size-in-bits=" "$2"; then
      echo "$1 has no debug information about the type $name: compile the library with -g" >&2
      return 1
    fi
  done
}

# attribute NAME FILE, of the library itself: soname or architecture
attribute() {
  sed -n "/^<abi-corpus /{s/.* $1='\([^']*\)'.*/\1/p;q}" "$2"
}

# compare OLD NEW
#
# Whether programs that were built with the old library run with the new one; says why not. What is
# only added harms nobody.
compare() {
  abidiff --no-added-syms --ignore-soname "$1" "$2"
}
