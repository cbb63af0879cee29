#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds the fuzz targets in the way of public fuzzing services: with the compiler in CXX, the flags in
# CXXFLAGS and the engine in LIB_FUZZING_ENGINE (a library or a flag), into the folder OUT. Each target
# NAME comes with its inputs, NAME_seed_corpus.zip, and with NAME.dict if it has a dictionary. Without
# an engine, the targets run the files that they are given.
#
#   CXX=clang++ CXXFLAGS=-fsanitize=fuzzer-no-link,address LIB_FUZZING_ENGINE=-fsanitize=fuzzer \
#     OUT=/tmp/fuzzers fuzz/build.sh [CMAKE OPTION...]
#
# The build is in WORK, else in build/fuzz. Machines that run the targets may lack GLib, so it is copied
# to OUT/lib.
set -euo pipefail
root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
tree=$(realpath -m "${WORK:-$root/build}")/fuzz
mkdir -p "${OUT:?is the folder to build into}"
OUT=$(realpath "$OUT")
cd "$root"

# DT_RPATH, unlike DT_RUNPATH, also holds for the libraries that GLib needs.
export LDFLAGS="${LDFLAGS:-} -Wl,--disable-new-dtags"
# shellcheck disable=SC2016
cmake --fresh -G Ninja -S . -B "$tree" -DCMAKE_BUILD_RPATH='$ORIGIN/lib' -DORVEXKIT_INSTALL=OFF \
  -DORVEXKIT_BUILD_TESTS=OFF -DORVEXKIT_BUILD_TOOLS=OFF -DORVEXKIT_BUILD_EXAMPLES=OFF \
  -DORVEXKIT_BUILD_FUZZERS=ON "$@"
cmake --build "$tree" --target fuzzers

mkdir -p "$OUT/lib"
for corpus in "$PWD"/fuzz/corpus/*/; do
  name=$(basename "$corpus")
  cp "$tree/fuzz/$name" "$OUT"
  (cd "$corpus" && cmake -E tar cf "$OUT/${name}_seed_corpus.zip" --format=zip -- *)
  [ ! -e "fuzz/$name.dict" ] || cp "fuzz/$name.dict" "$OUT"
  ldd "$tree/fuzz/$name" | awk '$1 ~ /^lib(glib|pcre)/ { print $3 }' | xargs -r -d '\n' cp -t "$OUT/lib"
done
