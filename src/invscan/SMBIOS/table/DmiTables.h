// What the kernel keeps in /sys/firmware/dmi/tables: the entry point and the structure table.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace invscan {

// More than any firmware has.
inline constexpr int kLargestTable = 16 << 20;

// Major and minor number of a revision: the version word, or in tables that a host made of a buffer
// one byte of BCD.
std::pair<unsigned, unsigned> versionOf(unsigned revision);

struct DmiTables {
  unsigned majorVersion = 0;
  unsigned minorVersion = 0;
  std::optional<int> count;  // of structures, where the entry point announces it
  std::string structures;    // as far as the entry point says that the table reaches
};

// None when there are no such files, they may not be read, or make no sense.
std::optional<DmiTables> readDmiTables();

// For an entry point of any form: 64-bit, 32-bit, or the "_DMI_" part alone. Checksums are not
// verified: the kernel did that, and tools that write binary dumps change the table's address.
std::optional<DmiTables> decodeEntryPoint(std::string_view entryPoint, std::string structures);

// The same for structures of which version and count are known otherwise. A count of 0 announces
// nothing.
DmiTables announcedTables(std::string structures, unsigned major, unsigned minor, int count);

}  // namespace invscan
