# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# The sources against the headers of another C library. Source this at the top of the tree.

# Compiles each source of the library and of oxarchive, without output files, against Debian's
# headers of musl. Debian has no C++ library for musl, but the headers of libc++ know it. So this shows
# which names the C library lacks, and neither links nor runs anything.
compile_with_musl() {
  local folder header status=0
  folder=$(mktemp -d)
  mkdir "$folder/any" "$folder/this"
  # Only what does not come from the C library.
  for header in linux asm-generic openssl archive.h archive_entry.h zlib.h zconf.h seccomp.h \
    seccomp-syscalls.h; do
    ln -s "/usr/include/$header" "$folder/any"
  done
  ln -s /usr/include/x86_64-linux-gnu/{asm,openssl} "$folder/this"
  find src tools -name '*.cpp' -print0 |
    xargs -0 -P "$(nproc)" -n 4 clang++-16 --target=x86_64-linux-musl -std=c++20 -fsyntax-only \
      -Wall -Wextra -Werror -nostdlibinc -D_GNU_SOURCE -D_FILE_OFFSET_BITS=64 \
      -D_LIBCPP_HAS_MUSL_LIBC '-DOXARCHIVE_VERSION=""' -DZLIB_CONST \
      -isystem /usr/lib/llvm-16/include/c++/v1 -isystem /usr/include/x86_64-linux-musl \
      -isystem "$folder/any" -isystem "$folder/this" -isystem /usr/include/glib-2.0 \
      -isystem /usr/lib/x86_64-linux-gnu/glib-2.0/include -isystem /usr/include/gio-unix-2.0 \
      -Iinclude -Isrc -Itools/oxarchive || status=1
  rm -rf "$folder"
  return "$status"
}
