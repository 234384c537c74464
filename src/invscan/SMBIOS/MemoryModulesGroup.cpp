#include <memory>
#include <span>
#include <string>
#include <vector>

#include <invscan/catalogue.h>
#include <invscan/groups.h>
#include <invscan/smbios.h>

#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/SMBIOS/table/SharedTable.h"
#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "log/Trace.h"

const kelAttribDef MEMORY_MODULES_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "Module Size MB", KEL_ULONG, 0, nullptr},
    {3, "Max Module Size MB", KEL_ULONG, 0, nullptr},
    {4, "Socket Name", KEL_STRING, 24, nullptr},
    {5, "Packaging", KEL_STRING, 16, nullptr},
    {6, "Memory Type", KEL_STRING, 48, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kMemoryModulesTraits[] = {
    {1, "", Stable, kPublic, "Running number of the memory socket, from 1.", kFirmwareTables,
     nullptr},
    {2, "MB", Stable, kPublic, "Size of the module, 0 for an empty socket.", kFirmwareTables, "0"},
    {3, "MB", Stable, kPublic, "Largest module that a socket takes.", kFirmwareTables, "0", kNoPath,
     kNeverZero},
    {4, "", Stable, kPublic, "Name of the socket, followed by its bank.", kFirmwareTables, nullptr},
    {5, "", Stable, kPublic, "Form of the module.", kFirmwareTables, nullptr},
    {6, "", Stable, kPublic, "Technology of the module.", kFirmwareTables, nullptr},
    kEndOfTraits,
};

namespace {

// Names by a byte of type 17, from 3. Hosts know the first so many; the newer ones are for native
// tables only.
struct Names {
  std::span<const char* const> texts;
  std::size_t known;

  std::string at(unsigned char value, bool native) const {
    const std::size_t count = native ? texts.size() : known;
    return value < kFirst || value - kFirst >= count ? "" : texts[value - kFirst];
  }

  static constexpr std::size_t kFirst = 3;
};

constexpr const char* kFormFactorTexts[] = {
    "SIMM", "SIP",          "Chip", "DIP",    "ZIP",   "Proprietary Card", "DIMM",
    "TSOP", "Row of chips", "RIMM", "SODIMM", "SRIMM", "FB-DIMM",          "Die"};
constexpr Names kFormFactors = {kFormFactorTexts, 13};

constexpr const char* kMemoryTypeTexts[] = {"DRAM",
                                            "EDRAM",
                                            "VRAM",
                                            "SRAM",
                                            "RAM",
                                            "ROM",
                                            "FLASH",
                                            "EEPROM",
                                            "FEPROM",
                                            "EPROM",
                                            "CDRAM",
                                            "3DRAM",
                                            "SDRAM",
                                            "SGRAM",
                                            "RDRAM",
                                            "DDR",
                                            "DDR2",
                                            "DDR2 FB-DIMM",
                                            "Reserved",
                                            "Reserved",
                                            "Reserved",
                                            "DDR3",
                                            "FBD2",
                                            "DDR4",
                                            "LPDDR",
                                            "LPDDR2",
                                            "LPDDR3",
                                            "LPDDR4",
                                            "Logical non-volatile device",
                                            "HBM",
                                            "HBM2",
                                            "DDR5",
                                            "LPDDR5",
                                            "HBM3"};
constexpr Names kMemoryTypes = {kMemoryTypeTexts, 23};

struct BitWord {
  int bit;
  const char* word;
};

constexpr BitWord kDetailWords[] = {
    {3, "Fast-paged "},    {4, "Static column "},
    {5, "Pseudo-static "}, {6, "Rambus "},
    {7, "Synchronous "},   {8, "CMOS "},
    {9, "EDO "},           {10, "Window DRAM "},
    {11, "Cache DRAM "},   {12, "Non-volatile "},
    {13, "Registered "},   {14, "Unegistered "},  // hosts compare with this spelling
};

// Words of old firmware's modules; hosts compare the text that they make in this order.
constexpr BitWord kModuleWords[] = {
    {5, "Parity "}, {6, "ECC "},       {2, "Standard "}, {3, "Fast Page Mode "},
    {4, "EDO "},    {9, "Burst EDO "}, {10, "SDRAM "},
};
constexpr int kSimmBit = 7, kDimmBit = 8;

bool hasBit(unsigned short bits, int bit) {
  return (bits >> bit & 1) != 0;
}

std::string wordsOf(std::span<const BitWord> words, unsigned short bits) {
  std::string text;
  for (const BitWord& word : words) {
    if (hasBit(bits, word.bit)) text += word.word;
  }
  return text;
}

std::string withoutTrailingBlank(std::string text) {
  if (text.ends_with(' ')) text.pop_back();
  return text;
}

struct Module {
  unsigned long sizeMB;
  std::string slot, packaging, type;
};

std::string socketName(const SMBIOSTable17Data& device) {
  const std::string slot = cleanText(device.getDeviceLocator());
  const std::string bank = cleanText(device.getBankLocator());
  return slot + (slot.empty() || bank.empty() ? "" : "/") + bank;
}

Module moduleOf(const SMBIOSTable17Data& device, bool native) {
  return {device.getSizeKB() >> 10, socketName(device),
          kFormFactors.at(device.getFormFactor(), native),
          withoutTrailingBlank(wordsOf(kDetailWords, device.getTypeDetail()) +
                               kMemoryTypes.at(device.getMemoryType(), native))};
}

Module moduleOf(const SMBIOSTable6Data& old) {
  // What is not installed has a negative size.
  const auto size = static_cast<int>(old.getInstalledSizeMB());
  const unsigned short type = old.getMemoryType();
  return {static_cast<unsigned long>(size < 0 ? 0 : size), cleanText(old.getSocketDesignation()),
          hasBit(type, kDimmBit)   ? "DIMM"
          : hasBit(type, kSimmBit) ? "SIMM"
                                   : "",
          withoutTrailingBlank(wordsOf(kModuleWords, type))};
}

// The memory devices tell, else the modules of old firmware. Empty sockets count.
std::vector<Module> findModules(const SMBIOSTable& firmware, const Trace& trace) {
  std::vector<Module> modules;
  if (const int count = firmware.getTable17Total(); count > 0) {
    trace.at().mid("hardware SMBIOS Table 17 is available:(%d)", count);
    for (int i = 0; i < count; ++i) {
      modules.push_back(moduleOf(*firmware.getTable17(i), firmware.isNative()));
    }
  } else if (const int oldCount = firmware.getTable6Total(); oldCount > 0) {
    trace.at().mid("hardware SMBIOS Table 6 is available:(%d)", oldCount);
    for (int i = 0; i < oldCount; ++i) modules.push_back(moduleOf(*firmware.getTable6(i)));
  }
  return modules;
}

}  // namespace
}  // namespace invscan

using namespace invscan;

KelTable* MemoryModulesGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  return getTableLeg();
}

KelTable* MemoryModulesGroup::getTableLeg() {
  const Trace trace(getCcLogHw(), "getTableLeg()");
  trace.at().mid("hardware Memory Modules Group");
  const FirmwareInUse firmware;
  if (!firmware) return nullptr;
  const std::vector<Module> modules = findModules(*firmware, trace);
  if (modules.empty()) return nullptr;
  unsigned int maxModuleSizeMB = 0, slots = 0;
  getMemorySpecs(&maxModuleSizeMB, &slots);

  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  unsigned long index = 0;
  for (const Module& module : modules) {
    RowBuilder()
        .count(1, ++index)
        .count(2, module.sizeMB)
        .count(3, static_cast<unsigned long>(maxModuleSizeMB))
        .text(4, module.slot)
        .text(5, module.packaging)
        .text(6, module.type)
        .addTo(*table);
  }
  return table.release();
}
