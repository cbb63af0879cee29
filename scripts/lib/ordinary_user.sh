# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Source this at the top of the tree.

# Prints the topmost ancestor of the tree that only its owner can enter, if there is one.
closed_folder() {
  local folder='' name
  while IFS= read -r -d / name; do
    folder+=${name:+/$name}
    setpriv --reuid=nobody --regid=nogroup --clear-groups test -x "${folder:-/}" || { echo "$folder"; return; }
  done <<<"$PWD/"
}

# as_ordinary_user FOLDER COMMAND...
#
# Runs a command as "nobody", who can write to the folder and can reach the tree: if the tree is in
# a home that only its owner can enter, the command runs in a mount namespace, where an empty folder
# with only the tree replaces that home.
as_ordinary_user() {
  local folder=$1 closed
  shift
  set -- setpriv --reuid=nobody --regid=nogroup --clear-groups env HOME=/nonexistent "TMPDIR=$folder" "$@"
  closed=$(closed_folder)
  if [ -z "$closed" ]; then
    "$@"
    return
  fi
  mkdir "$folder/tree"
  # shellcheck disable=SC2016
  unshare --mount bash -euc '
    tree=$1 closed=$2 way=$3
    umask 022
    mount --bind "$tree" "$way"
    mount -t tmpfs -o mode=0755 tmpfs "$closed"
    mkdir -p "$tree"
    mount --move "$way" "$tree"
    cd "$tree"
    exec "${@:4}"' bash "$PWD" "$closed" "$folder/tree" "$@" || { rmdir "$folder/tree"; return 1; }
  rmdir "$folder/tree"
}

# run_tests_as_ordinary_user PRESET RESULTS [CTEST OPTION...]
#
# Does nothing unless run by root. Permissions do not restrict root, so tests that depend on them
# only run as an ordinary user. RESULTS is a file for the results in JUnit's format.
run_tests_as_ordinary_user() {
  [ "$(id -u)" = 0 ] || return 0
  local folder status=0
  # Not in TMPDIR, which may be accessible to root only.
  folder=$(mktemp -d /tmp/orvexkit-tests.XXXXXX)
  chmod 0777 "$folder"
  # CTest writes its log where it starts, and the build folder belongs to root.
  echo "subdirs([[$PWD/build/$1]])" >"$folder/CTestTestfile.cmake"
  if as_ordinary_user "$folder" test -r "$PWD/build/$1/CTestTestfile.cmake" 2>/dev/null; then
    as_ordinary_user "$folder" ctest --test-dir "$folder" --output-on-failure --no-tests=error \
      --parallel $(($(nproc) + 1)) --label-exclude '^any-user' --output-junit "$folder/results.xml" \
      "${@:3}" || status=1
    cp "$folder/results.xml" "$2"
  else
    echo "An ordinary user cannot read this clone, and nothing can be mounted here to change that:"
    echo "the tests are not run as one."
  fi
  # It was the tree's mount point in the other mount namespace. If it were still mounted, removing
  # it could remove parts of the tree.
  if [ -e "$folder/tree" ]; then
    echo "$folder is left as it is: the tree may be mounted in it" >&2
    return 1
  fi
  rm -rf "$folder"
  return "$status"
}
