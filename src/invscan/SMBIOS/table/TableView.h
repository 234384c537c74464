// The guard between the library and firmware bytes, which are hostile until proven otherwise.
//
// Every read of a memory segment, a structure table or a structure's formatted area goes through a
// view, and a view ends where its data ends: beyond it, and before it, a number reads 0 and a text
// ends. So no length, string number or missing terminator in a table can lead a reader out of its
// buffer, and a walk that goes on while covers() holds ends with the data.
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace invscan {

class TableView {
 public:
  TableView(const unsigned char* data, std::size_t length) : data_(data), length_(length) {}

  // A view for data whose end only the caller knows reaches as far as offsets do.
  static TableView trusting(const unsigned char* data) { return {data, INT_MAX}; }

  bool covers(long at, long count = 1) const {
    return at >= 0 && at <= static_cast<long>(length_) && static_cast<long>(length_) - at >= count;
  }

  // Little-endian numbers; 0 unless all their bytes are there.
  std::uint8_t byte(long at) const { return number<std::uint8_t>(at); }
  std::uint16_t word(long at) const { return number<std::uint16_t>(at); }
  std::uint32_t dword(long at) const { return number<std::uint32_t>(at); }
  std::uint64_t qword(long at) const { return number<std::uint64_t>(at); }

  // Copies bytes; those that are not there are 0.
  void copy(long at, std::size_t count, unsigned char* destination) const {
    const std::size_t there =
        covers(at) ? std::min(count, length_ - static_cast<std::size_t>(at)) : 0;
    std::copy_n(data_ + (there > 0 ? at : 0), there, destination);
    std::fill(destination + there, destination + count, 0);
  }

  // The bytes up to the next NUL.
  std::string_view text(long at) const {
    if (!covers(at)) return {};
    const char* begin = reinterpret_cast<const char*>(data_ + at);
    return {begin, ::strnlen(begin, length_ - static_cast<std::size_t>(at))};
  }

 private:
  template <class Number>
  Number number(long at) const {
    Number value = 0;
    if (covers(at, sizeof value)) std::memcpy(&value, data_ + at, sizeof value);
    return value;
  }

  const unsigned char* data_;
  std::size_t length_;
};

}  // namespace invscan
