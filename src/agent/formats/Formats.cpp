#include "agent/formats/Formats.h"

#include <algorithm>
#include <iterator>

namespace invscan::agent {

void reserveRows(std::string& text, std::size_t begin, std::size_t rows) {
  constexpr std::size_t kMost = 64 << 20;  // the first row may be much longer than all others
  const std::size_t row = text.size() - begin;
  text.reserve(begin + std::min(rows * (row + row / 4), kMost));
}

const Format& findFormat(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kFormats), std::end(kFormats),
                   [name](const Format& format) { return name == format.name; });
  return found == std::end(kFormats) ? kFormats[0] : *found;
}

}  // namespace invscan::agent
