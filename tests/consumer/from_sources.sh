#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds a user's project that includes the library's sources, shared and static. Then builds one with
# the static library that the former has installed.
#
#   from_sources.sh SOURCE
set -euo pipefail
source_dir=$1
# shellcheck source=tests/consumer/strangers.sh
source "$source_dir/tests/consumer/strangers.sh"

# All sources at once, which takes the least time.
sources=(-DORVEXKIT_SOURCE="$source_dir" -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0)

# The installed program needs only the component Runtime, and nothing from the build folder.
build add_subdirectory add_subdirectory "${sources[@]}"
cmake --install "$folder/add_subdirectory" --prefix "$folder/hosts" --component Runtime >/dev/null
cmake --install "$folder/add_subdirectory" --prefix "$folder/both" --component Development >/dev/null
rm -rf "$folder/add_subdirectory"
"$folder/hosts/bin/stranger"
if [ -e "$folder/hosts/include" ] || [ -n "$(find "$folder/hosts" -name '*.pc' -o -name libOrvexKit.so)" ]; then
  echo "the component Runtime has files for developers" >&2
  exit 1
fi

echo "add_subdirectory, with everything that it can build"
cmake -G Ninja -S "$here/add_subdirectory" -B "$folder/everything" "${sources[@]}" \
  -DORVEXKIT_BUILD_{TOOLS,EXAMPLES,TESTS,BENCHMARKS,FUZZERS}=ON \
  -DCMAKE_INSTALL_LIBDIR=/opt/orvexkit/lib >/dev/null
grep -qF 'RPATH "/opt/orvexkit/lib"' "$folder/everything/OrvexKit/tools/oxarchive/cmake_install.cmake"

# Empty is static, too.
build fetch_content fetch_content "${sources[@]}" -DBUILD_SHARED_LIBS=
cmake --install "$folder/fetch_content" --prefix "$folder/static" --component Development >/dev/null
"$folder/fetch_content/stranger"

build "find_package, static" find_package -DCMAKE_PREFIX_PATH="$folder/static"
"$folder/find_package, static/stranger"

echo "pkg-config, static beside shared"
pc_file=$(find "$folder/both" -name orvexkit.pc)
find "$folder/static" -name libOrvexKit.a -exec cp {} "${pc_file%/pkgconfig/*}" \;
read -ra flags < <(PKG_CONFIG_PATH=${pc_file%/*} pkg-config --static --cflags --libs orvexkit |
  sed 's/-lOrvexKit/-l:libOrvexKit.a/')
g++ -std=c++20 "$here/main.cpp" "${flags[@]}" -o "$folder/stranger"
"$folder/stranger"

# Some distributions give the folders as absolute paths.
absolute=$folder/absolute
build fetch_content fetch_content -DCMAKE_INSTALL_PREFIX="$absolute" \
  -DCMAKE_INSTALL_LIBDIR="$absolute/lib" -DCMAKE_INSTALL_INCLUDEDIR="$absolute/headers"
cmake --install "$folder/fetch_content" --component Development >/dev/null
rm -rf "$folder/fetch_content"
build "find_package, absolute" find_package -DCMAKE_PREFIX_PATH="$absolute"

for prefix in "$folder/static" "$absolute"; do
  echo "pkg-config, static, in $prefix"
  with_pkg_config "$prefix" "$folder/stranger" -std=c++20
  "$folder/stranger"
done

# Needs libarchive too. The program is the one that the page shows.
if pkg-config --exists libarchive; then
  pc_file=$(find "$folder/static" -name orvexkit.pc)
  export PKG_CONFIG_PATH=${pc_file%/*}
  echo "the command of docs/tour.md"
  cp -r "$source_dir/examples/tour" "$folder"
  command=$(grep '^c++ ' "$source_dir/docs/tour.md")
  (cd "$folder" && bash -c "$command")
  "$folder/tour/tour" 2>"$folder/errors" || grep -x 'usage: tour VOLUME FOLDER' "$folder/errors"
fi
