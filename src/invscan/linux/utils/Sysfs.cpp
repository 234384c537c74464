#include "invscan/linux/utils/Sysfs.h"

#include <algorithm>
#include <iterator>

#include "base/Trim.h"
#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

constexpr std::size_t kAttributeLimit = 4096;
constexpr std::string_view kWhiteSpace = " \t\r\n\f\v";

// Names before a number.
constexpr std::string_view kNoDisks[] = {"bcache", "dm-",      "drbd", "fd", "loop", "md",
                                         "md_d",   "mtdblock", "ram",  "zd", "zram"};

bool isDigit(char letter) {
  return letter >= '0' && letter <= '9';
}

// Takes the last component off a path.
std::string_view takeLast(std::string_view& path) {
  const std::size_t slash = path.rfind('/');
  const std::string_view last = slash == path.npos ? path : path.substr(slash + 1);
  path = slash == path.npos ? std::string_view() : path.substr(0, slash);
  return last;
}

// Domain (four digits or more), bus, device and function: "0000:00:1f.2".
bool isPciAddress(std::string_view text) {
  if (text.size() < 12) return false;
  const std::string_view end = text.substr(text.size() - 8);
  return end[0] == ':' && end[3] == ':' && end[6] == '.';
}

// The last component above the path's own that fits; empty when none does.
template <class Fits>
std::string findAncestor(std::string_view path, Fits fits) {
  takeLast(path);
  while (!path.empty()) {
    const std::string_view component = takeLast(path);
    if (fits(component)) return std::string(component);
  }
  return {};
}

}  // namespace

std::string readAttribute(const std::string& path) {
  const FileText file = machine().readFile(path, kAttributeLimit);
  return file.error == 0 ? std::string(trimmed(file.text, kWhiteSpace)) : std::string();
}

std::string firstAttribute(std::initializer_list<std::string> paths) {
  for (const std::string& path : paths) {
    if (std::string text = readAttribute(path); !text.empty()) return text;
  }
  return {};
}

std::string componentFromEnd(std::string_view path, std::size_t number) {
  for (; number > 0; --number) takeLast(path);
  return std::string(takeLast(path));
}

std::string ancestorNamed(std::string_view path, std::string_view beginning) {
  return findAncestor(path, [=](std::string_view component) {
    return component.starts_with(beginning) && component.size() > beginning.size() &&
           isDigit(component[beginning.size()]);
  });
}

std::string pciAddress(std::string_view path) {
  return findAncestor(path, isPciAddress);
}

bool isNumber(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

bool isNumbered(std::string_view name, std::string_view beginning) {
  return name.starts_with(beginning) && isNumber(name.substr(beginning.size()));
}

bool isScsiAddress(std::string_view component) {
  const auto colons = std::count(component.begin(), component.end(), ':');
  int numbers = 0;
  while (!component.empty()) numbers += isNumber(nextField(component, ":"));
  return colons == 3 && numbers == 4;
}

bool isNoDisk(std::string_view name) {
  return std::any_of(std::begin(kNoDisks), std::end(kNoDisks),
                     [=](std::string_view beginning) { return isNumbered(name, beginning); });
}

std::string readUdevRecord(const std::string& number) {
  // A device's number comes from outside, and is not to lead anywhere else.
  const bool isNumbers = !number.empty() && number.find_first_not_of("0123456789:") == number.npos;
  return isNumbers ? machine().readFile("/run/udev/data/b" + number).text : std::string();
}

std::string udevProperty(const std::string& record, std::string_view key) {
  TextLines lines(record, record.size());
  for (std::string_view line; lines.next(line);) {
    if (!line.starts_with("E:")) continue;
    line.remove_prefix(2);
    if (line.starts_with(key) && line.substr(key.size()).starts_with('=')) {
      return std::string(withoutTrailing(line.substr(key.size() + 1), "\n"));
    }
  }
  return {};
}

}  // namespace invscan
