#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Installs a built tree to a new prefix, then builds and runs a user's program with it in every way
# that the README names.
#
#   run.sh SOURCE BUILD
#
# Exits with 77 where Meson is missing.
set -euo pipefail
source_dir=$1
build_dir=$2
# shellcheck source=tests/consumer/strangers.sh
source "$source_dir/tests/consumer/strangers.sh"
prefix=$folder/prefix

cmake --install "$build_dir" --prefix "$prefix" >"$folder/install.log"

# Nothing installed may depend on where it was installed to.
mv "$prefix" "$folder/moved"
prefix=$folder/moved

build find_package find_package -DCMAKE_PREFIX_PATH="$prefix"
"$folder/find_package/stranger"

library=$(find "$prefix" -name libOrvexKit.so)
export LD_LIBRARY_PATH=${library%/*}
export PKG_CONFIG_PATH=${library%/*}/pkgconfig

echo "pkg-config"
with_pkg_config "$prefix" "$folder/stranger" -std=c++20
"$folder/stranger"

mapfile -t compilers < <(command -v g++ clang++)
for COMPILER in "${compilers[@]}"; do
  # All headers compile for such a program. An exception of the library would end it.
  echo "$COMPILER, without exceptions and without RTTI"
  with_pkg_config "$prefix" "$folder/stranger" -std=c++20 -fno-exceptions -fno-rtti
  "$folder/stranger"

  echo "$COMPILER, in C++17"
  for header in "$source_dir"/include/OrvexKit/{,platform/}*.h; do
    if "$COMPILER" -std=c++17 -fsyntax-only -I"$source_dir/include" -x c++ "$header" 2>"$folder/errors"; then
      echo "$header was compiled" >&2
      exit 1
    fi
    if [ "$(grep -c 'error:' "$folder/errors")" != 1 ] ||
      ! grep -q 'error: .*OrvexKit needs C++20' "$folder/errors"; then
      cat "$folder/errors" >&2
      exit 1
    fi
  done
done

if ! command -v meson >/dev/null; then
  echo "All but Meson was tried: it is missing (Debian package meson)"
  exit 77
fi
echo "Meson"
meson setup "$folder/meson" "$here/meson" >/dev/null
meson compile -C "$folder/meson" >/dev/null
"$folder/meson/stranger"
