# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034
# The Debian packages that the scripts in the folder above need, by purpose. Source this.

# To build the library and its programs.
BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libglib2.0-dev libarchive-dev zlib1g-dev libssl-dev
  libseccomp-dev)

# For some examples, with a display for them; without these they are left out.
EXAMPLES_PACKAGES=(qt6-base-dev xvfb xauth)

# To build the tests, and the programs that they run.
TEST_PACKAGES=(libgtest-dev libgmock-dev "7zip|p7zip-full" python3 python3-cbor2 locales trash-cli
  shared-mime-info openssl coreutils git util-linux strace mount e2fsprogs gzip abigail-tools
  xorriso zip cpio gcab libarchive-tools binutils meson)

# What each stage of scripts/test and each other script needs in addition.
FORMAT_PACKAGES=(clang-format reuse)
DOCS_PACKAGES=(doxygen)
RELEASE_PACKAGES=()
ASAN_PACKAGES=(clang libclang-rt-14-dev llvm)
TSAN_PACKAGES=()
LIBCXX_PACKAGES=(clang-16 libc++-16-dev libc++abi-16-dev googletest)
CLANG19_PACKAGES=(clang-19 libbenchmark-dev libmsgpack-cxx-dev nlohmann-json3-dev)
MUSL_PACKAGES=(clang-16 libc++-16-dev musl-dev)
# Not g++-multilib, which conflicts with all cross compilers.
I386_PACKAGES=(clang lib32stdc++-12-dev libc6-dev-i386 googletest)
CROSS_PACKAGES=(googletest qemu-user-static g++-aarch64-linux-gnu g++-arm-linux-gnueabihf
  g++-powerpc64le-linux-gnu g++-riscv64-linux-gnu g++-s390x-linux-gnu)
TIDY_PACKAGES=(clang clang-tidy libbenchmark-dev libmsgpack-cxx-dev nlohmann-json3-dev)
FUZZ_PACKAGES=(clang libclang-rt-14-dev)
PACKAGE_PACKAGES=(build-essential debhelper dpkg-dev doxygen lintian diffutils)
DEMO_PACKAGES=(zip tar diffutils)
BENCH_PACKAGES=(libbenchmark-dev libmsgpack-cxx-dev nlohmann-json3-dev coreutils openssl python3)
TOOLS_PACKAGES=(python3 libarchive-tools tar zip unzip "7zip|p7zip-full" zstd xz-utils)
PLOT_PACKAGES=(python3-matplotlib)
SCREENSHOT_PACKAGES=(breeze-icon-theme libqt6svg6 fonts-noto-core)
SCRIPTS_PACKAGES=("${EXAMPLES_PACKAGES[@]}" "${SCREENSHOT_PACKAGES[@]}" "${BENCH_PACKAGES[@]}"
  "${PLOT_PACKAGES[@]}" "${TOOLS_PACKAGES[@]}")

# update_package_lists APT-GET [OPTION...]
#
# Retries after a pause, since a mirror may be briefly unavailable. If one list still fails,
# continues with the others.
update_package_lists() {
  local try
  for try in 1 2 3 4 5; do
    "$@" -qq -o Acquire::http::Timeout=20 -o Acquire::Retries=2 update --error-on=any && return
    echo "The package lists did not answer (try $try)." >&2
    sleep $((try * 3))
  done
}

# ensure_packages PURPOSE...
#
# Installs what is missing of the lists above, and says so; `build` is BUILD_PACKAGES. If nothing is
# missing, it uses no network and prints nothing. It fails where that would remove a package.
ensure_packages() {
  local purpose wanted=() as_root=()
  for purpose in "$@"; do
    local -n list=${purpose^^}_PACKAGES
    wanted+=("${list[@]}")
  done
  local satisfy=(apt-get satisfy -qq --no-install-recommends --no-remove -o Acquire::Retries=3
    -o APT::Get::Show-User-Simulation-Note=false "${wanted[@]}")
  # Prints what it would install; fails if it does not find that.
  local needed
  needed=$("${satisfy[@]}" --simulate 2>/dev/null) && [ -z "$needed" ] && return 0
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  as_root+=(env DEBIAN_FRONTEND=noninteractive)
  echo "Installing Debian packages for: $*"
  update_package_lists "${as_root[@]}" apt-get
  quietly "${as_root[@]}" "${satisfy[@]}" -y
}
