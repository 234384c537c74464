// The table that all collectors share.
#include <memory>
#include <vector>

#include <invscan/smbios.h>

#include "invscan/machine/Machine.h"

SMBIOSTable* globalSMBIOSTable = nullptr;

namespace {

int references = 0;

// The other machine has a table of its own. The old one lives on, as its machine does: a collection
// thread that was abandoned may still be reading it.
void dropFirmwareTable() {
  static auto* const retired = new std::vector<std::unique_ptr<SMBIOSTable>>;
  if (globalSMBIOSTable) retired->emplace_back(globalSMBIOSTable);
  globalSMBIOSTable = nullptr;
  references = 0;
}

}  // namespace

void SMBIOSTable::initializeGlobalTable(unsigned char parse) {
  if (globalSMBIOSTable) {
    ++references;
    return;
  }
  invscan::onMachineChange(dropFirmwareTable);
  globalSMBIOSTable = new SMBIOSTable;
  references = 1;
  if (parse == 1 && globalSMBIOSTable->isAvailable()) globalSMBIOSTable->parseData();
}

void SMBIOSTable::terminateGlobalTable() {
  if (references > 0) --references;
  if (references > 0) return;
  delete globalSMBIOSTable;
  globalSMBIOSTable = nullptr;
}
