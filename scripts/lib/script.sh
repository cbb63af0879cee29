# What the scripts beside this folder have in common. To be sourced, at the top of the tree.

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
