# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Common functions of the scripts in the folder above. Source this at the top of the tree.

# shellcheck source=scripts/lib/packages.sh
source scripts/lib/packages.sh

# help_if_asked ["$@"]
#
# If the first argument asks for help, prints the script's first comment and exits.
help_if_asked() {
  case ${1:-} in
    -h | --help)
      sed -n '3,/^set /{/^#/s/^# \{0,1\}//p}' "scripts/${0##*/}"
      exit 0
      ;;
  esac
}

# Ends the script because its arguments are invalid.
refuse() {  # REASON
  echo "scripts/${0##*/}: $1; see --help" >&2
  exit 2
}

# no_arguments ["$@"]
no_arguments() {
  [ $# = 0 ] || refuse "\"$1\" is not known"
}

# Prints a heading.
say() {  # WORD...
  printf '\n== %s\n' "$*"
}

# Runs a command, and shows its output only if it fails.
quietly() {  # COMMAND...
  local log
  log=$(mktemp)
  "$@" >"$log" 2>&1 || { cat "$log" >&2; rm "$log"; return 1; }
  rm "$log"
}

# Configures anew where the presets have changed, since CMake keeps what they no longer set and forgets
# the rest along with a former compiler. It refuses a build folder made for another path or by another
# version, so retry likewise. With ORVEXKIT_EACH_SOURCE_ALONE, the release compiles each source by
# itself, as users do: where several are compiled as one, a missing include goes unnoticed.
configure() {  # PRESET
  local command=(cmake --preset "$1")
  mkdir -p build
  if [ "$1" = release ] && [ -n "${ORVEXKIT_EACH_SOURCE_ALONE:-}" ]; then
    command+=(-DCMAKE_UNITY_BUILD=OFF)
  fi
  if [ "build/$1/CMakeCache.txt" -nt CMakePresets.json ] && quietly "${command[@]}" 2>/dev/null; then
    return
  fi
  quietly "${command[@]}" --fresh
}

# Copies the working tree, without history and builds.
copy_sources() {  # FOLDER
  tar --create --exclude-vcs --exclude=./build --file=- . | tar --extract --directory="$1"
}
