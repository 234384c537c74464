#include "invscan/linux/utils/CpuList.h"

#include <algorithm>
#include <charconv>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

// Takes a number off the front of a text.
bool takeNumber(std::string_view& text, unsigned& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number >= kMostProcessors) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

}  // namespace

std::optional<std::vector<unsigned>> parseCpuList(std::string_view text) {
  std::vector<unsigned> numbers;
  text = withoutTrailing(text, "\n");
  while (!text.empty()) {
    unsigned begin = 0;
    if (!takeNumber(text, begin)) return std::nullopt;
    unsigned end = begin;
    if (text.starts_with('-')) {
      text.remove_prefix(1);
      if (!takeNumber(text, end)) return std::nullopt;
    }
    if (end < begin || (!numbers.empty() && begin <= numbers.back())) return std::nullopt;
    for (unsigned number = begin; number <= end; ++number) numbers.push_back(number);
    if (text.empty()) break;
    if (!text.starts_with(',') || text.size() == 1) return std::nullopt;
    text.remove_prefix(1);
  }
  return numbers;
}

std::optional<std::vector<unsigned>> readCpuList(const std::string& path) {
  const FileText file = machine().readFile(path);
  if (file.error != 0) return std::nullopt;
  return parseCpuList(file.text);
}

std::optional<std::vector<unsigned>> siblingsOf(unsigned number, CpuListNames& names) {
  const std::string directory = kCpuDirectory + ("cpu" + std::to_string(number)) + "/topology/";
  for (const char* name : names) {
    const auto list = readCpuList(directory + name);
    if (list && std::binary_search(list->begin(), list->end(), number)) return list;
  }
  return std::nullopt;
}

}  // namespace invscan
