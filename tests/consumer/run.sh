#!/usr/bin/env bash
# Installs a built tree to a fresh prefix, then builds and runs a stranger's program against it in
# every way that the README names.
#
#   run.sh SOURCE BUILD
set -euo pipefail
source_dir=$1
build_dir=$2
here=$source_dir/tests/consumer

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export TMPDIR=$folder HOME=$folder
prefix=$folder/prefix

cmake --install "$build_dir" --prefix "$prefix" >"$folder/install.log"

echo "find_package"
cmake -G Ninja -S "$here/find_package" -B "$folder/find_package" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$folder/find_package" >/dev/null
"$folder/find_package/stranger"

echo "find_package, after the installed tree has moved"
mv "$prefix" "$folder/moved"
cmake -G Ninja -S "$here/find_package" -B "$folder/find_moved" -DCMAKE_PREFIX_PATH="$folder/moved" >/dev/null
cmake --build "$folder/find_moved" >/dev/null
"$folder/find_moved/stranger"

echo "pkg-config"
pc_file=$(find "$folder/moved" -name orvexkit.pc)
export PKG_CONFIG_PATH=${pc_file%/*}
read -ra flags < <(pkg-config --cflags --libs orvexkit)
g++ -std=c++20 -Wall -Wextra -Werror "$here/main.cpp" "${flags[@]}" -o "$folder/stranger"
LD_LIBRARY_PATH=$(pkg-config --variable=libdir orvexkit) "$folder/stranger"

build_from_sources() {  # WAY
  echo "$1"
  cmake -G Ninja -S "$here/$1" -B "$folder/$1" -DORVEXKIT_SOURCE="$source_dir" -DCMAKE_UNITY_BUILD=ON >/dev/null
  cmake --build "$folder/$1" >/dev/null
  "$folder/$1/stranger"
}
build_from_sources add_subdirectory
build_from_sources fetch_content
