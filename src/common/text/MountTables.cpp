#include "common/text/MountTables.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/text/Lines.h"

namespace invscan {
namespace {

constexpr std::string_view kBlanks = " \t";

constexpr std::pair<std::string_view, char> kEscapes[] = {
    {"\\040", ' '}, {"\\011", '\t'}, {"\\012", '\n'}, {"\\134", '\\'}, {"\\\\", '\\'}};

// The kernel writes one blank between fields, so that an empty one shows.
std::string_view takeField(std::string_view& line) {
  const std::string_view field = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(field.size() + 1, line.size()));
  return field;
}

// What programs that list mounts had better leave out.
std::optional<MountEntry> unlessIgnored(MountEntry entry) {
  if (entry.type == "autofs" && findMountOption(entry.options, "ignore")) return std::nullopt;
  return entry;
}

}  // namespace

std::string decodedMountName(std::string_view text) {
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

std::optional<std::string_view> findMountOption(std::string_view options, std::string_view name) {
  while (!options.empty()) {
    std::string_view option = nextField(options, ",");
    if (!option.starts_with(name)) continue;
    option.remove_prefix(name.size());
    if (option.empty()) return option;
    if (option.front() == '=') return option.substr(1);
  }
  return std::nullopt;
}

std::optional<MountEntry> readMountLine(std::string_view line) {
  line = withoutLeading(line, kBlanks);
  if (line.empty() || line.front() == '#') return std::nullopt;
  MountEntry entry;
  for (std::string* field : {&entry.device, &entry.directory, &entry.type, &entry.options}) {
    *field = decodedMountName(nextField(line, kBlanks));
  }
  return unlessIgnored(std::move(entry));
}

// "36 35 8:1 / /mnt rw,noatime shared:1 master:2 - ext4 /dev/sda1 rw": before the dash any number
// of fields.
std::optional<MountEntry> readMountInfoLine(std::string_view line) {
  MountEntry entry;
  takeField(line);
  takeField(line);
  entry.number = takeField(line);
  entry.isWhole = takeField(line) == "/";
  entry.directory = decodedMountName(takeField(line));
  while (!line.empty() && takeField(line) != "-") continue;
  entry.type = decodedMountName(takeField(line));
  entry.device = decodedMountName(takeField(line));
  entry.options = decodedMountName(line);
  if (entry.type.empty()) return std::nullopt;
  return unlessIgnored(std::move(entry));
}

}  // namespace invscan
