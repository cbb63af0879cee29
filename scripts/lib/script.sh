# shellcheck shell=bash
# What the scripts beside this folder have in common. To be sourced, at the top of the tree.

# shellcheck source=scripts/lib/packages.sh
source scripts/lib/packages.sh

# help_if_asked ["$@"]
#
# Prints the script's first comment and ends it, if the first argument asks for that.
help_if_asked() {
  case ${1:-} in
    -h | --help)
      sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "scripts/${0##*/}"
      exit 0
      ;;
  esac
}

# Ends the script, which was called in a way that makes no sense.
refuse() {  # REASON
  echo "scripts/${0##*/}: $1; see --help" >&2
  exit 2
}

# no_arguments ["$@"]
no_arguments() {
  [ $# = 0 ] || refuse "\"$1\" is not known"
}

# Begins a part of what a script prints.
say() {  # WORD...
  printf '\n== %s\n' "$*"
}

# Runs a command, and shows what it prints only if it fails.
quietly() {  # COMMAND...
  local log
  log=$(mktemp)
  "$@" >"$log" 2>&1 || { cat "$log" >&2; rm "$log"; return 1; }
  rm "$log"
}

# CMake refuses a build folder that was made for another place or by another version, and starts anew
# when it is asked to.
configure() {  # PRESET [OPTION...]
  mkdir -p build
  quietly cmake --preset "$@" 2>/dev/null || quietly cmake --fresh --preset "$@"
}

# Copies the tree as it is, with neither history nor builds.
copy_sources() {  # FOLDER
  tar --create --exclude-vcs --exclude=./build --file=- . | tar --extract --directory="$1"
}
