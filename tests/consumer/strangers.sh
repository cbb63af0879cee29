# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Builds the users' projects in this folder. To be sourced; `source_dir` is this repository.

here=$source_dir/tests/consumer
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export TMPDIR=$folder HOME=$folder

# Configures and builds a project in the folder NAME.
build() {  # NAME PROJECT [OPTION...]
  echo "$1"
  cmake -G Ninja -S "$here/$2" -B "$folder/$1" "${@:3}" >/dev/null
  cmake --build "$folder/$1" >/dev/null
}

# Compiles with COMPILER, or else with GCC.
with_pkg_config() {  # PREFIX PROGRAM [FLAG...]
  local flags pc_file
  pc_file=$(find "$1" -name orvexkit.pc)
  read -ra flags < <(PKG_CONFIG_PATH=${pc_file%/*} pkg-config --cflags --libs orvexkit)
  "${COMPILER:-g++}" -Wall -Wextra -Werror "${@:3}" "$here/main.cpp" "${flags[@]}" -o "$2"
}
