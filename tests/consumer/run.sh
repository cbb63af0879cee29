#!/usr/bin/env bash
# Installs a built tree to a fresh prefix, then builds and runs a stranger's program against it in
# every way that the README names, and against the sources as a part of the stranger's project.
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

# Configures and builds one of the strangers' projects in a folder of its name.
build() {  # NAME PROJECT [OPTION...]
  echo "$1"
  cmake -G Ninja -S "$here/$2" -B "$folder/$1" "${@:3}" >/dev/null
  cmake --build "$folder/$1" >/dev/null
}

with_pkg_config() {  # PREFIX PROGRAM [FLAG...]
  local flags pc_file
  pc_file=$(find "$1" -name orvexkit.pc)
  read -ra flags < <(PKG_CONFIG_PATH=${pc_file%/*} pkg-config --cflags --libs orvexkit)
  g++ -Wall -Wextra -Werror "${@:3}" "$here/main.cpp" "${flags[@]}" -o "$2"
}

cmake --install "$build_dir" --prefix "$prefix" >"$folder/install.log"

build find_package find_package -DCMAKE_PREFIX_PATH="$prefix"
"$folder/find_package/stranger"

mv "$prefix" "$folder/moved"
prefix=$folder/moved
build "find_package, after the installed tree has moved" find_package -DCMAKE_PREFIX_PATH="$prefix"
"$folder/find_package, after the installed tree has moved/stranger"

library=$(find "$prefix" -name libOrvexKit.so)
export LD_LIBRARY_PATH=${library%/*}

echo "pkg-config"
with_pkg_config "$prefix" "$folder/stranger" -std=c++20
"$folder/stranger"

# Every header serves such a host; an exception of the library's then ends its process.
echo "pkg-config, by a host without exceptions and without run-time types"
with_pkg_config "$prefix" "$folder/stranger" -std=c++20 -fno-exceptions -fno-rtti
"$folder/stranger"

echo "pkg-config, in C++17"
if with_pkg_config "$prefix" "$folder/stranger" -std=c++17 2>"$folder/errors"; then
  echo "it was compiled" >&2
  exit 1
fi
grep -m 1 'error:' "$folder/errors" | grep -F 'OrvexKit needs C++20'

echo "Meson"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name orvexkit.pc)") \
  meson setup "$folder/meson" "$here/meson" >/dev/null
meson compile -C "$folder/meson" >/dev/null
"$folder/meson/stranger"
unset LD_LIBRARY_PATH

# The program needs nothing of the build any more, and a user's machine nothing but the runtime.
build add_subdirectory add_subdirectory -DORVEXKIT_SOURCE="$source_dir" -DCMAKE_UNITY_BUILD=ON
cmake --install "$folder/add_subdirectory" --prefix "$folder/hosts" --component Runtime >/dev/null
rm -rf "$folder/add_subdirectory"
"$folder/hosts/bin/stranger"
if [ -e "$folder/hosts/include" ] || [ -n "$(find "$folder/hosts" -name '*.pc' -o -name libOrvexKit.so)" ]; then
  echo "what is for developers came with the runtime" >&2
  exit 1
fi

build fetch_content fetch_content -DORVEXKIT_SOURCE="$source_dir" -DCMAKE_UNITY_BUILD=ON \
  -DBUILD_SHARED_LIBS=OFF
cmake --install "$folder/fetch_content" --prefix "$folder/static" --component Development >/dev/null
"$folder/fetch_content/stranger"

build "find_package, static" find_package -DCMAKE_PREFIX_PATH="$folder/static"
rm -rf "$folder/fetch_content"
"$folder/find_package, static/stranger"

echo "pkg-config, static"
with_pkg_config "$folder/static" "$folder/stranger" -std=c++20
"$folder/stranger"
