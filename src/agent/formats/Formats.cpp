#include "agent/formats/Formats.h"

#include <algorithm>
#include <iterator>

namespace invscan::agent {

void reserveRows(std::string& text, std::size_t begin, std::size_t rows) {
  const std::size_t row = text.size() - begin;
  text.reserve(begin + rows * (row + row / 4));
}

const Format& findFormat(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kFormats), std::end(kFormats),
                   [name](const Format& format) { return name == format.name; });
  return found == std::end(kFormats) ? kFormats[0] : *found;
}

}  // namespace invscan::agent
