#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Tests bash's completions for oxarchive, and that both shells know all options in --help.
#
#   completions.bash FOLDER OXARCHIVE    the folder with the completions, and the program
set -u
folder=$1
options=$("$2" --help | grep -o -- '--[a-z-]*[a-z]' | sort -u)
failures=0

# shellcheck source=/dev/null
source "$folder/oxarchive.bash"

# expect EXPECTED WORD...     the completions of the last word, in order, separated by a space
expect() {
  COMP_WORDS=(oxarchive "${@:2}")
  COMP_CWORD=$(($# - 1))
  COMPREPLY=()
  _oxarchive
  if [[ "${COMPREPLY[*]}" != "$1" ]]; then
    printf '%s: "%s" in place of "%s"\n' "${*:2}" "${COMPREPLY[*]}" "$1"
    failures=$((failures + 1))
  fi
}

place=$(mktemp -d)
cd "$place" || exit 1
trap 'rm -f "an archive.zip" b.tar; rmdir "a folder" "$place"' EXIT
mkdir "a folder"
touch "an archive.zip" b.tar
export OXARCHIVE_COMPLETION_TEST=1

expect "extract list create --help --version" ""
expect "extract" ex
expect "--help" --h
expect "--into" extract b.tar --i
expect "--long" list --l
expect "--cbor" list --c
expect "--level" create --l
expect "" create --t
expect "a folder an archive.zip" extract a
expect "b.tar" list b
expect "b.tar" create o.zip b
expect "a folder" extract --into ""
expect "fastest normal best" create o.zip --level ""
expect "best" create o.zip --level = b
expect "aes256 aes128" create o.zip --method = a
expect "aes256 aes128 zipcrypt" create o.zip --method =
expect "OXARCHIVE_COMPLETION_TEST" list --password-env OXARCHIVE_COMPLETION
expect "b.tar" list --password-file b
expect "" list --memory ""
expect "--password --password-file --password-env --patience" list --pa

for option in ${options:-nothing}; do
  for file in oxarchive.bash _oxarchive; do
    if ! grep -q -e "$option\b" "$folder/$file"; then
      echo "$file does not know $option"
      failures=$((failures + 1))
    fi
  done
done
exit $((failures > 0))
