#include "invscan/SMBIOS/table/SharedTable.h"

#include <memory>

#include "invscan/machine/Machine.h"

SMBIOSTable* globalSMBIOSTable = nullptr;

namespace invscan {
namespace {

int references = 0;
std::weak_ptr<Machine> machineOfTheTable;

// The other machine has a table of its own. The old one lives on as long as its machine does.
void dropFirmwareTable() {
  const std::shared_ptr<const SMBIOSTable> table(globalSMBIOSTable);
  globalSMBIOSTable = nullptr;
  references = 0;
  if (const auto machine = machineOfTheTable.lock()) machine->keep(table);
}

}  // namespace

FirmwareInUse::FirmwareInUse() : machine_(machine().shared_from_this()), table_(globalSMBIOSTable) {
  if (table_ && !table_->isAvailable()) table_ = nullptr;
}

}  // namespace invscan

using namespace invscan;

void SMBIOSTable::initializeGlobalTable(unsigned char parse) {
  if (globalSMBIOSTable) {
    ++references;
    return;
  }
  onMachineChange(dropFirmwareTable);
  machineOfTheTable = machine().weak_from_this();
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
