# shellcheck shell=bash
# The libraries of another processor, for what is built for it here. To be sourced, after packages.sh.
#
# They are Debian's packages for that architecture, unpacked into a folder of the build tree. The
# machine itself gets neither the architecture nor any of the packages.

# What is linked and loaded, with all that it depends on, and what is compiled with.
FOREIGN_LIBRARIES=(libglib2.0-0 libssl3 libarchive13 zlib1g libseccomp2)
FOREIGN_HEADERS=(libglib2.0-dev libssl-dev libarchive-dev zlib1g-dev libpcre2-dev
  libffi-dev libmount-dev libblkid-dev libselinux1-dev libsepol-dev libseccomp-dev)

# ensure_foreign_root ARCHITECTURE FOLDER
#
# Fills the folder, unless it has been filled with the same packages before.
ensure_foreign_root() {
  local architecture=$1 root=$2 work package apt
  local stamp="$architecture ${FOREIGN_LIBRARIES[*]} ${FOREIGN_HEADERS[*]}"
  [ "$(cat "$root/.complete" 2>/dev/null)" = "$stamp" ] && return 0
  echo "Unpacking Debian's libraries for $architecture into $root"
  rm -rf "$root"
  mkdir -p "$root"
  work=$(mktemp -d)
  mkdir -p "$work/lists/partial" "$work/archives/partial"
  # From the machine's own package sources, and nothing else of the machine's is read or written.
  apt=(apt-get -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
    -o "Dir::State::Lists=$work/lists" -o Dir::State::status=/dev/null -o "Dir::Cache=$work"
    -o Acquire::Languages=none -o Debug::NoLocking=1 -o APT::Sandbox::User= -o Acquire::Retries=3)
  update_package_lists "${apt[@]}"
  "${apt[@]}" install -qq -y --download-only --no-install-recommends "${FOREIGN_LIBRARIES[@]}"
  (cd "$work/archives" && "${apt[@]}" download -qq "${FOREIGN_HEADERS[@]}")
  # These come with the compiler, but for the C library's encodings.
  dpkg-deb --fsys-tarfile "$work"/archives/libc6_*.deb |
    tar --extract --directory="$root" --wildcards './usr/lib/*/gconv' 2>/dev/null || true
  rm -f "$work"/archives/{libc6,libgcc-s1,libstdc++6,gcc-*}_*.deb
  for package in "$work"/archives/*.deb; do
    dpkg-deb --extract "$package" "$root"
  done
  rm -rf "$work"
  # Relative, since no pkg-config takes a path with a space for a sysroot.
  # shellcheck disable=SC2016
  sed -i 's|^prefix=/usr$|prefix=${pcfiledir}/../../..|' "$root"/usr/lib/*/pkgconfig/*.pc
  echo "$stamp" >"$root/.complete"
}
