#include "agent/compare/RowNames.h"

#include <algorithm>
#include <iterator>

namespace invscan::agent {
namespace {

// The groups' keys without running indexes, and behind them what stays when those change: most
// digests change with what they are made of, and equal devices share others.
constexpr RowNames kRowNames[] = {
    {"Processor", {"Index"}, {{{{"ID"}}, {{"Physical ID", "Core ID"}}}}, true},
    {"Memory Modules", {"Socket Name"}, {{{{"Socket Name"}}}}},
    {"Storage", {"Device"}, {{{{"Serial Number"}, true}, {{"WWPN"}, true}, {{"Device"}}}}},
    {"IP Address", {"Address"}, {{{{"Address"}}, {{"Permanent Mac Address"}}}}},
    {"IPv6 Address",
     {"Address", "Adapter Name"},
     {{{{"Address"}}, {{"Adapter Name", "Scope"}}, {{"Permanent Mac Address", "Scope"}}}}},
    {"Network Adapter", {"Model"}, {{{{"ID"}}, {{"Model"}}, {{"Permanent Address"}}}}},
    {"Partition",
     {"FS Mount Point", "FS Access Point"},
     {{{{"FS Access Point", "FS Mount Point"}}, {{"FS Mount Point"}}}}},
    {"PCI Device", {"Name"}, {{{{"Name"}}}}},
    {"PhysicalProcessor", {"Id"}, {{{{"Id"}}}}, true},
    {"PartitionToStorage",
     {"PartitionAccessPoint", "StorageDevice"},
     {{{{"PartitionAccessPoint"}}}}},
    {"SAN Adapter", {"Id"}, {{{{"WWPN"}, true}, {{"Id"}}}}},
};

}  // namespace

const RowNames* findRowNames(const kelGroupDef& group) {
  const auto* const found = std::find_if(
      std::begin(kRowNames), std::end(kRowNames),
      [&](const RowNames& each) { return std::string_view(each.group) == group.name; });
  return found == std::end(kRowNames) ? nullptr : found;
}

bool isRunningIndex(std::string_view attribute) {
  return attribute == "Index";
}

bool isDigest(std::string_view attribute) {
  return attribute == "ID";
}

}  // namespace invscan::agent
