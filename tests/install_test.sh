#!/usr/bin/env bash
# Installs a build, moves it elsewhere and proves that hosts can be built on it and that it runs.
# usage: install_test.sh BUILD_DIR
set -euo pipefail

build=$(realpath "${1:?usage: install_test.sh BUILD_DIR}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/elsewhere
export CXX=${CXX:-g++} CXXFLAGS='-std=c++20 -Wall -Wextra -Wpedantic -Werror'

fail() {
  echo "install_test: $*" >&2
  exit 1
}

# must WHAT COMMAND...: its output is shown only when it fails.
must() {
  local what=$1
  shift
  "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "failed: $what"; }
}

compile() {
  # shellcheck disable=SC2086
  "$CXX" $CXXFLAGS "$@"
}

# check_host WHAT PROGRAM: the library answers the host and does not call its functions.
check_host() {
  # Without this they could not have been called in the first place.
  nm -D --defined-only "$2" | grep -q ' T getGroupNameFromId$' ||
    fail "the host's own functions are not visible, so this proves nothing: $1"
  must "running a host: $1" "$2"
  [ "$(cat "$work/log")" = 'a \"quoted\" text Memory 1 host shared 4096 null Memories: the catalogue'\
' has no such group' ] ||
    fail "a host printed \"$(cat "$work/log")\": $1"
}

must 'cmake --install' cmake --install "$build" --prefix "$work/prefix"
mv "$work/prefix" "$prefix"
pkgconfig=$(dirname "$(find "$prefix" -name invscan.pc)")
libdir=$(dirname "$pkgconfig")
export PKG_CONFIG_PATH=$pkgconfig
read -ra flags < <(pkg-config --cflags --libs invscan) || fail 'pkg-config does not find invscan'
flags+=("-Wl,-rpath,$libdir")

# A host with functions and variables of its own under names that the library uses inside.
mkdir "$work/host"
cat >"$work/host/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(host CXX)
find_package(invscan 2.0 REQUIRED)
add_executable(host main.cpp names.cpp)
target_link_libraries(host PRIVATE invscan::invscan)
END
cat >"$work/host/names.cpp" <<'END'
#include <cstdlib>

#include <invscan/base/CcLogWrapper.h>
#include <invscan/invscan.h>

int table = 1;
int machine = 2;
void rtrim(char*) { std::abort(); }
char* itoa(long) { std::abort(); }
CcLogHandle* getCcLogHw() { std::abort(); }
wchar_t* dmtf_escape(wchar_t*) { std::abort(); }
const char* getKelAttribTypeAsString(unsigned long) { std::abort(); }
extern "C" {
const char* getGroupNameFromId(unsigned long) { return "host"; }
unsigned long getGroupIdFromName(const String&) { return 0; }
void TimeToKelDateTime(long, char*) { std::abort(); }
}
END
cat >"$work/host/main.cpp" <<'END'
#include <cstdio>
#include <memory>

#include <invscan/invscan.h>

int main() {
  GroupFactory* factory = GroupFactory::getInstance();
  factory->initialise();
  const std::unique_ptr<KelGroup> group(factory->getGroup("Memory"));
  const std::unique_ptr<KelTable> table(group->getTable());
  const KelTableAttrib text(1, "a \"quoted\" text");
  const KelTableAttrib date(2, 1700000000L);
  PrintKelAttribValueToFile(stdout, text.getAttribPtr());
  // The same table, also where the linker has copied the catalogue into the host.
  const bool isShared = GROUPS_DEF[4].attribs == OPER_SYS_ATTRS_DEF &&
                        getGroupDefinitionFromId(4)->attribs == OPER_SYS_ATTRS_DEF &&
                        getGroupDefinitionFromId(4) == &GROUPS_DEF[4];
  std::printf(" %s %lu %s %s", table->getGroupName(), table->getRowCount(), getGroupNameFromId(3),
              isShared ? "shared" : "not shared");
  for (const invscan::RowView& row : invscan::collect("Memory")) {
    const auto pageSize = row["Page Size"].number();
    std::printf(" %lu %s", pageSize.value_or(0), row["Page Sise"] ? "known" : "null");
  }
  std::printf(" %s\n", invscan::collect("Memories").whyNone().c_str());
}
END
must 'configuring with find_package' \
  cmake -G Ninja -S "$work/host" -B "$work/host/build" "-DCMAKE_PREFIX_PATH=$prefix"
must 'building with find_package' cmake --build "$work/host/build"
check_host 'found with find_package' "$work/host/build/host"
for mode in '-fPIE -pie' '-fno-pic -no-pie'; do
  # shellcheck disable=SC2086
  must "building with pkg-config ($mode)" \
    compile $mode "$work/host/main.cpp" "$work/host/names.cpp" -o "$work/by-pkg-config" "${flags[@]}"
  check_host "found with pkg-config ($mode)" "$work/by-pkg-config"
done

# Every public header by itself.
while read -r header; do
  echo "#include <$header>" >"$work/alone.cpp"
  must "compiling $header alone" compile -fsyntax-only "$work/alone.cpp" "${flags[@]}"
done < <(cd "$prefix/include" && find . -name '*.h' -printf '%P\n')

# Nothing carries its debug information, which the build has and a component of its own installs.
must 'cmake --install --component debug' \
  cmake --install "$build" --prefix "$work/debug" --component debug
for file in "$prefix/bin/invscan" "$prefix"/lib/invscan/bin/* "$libdir"/libinvscan.so.?.*; do
  readelf -SW "$file" | grep -q ' \.debug_info ' && fail "debug information is left in $file"
  place=${file#"$prefix"}.debug
  place=${place%/*}/.debug/${place##*/}
  install -D "$work/debug$place" "$prefix$place"
  # Of a program, or of the library.
  address=$(nm "$prefix$place" | awk '$3 ~ /^(main|_ZN12GroupFactory11getInstanceEv)$/ { print $1 }')
  addr2line -e "$file" "0x$address" | grep -qE '/(main|GroupFactory).cpp:[0-9]' ||
    fail "debuggers do not find $place"
done

must 'invscan --version' env -u LD_LIBRARY_PATH "$prefix/bin/invscan" --version
must 'invscan list' env -u LD_LIBRARY_PATH "$prefix/bin/invscan" list
grep -q 'Memory' "$work/log" || fail 'invscan list does not name the group Memory'

echo 'installed, moved, built on and run'
