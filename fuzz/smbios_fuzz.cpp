// Hostile firmware tables: the walk with all records and their dumps, classic and native, and what
// values derived. The first two bytes are the announced number of structures, the third the
// version; an entry point of any form may follow.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <invscan/smbios.h>

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

void readDerivedValues(SMBIOSTable& table) {
  globalSMBIOSTable = &table;
  unsigned short speed, clock, upgrade, powerOn, keyboard;
  unsigned edx, size, slots;
  require(SM_Processor(&speed, &clock, &upgrade, &edx) == (SM_ProcessorCount() > 0));
  require(SM_PopulatedProcessorCount() <= SM_ProcessorCount());
  require(SM_HWSecurity(&powerOn, &keyboard) == (table.getTable24() ? 0 : 1));
  getMemorySpecs(&size, &slots);
  globalSMBIOSTable = nullptr;
}

void checkTexts(const SMBIOSTable& table) {
  for (int i = 0; i < table.getTable17Total(); ++i) {
    char* const text = table.getTable17(i)->getDeviceLocator();
    if (!text) continue;
    std::string out(std::strlen(text), '\0');
    SMBIOSTable::validateString(text, out.data());
    require(std::strlen(out.c_str()) <= std::strlen(text));
  }
  if (SMBIOSTable0Data* bios = table.getTable0()) {
    bios->getReleaseDateAsTimeT();
    std::free(bios->getReleaseDateAsYYYYMMDD());
  }
}

void readAll(SMBIOSTable& table) {
  table.dump();
  checkTexts(table);
  readDerivedValues(table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static FILE* const silence = std::freopen("/dev/null", "w", stdout);
  constexpr std::size_t kHead = 3, kEntryPoint = 32;
  if (!silence || size < kHead) return 0;
  std::string bytes(reinterpret_cast<const char*>(data + kHead), size - kHead);
  SMBIOSTable table(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()),
                    data[2], data[0] | data[1] << 8);
  table.parseData();
  readAll(table);
  readAll(*invscan::decodeStructures(bytes, data[2], data[0] | data[1] << 8, true));
  if (bytes.size() < kEntryPoint) return 0;
  const auto native =
      invscan::decodeFirmwareTables(bytes.substr(0, kEntryPoint), bytes.substr(kEntryPoint));
  if (native) readAll(*native);
  return 0;
}
