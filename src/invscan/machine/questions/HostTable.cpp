#include "invscan/machine/questions/HostTable.h"

#include <set>
#include <utility>

#include "base/RegularFile.h"
#include "common/net/NetlinkMessages.h"
#include "common/text/Lines.h"

namespace invscan {
namespace {

constexpr char kPath[] = "/etc/hosts";
constexpr std::string_view kBlanks = " \t\r\n";

bool isSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

// A file that may be missing, or that somebody put something else in place of.
std::string textOf(const char* path) {
  constexpr std::size_t kMostBytes = 16 << 20;
  std::string text;
  return readRegularFile(path, kMostBytes, text) == 0 ? text : std::string();
}

}  // namespace

std::string HostTable::nameOf(const std::string& address) {
  refresh();
  const auto found = names_.find(address);
  return found == names_.end() ? std::string() : found->second;
}

void HostTable::refresh() {
  struct stat now {};
  if (stat(kPath, &now) != 0) now = {};
  if (isSameFile(now, std::exchange(read_, now))) return;
  names_.clear();
  parse(textOf(kPath));
}

void HostTable::parse(std::string_view text) {
  TextLines lines(text, text.size());
  for (std::string_view line; lines.next(line);) {
    line = line.substr(0, line.find('#'));
    auto address = addressBytes(std::string(nextField(line, kBlanks)));
    const std::string_view name = nextField(line, kBlanks);
    // The first line of an address counts.
    if (address && !name.empty()) names_.try_emplace(std::move(*address), name);
  }
}

bool asksTableAndServersOnly() {
  constexpr std::string_view kDelimiters = " \t\r\n:";
  const std::string text = textOf("/etc/nsswitch.conf");
  std::set<std::string_view> services;
  TextLines lines(text, text.size());
  for (std::string_view line; lines.next(line);) {
    line = line.substr(0, line.find('#'));
    if (nextField(line, kDelimiters) != "hosts") continue;
    while (!line.empty()) services.insert(nextField(line, kDelimiters));
  }
  services.erase("");
  return services.empty() || services == std::set<std::string_view>{"dns", "files"};
}

}  // namespace invscan
