# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# The libraries of another processor, for cross builds. Source this after packages.sh.
#
# They are Debian's packages for that architecture, unpacked into a folder of the build tree.
# Neither the architecture nor the packages are added to the machine.

# Libraries to link and load, and headers to compile with.
FOREIGN_LIBRARIES=(libglib2.0-0 libssl3 libarchive13 zlib1g libseccomp2 libstdc++6)
FOREIGN_HEADERS=(libglib2.0-dev libssl-dev libarchive-dev zlib1g-dev libseccomp-dev)

# Prints where the machine's own release of Debian comes from: other sources may stand before it.
debian_mirror() {
  # shellcheck disable=SC2016
  apt-get indextargets --no-release-info --format '$(RELEASE) $(COMPONENT) $(SITE)' |
    awk -v release="$(. /etc/os-release && echo "$VERSION_CODENAME")" \
      '$1 == release && $2 == "main" && !count++ { print $3 }'
}

# ensure_foreign_root ARCHITECTURE FOLDER [SUITE]
#
# Unpacks the packages and those that they need into the folder, unless it already contains the same
# ones. They are of the given release of Debian, or else of the machine's.
ensure_foreign_root() {
  local architecture=$1 root=$2 suite=${3:-} work package apt headers
  local stamp="$architecture $suite ${FOREIGN_LIBRARIES[*]} ${FOREIGN_HEADERS[*]}"
  [ "$(cat "$root/.complete" 2>/dev/null)" = "$stamp" ] && return 0
  echo "Unpacking Debian's libraries for $architecture into $root"
  rm -rf "$root"
  mkdir -p "$root"
  work=$(mktemp -d)
  mkdir -p "$work/lists/partial" "$work/archives/partial"
  # Uses the machine's package sources, and neither reads nor writes anything else of its apt.
  apt=(apt-get -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
    -o "Dir::State::Lists=$work/lists" -o Dir::State::status=/dev/null -o "Dir::Cache=$work"
    -o Acquire::Languages=none -o Debug::NoLocking=1 -o APT::Sandbox::User= -o Acquire::Retries=3)
  if [ -n "$suite" ]; then
    echo "deb $(debian_mirror) $suite main" >"$work/sources.list"
    apt+=(-o "Dir::Etc::SourceList=$work/sources.list" -o Dir::Etc::SourceParts=-)
  fi
  update_package_lists "${apt[@]}"
  "${apt[@]}" install -qq -y --download-only --no-install-recommends "${FOREIGN_LIBRARIES[@]}"
  # The compiler brings the headers of the C library and of the kernel.
  mapfile -t headers < <("${apt[@]}" install --simulate --no-install-recommends "${FOREIGN_HEADERS[@]}" |
    awk '$1 == "Inst" && $2 ~ /-dev$/ && $2 !~ /libc/ { print $2 }')
  (cd "$work/archives" && "${apt[@]}" download -qq "${headers[@]}")
  # Programs for i386 run with the C library that the compiler brings.
  [ "$architecture" != i386 ] || rm -f "$work"/archives/{libc6,libgcc-s1,libstdc++6,gcc-*}_*.deb
  for package in "$work"/archives/*.deb; do
    dpkg-deb --extract "$package" "$root"
  done
  rm -rf "$work"
  # Relative, since pkg-config accepts no sysroot with a space.
  # shellcheck disable=SC2016
  sed -i 's|^prefix=/usr$|prefix=${pcfiledir}/../../..|' "$root"/usr/lib/*/pkgconfig/*.pc
  echo "$stamp" >"$root/.complete"
}
