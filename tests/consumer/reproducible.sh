#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds and installs the library and oxarchive twice, with different folders, time zones, homes,
# umasks and numbers of jobs. The installed files must be identical.
#
#   reproducible.sh SOURCE
set -euo pipefail
source_dir=$1

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

build_in() {  # TREE JOBS
  mkdir -p "$1"
  cp -R "$source_dir"/{CMakeLists.txt,cmake,include,src,tools} "$1"
  # Without optimisation and with all sources at once, which takes a third of the time and embeds the
  # same paths.
  cmake -G Ninja -S "$1" -B "$1/build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG \
    -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0 -DORVEXKIT_BUILD_TESTS=OFF \
    -DORVEXKIT_BUILD_EXAMPLES=OFF >/dev/null
  cmake --build "$1/build" --parallel "$2" >/dev/null
  DESTDIR=$1/installed cmake --install "$1/build" --prefix /usr >/dev/null
}

(
  umask 077
  export TZ=Asia/Tokyo HOME=$folder/nobody
  build_in "$folder/one" 1
)
(
  umask 022
  export TZ=America/New_York HOME=$folder
  build_in "$folder/another tree/in a longer path" 2
)
diff --recursive --no-dereference "$folder/one/installed" "$folder/another tree/in a longer path/installed"
