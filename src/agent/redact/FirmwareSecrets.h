// Where in a firmware table stands what tells a machine.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace invscan::agent {

struct FirmwareSecret {
  enum Kind {
    Text,     // a serial number or tag
    OemText,  // what a maker wrote for himself: anything, or the name of the product
    Uuid,
    Unknown,  // fields that no standard tells, and what is behind the end of the structures
  };
  Kind kind;
  std::size_t begin, length;
};

// In the structures of a table, which stand one behind the other, from front to back and without
// overlap: serial numbers, tags and UUIDs of all types, all texts of types that are the maker's
// own, and their fields. Nothing is read beyond the table, however it is made.
std::vector<FirmwareSecret> secretsOfTable(std::string_view structures);

}  // namespace invscan::agent
