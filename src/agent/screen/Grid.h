// Aligned tables that fit a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace invscan::agent {

enum class Align { Left, Right };

struct GridColumn {
  std::string heading;
  Align align = Align::Left;
  bool isKey = false;  // never shortened
  std::vector<std::string> cells;
};

// The columns side by side below their headings (none where all of these are empty), in lines that
// fit: the widest are shortened, but hardly below what can be read; those that have no place then
// follow as further tables, each with the first column before it. Every column has as many cells.
// Empty when the keys alone do not fit, and when there are more tables than that.
std::string gridText(const std::vector<GridColumn>& columns, std::size_t indent,
                     std::size_t lineColumns, std::size_t mostTables = SIZE_MAX);

}  // namespace invscan::agent
