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

# expect WHAT TEXT COMMAND...: prints exactly that.
expect() {
  local what=$1 wanted=$2
  shift 2
  must "$what" "$@"
  [ "$(cat "$work/log")" = "$wanted" ] ||
    fail "failed: $what: expected \"$wanted\", got \"$(cat "$work/log")\""
}

compile() {
  # shellcheck disable=SC2086
  "$CXX" $CXXFLAGS "$@"
}

must 'cmake --install' cmake --install "$build" --prefix "$work/prefix"
mv "$work/prefix" "$prefix"
pkgconfig=$(dirname "$(find "$prefix" -name invscan.pc)")
libdir=$(dirname "$pkgconfig")
export PKG_CONFIG_PATH=$pkgconfig
read -ra flags < <(pkg-config --cflags --libs invscan) || fail 'pkg-config does not find invscan'
flags+=("-Wl,-rpath,$libdir")

# A host that finds the library.
mkdir "$work/consumer"
cat >"$work/consumer/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(consumer CXX)
find_package(invscan 2.0 REQUIRED)
add_executable(consumer main.cpp)
target_link_libraries(consumer PRIVATE invscan::invscan)
END
cat >"$work/consumer/main.cpp" <<'END'
#include <cstdio>
#include <memory>

#include <invscan/invscan.h>

int main() {
  GroupFactory* factory = GroupFactory::getInstance();
  factory->initialise();
  const std::unique_ptr<KelGroup> group(factory->getGroup("Memory"));
  const std::unique_ptr<KelTable> table(group->getTable());
  // The same table, also where the linker has copied the catalogue into the host.
  const bool isShared = GROUPS_DEF[4].attribs == OPER_SYS_ATTRS_DEF &&
                        getGroupDefinitionFromId(4)->attribs == OPER_SYS_ATTRS_DEF &&
                        getGroupDefinitionFromId(4) == &GROUPS_DEF[4];
  std::printf("%s %lu %s\n", table->getGroupName(), table->getRowCount(),
              isShared ? "shared" : "not shared");
}
END
answer='Memory 1 shared'
must 'configuring with find_package' \
  cmake -G Ninja -S "$work/consumer" -B "$work/consumer/build" "-DCMAKE_PREFIX_PATH=$prefix"
must 'building with find_package' cmake --build "$work/consumer/build"
expect 'running what find_package built' "$answer" "$work/consumer/build/consumer"
must 'building with pkg-config' \
  compile "$work/consumer/main.cpp" -o "$work/by-pkg-config" "${flags[@]}"
expect 'running what pkg-config built' "$answer" "$work/by-pkg-config"
must 'building at a fixed address' \
  compile -no-pie -fno-pic "$work/consumer/main.cpp" -o "$work/fixed" "${flags[@]}"
expect 'running at a fixed address' "$answer" "$work/fixed"

# A host with functions and variables of its own under names that the library uses inside.
cat >"$work/names.cpp" <<'END'
#include <cstdlib>

#include <invscan/base/CcLogWrapper.h>
#include <invscan/invscan.h>

int table = 1;
int machine = 2;
int rtrim(char*) { return 3; }
const char* getInfo() { return "host"; }
char* itoa(long) { std::abort(); }
CcLogHandle* getCcLogHw() { std::abort(); }
wchar_t* dmtf_escape(wchar_t*) { std::abort(); }
const char* getKelAttribTypeAsString(unsigned long) { std::abort(); }
extern "C" {
const char* getGroupNameFromId(unsigned long) { return "host"; }
unsigned long getGroupIdFromName(const String&) { return 0; }
const kelGroupDef* getGroupDefinitionFromId(unsigned long) { return nullptr; }
void TimeToKelDateTime(long, char*) { std::abort(); }
}
END
cat >"$work/clash.cpp" <<'END'
#include <cstdio>
#include <memory>

#include <invscan/invscan.h>

int main() {
  const std::unique_ptr<KelGroup> group(GroupFactory::getInstance()->getGroup("Memory"));
  const std::unique_ptr<KelTable> table(group->getTable());
  const KelTableAttrib text(1, "a \"quoted\" text");
  const KelTableAttrib date(2, 1700000000L);
  PrintKelAttribValueToFile(stdout, text.getAttribPtr());
  std::printf(" %s %s %s\n", group->getGroupName().toNarrow().c_str(), table->getGroupName(),
              getGroupNameFromId(3));
}
END
for mode in '-fPIE -pie' '-fno-pic -no-pie'; do
  # shellcheck disable=SC2086
  must "building a host with names of its own ($mode)" \
    compile $mode "$work/clash.cpp" "$work/names.cpp" -o "$work/clash" "${flags[@]}"
  # Without this the host's functions could not have been called in the first place.
  nm -D --defined-only "$work/clash" | grep -q ' T getGroupNameFromId$' ||
    fail "the host's own functions are not visible, so this proves nothing"
  expect "running a host with names of its own ($mode)" 'a \"quoted\" text Memory Memory host' \
    "$work/clash"
done

# Every public header by itself.
while read -r header; do
  echo "#include <$header>" >"$work/alone.cpp"
  must "compiling $header alone" compile -fsyntax-only "$work/alone.cpp" "${flags[@]}"
done < <(cd "$prefix/include" && find . -name '*.h' -printf '%P\n')

must 'invscan --version' env -u LD_LIBRARY_PATH "$prefix/bin/invscan" --version
must 'invscan list' env -u LD_LIBRARY_PATH "$prefix/bin/invscan" list
grep -q 'Memory' "$work/log" || fail 'invscan list does not name the group Memory'

echo 'installed, moved, built on and run'
