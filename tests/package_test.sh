#!/usr/bin/env bash
# Installs Debian packages in a bare system, uses, upgrades and removes them, and builds hosts on them.
# usage: package_test.sh DIRECTORY_OF_PACKAGES BARE_SYSTEM
# The bare system is made by debootstrap where it is not there, and copied. Ends with status 77 where it
# cannot be had.
set -euo pipefail

packages=$(realpath "${1:?usage: package_test.sh DIRECTORY_OF_PACKAGES BARE_SYSTEM}")
bare=${2:?usage: package_test.sh DIRECTORY_OF_PACKAGES BARE_SYSTEM}

skip() {
  echo "package_test is skipped: $*" >&2
  exit 77
}

fail() {
  echo "package_test: $*" >&2
  exit 1
}

[ "$(id -u)" -eq 0 ] || skip 'only root can change its root directory'
if [ ! -f "$bare/.is-whole" ]; then
  command -v debootstrap >/dev/null || skip 'debootstrap is not installed'
  rm -rf "$bare"
  # With what the packages depend on, and what hosts are built with.
  debootstrap --variant=minbase --include=cmake,g++,libexpat1,libmd0,make,pkg-config bookworm \
    "$bare" >&2 || skip 'debootstrap cannot make a bare system'
  touch "$bare/.is-whole"
fi
system=$(mktemp -d)
trap 'umount -l "$system/proc" 2>/dev/null; rm -rf "$system"' EXIT
cp -a "$bare/." "$system"
mount -t proc proc "$system/proc"
mkdir "$system/packages"
cp "$packages"/*.deb "$system/packages"

inside() {
  chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@"
}

# must WHAT COMMAND...: inside; its output is shown only when it fails.
must() {
  local what=$1
  shift
  inside "$@" >"$system/log" 2>&1 || { cat "$system/log" >&2; fail "failed: $what"; }
}

# Everything that is there, but for what changes with any package.
list_files() {
  (cd "$system" && find . -xdev \( -path ./proc -o -path ./packages -o -path ./var/lib/dpkg -o \
    -path ./var/cache -o -path ./var/lib/apt -o -path ./var/log -o -path ./log -o -path ./tmp \) \
    -prune -o -print | grep -v '^./var/lib/systemd/deb-systemd' | sort)
}

# The same package by an earlier version's number.
make_earlier() {
  local name=$1 deb
  deb=$(echo "$packages/${name}_"[0-9]*.deb)
  dpkg-deb -R "$deb" "$system/earlier"
  sed -i 's/^Version: .*/Version: 2.7.9-1/; /^\(Breaks\|Replaces\):/d' "$system/earlier/DEBIAN/control"
  touch "$system/earlier/usr/share/doc/$name/of-the-earlier"
  dpkg-deb --root-owner-group -b "$system/earlier" "$system/packages/earlier-$name.deb" >/dev/null
  rm -rf "$system/earlier"
}

before=$(list_files)
make_earlier invscan
make_earlier libinvscan2

must 'dpkg -i of an earlier version' \
  dpkg -i /packages/earlier-invscan.deb /packages/earlier-libinvscan2.deb
must 'dpkg -i, an upgrade' sh -c \
  'dpkg -i $(ls /packages/invscan_*.deb /packages/libinvscan*.deb | grep -v dbgsym)'
[ ! -e "$system/usr/share/doc/invscan/of-the-earlier" ] || fail 'the upgrade left an earlier file'

# Not all may be read in a container, which status 3 tells.
must 'invscan' sh -c 'invscan --format json --output /scan.json || [ $? -eq 3 ]'
grep -q '"Memory": {"id"' "$system/scan.json" || fail 'invscan found no memory'
must 'a helper' invscan helper cpuid
for page in man1/invscan.1 man3/libinvscan.3 man5/invscan.conf.5 man5/OrvHWConfig.xml.5; do
  inside test -s "/usr/share/man/$page.gz" || inside grep -q 'path-exclude.*/man' -r /etc/dpkg ||
    fail "there is no manual page $page"
done
# shellcheck disable=SC2016
[ "$(inside bash -c '. /usr/share/bash-completion/completions/invscan; compopt() { :; }
  COMP_WORDS=(invscan describe Mem) COMP_CWORD=2; _invscan; echo "${COMPREPLY[@]}"')" = \
  'Memory Memory Modules' ] || fail 'bash does not complete groups'
[ -z "$(find "$system/etc/systemd" -name '*invscan*')" ] || fail 'a unit is enabled'

cat >"$system/host.cpp" <<'END'
#include <cstdio>
#include <invscan/invscan.h>

int main() {
  GroupFactory::getInstance()->initialise();
  for (const invscan::RowView& row : invscan::collect("Memory")) {
    std::printf("%lu\n", row["Page Size"].number().value_or(0));
  }
}
END
cat >"$system/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(host CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(invscan 2.8 REQUIRED)
add_executable(host host.cpp)
target_link_libraries(host PRIVATE invscan::invscan)
END
must 'a host by pkg-config' \
  sh -c 'g++ -std=c++20 /host.cpp $(pkg-config --cflags --libs invscan) -o /host && /host'
grep -qx 4096 "$system/log" || fail 'the host by pkg-config found no memory'
must 'a host by CMake' sh -c 'cmake -S / -B /build && cmake --build /build && /build/host'
tail -1 "$system/log" | grep -qx 4096 || fail 'the host by CMake found no memory'
rm -rf "$system"/{build,host,host.cpp,CMakeLists.txt,scan.json}

must 'removing' dpkg -r libinvscan-dev libinvscan2 invscan
must 'purging' dpkg -P libinvscan-dev libinvscan2 invscan
left=$(comm -13 <(echo "$before") <(list_files))
[ -z "$left" ] || fail "purging left $left"

echo 'installed, used, built on, upgraded and purged'
