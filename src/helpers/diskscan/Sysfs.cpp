#include "helpers/diskscan/Sysfs.h"

#include <algorithm>

#include "base/Trim.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

constexpr std::size_t kAttributeLimit = 4096;
constexpr std::string_view kWhiteSpace = " \t\r\n\f\v";

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

}  // namespace invscan::diskscan
