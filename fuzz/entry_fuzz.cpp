// The three searches for firmware tables in hostile memory. The input up to its first form feed is
// the EFI system table; the rest stands at both ends of the BIOS segment, the only memory there is.

#include <invscan/smbios.h>
#include <invscan/smbiosinfo.h>

#include "../tests/TestMachine.h"
#include "FuzzTarget.h"

namespace {

using namespace invscan;

constexpr std::size_t kSegmentLength = 0x10000;

Answers answersOf(std::string_view input) {
  const std::size_t end = std::min(input.find('\f'), input.size());
  const std::string_view bytes =
      input.substr(std::min(end + 1, input.size())).substr(0, kSegmentLength);
  std::string segment(kSegmentLength, '\0');
  segment.replace(kSegmentLength - bytes.size(), bytes.size(), bytes);
  segment.replace(0, bytes.size(), bytes);
  Answers answers{.physicalMemory = {{0xF0000, std::move(segment)}}};
  if (end > 0) answers.files["/sys/firmware/efi/systab"] = {0, std::string(input.substr(0, end))};
  return answers;
}

void checkInfo() {
  const smbiosinfo info;
  require(info.manufacturer.length() <= 254 && info.product.length() <= 254);
  require(info.serialNumber.length() <= 31 && info.type.length() <= 31);
  require(info.version.isEmpty());
}

void checkSystemInfo() {
  char* outputs[5] = {};
  const int result =
      SMBIOS_GetSystemInfo(&outputs[0], &outputs[1], &outputs[2], &outputs[3], &outputs[4]);
  for (char* output : outputs) {
    require((output != nullptr) == (result == 0));
    std::free(output);
  }
}

void checkTable() {
  SMBIOSTable table;
  require(table.isAvailable() || table.getTotalLength() == 0);
  table.parseData();
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  const OnMachine machine(answersOf(input));
  checkInfo();
  checkSystemInfo();
  checkTable();
}
