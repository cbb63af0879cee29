# shellcheck shell=bash
# The 32-bit libraries that the i386 preset is built with. To be sourced, after packages.sh.
#
# They are Debian's i386 packages, unpacked into a folder of the build tree. The machine itself gets
# neither the architecture nor any of the packages.

# What is linked and loaded, with all that it depends on, and what is compiled with.
I386_LIBRARIES=(libglib2.0-0 libssl3 libarchive13 zlib1g libseccomp2)
I386_HEADERS=(libglib2.0-dev libssl-dev libarchive-dev zlib1g-dev libpcre2-dev
  libffi-dev libmount-dev libblkid-dev libselinux1-dev libsepol-dev libseccomp-dev)

# ensure_i386_root FOLDER
#
# Fills the folder, unless it has been filled with the same packages before.
ensure_i386_root() {
  local root=$1 work package apt
  local stamp="${I386_LIBRARIES[*]} ${I386_HEADERS[*]}"
  [ "$(cat "$root/.complete" 2>/dev/null)" = "$stamp" ] && return 0
  echo "Unpacking Debian's i386 libraries into $root"
  rm -rf "$root"
  mkdir -p "$root"
  work=$(mktemp -d)
  mkdir -p "$work/lists/partial" "$work/archives/partial"
  # From the machine's own package sources, and nothing else of the machine's is read or written.
  apt=(apt-get -o APT::Architecture=i386 -o APT::Architectures=i386 -o "Dir::State::Lists=$work/lists"
    -o Dir::State::status=/dev/null -o "Dir::Cache=$work" -o Acquire::Languages=none
    -o Debug::NoLocking=1 -o APT::Sandbox::User= -o Acquire::Retries=3)
  update_package_lists "${apt[@]}"
  "${apt[@]}" install -qq -y --download-only --no-install-recommends "${I386_LIBRARIES[@]}"
  (cd "$work/archives" && "${apt[@]}" download -qq "${I386_HEADERS[@]}")
  # These come with the 32-bit compiler.
  rm -f "$work"/archives/{libc6,libgcc-s1,libstdc++6,gcc-*}_*.deb
  for package in "$work"/archives/*.deb; do
    dpkg-deb --extract "$package" "$root"
  done
  rm -rf "$work"
  # Relative, since no pkg-config takes a path with a space for a sysroot.
  # shellcheck disable=SC2016
  sed -i 's|^prefix=/usr$|prefix=${pcfiledir}/../../..|' "$root"/usr/lib/i386-linux-gnu/pkgconfig/*.pc
  echo "$stamp" >"$root/.complete"
}
