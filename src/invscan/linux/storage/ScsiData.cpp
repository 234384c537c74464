#include "invscan/linux/storage/ScsiData.h"

#include <cstdint>

#include "base/Hex.h"
#include "base/Trim.h"

namespace invscan {
namespace {

constexpr std::string_view kAround = " \t\r\n\f\v";

// Big-endian; what lies beyond the end reads 0.
std::uint64_t number(std::string_view bytes, std::size_t offset, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t place = offset + i;
    value = value << 8 | (place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0U);
  }
  return value;
}

std::string_view part(std::string_view bytes, std::size_t offset, std::size_t length) {
  return offset < bytes.size() ? bytes.substr(offset, length) : std::string_view();
}

// What follows the head of a page of that number.
std::string_view contentsOf(std::string_view page, unsigned code) {
  constexpr std::size_t kHead = 4;
  if (page.size() < kHead || number(page, 1, 1) != code) return {};
  return part(page, kHead, number(page, 2, 2));
}

// 0 for what no count of bytes holds.
unsigned long kilobytes(std::uint64_t blocks, std::uint64_t blockSize) {
  std::uint64_t bytes = 0;
  return __builtin_mul_overflow(blocks, blockSize, &bytes) ? 0 : bytes / 1024;
}

}  // namespace

std::string deviceText(std::string_view bytes) {
  return std::string(trimmed(bytes.substr(0, bytes.find('\0')), kAround));
}

InquiryData readInquiry(std::string_view data) {
  constexpr std::size_t kStandard = 36;
  constexpr unsigned kTypeMask = 0x1F, kNoDevice = 0x1F;
  InquiryData inquiry;
  if (data.size() < kStandard) return inquiry;
  inquiry.peripheralType = static_cast<unsigned>(number(data, 0, 1)) & kTypeMask;
  inquiry.isThere = inquiry.peripheralType != kNoDevice;
  inquiry.vendor = deviceText(data.substr(8, 8));
  inquiry.model = deviceText(data.substr(16, 16));
  return inquiry;
}

std::string serialOfPage80(std::string_view page) {
  return deviceText(contentsOf(page, 0x80));
}

std::string nameOfPage83(std::string_view page) {
  constexpr std::size_t kHead = 4;
  constexpr unsigned kOfUnit = 0, kBinary = 1, kEui64 = 2, kNaa = 3;
  std::string found;
  std::string_view rest = contentsOf(page, 0x83);
  while (rest.size() > kHead) {
    const std::string_view name = part(rest, kHead, number(rest, 3, 1));
    const unsigned codeSet = number(rest, 0, 1) & 0xF;
    const unsigned association = number(rest, 1, 1) >> 4 & 3, kind = number(rest, 1, 1) & 0xF;
    const bool fits = codeSet == kBinary && association == kOfUnit && !name.empty();
    if (fits && (kind == kNaa || (kind == kEui64 && found.empty()))) {
      found = hex(reinterpret_cast<const unsigned char*>(name.data()), name.size(), kLowerHex);
    }
    if (fits && kind == kNaa) break;
    rest.remove_prefix(kHead + name.size());
  }
  return found;
}

unsigned long kilobytesOfCapacity10(std::string_view answer) {
  constexpr std::uint64_t kBeyond = 0xFFFFFFFF;
  const std::uint64_t last = number(answer, 0, 4);
  if (answer.size() < 8 || last == kBeyond) return 0;
  return kilobytes(last + 1, number(answer, 4, 4));
}

unsigned long kilobytesOfCapacity16(std::string_view answer) {
  const std::uint64_t last = number(answer, 0, 8);
  if (answer.size() < 12 || last == UINT64_MAX) return 0;
  return kilobytes(last + 1, number(answer, 8, 4));
}

}  // namespace invscan
