// What the firmware says of itself.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

#include <invscan/smbios.h>

#include "base/LocalTime.h"
#include "invscan/SMBIOS/Sizes.h"
#include "invscan/SMBIOS/records/RecordDump.h"

using namespace invscan;

namespace {

constexpr std::size_t kLongestDate = 15;

std::string joinDate(std::string_view century, std::string_view year, std::string_view month,
                     std::string_view day) {
  std::string date(century);
  date.append(year).append("-").append(month).append("-").append(day);
  return date;
}

std::string withYearFirst(std::string_view date) {
  const auto two = [date](std::size_t at) { return date.substr(at, 2); };
  if (date.size() == 8 && date.back() == '.') {
    return joinDate("19", two(0), two(3), std::string("0") + date[6]);
  }
  if (date.size() == 8) return joinDate(date[6] == '0' ? "20" : "19", two(6), two(0), two(3));
  if (date.size() == 10) return joinDate("", date.substr(6, 4), two(0), two(3));
  return std::string(date);
}

}  // namespace

char* SMBIOSTable0Data::getReleaseDateAsYYYYMMDD() const {
  const char* date = getReleaseDate();
  if (!date) return nullptr;
  const std::string_view start = std::string_view(date).substr(0, kLongestDate);
  return strdup(withYearFirst(start.substr(0, start.find(' '))).c_str());
}

time_t SMBIOSTable0Data::getReleaseDateAsTimeT() const {
  const std::unique_ptr<char, decltype(&free)> text(getReleaseDateAsYYYYMMDD(), free);
  if (!text) return 0;
  const std::string_view date(text.get());
  const auto number = [date](std::size_t begin, std::size_t end) {
    int value = 0;
    for (std::size_t at = begin; at <= end; ++at) {
      const bool isDigit = at < date.size() && date[at] >= '0' && date[at] <= '9';
      value = value * 10 + (isDigit ? date[at] - '0' : 0);
    }
    return value;
  };
  tm parts{};
  parts.tm_year = number(0, 3) - 1900;
  parts.tm_mon = number(5, 6) - 1;
  parts.tm_mday = number(8, 9);
  parts.tm_isdst = -1;
  return fromLocalTime(parts);
}

unsigned int SMBIOSTable0Data::getROMSizeKB() const {
  constexpr int kExtendedSize = 24;
  if (isNative() && byte(9) == 0xFF && holds(kExtendedSize, 2)) {
    // It counts MB, or GB when bit 14 says so.
    const unsigned long long size = word(kExtendedSize) & 0x3FFFU;
    return saturated(size << ((word(kExtendedSize) >> 14) == 1 ? 20 : 10));
  }
  return (byte(9) + 1U) * 64;
}

void SMBIOSTable0Data::dump() const {
  SMBIOSTableData::dump();
  show("Vendor", getVendor());
  show("Version", getVersion());
  showBits("Start address segment", getStartAddrSeg(), 4);
  show("Release date", getReleaseDate());
  show("ROM size KB", getROMSizeKB());
  showBits("Characteristics", getCharacteristicsHigh(), 8);
  showBits("Characteristics, bits 32-63", getCharacteristicsLow(), 8);
  showBits("Extension byte 1", getExtensionByte1(), 2);
}
