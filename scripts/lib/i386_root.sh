# The 32-bit libraries that the i386 preset is built with. To be sourced, after packages.sh.
#
# They are Debian's i386 packages, unpacked into a folder of the build tree. The machine itself gets
# neither the architecture nor any of the packages.

# What is linked and loaded, with all that it depends on, and what is compiled with.
I386_LIBRARIES=(libglib2.0-0 libssl3 libarchive13 zlib1g)
I386_HEADERS=(libglib2.0-dev libssl-dev libarchive-dev zlib1g-dev libpcre2-dev
  libffi-dev libmount-dev libblkid-dev libselinux1-dev libsepol-dev)

# ensure_i386_root FOLDER
#
# Fills the folder, unless it has been filled with the same packages before.
ensure_i386_root() {
  local root=$1 work package name apt
  local stamp="bookworm ${I386_LIBRARIES[*]} ${I386_HEADERS[*]}"
  [ "$(cat "$root/.complete" 2>/dev/null)" = "$stamp" ] && return 0
  echo "Unpacking Debian's i386 libraries into $root"
  rm -rf "$root" "$root.work"
  mkdir -p "$root" "$root.work/lists/partial" "$root.work/cache/archives/partial"
  work=$(cd "$root.work" && pwd)
  echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] http://deb.debian.org/debian bookworm main" \
    >"$work/sources.list"
  # A package world of its own: nothing of the machine's is read or written.
  apt=(apt-get -o APT::Architecture=i386 -o APT::Architectures=i386 -o "Dir::State::Lists=$work/lists"
    -o Dir::State::status=/dev/null -o "Dir::Cache=$work/cache" -o "Dir::Etc::SourceList=$work/sources.list"
    -o Dir::Etc::SourceParts=/dev/null -o Acquire::Languages=none -o Debug::NoLocking=1)
  [ "$(id -u)" != 0 ] || apt+=(-o APT::Sandbox::User=root)
  update_package_lists "${apt[@]}"
  "${apt[@]}" install -qq -y --download-only --no-install-recommends "${I386_LIBRARIES[@]}"
  (cd "$work/cache/archives" && "${apt[@]}" download -qq "${I386_HEADERS[@]}")
  for package in "$work"/cache/archives/*.deb; do
    name=$(basename "$package")
    case $name in
      # These come with the 32-bit compiler.
      libc6_* | libgcc-s1_* | libstdc++6_* | gcc-*) ;;
      *) dpkg-deb --extract "$package" "$root" ;;
    esac
  done
  rm -rf "$work"
  echo "$stamp" >"$root/.complete"
}
