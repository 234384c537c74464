// Sizes that firmware tells in more bits than hosts get.
#pragma once

#include <algorithm>
#include <limits>

namespace invscan {

inline unsigned int saturated(unsigned long long value) {
  return static_cast<unsigned int>(
      std::min<unsigned long long>(value, std::numeric_limits<unsigned int>::max()));
}

}  // namespace invscan
