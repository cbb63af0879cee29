# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# The tests for other processors, with Debian's cross compilers and QEMU. Source this after
# script.sh and foreign_root.sh.

# The names of an architecture: Debian's, the compiler's and QEMU's.
# shellcheck disable=SC2034
CROSS_PROCESSORS=(
  "arm64 aarch64-linux-gnu aarch64"
  "armhf arm-linux-gnueabihf arm"
  "ppc64el powerpc64le-linux-gnu ppc64le"
  "s390x s390x-linux-gnu s390x"
)

registered=()

# Makes the kernel run a processor's programs with QEMU, until the script ends. Only root can do
# this; without it, tests that start programs fail.
register_emulator() {  # NAME
  local formats=/proc/sys/fs/binfmt_misc
  [ "$(id -u)" = 0 ] && [ ! -e "$formats/qemu-$1" ] || return 0
  [ -e "$formats/register" ] || mount -t binfmt_misc binfmt_misc "$formats" 2>/dev/null || return 0
  cat "/usr/lib/binfmt.d/qemu-$1.conf" >"$formats/register" && registered+=("$formats/qemu-$1")
}

unregister_emulators() {
  local format
  for format in "${registered[@]}"; do
    echo -1 >"$format"
  done
}

ensure_cross_roots() {
  local processor
  for processor in "${CROSS_PROCESSORS[@]%% *}"; do
    ensure_foreign_root "$processor" "build/cross/$processor-root"
  done
}

# Compiles each source of the library, without output files: Debian 12 has a compiler for this
# processor, and no libraries to link. GLib's headers are the same as on other 64-bit processors.
compile_for_riscv64() {
  find src -name '*.cpp' -print0 |
    xargs -0 -P "$(nproc)" -n 1 riscv64-linux-gnu-g++ -std=c++20 -O2 -S -o /dev/null -fPIC -Wall -Wextra \
      -Wpedantic -Wconversion -Wsign-conversion -Werror -D_GNU_SOURCE -D_FILE_OFFSET_BITS=64 \
      -isystem build/cross/arm64-root/usr/include -isystem build/cross/arm64-root/usr/include/glib-2.0 \
      -isystem build/cross/arm64-root/usr/include/gio-unix-2.0 \
      -isystem build/cross/arm64-root/usr/lib/aarch64-linux-gnu/glib-2.0/include \
      -isystem build/cross/arm64-root/usr/include/aarch64-linux-gnu -Iinclude -Isrc
}

build_for() {  # ARCHITECTURE TRIPLET EMULATOR
  local tree=build/cross/$1
  quietly cmake -G Ninja -B "$tree" --toolchain cmake/OrvexKitCross.cmake \
    -DORVEXKIT_TRIPLET="$2" -DORVEXKIT_ROOT="$PWD/$tree-root" -DORVEXKIT_EMULATOR="qemu-$3-static" \
    -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" \
    -DORVEXKIT_WARNINGS_AS_ERRORS=ON -DORVEXKIT_BUILD_TOOLS=OFF -DORVEXKIT_BUILD_EXAMPLES=OFF \
    -DORVEXKIT_BUILD_FUZZERS=ON -DORVEXKIT_INSTALL=OFF -DORVEXKIT_GTEST_SOURCE=/usr/src/googletest \
    -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0
  quietly cmake --build "$tree" --parallel "$(nproc)"
}

# Under emulation, some tests take ten times as long.
test_for() {  # ARCHITECTURE TRIPLET EMULATOR RESULTS
  local tree=build/cross/$1
  register_emulator "$3"
  QEMU_LD_PREFIX=/usr/$2 GCONV_PATH=$PWD/$tree-root/usr/lib/$2/gconv \
    ctest --test-dir "$tree" --parallel "$(nproc)" --timeout 600 --no-tests=error --output-on-failure \
    --output-junit "$4"
}
