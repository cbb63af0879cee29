# Debian packages for the scripts beside this folder. To be sourced.

# update_package_lists COMMAND...
#
# Waits a little between the tries, since a mirror may be busy for a moment. The command is apt-get
# with what stands before and after it.
update_package_lists() {
  local try
  for try in 1 2 3 4 5; do
    if "$@" -o Acquire::http::Timeout=20 -o Acquire::Retries=2 update -qq; then
      return 0
    fi
    echo "The package lists did not answer (try $try)." >&2
    sleep $((try * 3))
  done
  return 1
}

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# ensure_packages PACKAGE...
#
# Installs those that are missing, and says so. With nothing missing it neither asks the network nor
# prints anything. "a|b" is satisfied by either, and installs a.
ensure_packages() {
  local wanted alternative missing=() as_root=()
  for wanted in "$@"; do
    for alternative in ${wanted//|/ }; do
      is_installed "$alternative" && continue 2
    done
    missing+=("${wanted%%|*}")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  as_root+=(env DEBIAN_FRONTEND=noninteractive)
  echo "Installing Debian packages: ${missing[*]}"
  update_package_lists "${as_root[@]}" apt-get
  "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# What the library and the programs on top of it are built with.
BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libglib2.0-dev libarchive-dev zlib1g-dev libssl-dev)

# What the tests are made of, and what they run.
TEST_PACKAGES=(libgtest-dev libgmock-dev "7zip|p7zip-full" python3 python3-cbor2 locales trash-cli
  shared-mime-info openssl coreutils git util-linux strace mount e2fsprogs gzip)
