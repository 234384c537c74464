#include "helpers/diskscan/DiskScan.h"

#include <stdexcept>
#include <string>

#include "common/vartree/TreeBuilder.h"
#include "helpers/diskscan/Disks.h"
#include "helpers/diskscan/HostAdapters.h"
#include "helpers/diskscan/Partitions.h"
#include "invscan/machine/Machine.h"

namespace invscan::diskscan {
namespace {

TreeBuilder addDisk(TreeBuilder parent, const Disk& disk) {
  return parent.child("Disk")
      .text("Id", disk.id)
      .text("Block", disk.block)
      .text("Generic", disk.generic);
}

void addToTable(TreeBuilder table, const Disk& disk) {
  addDisk(table, disk)
      .number("isSAN", disk.target.isSan ? 1 : 0)
      .text("WWNN", disk.target.nodeName)
      .text("WWPN", disk.target.portName);
}

void addDiskTable(TreeBuilder table, const Disks& disks) {
  for (const auto& [index, disk] : disks.ofDevices) addToTable(table, disk);
  for (const Disk& disk : disks.others) addToTable(table, disk);
}

void addPartitionTable(TreeBuilder table, const Disks& disks, BlockDevices& devices) {
  for (const Partition& partition : readPartitions(devices)) {
    const TreeBuilder node = table.child("Partition")
                                 .text("Name", partition.name)
                                 .text("Mount", partition.mount)
                                 .text("Type", partition.type);
    for (const std::size_t index : partition.disks) addDisk(node, disks.ofDevices.at(index));
  }
}

void addHbaTable(TreeBuilder table) {
  for (const HostAdapter& adapter : readHostAdapters()) {
    table.child("HBA")
        .number("Id", adapter.id)
        .text("Description", adapter.description)
        .text("Vendor", adapter.vendor)
        .text("Model", adapter.model)
        .text("Type", adapter.type)
        .text("Serial", adapter.serial)
        .text("Speed", adapter.speed)
        .text("State", adapter.state)
        .text("WWNN", adapter.nodeName)
        .text("WWPN", adapter.portName);
  }
}

}  // namespace

Tree scanDisks() {
  if (!machine().exists(kBlockDevices)) {
    throw std::runtime_error(std::string(kBlockDevices) + " is not there");
  }
  Tree root(new VtNode("ScsiInfo"));
  TreeBuilder tree(root.get());
  BlockDevices devices;
  const Disks disks = readDisks(devices);
  addDiskTable(tree.child("DiskTable"), disks);
  addPartitionTable(tree.child("PartitionTable"), disks, devices);
  addHbaTable(tree.child("HbaTable"));
  return root;
}

}  // namespace invscan::diskscan
