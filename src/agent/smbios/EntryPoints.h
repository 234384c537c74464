// Where the entry points of firmware tables have what.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace invscan::agent {

struct EntryPointForm {
  std::string_view anchor;
  std::size_t size;
  std::size_t addressAt, addressSize;  // of the table
  std::size_t lengthAt, lengthSize;    // of that; the longest that may be, in the 64-bit form
};

inline constexpr EntryPointForm kEntryPointForms[] = {{"_SM3_", 0x18, 0x10, 8, 0x0C, 4},
                                                      {"_SM_", 0x1F, 0x18, 4, 0x16, 2},
                                                      {"_DMI_", 0x0F, 0x08, 4, 0x06, 2}};

inline std::uint64_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = size; i-- > 0;) {
    value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
  }
  return value;
}

}  // namespace invscan::agent
