#include "invscan/linux/storage/DiskScanAnswer.h"

#include <invscan/helper.h>

#include "common/text/Numbers.h"
#include "invscan/linux/utils/Sysfs.h"

namespace invscan {
namespace {

const VtNode* rootNode(const Trace& trace) {
  const VtExecInfo* const answer = getDiskScanVT();
  if (!answer) {
    trace.at().min("ERROR! Failed to execute diskscan command");
    return nullptr;
  }
  if (answer->result != 0 || !answer->tree) {
    trace.at().min("ERROR! diskscan command failed with error=%d", answer->result);
    return nullptr;
  }
  const VtNode* const root = vtGetNode(answer, "ScsiInfo", 0);
  if (!root) trace.at().min("ERROR! Failed to get root node");
  return root;
}

// A value of 1 and 0; anything else says that nobody knows.
std::string flagText(int flag) {
  return flag == 0 || flag == 1 ? std::to_string(flag) : std::string();
}

// The adapter of a SCSI device is its host, by the name that the adapters' own rows have.
std::string adapterOf(const std::string& id, const std::unordered_set<int>& hosts) {
  if (!isScsiAddress(id)) return {};
  const int host = static_cast<int>(leadingInteger(id));
  return hosts.contains(host) ? "host" + std::to_string(host) : std::string();
}

}  // namespace

const VtNode* diskScanTable(const Trace& trace, const char* table, const char* traceName) {
  const VtNode* const root = rootNode(trace);
  const VtNode* const found = root ? root->getChild(table, 0) : nullptr;
  if (root && !found) trace.at().min("ERROR! Failed to get %s table", traceName);
  return found;
}

std::string textOf(const VtNode& node, const char* name) {
  return node.getValue("", name, "");
}

ScannedDisks::ScannedDisks() {
  const Trace trace(getCcLogHw(), "ScannedDisks()");
  const VtNode* const disks = diskScanTable(trace, "DiskTable", "disk");
  const VtNode* const adapters = disks ? diskScanTable(trace, "HbaTable", "hba") : nullptr;
  std::unordered_set<int> hosts;
  forEachChild(adapters, "HBA",
               [&](const VtNode& adapter) { hosts.insert(adapter.getValue("", "Id", -1)); });
  forEachChild(disks, "Disk", [&](const VtNode& disk) { add(disk, hosts); });
}

void ScannedDisks::add(const VtNode& node, const std::unordered_set<int>& hosts) {
  ScannedDisk disk{textOf(node, "Id"),
                   textOf(node, "Block"),
                   textOf(node, "Generic"),
                   flagText(node.getValue("", "isSAN", -1)),
                   textOf(node, "WWNN"),
                   textOf(node, "WWPN"),
                   {}};
  disk.adapter = adapterOf(disk.id, hosts);
  const std::size_t index = disks_.size();
  blocks_.emplace(disk.block, index);
  generics_.emplace(disk.generic, index);
  ids_.emplace(disk.id, index);
  disks_.push_back(std::move(disk));
}

const ScannedDisk* ScannedDisks::find(const Index& index, const std::string& name) const {
  const auto found = name.empty() ? index.end() : index.find(name);
  return found == index.end() ? nullptr : &disks_[found->second];
}

void addNetwork(StorageDevice& device, const ScannedDisk* disk) {
  if (!disk) return;
  device.isSan = disk->isSan;
  device.nodeName = disk->nodeName;
  device.portName = disk->portName;
  device.adapter = disk->adapter;
}

}  // namespace invscan
