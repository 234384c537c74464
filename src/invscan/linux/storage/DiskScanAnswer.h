// What the helper diskscan tells, for looking things up.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <invscan/vartree.h>

#include "invscan/linux/storage/StorageDevice.h"
#include "log/Trace.h"

namespace invscan {

// The table of the answer with that name; null, with a trace of what is missing, when there is
// none.
const VtNode* diskScanTable(const Trace& trace, const char* table, const char* traceName);

// Calls take(node) with each child of that name, in order.
template <class Take>
void forEachChild(const VtNode* node, const std::string& name, Take take) {
  for (const VtNode* child = node ? node->children : nullptr; child; child = child->next) {
    if (child->name == name) take(*child);
  }
}

// A text of a node; empty when there is none.
std::string textOf(const VtNode& node, const char* name);

struct ScannedDisk {
  std::string id;              // "0:0:1:0" of a SCSI device
  std::string block, generic;  // names in /dev
  std::string isSan, nodeName, portName, adapter;

  // By which a partition's disks are told.
  const std::string& name() const { return block.empty() ? generic : block; }
};

// The disks of the answer. A look-up takes constant time and gives null for an unknown disk.
class ScannedDisks {
 public:
  // Asks the helper.
  ScannedDisks();

  const std::vector<ScannedDisk>& all() const { return disks_; }
  const ScannedDisk* findBlock(const std::string& name) const { return find(blocks_, name); }
  const ScannedDisk* findGeneric(const std::string& name) const { return find(generics_, name); }
  const ScannedDisk* findId(const std::string& id) const { return find(ids_, id); }

 private:
  using Index = std::unordered_map<std::string, std::size_t>;

  const ScannedDisk* find(const Index& index, const std::string& name) const;
  void add(const VtNode& node, const std::unordered_set<int>& hosts);

  std::vector<ScannedDisk> disks_;
  Index blocks_, generics_, ids_;
};

// Takes over what is told of the network that a device is in; null tells nothing.
void addNetwork(StorageDevice& device, const ScannedDisk* disk);

}  // namespace invscan
