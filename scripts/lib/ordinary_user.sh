# To be sourced, at the top of the tree.

# run_as_ordinary_user BUILD_FOLDER [FILTER]
#
# Runs the tests as "nobody" when this is root: root may do what permissions forbid, so what depends
# on them is seen by an ordinary user alone. FILTER as GoogleTest takes it.
run_as_ordinary_user() {
  [ "$(id -u)" = 0 ] || return 0
  local as_nobody=(setpriv --reuid=nobody --regid=nogroup --clear-groups env HOME=/nonexistent)
  local folder status=0
  if ! "${as_nobody[@]}" test -x "$1/tests" -a -r "$1/tests"; then
    echo "This clone cannot be entered by an ordinary user: its tests are not run as one."
    return 0
  fi
  echo "Once more as an ordinary user:"
  folder=$(mktemp -d)
  chmod 0777 "$folder"
  find "$PWD/$1/tests" -name '*_test' -type f -perm -u+x ! -name '*race*' |
    (cd "$folder" && xargs -d '\n' -P "$(nproc)" -n 1 "${as_nobody[@]}" "TMPDIR=$folder" sh -c '
      if ! output=$("$2" --gtest_brief=1 "--gtest_filter=$1" 2>&1); then
        printf "%s failed:\n%s\n" "$2" "$output"
        exit 1
      fi' sh "${2:-*}") || status=1
  rmdir "$folder"
  return "$status"
}
