#include "helpers/diskscan/Mounts.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

constexpr std::size_t kTableLimit = 256 << 20;

constexpr std::pair<std::string_view, char> kEscapes[] = {
    {"\\040", ' '}, {"\\011", '\t'}, {"\\012", '\n'}, {"\\134", '\\'}, {"\\\\", '\\'}};

// Decodes what getmntent() does and no more, as names are to join with those that it gives: kernels
// write other characters as octal numbers, too.
std::string decode(std::string_view text) {
  std::string plain;
  while (!text.empty()) {
    const auto* escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                      [&](const auto& e) { return text.starts_with(e.first); });
    const bool isEscaped = escape != std::end(kEscapes);
    plain += isEscaped ? escape->second : text.front();
    text.remove_prefix(isEscaped ? escape->first.size() : 1);
  }
  return plain;
}

// "36 35 8:1 / /mnt rw,noatime shared:1 master:2 - ext4 /dev/sda1 rw": before the dash any number
// of fields.
Mount parseMount(std::string_view line) {
  Mount mount;
  nextField(line, " ");
  nextField(line, " ");
  mount.number = nextField(line, " ");
  mount.isWhole = nextField(line, " ") == "/";
  mount.point = decode(nextField(line, " "));
  while (!line.empty() && nextField(line, " ") != "-") continue;
  mount.type = nextField(line, " ");
  mount.source = decode(nextField(line, " "));
  return mount;
}

template <class Take>
void forEachLine(const char* path, Take take) {
  const FileText file = machine().readFile(path, kTableLimit);
  TextLines lines(file.text, file.text.size());
  for (std::string_view line; lines.next(line);) take(withoutTrailing(line, "\n"));
}

}  // namespace

std::vector<Mount> readMounts() {
  std::vector<Mount> mounts;
  forEachLine("/proc/self/mountinfo", [&](std::string_view line) {
    if (Mount mount = parseMount(line); !mount.source.empty()) mounts.push_back(std::move(mount));
  });
  forEachLine("/proc/swaps", [&](std::string_view line) {
    const std::string source(nextField(line, " \t"));
    if (nextField(line, " \t") == "partition") mounts.push_back({"", source, "swap", "swap"});
  });
  return mounts;
}

}  // namespace invscan::diskscan
