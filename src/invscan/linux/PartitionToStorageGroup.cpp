#include <memory>
#include <string>

#include <invscan/catalogue.h>
#include <invscan/groups.h>

#include "invscan/com/model/RowBuilder.h"
#include "invscan/com/model/Traits.h"
#include "invscan/linux/storage/DiskScanAnswer.h"
#include "log/Trace.h"

const kelAttribDef PART2STOR_ATTRS_DEF[] = {
    {1, "Index", KEL_ULONG, 0, nullptr},
    {2, "PartitionAccessPoint", KEL_STRING, 255, nullptr},
    {3, "StorageDevice", KEL_STRING, 50, nullptr},
    {kEndOfTable, nullptr, 0, 0, nullptr},
};

namespace invscan {

using enum Behaviour;

const AttributeTraits kPartitionToStorageTraits[] = {
    {1, "", Stable, kPublic, "Running number of the pair, from 0.", kDiskscanHelper, nullptr},
    {2, "", Identity, kPublic, "Device name of the partition.", kDiskscanHelper, nullptr},
    {3, "", Stable, kPublic, "Name of the device that holds the partition.", kDiskscanHelper,
     nullptr},
    kEndOfTraits,
};

}  // namespace invscan

using namespace invscan;

KelTable* PartitionToStorageGroup::getTable() {
  const Trace trace(getCcLogHw(), "getTable()");
  auto table = std::make_unique<KelTable>(getGroupId(), getGroupVersion());
  unsigned long rows = 0;
  int partitions = 0;
  const VtNode* const found = diskScanTable(trace, "PartitionTable", "partition");
  forEachChild(found, "Partition", [&](const VtNode& partition) {
    const std::string name = textOf(partition, "Name");
    trace.at().max("hardware Partition #%d: name=%s mount=%s type=%s", partitions, name.c_str(),
                   partition.getValue("", "Mount", ""), partition.getValue("", "Type", ""));
    int disks = 0;
    forEachChild(&partition, "Disk", [&](const VtNode& disk) {
      const std::string block = textOf(disk, "Block"), generic = textOf(disk, "Generic");
      trace.at().max("hardware Partition #%d Disk #%d: id=%s block=%s generic=%s", partitions,
                     disks++, disk.getValue("", "Id", ""), block.c_str(), generic.c_str());
      if (block.empty() && generic.empty()) return;
      RowBuilder()
          .count(1, rows++)
          .text(2, name)
          .text(3, block.empty() ? generic : block)
          .addTo(*table);
    });
    ++partitions;
  });
  trace.at().max("hardware table=%p", static_cast<void*>(table.get()));
  return table.release();
}
