// Hostile firmware tables: the walk with all records and their dumps, classic and native, and what
// values derived, and the text for people. The first two bytes are the announced number of
// structures, the third the version; an entry point of any form may follow.
#include <cstdio>
#include <cstring>

#include <invscan/smbios.h>

#include "FirmwareMutator.h"
#include "FuzzTarget.h"
#include "agent/smbios/SmbiosText.h"

namespace {

using namespace invscan;

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

void checkDescription(const SMBIOSTable& table) {
  const std::string text = agent::describeTable(table);
  require(std::none_of(text.begin(), text.end(),
                       [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7F; }));
}

void readAll(SMBIOSTable& table) {
  table.dump();
  checkTexts(table);
  readDerivedValues(table);
}

}  // namespace

void invscan::tryInput(std::string_view input) {
  static FILE* const silence = std::freopen("/dev/null", "w", stdout);
  constexpr std::size_t kHead = 3, kEntryPoint = 32;
  if (!silence || input.size() < kHead) return;
  std::string bytes(input.substr(kHead));
  const auto head = [input](std::size_t at) { return static_cast<unsigned char>(input[at]); };
  const int count = head(0) | head(1) << 8;
  SMBIOSTable table(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()),
                    head(2), count);
  table.parseData();
  readAll(table);
  readAll(*decodeStructures(bytes, head(2), count, true));
  if (bytes.size() < kEntryPoint) return;
  const auto native = decodeFirmwareTables(bytes.substr(0, kEntryPoint), bytes.substr(kEntryPoint));
  if (native) {
    readAll(*native);
    checkDescription(*native);
  }
}
