// What all targets share: how libFuzzer hands out an input, and how a target says what must hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace invscan {

inline void require(bool holds) {
  if (!holds) std::abort();
}

// What a target does with one input.
void tryInput(std::string_view input);

}  // namespace invscan

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  invscan::tryInput({reinterpret_cast<const char*>(data), size});
  return 0;
}
