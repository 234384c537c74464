// What several collectors ask of the shared table.
#include <algorithm>
#include <vector>

#include <invscan/smbios.h>

#include "invscan/SMBIOS/Sizes.h"
#include "invscan/SMBIOS/table/SharedTable.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

namespace {

constexpr unsigned kLikelyClock = 2000;  // MHz, of an external clock
constexpr unsigned kLikelyUpgrade = 17;
constexpr unsigned kNotKnown = 0xFFFFFFFF;
constexpr unsigned short kUnknownSetting = 3;

const SMBIOSTable4Data* firstProcessor(const FirmwareInUse& table) {
  return table ? table->getTable4(0) : nullptr;
}

unsigned powerOf2(unsigned power) {
  return power < 32 ? 1U << power : 0;
}

// Those that hold system memory, where the table keeps them all; else the first.
std::vector<SMBIOSTable16Data*> memoryArrays(const SMBIOSTable& table) {
  const auto& all = table.getSystemMemoryArrays();
  return all.empty() ? std::vector{table.getTable16()} : all;
}

// What an array of that capacity tells of its largest module. It states it for all slots together,
// some firmware for one slot: a capacity that is a power of two, of which a slot's share is none or
// smaller than the biggest module that is there, is taken for one slot's.
unsigned largestModule(unsigned capacityMb, unsigned slots, unsigned biggest, const Trace& trace) {
  const unsigned perSlot = capacityMb / slots;
  trace.at().max("hardware raw maxModuleSizeMB =%u", perSlot);
  if (!isPowerOf2(capacityMb)) return perSlot;
  if (!isPowerOf2(perSlot)) return capacityMb;
  trace.at().max("hardware biggestModule found (SMB):%u", biggest);
  return perSlot >= biggest ? perSlot : capacityMb;
}

// The largest module of all arrays. A single one shares its capacity among the slots that are
// known; several share theirs among their own.
unsigned largestModule(const std::vector<SMBIOSTable16Data*>& arrays, unsigned slots,
                       const Trace& trace) {
  const unsigned biggest = SM_getBiggestMemoryModule_17() >> 10;
  unsigned largest = 0;
  for (const SMBIOSTable16Data* array : arrays) {
    if (arrays.size() > 1) slots = array->getNumMemDevices();
    const unsigned capacityMb = saturated(array->getWholeCapacity() >> 10);
    if (slots != 0) largest = std::max(largest, largestModule(capacityMb, slots, biggest, trace));
  }
  return largest;
}

}  // namespace

int SM_Processor(unsigned short* currentSpeed, unsigned short* externalClock,
                 unsigned short* upgrade, unsigned int* edx) {
  *currentSpeed = *externalClock = *upgrade = 0;
  if (edx) *edx = 0;
  const FirmwareInUse table;
  const SMBIOSTable4Data* processor = firstProcessor(table);
  if (!processor) return 0;
  *currentSpeed = processor->getCurrentSpeed();
  if (processor->getExternalClock() <= kLikelyClock) *externalClock = processor->getExternalClock();
  if (processor->getUpgrade() <= kLikelyUpgrade) *upgrade = processor->getUpgrade();
  if (edx) *edx = processor->getEDX();
  return 1;
}

unsigned char SM_ProcessorFamily() {
  const FirmwareInUse table;
  const SMBIOSTable4Data* processor = firstProcessor(table);
  return processor ? processor->getFamily() : 0;
}

int SM_ProcessorCount() {
  const FirmwareInUse table;
  return table ? table->getTable4Total() : 0;
}

int SM_PopulatedProcessorCount() {
  const FirmwareInUse table;
  return table ? table->getTable4PopulatedTotal() : 0;
}

bool isPowerOf2(unsigned int n) {
  return n != 0 && (n & (n - 1)) == 0;
}

unsigned int SM_getBiggestMemoryModule_17() {
  const FirmwareInUse table;
  unsigned biggest = 0;
  for (int i = 0; table && i < table->getTable17Total(); ++i) {
    const unsigned size = table->getTable17(i)->getSizeKB();
    if (size != kNotKnown) biggest = std::max(biggest, size);
  }
  return biggest;
}

unsigned int SM_getBiggestMemoryModule_6() {
  const FirmwareInUse table;
  unsigned biggest = 0;
  for (int i = 0; table && i < table->getTable6Total(); ++i) {
    const unsigned size = table->getTable6(i)->getInstalledSizeMB();
    if (size != kNotKnown) biggest = std::max(biggest, size);
  }
  return biggest;
}

bool getMemorySpecs(unsigned int* maxModuleSizeMB, unsigned int* slots) {
  const Trace trace(getCcLogHw(), "getMemorySpecs()");
  *maxModuleSizeMB = *slots = 0;
  const FirmwareInUse table;
  if (!table) return false;
  if (const SMBIOSTable5Data* controller = table->getTable5()) {
    trace.at().max("hardware SMBIOS Table 5 is available");
    *slots = controller->getNumAssocMemorySlots();
    const unsigned power = controller->getMaximumMemoryModuleSize();
    *maxModuleSizeMB = std::max(power != 0 ? powerOf2(power) : 0, SM_getBiggestMemoryModule_6());
    trace.at().max("hardware Table 5: Max Module Size:%u", *maxModuleSizeMB);
  }
  if (table->getTable16()) {
    trace.at().max("hardware SMBIOS Table 16 is available");
    const auto arrays = memoryArrays(*table);
    if (*slots == 0) {
      for (const SMBIOSTable16Data* array : arrays) *slots += array->getNumMemDevices();
    }
    *maxModuleSizeMB = std::max(*maxModuleSizeMB, largestModule(arrays, *slots, trace));
    trace.at().max("hardware Table 16: Max Module Size:%u Slots:%u", *maxModuleSizeMB, *slots);
  }
  return *slots + *maxModuleSizeMB != 0;
}

int SM_HWSecurity(unsigned short* powerOnPassword, unsigned short* keyboardPassword) {
  *powerOnPassword = *keyboardPassword = kUnknownSetting;
  const FirmwareInUse table;
  const SMBIOSTable24Data* security = table ? table->getTable24() : nullptr;
  if (!security) return 1;
  const auto settings =
      static_cast<unsigned short>(static_cast<signed char>(security->getHWSecStatus()));
  *powerOnPassword = static_cast<unsigned short>(settings >> 6);
  *keyboardPassword = static_cast<unsigned short>(settings >> 2);
  return 0;
}

unsigned long totalPhysMemKB() {
  return machine().memoryFigures().value_or(MemoryFigures()).totalRam >> 10;
}
