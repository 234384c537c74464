#include "helpers/diskscan/Mounts.h"

#include <string_view>
#include <utility>

#include "invscan/linux/utils/Text.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

constexpr std::size_t kTableLimit = 256 << 20;

bool isOctal(std::string_view digits) {
  return digits.size() == 3 && digits.find_first_not_of("01234567") == digits.npos &&
         digits[0] <= '3';
}

// Blanks, tabs, line ends and backslashes stand as octal numbers: "\040".
std::string decode(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view digits = text.substr(i + 1, 3);
    if (text[i] == '\\' && isOctal(digits)) {
      plain += static_cast<char>((digits[0] - '0') * 64 + (digits[1] - '0') * 8 + digits[2] - '0');
      i += 3;
    } else {
      plain += text[i];
    }
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
  for (std::string_view line; lines.next(line);) take(withoutTrailing(line, '\n'));
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
