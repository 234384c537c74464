// What the searches for firmware tables look for in memory.
#pragma once

#include <string>
#include <string_view>

#include "invscan/SMBIOS/table/TableView.h"

namespace invscan {

inline constexpr unsigned long kBiosSegment = 0xF0000;
inline constexpr unsigned long kBiosSegmentLength = 0x10000;

inline constexpr int kSystemInformation = 1;

inline TableView viewOf(const std::string& bytes) {
  return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
}

inline bool hasAnchor(const TableView& view, long at, std::string_view anchor) {
  for (const char letter : anchor) {
    if (view.byte(at++) != letter) return false;
  }
  return true;
}

// Whether that many bytes add up to 0; not when they are not all there.
inline bool sumsToZero(const TableView& view, long at, long count) {
  if (!view.covers(at, count)) return false;
  unsigned sum = 0;
  for (long i = 0; i < count; ++i) sum += view.byte(at + i);
  return sum % 0x100 == 0;
}

// Offset behind the first two NULs in a row, -1 when there are none.
inline long behindDoubleNul(const TableView& view, long at) {
  for (; view.covers(at, 2); ++at) {
    if (view.word(at) == 0) return at + 2;
  }
  return -1;
}

}  // namespace invscan
