#include "helpers/cpuid/Firmware.h"

#include "invscan/SMBIOS/FirmwareText.h"
#include "invscan/machine/Machine.h"

namespace invscan::cpuid {
namespace {

constexpr unsigned char kCentralProcessor = 3;

std::string kernelsText(const char* name) {
  return cleanText(machine().readFile(std::string("/sys/class/dmi/id/") + name).text.data());
}

// Adds up what every package tells; one that does not tell leaves the sum unknown.
void add(std::optional<long>& sum, unsigned count) {
  if (count == 0) sum.reset();
  if (sum) *sum += count;
}

}  // namespace

Firmware::Firmware() {
  if (table_.isAvailable()) table_.parseData();
}

SystemIdentity Firmware::system() const {
  if (const SMBIOSTable1Data* record = table_.getTable1()) {
    return {cleanText(record->getManufacturer()), cleanText(record->getProduct()),
            cleanText(record->getVersion()), cleanText(record->getSerialNumber()),
            cleanUuid(cleanText(record->getUUIDAsString()))};
  }
  return {kernelsText("sys_vendor"), kernelsText("product_name"), kernelsText("product_version"),
          kernelsText("product_serial"), cleanUuid(kernelsText("product_uuid"))};
}

const SMBIOSTable4Data* Firmware::processor(int n) const {
  const SMBIOSTable4Data* record = table_.getTable4(n);
  const bool counts = record && record->isPopulated() && record->getType() == kCentralProcessor;
  return counts ? record : nullptr;
}

const SMBIOSTable4Data* Firmware::firstProcessor() const {
  for (int n = 0; n < table_.getTable4Total(); ++n) {
    if (const SMBIOSTable4Data* record = processor(n)) return record;
  }
  return nullptr;
}

FirmwareTotals Firmware::totals() const {
  if (!firstProcessor()) return {};
  FirmwareTotals totals{0, 0, 0};
  for (int n = 0; n < table_.getTable4Total(); ++n) {
    const SMBIOSTable4Data* record = processor(n);
    if (!record) continue;
    ++*totals.packages;
    add(totals.cores, record->getCoreCount());
    add(totals.processors, record->getThreadCount());
  }
  return totals;
}

long Firmware::processorClock() const {
  const SMBIOSTable4Data* record = firstProcessor();
  return record ? record->getCurrentSpeed() : 0;
}

unsigned char Firmware::processorFamily() const {
  const SMBIOSTable4Data* record = firstProcessor();
  return static_cast<unsigned char>(record ? record->getFamily() : 0);
}

}  // namespace invscan::cpuid
