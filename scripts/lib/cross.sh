# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# The tests for other processors, with Debian's cross compilers and QEMU. Source this after
# script.sh and foreign_root.sh.

# The names of an architecture, Debian's, the compiler's and QEMU's; and the release of Debian that
# first has libraries for it, if that is not the machine's.
# shellcheck disable=SC2034
CROSS_PROCESSORS=(
  "arm64 aarch64-linux-gnu aarch64"
  "armhf arm-linux-gnueabihf arm"
  "ppc64el powerpc64le-linux-gnu ppc64le"
  "riscv64 riscv64-linux-gnu riscv64 trixie"
  "s390x s390x-linux-gnu s390x"
)

ensure_cross_roots() {
  local processor words
  for processor in "${CROSS_PROCESSORS[@]}"; do
    read -ra words <<<"$processor"
    ensure_foreign_root "${words[0]}" "build/cross/${words[0]}-root" "${words[3]:-}"
  done
}

build_for() {  # ARCHITECTURE TRIPLET EMULATOR
  local tree=build/cross/$1
  quietly cmake --fresh -G Ninja -B "$tree" --toolchain cmake/OrvexKitCross.cmake \
    -DORVEXKIT_TRIPLET="$2" -DORVEXKIT_ROOT="$PWD/$tree-root" \
    -DORVEXKIT_EMULATOR="$(command -v "qemu-$3-static")" -DCMAKE_BUILD_TYPE=Release \
    "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" \
    -DORVEXKIT_WARNINGS_AS_ERRORS=ON -DORVEXKIT_BUILD_TOOLS=OFF -DORVEXKIT_BUILD_EXAMPLES=OFF \
    -DORVEXKIT_BUILD_FUZZERS=ON -DORVEXKIT_INSTALL=OFF -DORVEXKIT_GTEST_SOURCE=/usr/src/googletest \
    -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0
  quietly cmake --build "$tree" --parallel "$(nproc)"
}

# Under emulation, some tests take ten times as long. QEMU may stop for ever in a forked child of a
# process with threads, so what takes too long is tried once more.
test_for() {  # RESULTS ARCHITECTURE TRIPLET
  local tree=build/cross/$2
  GCONV_PATH=$PWD/$tree-root/usr/lib/$3/gconv \
    ctest --test-dir "$tree" --parallel $(($(nproc) + 1)) --timeout 600 --repeat after-timeout:2 \
    --no-tests=error --output-on-failure --output-junit "$1"
}
